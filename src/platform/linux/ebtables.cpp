#include <cstring>
#include <iterator>

#include "base/child.h"
#include "base/tokens.h"
#include "platform/include/zu_ebtables.h"

namespace {

constexpr size_t kMaxRule = 1024;

// The words of one command; a word that is missing or one too many spoils it.
class CommandLine {
  public:
    void add(const char* word) {
        if (!word || count_ + 1 == std::size(words_))
            spoilt_ = true;
        else
            words_[count_++] = word;
    }

    int32_t run() const { return !spoilt_ && base::run(words_) == 0 ? 0 : -1; }

  private:
    const char* words_[64] = {};
    size_t count_ = 0;
    bool spoilt_ = false;
};

CommandLine ebtables(const char* table, const char* op, const char* chain) {
    CommandLine line;
    for (const char* word : {"ebtables", "-t", table, op, chain})
        line.add(word);
    return line;
}

}  // namespace

extern "C" int32_t zu_ebtables_newchain(const char* table, const char* chain, const char* policy) {
    auto line = ebtables(table, "-N", chain);
    line.add("-P");
    line.add(policy);
    return line.run();
}

extern "C" int32_t zu_ebtables_rule_op(const char* table, const char* op, const char* chain,
                                       const char* rule) {
    char words[kMaxRule];
    if (!rule || strnlen(rule, sizeof(words)) == sizeof(words)) return -1;
    strcpy(words, rule);
    auto line = ebtables(table, op, chain);
    base::Tokens tokens(words, " \t");
    for (std::string_view word; tokens.next(word);) {
        words[word.data() + word.size() - words] = '\0';
        line.add(word.data());
    }
    return line.run();
}

extern "C" int32_t zu_ebtables_flushchain(const char* table, const char* chain) {
    return ebtables(table, "-F", chain).run();
}

extern "C" int32_t zu_ebtables_delchain(const char* table, const char* chain) {
    return ebtables(table, "-X", chain).run();
}
