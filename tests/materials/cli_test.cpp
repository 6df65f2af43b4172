// `vexakelo material`: a probe of a known material, and one clear line with exit status 1 for
// each kind of bad input.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace {

struct Result {
    int status;
    std::string output;
};

// The CLI is built with the full tree; a build of this test program alone skips these tests.
bool haveCli() {
    const std::string path = VEXAKELO_CLI;
    return !path.empty() && access(path.c_str(), X_OK) == 0;
}

Result runCli(const std::string& args) {
    const std::string command = std::string(VEXAKELO_CLI) + " " + args + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    Result r{-1, {}};
    if (pipe == nullptr) {
        return r;
    }
    char buffer[512];
    while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) {
        r.output += buffer;
    }
    const int status = pclose(pipe);
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

TEST(MaterialCli, ProbesTheMirror) {
    if (!haveCli()) {
        GTEST_SKIP() << "the vexakelo program is not built";
    }
    // Head-on: F = 0.92, so the white trace comes back as 0.92 * tint.
    const Result r =
        runCli("material vexa_kelo_Mtl_Mirror --set u_tintColor=1,0.5,0.25 --samples 10");
    EXPECT_EQ(r.status, 0) << r.output;
    EXPECT_NE(r.output.find("shade (white traces): 0.920000 0.460000 0.230000 1.000000"),
              std::string::npos)
        << r.output;
    EXPECT_NE(r.output.find("shadow: none (flags 0x0D)"), std::string::npos) << r.output;
}

TEST(MaterialCli, BadInputIsOneLineAndStatusOne) {
    if (!haveCli()) {
        GTEST_SKIP() << "the vexakelo program is not built";
    }
    struct Row {
        const char* args;
        const char* message;
    };
    const Row rows[] = {
        {"material vexa_kelo_Mtl_Nope", "vexa_kelo_Mtl_Nope: no such shader"},
        {"material SimplePointLight", "SimplePointLight: not a material"},
        {"material vexa_kelo_Mtl_Mirror --set u_tintColor=1,2", "u_tintColor: '1,2' is not r,g,b"},
        {"material vexa_kelo_Mtl_Mirror --set nope=1", "nope: vexa_kelo_Mtl_Mirror has no such"},
        {"material vexa_kelo_Mtl_Mirror --set u_tintColor", "expected key=value"},
        {"material vexa_kelo_Mtl_Dielectric --set u_ior=inf", "u_ior: 'inf' is not a finite"},
        {"material vexa_kelo_Mtl_Dielectric --set u_roughMap=1", "cannot be set"},
        {"material vexa_kelo_Mtl_Dielectric --set u_falloffEnable=maybe", "is not true or false"},
    };
    for (const Row& row : rows) {
        const Result r = runCli(row.args);
        EXPECT_EQ(r.status, 1) << row.args;
        EXPECT_EQ(r.output.rfind("vexakelo: ", 0), 0u) << r.output;
        EXPECT_NE(r.output.find(row.message), std::string::npos) << r.output;
        EXPECT_EQ(r.output.find('\n'), r.output.size() - 1) << "one line: " << r.output;
    }
}

}  // namespace
