#include "uplink/names.h"

#include <algorithm>

namespace appcfg::uplink {

std::string_view take_word(const char*& text) {
    text += std::strspn(text, " ");
    const std::string_view word(text, std::strcspn(text, " "));
    text += word.size();
    return word;
}

bool Names::add(const char* text) {
    for (auto word = take_word(text); !word.empty(); word = take_word(text)) {
        const size_t room = sizeof(names_) - used_;
        const size_t length = std::min(word.size(), room ? room - 1 : 0);
        if (length == 0) return false;
        std::memcpy(names_ + used_, word.data(), length);
        names_[used_ + length] = '\0';
        used_ += length + 1;
        if (length < word.size()) return false;
    }
    return true;
}

}  // namespace appcfg::uplink
