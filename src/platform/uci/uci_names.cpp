#include "platform/uci/uci_names.h"

#include <cstring>

#include "uci_file.h"

namespace storage {

namespace {

bool is_letter_or_digit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool is_made_of_letters_digits_and(const char* more, const char* text, uint32_t longest) {
    if (!text || !*text) return false;
    for (uint32_t n = 0; text[n]; ++n)
        if (n == longest || !(is_letter_or_digit(text[n]) || strchr(more, text[n]))) return false;
    return true;
}

}  // namespace

bool is_package_name(const char* text) {
    return is_made_of_letters_digits_and("_-", text, UciFile::kLongestName);
}

bool is_section_name(const char* text) {
    return is_made_of_letters_digits_and("_", text, UINT32_MAX);
}

bool is_name(const char* text) {
    return is_made_of_letters_digits_and("_", text, kLongestName);
}

bool is_type(const char* text) {
    if (!*text) return false;
    for (; *text; ++text)
        if (*text <= ' ' || *text > '~' || strchr("'\"\\#;", *text)) return false;
    return true;
}

}  // namespace storage
