#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "base/child.h"
#include "base/tokens.h"
#include "platform/include/zu_ebtables.h"
#include "platform/linux/queue_mark.h"

namespace {

constexpr size_t kMaxRule = 1024;

/// How a rule hands a frame to a forwarding engine's queue, which Linux has not.
constexpr std::string_view kEngineQueue = " -j cfe --qid ";

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

/// The rule as Linux knows it: the queue's number goes into the frame's mark, and the frame leaves
/// the chain, for two numbers in one mark would be a third. Other rules stay as they are.
std::string for_linux(const char* rule) {
    const std::string text = rule;
    const auto at = text.find(kEngineQueue);
    const auto number = at == text.npos ? "" : text.c_str() + at + kEngineQueue.size();
    char* end = nullptr;
    const auto queue = strtoul(number, &end, 10);
    if (queue == 0 || queue > platform::kLastMarkedQueue || *end != '\0') return text;
    char mark[64];
    snprintf(mark, sizeof(mark), " -j mark --mark-or 0x%lx --mark-target RETURN",
             queue << platform::kQueueMarkShift);
    return text.substr(0, at) + mark;
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
    if (!rule || strnlen(rule, kMaxRule) == kMaxRule) return -1;
    auto words = for_linux(rule);
    auto line = ebtables(table, op, chain);
    base::Tokens tokens(words, " \t");
    for (std::string_view word; tokens.next(word);) {
        words[static_cast<size_t>(word.data() + word.size() - words.data())] = '\0';
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
