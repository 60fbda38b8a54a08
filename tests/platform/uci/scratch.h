#pragma once

#include <sys/stat.h>

#include <set>

#include "platform/uci/uci_testing.h"
#include "support/scratch.h"
#include "vsuci.h"

/// A folder of packages of its own for every test.
class Scratch : public ScratchFolderTest {
  protected:
    Scratch() {
        std::filesystem::create_directory(config);
        std::filesystem::create_directory(factory);
        reopen();
    }
    ~Scratch() override { vsuci_use_directories({"/nonexistent", "/nonexistent"}); }

    /// Forgets everything loaded, as a restart would.
    void reopen() { vsuci_use_directories({config.c_str(), factory.c_str()}); }

    std::string path(const std::string& package) const { return config + "/" + package; }

    void write(const std::string& package, const std::string& text) const {
        write_file(path(package), text);
    }
    std::string read(const std::string& package) const { return read_file(path(package)); }
    struct stat status(const std::string& package) const {
        struct stat file = {};
        stat(path(package).c_str(), &file);
        return file;
    }
    std::set<std::string> entries() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(config))
            names.insert(entry.path().filename());
        return names;
    }

    static std::string get(const char* package, const char* section, const char* option) {
        char text[4096];
        return vsuci_get(package, section, option, text, sizeof(text)) == 0 ? text : "(none)";
    }
    static int total(const char* package, const char* type) {
        int32_t count = -1;
        vsuci_total(package, type, &count, 0);
        return count;
    }
    static bool add_row(const char* package, int number) {
        char name[128];
        vsuci_hold(package);
        if (vsuci_add(package, "ROW", name, sizeof(name)) == 0)
            for (const char* option : {"a", "b", "c"})
                vsuci_set_int32(number, package, name, option);
        return vsuci_release(package) == 0;
    }

    /// Runs `body` in a child process, whose exit status is 0 if it returned true.
    template <class Body>
    static Child start(Body body) {
        return Child::run([&body] { _exit(body() ? 0 : 1); });
    }

    const std::string folder = directory(), config = folder + "/config",
                      factory = folder + "/factory";
};
