#pragma once

#include <iosfwd>
#include <string>

struct ubus_context;
struct ubus_object;

// Bus methods called without a bus: the handler runs in the test, its reply is kept as text.

struct BusReply {
    int status;        ///< what the handler returned
    std::string text;  ///< the reply as one line of JSON, empty if there was none

    bool operator==(const BusReply&) const = default;
};

/// Calls a method of `object` with a message made from `json`.
BusReply call_method(ubus_object* object, const std::string& method,
                     const std::string& json = "{}");

/// What every connection to the bus is from now on; null: there is no bus. It is only handed
/// around.
void use_bus(ubus_context* context);

/// How many connections have been made, and freed, since `use_bus`.
int connections_made();
int connections_freed();

/// For failure messages of the tests.
void PrintTo(const BusReply& reply, std::ostream* out);

/// {"result":0}
BusReply success();
BusReply failure(int code, const std::string& reason);
