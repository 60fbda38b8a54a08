#pragma once

#include <source_location>
#include <string_view>

namespace base {

/// True when the template argument `Key` has a name that means the same in every file. An instance
/// keyed on something of an unnamed namespace must stay in its file, but compilers exist that offer
/// it to all: the linker then takes one file's for every other's.
template <auto Key>
consteval bool has_global_name() {
    const std::string_view name = std::source_location::current().function_name();
    return name.find("anonymous") == name.npos && name.find("unnamed") == name.npos;
}

}  // namespace base
