// What the command-line tests of this folder share: running the program through the shell, and
// a scratch directory per test process that is removed afterwards.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
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

struct SplitResult {
    int status;
    std::string out;  // stdout
    std::string err;  // stderr
};

inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// The program with `arguments` under a deadline (timeout exits 124), stdout and stderr apart;
// `scratch` holds the two capture files (named so that tests can tell them from outputs).
inline SplitResult runSplit(const std::string& arguments, const std::filesystem::path& scratch) {
    const std::filesystem::path out = scratch / "captured.stdout";
    const std::filesystem::path err = scratch / "captured.stderr";
    const std::string command = "timeout 60 " + std::string(VEXAKELO_CLI) + " " + arguments +
                                " >'" + out.string() + "' 2>'" + err.string() + "'";
    const int status = std::system(command.c_str());
    SplitResult r{WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(out), readFile(err)};
    std::error_code ignored;
    std::filesystem::remove(out, ignored);
    std::filesystem::remove(err, ignored);
    return r;
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
