// The host's way of loading a lamp (host/runtime/ies_loading): the web texture size guard that
// the library leaves to its hosts, and the memory a large lamp costs on the way in.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "ies_loading.h"
#include "ies_test_util.h"

namespace {

namespace fs = std::filesystem;

class Loading : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("vexakelo_ies_loading_" + std::to_string(::getpid()));
        fs::create_directories(dir_);
    }
    void TearDown() override {
        std::error_code error;
        fs::remove_all(dir_, error);
    }
    std::string write(const char* name, const std::string& text) {
        const fs::path path = dir_ / name;
        std::ofstream(path, std::ios::binary) << text;
        return path.string();
    }
    fs::path dir_;
};

TEST_F(Loading, RefusesAnglesThatGiveNoUsableWebTexture) {
    struct Row {
        std::vector<float> v, h;
        const char* message;  // "" when the lamp is accepted
    };
    const Row rows[] = {
        {{1, 1000}, {0}, "vertical angles 1 .. 1000 give a web texture side of 1 "},
        {{90, 0}, {0}, "vertical angles 90 .. 0 give a web texture side of -3 "},
        {{10, 10}, {0}, "vertical angles 10 .. 10 give a web texture side of inf "},
        // 1 − 2·trunc((−360/0.25)·1) = 2881 is fine; 1 − 2·trunc(−360/0.05) = 14399 is not.
        {{0, 90}, {0, 0.25f}, ""},
        {{0, 90}, {0, 0.05f}, "horizontal angles 0 .. 0.0500000007 give a web texture side of 14399"},
        {{0}, {0}, ""},  // single angles: 2 × 2
    };
    for (const Row& row : rows) {
        const std::string path =
            write("lamp.ies", iestest::lamp(row.v, row.h, [](int, int) { return 1.0f; }));
        // The summary of such a lamp is still readable; only the web light needs the check.
        EXPECT_NO_THROW(vkhost::loadIes(path, false, false));
        if (*row.message == '\0') {
            EXPECT_NO_THROW(vkhost::loadIes(path));
            continue;
        }
        try {
            vkhost::loadIes(path);
            ADD_FAILURE() << "accepted: " << row.message;
        } catch (const vkhost::IesLoadError& e) {
            EXPECT_EQ(std::string(e.what()).find(row.message), 0u) << e.what();
            EXPECT_EQ(std::string(e.what()).find('\n'), std::string::npos);
        }
    }
}

}  // namespace
