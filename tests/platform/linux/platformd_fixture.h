#pragma once

#include <string>
#include <vector>

#include "ipc_peers.h"
#include "scratch.h"

/// platformd and platformctl as a gateway has them, in a directory of their own.
class PlatformdTest : public ScratchTest {
  protected:
    struct Outcome {
        int status;
        std::string out;
        std::string err;
    };

    PlatformdTest() { start(); }

    void start() {
        platformd_ = Child::execute(
            {PLATFORMD_PATH, "-d", run(), "-i", init_directory(), "-s", directory() / "no-bus"});
        ASSERT_TRUE(eventually([this] { return control({"state", "rc"}).status == 0; }));
    }

    std::string init_directory() const { return directory() / "init.d"; }

    /// Runs a program to its end.
    Outcome execute(const std::vector<std::string>& words) const {
        const auto out = (directory() / "out").string();
        const auto err = (directory() / "err").string();
        auto child = Child::run([&] {
            if (!freopen(out.c_str(), "w", stdout) || !freopen(err.c_str(), "w", stderr)) _exit(99);
            replace_process(words);
        });
        const int status = WEXITSTATUS(child.end());
        return {status, read_file(out), read_file(err)};
    }

    Outcome control(const std::vector<std::string>& words) const {
        std::vector<std::string> line = {PLATFORMCTL_PATH, "-d", run()};
        line.insert(line.end(), words.begin(), words.end());
        return execute(line);
    }

    std::string trace() const { return control({"trace", "--once"}).out; }

    Child platformd_;
};
