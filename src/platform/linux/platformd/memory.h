#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "platform/include/zu_call.h"

// What a platformd that starts anew goes on from: RUN/appcfg/state, the calls that make the states
// what they are. Without it, it would find states that ask for nothing, and open every filter.

namespace platform::platformd {

/// Calls as text, one line each: the name and, behind a blank, the record in hexadecimal.
class CallList {
  public:
    template <class Record>
    void add(const Call<Record>& call, const Record& record) {
        add(call.name, {reinterpret_cast<const uint8_t*>(&record), call.layout->size});
    }
    void add(const char* name, std::span<const uint8_t> record);

    const std::string& text() const { return text_; }

  private:
    std::string text_;
};

/// Makes the calls in the file, or only those of one name. Lines that are no calls of ours are left
/// out, with a line on standard error that says how many.
void memory_restore(std::string_view only = {});
/// Adds a call that has been answered. Like the next one, it says on standard error when the file
/// cannot be written; platformd goes on.
void memory_append(const char* name, std::span<const uint8_t> record);
/// Writes the file anew from the states, so that it does not grow with the calls.
void memory_rewrite();
/// Removes the file.
void memory_forget();

}  // namespace platform::platformd
