#pragma once

#include <string>

struct ubus_context;

/// A method call as a front end makes it.
struct BusCall {
    const char* object = nullptr;
    const char* method = nullptr;
    std::string arguments = "{}";  ///< JSON
};

/// One connection to the bus. Ends the benchmark with a message when the bus cannot be reached or a
/// call ends with a status or a result other than 0: a figure of a call that failed means nothing.
class BusClient {
  public:
    BusClient();
    ~BusClient();
    BusClient(const BusClient&) = delete;
    BusClient& operator=(const BusClient&) = delete;

    void call(const BusCall& call);
    /// The time of one call in microseconds, the making of its message not included.
    double time(const BusCall& call);
    /// Waits until an object is on the bus, or no longer there.
    void wait_for(const char* object, bool present);

  private:
    ubus_context* context_;
};

/// Offers an object with the method "empty", which replies {"result": 0}, until it is killed.
[[noreturn]] void serve_empty_method(const char* object);
