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
    };

    PlatformdTest() {
        platformd_ = Child::execute({PLATFORMD_PATH, "-d", run(), "-i", directory() / "init.d",
                                     "-s", directory() / "no-bus"});
        EXPECT_TRUE(eventually([this] { return control({"state", "rc"}).status == 0; }));
    }

    /// Runs platformctl to its end.
    Outcome control(const std::vector<std::string>& words) const {
        const auto out = directory() / "out";
        std::vector<std::string> line = {PLATFORMCTL_PATH, "-d", run()};
        line.insert(line.end(), words.begin(), words.end());
        auto child = Child::run([&] {
            if (!freopen(out.c_str(), "w", stdout)) _exit(99);
            replace_process(line);
        });
        return {WEXITSTATUS(child.end()), read_file(out)};
    }

    Child platformd_;
};
