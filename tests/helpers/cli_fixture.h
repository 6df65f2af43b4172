// What the command-line tests of this folder share: running the program through the shell, and
// a scratch directory per test process that is removed afterwards.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <string>

namespace clitest {

struct CommandResult {
    int status;
    std::string output;  // what the shell command printed
};

// `command` through the shell; its exit status (-1 when it did not exit) and its output.
inline CommandResult shell(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    std::string output;
    std::array<char, 512> buffer;
    while (pipe != nullptr && std::fgets(buffer.data(), buffer.size(), pipe) != nullptr) {
        output += buffer.data();
    }
    const int status = pipe != nullptr ? pclose(pipe) : -1;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

// Skips when the program is not built; `scratch` names the test's own directory.
class CliTest : public ::testing::Test {
protected:
    explicit CliTest(std::string scratch) : scratch_(std::move(scratch)) {}
    void SetUp() override {
        if (std::string(VEXAKELO_CLI).empty() || !std::filesystem::exists(VEXAKELO_CLI)) {
            GTEST_SKIP() << "the vexakelo program is not built";
        }
        directory_ = std::filesystem::temp_directory_path() /
                     (scratch_ + "_" + std::to_string(::getpid()));
        std::filesystem::create_directories(directory_);
    }
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }
    std::string path(const char* name) const { return (directory_ / name).string(); }

    std::filesystem::path directory_;

private:
    std::string scratch_;
};

}  // namespace clitest
