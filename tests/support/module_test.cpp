#include "support/module_test.h"

#include <csignal>
#include <filesystem>

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
    fs::copy(DEFAULT_PACKAGES, directory());
    vsuci_use_directories({directory().c_str(), directory().c_str()});
    recording_platform::reset();
    mib_chain_clear();
    register_tables();
}

void ModuleTest::write_package(const std::string& name, const std::string& text) {
    write_file(directory() / name, text);
}

std::string ModuleTest::read_package(const std::string& name) const {
    return read_file(directory() / name);
}
