#include "platform/linux/enforce/rules.h"

#include <cstdarg>
#include <cstdio>

namespace platform::platformd::enforce {

namespace {

/// "inet appcfg NAME"
std::string place(const char* table, Family family, const char* name) {
    return std::string(family_name(family)) + ' ' + table + ' ' + name;
}

std::string on_tables(const char* verb, const char* table, const char* flags = "") {
    std::string text;
    for (const auto family : kFamilies)
        text += std::string(verb) + " table " + family_name(family) + ' ' + table + flags + '\n';
    return text;
}

// Only what exists can be deleted.
std::string gone(const char* table) {
    return on_tables("add", table) + on_tables("delete", table);
}

std::string declaration(const char* table, const OwnedSet& set) {
    return "add set " + place(table, set.family, set.name) + " { type " + set.type +
           "; counter; }\n";
}

std::string declaration(const char* table, const OwnedChain& chain) {
    auto text = "add chain " + place(table, chain.family, chain.name);
    if (chain.hook) {
        text += std::string(" { type ") + chain.type + " hook " + chain.hook + " priority " +
                std::to_string(chain.priority) + "; policy accept; }";
    }
    return text + '\n';
}

}  // namespace

const char* family_name(Family family) {
    return family == Family::Bridge ? "bridge" : "inet";
}

void RuleText::add(const char* what, Family family, const char* name) {
    text_ += std::string("add ") + what + ' ' + place(table_, family, name) + ' ';
}

void RuleText::rule(const OwnedChain& chain, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char* line = nullptr;
    const int length = vasprintf(&line, format, arguments);
    va_end(arguments);
    if (length < 0) return;
    add("rule", chain.family, chain.name);
    text_.append(line, static_cast<size_t>(length)) += '\n';
    free(line);
}

void RuleText::element(const OwnedSet& set, const std::string& value) {
    add("element", set.family, set.name);
    text_ += "{ " + value + " }\n";
}

// Sets first, for rules name them; all declarations before any rule, for chains jump to chains.
std::string replacement(const Rules& rules, const char* table) {
    std::string text;
    for (const auto& set : rules.sets)
        text += declaration(table, set);
    for (const auto& chain : rules.chains)
        text += declaration(table, chain);
    for (const auto& chain : rules.chains)
        text += "flush chain " + place(table, chain.family, chain.name) + '\n';
    for (const auto& set : rules.sets)
        text += "flush set " + place(table, set.family, set.name) + '\n';
    RuleText own(table);
    rules.render(own);
    return text + own.text();
}

std::string tables_as_they_are() {
    return on_tables("add", kTable);
}

std::string tables_gone() {
    return gone(kTable);
}

std::string tables_emptied() {
    return tables_gone() + tables_as_they_are();
}

std::string scratch_gone() {
    return gone(kScratchTable);
}

std::string scratch_emptied() {
    return scratch_gone() + on_tables("add", kScratchTable, " { flags dormant; }");
}

}  // namespace platform::platformd::enforce
