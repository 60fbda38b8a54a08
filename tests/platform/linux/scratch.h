#pragma once

#include "platform/linux/run_directory.h"
#include "support/scratch.h"

using namespace platform;

/// The folder holds the platform's run directory.
class ScratchTest : public ScratchFolderTest {
  protected:
    ScratchTest() {
        std::filesystem::create_directory(directory() / "run");
        EXPECT_TRUE(set_run_directory((directory() / "run").c_str()));
    }

    std::filesystem::path run() const { return directory() / "run"; }
};
