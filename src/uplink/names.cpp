#include "uplink/names.h"

#include <algorithm>
#include <string_view>

#include "base/tokens.h"

namespace appcfg::uplink {

bool Names::add(const char* text) {
    base::Tokens words(text, " ");
    for (std::string_view word; words.next(word);) {
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
