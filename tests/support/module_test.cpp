#include "support/module_test.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/uci/uci_testing.h"

namespace fs = std::filesystem;

FullDisk::FullDisk() {
    std::fflush(nullptr);
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit none{.rlim_cur = 0, .rlim_max = before_.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &none);
}

FullDisk::~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &before_);
}

ModuleTest::ModuleTest(int32_t (*register_tables)()) {
    char name[] = "/tmp/appcfgd-test-XXXXXX";
    folder_ = mkdtemp(name);
    fs::copy(DEFAULT_PACKAGES, folder_);
    vsuci_use_directories({folder_.c_str(), folder_.c_str()});
    recording_platform::reset();
    mib_chain_clear();
    register_tables();
}

ModuleTest::~ModuleTest() {
    fs::remove_all(folder_);
}

void ModuleTest::write_package(const std::string& name, const std::string& text) {
    std::ofstream(folder_ + "/" + name) << text;
}

std::string ModuleTest::read_package(const std::string& name) const {
    std::stringstream text;
    text << std::ifstream(folder_ + "/" + name).rdbuf();
    return text.str();
}
