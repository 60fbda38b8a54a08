#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// A folder of its own for every test, and the processes that a test puts around it.

inline void write_file(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path) << text;
}

inline std::string read_file(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

inline bool eventually(const std::function<bool()>& happens) {
    for (int i = 0; i < 500; ++i) {
        if (happens()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

/// Goes on as another program; never returns.
inline void replace_process(const std::vector<std::string>& words) {
    std::vector<char*> argv;
    for (const auto& word : words)
        argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
}

/// A child process that does not outlive the test.
class Child {
  public:
    Child() = default;
    Child(Child&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
    Child& operator=(Child&& other) noexcept {
        std::swap(pid_, other.pid_);
        return *this;
    }
    ~Child() { end(SIGKILL); }

    static Child run(const std::function<void()>& body) {
        Child child;
        child.pid_ = fork();
        if (child.pid_ != 0) return child;
        body();
        _exit(0);
    }

    static Child execute(const std::vector<std::string>& words) {
        return run([&words] { replace_process(words); });
    }

    /// Waits for its end, after a signal unless that is 0; its wait status, 0 if there is no child.
    int end(int signal_number = 0) {
        if (pid_ < 0) return 0;
        if (signal_number != 0) kill(pid_, signal_number);
        int status = 0;
        waitpid(std::exchange(pid_, -1), &status, 0);
        return status;
    }

    void send_signal(int signal_number) const { kill(pid_, signal_number); }

    bool alive() const {
        return pid_ > 0 && kill(pid_, 0) == 0 && waitpid(pid_, nullptr, WNOHANG) == 0;
    }

  private:
    pid_t pid_ = -1;
};

/// With a folder that goes with the test.
class ScratchFolderTest : public testing::Test {
  protected:
    ScratchFolderTest() {
        char path[] = "/tmp/appcfgd-test-XXXXXX";
        directory_ = mkdtemp(path);
    }
    ~ScratchFolderTest() override { std::filesystem::remove_all(directory_); }

    const std::filesystem::path& directory() const { return directory_; }

  private:
    std::filesystem::path directory_;
};
