// `vexakelo sky` end to end: the two pictures it writes and how it refuses bad input.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "image_io.h"
#include "light_support.h"

namespace lights_test {
namespace {

namespace fs = std::filesystem;

struct CliRun {
    int status;
    std::string errors;
};

CliRun runCli(const std::string& arguments, const fs::path& directory) {
    const fs::path errors = directory / "stderr.txt";
    const std::string command =
        std::string(VEXAKELO_CLI) + " " + arguments + " 2> " + errors.string() + " > /dev/null";
    const int status = std::system(command.c_str());
    std::ifstream in(errors);
    std::stringstream text;
    text << in.rdbuf();
    return {status, text.str()};
}

class SkyCli : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::string(VEXAKELO_CLI).empty() || !fs::exists(VEXAKELO_CLI)) {
            GTEST_SKIP() << "the vexakelo program is not built";
        }
        directory_ =
            fs::temp_directory_path() /
            ("vexakelo_sky_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
             "_" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(directory_);
        fs::create_directories(directory_);
    }
    void TearDown() override { fs::remove_all(directory_); }
    fs::path directory_;
};

TEST_F(SkyCli, WritesFisheyeAndPanorama) {
    const fs::path out = directory_ / "noon.exr";
    const CliRun run = runCli("sky --sun 0,90 --size 16 " + out.string(), directory_);
    ASSERT_EQ(run.status, 0) << run.errors;
    const vkimage::Image fisheye = vkimage::readImage(out.string());
    const vkimage::Image panorama = vkimage::readImage((directory_ / "noon_latlong.exr").string());
    ASSERT_EQ(fisheye.width, 16);
    ASSERT_EQ(fisheye.height, 16);
    ASSERT_EQ(panorama.width, 32);
    ASSERT_EQ(panorama.height, 16);
    // Outside the circle of the hemisphere: transparent black.
    EXPECT_EQ(fisheye.at(0, 0).w, 0.0f);
    EXPECT_EQ(fisheye.at(8, 8).w, 1.0f);
    // With the sun at the zenith every row of the panorama is one colour (up to the rounding of
    // the directions); the lower half is the grey ground, R = G = B.
    for (int y = 0; y < 16; ++y) {
        const vyr::Vec4f first = panorama.at(0, y);
        for (int x = 1; x < 32; ++x) {
            EXPECT_NEAR(panorama.at(x, y).x, first.x, 1e-4f * first.x) << x << "," << y;
            EXPECT_NEAR(panorama.at(x, y).z, first.z, 1e-4f * first.z) << x << "," << y;
        }
        if (y >= 8) {
            EXPECT_EQ(first.x, first.y);
            EXPECT_EQ(first.y, first.z);
        } else {
            EXPECT_LT(first.x, first.z);  // a blue sky
        }
    }
}

TEST_F(SkyCli, PngPairIsWritten) {
    const fs::path out = directory_ / "evening.png";
    const CliRun run = runCli("sky --sun 250,5 --haze 3 --size 16 " + out.string(), directory_);
    ASSERT_EQ(run.status, 0) << run.errors;
    EXPECT_TRUE(fs::exists(out));
    EXPECT_TRUE(fs::exists(directory_ / "evening_latlong.png"));
}

TEST_F(SkyCli, BadInputIsOneLineAndWritesNothing) {
    struct Row {
        std::string arguments;
        std::string mentions;
    };
    const std::string out = (directory_ / "sky.png").string();
    fs::create_directories(directory_ / "folder.png");
    const Row rows[] = {
        {"sky --sun 135 " + out, "--sun"},
        {"sky --sun north,30 " + out, "--sun"},
        {"sky --sun 10,91 " + out, "elevation"},
        {"sky --sun 10,20 " + (directory_ / "sky.jpg").string(), "sky.jpg"},
        {"sky --sun 10,20 " + (directory_ / "stderr.txt" / "sky.png").string(),
         "is not a directory"},
        {"sky --sun 10,20 --exposure nan " + out, "'nan' is not a finite number above 0"},
        {"sky --sun 10,20 --exposure -1 " + out, "'-1' is not a finite number above 0"},
        {"sky --sun 10,20 --haze 1e30 " + out, "'1e30' is not a finite number from 0 to 30"},
        {"sky --sun 10,20 " + (directory_ / "folder.png").string(), "names a directory"},
        {"--library " + (directory_ / "none.so").string() + " sky --sun 10,20 " + out, "none.so"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.arguments);
        const CliRun run = runCli(row.arguments, directory_);
        EXPECT_NE(run.status, 0);
        EXPECT_NE(run.errors.find(row.mentions), std::string::npos) << run.errors;
        EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
        EXPECT_FALSE(fs::exists(out));
        EXPECT_FALSE(fs::exists(directory_ / "sky_latlong.png"));
    }
}

}  // namespace
}  // namespace lights_test
