#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "core/method.h"
#include "core/ubus_reply.h"

// A bus object made of method declarations.

namespace appcfg {

/// What the bus calls with: finds the method, takes the arguments, runs the operation and replies.
/// Returns the bus status.
int serve_request(ubus_context* context, ubus_object* object, ubus_request_data* request,
                  const char* name, blob_attr* message);

/// An object on the bus with the declarations of its methods.
struct OfferedObject : ubus_object {
    std::span<const Method> declarations;
};

consteval size_t count_arguments(std::span<const Method> methods) {
    size_t count = 0;
    for (const Method& method : methods)
        count += method.arguments.size();
    return count;
}

/// Everything that the bus library needs to know of an object, laid out at compile time:
///     constinit BusObject<std::size(kMethods), count_arguments(kMethods)> object("app_x",
///     kMethods);
template <size_t Methods, size_t Arguments>
class BusObject : public OfferedObject {
  public:
    constexpr BusObject(const char* object_name, std::span<const Method> declared)
        : OfferedObject{} {
        declarations = declared;
        size_t argument = 0;
        for (size_t i = 0; i < Methods; ++i) {
            const Method& method = declared[i];
            methods_[i] = {.name = method.name,
                           .handler = serve_request,
                           .mask = 0,
                           .tags = 0,
                           .policy = policies_.data() + argument,
                           .n_policy = static_cast<int>(method.arguments.size())};
            for (const Argument& a : method.arguments)
                policies_[argument++] = {.name = a.name, .type = a.bus_type()};
        }
        type_ = {.name = object_name, .id = 0, .methods = methods_.data(), .n_methods = Methods};
        name = object_name;
        type = &type_;
        methods = methods_.data();
        n_methods = Methods;
    }

  private:
    std::array<blobmsg_policy, Arguments> policies_{};
    std::array<ubus_method, Methods> methods_{};
    ubus_object_type type_{};
};

/// Defines the bus object `variable`, named `name`, that offers `methods`.
#define BUS_OBJECT(variable, name, methods) \
    constinit BusObject<std::size(methods), count_arguments(methods)> variable(name, methods)

}  // namespace appcfg
