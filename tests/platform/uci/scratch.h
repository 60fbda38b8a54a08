#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "platform/uci/uci_testing.h"
#include "vsuci.h"

/// A folder of packages of its own for every test.
class Scratch : public testing::Test {
  protected:
    Scratch() {
        char name[] = "/tmp/appcfgd-uci-XXXXXX";
        folder = mkdtemp(name);
        config = folder + "/config";
        factory = folder + "/factory";
        std::filesystem::create_directory(config);
        std::filesystem::create_directory(factory);
        reopen();
    }
    ~Scratch() override {
        vsuci_use_directories({"/nonexistent", "/nonexistent"});
        std::filesystem::remove_all(folder);
    }

    /// Forgets everything loaded, as a restart would.
    void reopen() { vsuci_use_directories({config.c_str(), factory.c_str()}); }

    std::string path(const std::string& package) const { return config + "/" + package; }

    void write(const std::string& package, const std::string& text) const {
        std::ofstream(path(package), std::ios::binary) << text;
    }
    std::string read(const std::string& package) const {
        std::stringstream text;
        text << std::ifstream(path(package), std::ios::binary).rdbuf();
        return text.str();
    }
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
    static pid_t start(Body body) {
        const pid_t child = fork();
        if (child == 0) _exit(body() ? 0 : 1);
        return child;
    }
    static int wait(pid_t child) {
        int status = -1;
        waitpid(child, &status, 0);
        return status;
    }

    std::string folder, config, factory;
};
