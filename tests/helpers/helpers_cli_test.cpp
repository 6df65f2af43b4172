// The kelvin, ocean and landscape commands end to end: output files that read back, printed
// colours, and one-line failures that leave nothing behind.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>

#include "cli_fixture.h"
#include "image_io.h"

namespace {

namespace fs = std::filesystem;

using clitest::CommandResult;

CommandResult run(const std::string& arguments) {
    return clitest::shell(std::string(VEXAKELO_CLI) + " " + arguments + " 2>&1");
}

class HelpersCli : public clitest::CliTest {
protected:
    HelpersCli() : CliTest("vexakelo_helpers_cli") {}
};

TEST_F(HelpersCli, KelvinPrintsRgbAndXyz) {
    const CommandResult r = run("kelvin 6500 --xyz");
    ASSERT_EQ(r.status, 0) << r.output;
    float red = 0, green = 0, blue = 0, x = 0, y = 0;
    ASSERT_EQ(std::sscanf(r.output.c_str(), "rgb %f %f %f", &red, &green, &blue), 3) << r.output;
    EXPECT_NEAR(green, 1.0f, 0.03f);
    const auto at = r.output.find("chromaticity");
    ASSERT_NE(at, std::string::npos);
    ASSERT_EQ(std::sscanf(r.output.c_str() + at, "chromaticity %f %f", &x, &y), 2);
    EXPECT_NEAR(x, 0.3135f, 5e-4f);
    // Scale and tint: Y = 2, then the blue channel doubled again.
    const CommandResult tinted = run("kelvin 6500 --scale 2 --tint 1,1,2");
    float r2 = 0, g2 = 0, b2 = 0;
    ASSERT_EQ(std::sscanf(tinted.output.c_str(), "rgb %f %f %f", &r2, &g2, &b2), 3);
    EXPECT_NEAR(r2, 2.0f * red, 1e-5f);
    EXPECT_NEAR(b2, 4.0f * blue, 1e-5f);
}

TEST_F(HelpersCli, KelvinSwatchIsALabelledStrip) {
    const std::string out = path("swatch.png");
    const CommandResult r = run("kelvin --swatch " + out);
    ASSERT_EQ(r.status, 0) << r.output;
    const vkimage::Image image = vkimage::readImage(out);
    // 1101 columns (10 K each) plus margins of 16.
    EXPECT_EQ(image.width, 1133);
    // Warm on the left, cool on the right: red leads at 1000 K, blue at 12000 K.
    const vyr::Vec4f warm = image.at(16 + 5, 40);
    const vyr::Vec4f cool = image.at(16 + 1095, 40);
    EXPECT_GT(warm.x, warm.z);
    EXPECT_GT(cool.z, cool.x);
}

TEST_F(HelpersCli, OceanAndLandscapeWriteTheirTextures) {
    const std::string exr = path("ocean.exr");
    const std::string png = path("ocean.png");
    const std::string mask = path("mask.png");
    ASSERT_EQ(run("ocean --wind 5,1 --time 2 " + exr).status, 0);
    ASSERT_EQ(run("ocean --wind 5,1 --time 2 " + png).status, 0);
    ASSERT_EQ(run("landscape --seed 3 --percentage 0.4 " + mask).status, 0);

    const vkimage::Image normals = vkimage::readImage(exr);
    ASSERT_EQ(normals.width, 512);
    ASSERT_EQ(normals.height, 512);
    const vyr::Vec4f n = normals.at(100, 200);
    const float nx = 2 * n.x - 1, ny = 2 * n.y - 1, nz = 2 * n.z - 1;
    // The file holds the floats themselves: unit length up to the 0.5 n + 0.5 rounding.
    EXPECT_NEAR(nx * nx + ny * ny + nz * nz, 1.0f, 1e-5f);
    // The PNG holds the same values as 8-bit codes.
    const vkimage::Image coded = vkimage::readImage(png);
    EXPECT_EQ(vkimage::linearToSrgb8(coded.at(100, 200).x),
              static_cast<unsigned char>(std::lround(n.x * 255.0f)))
        << "read back " << n.x;

    const vkimage::Image landscape = vkimage::readImage(mask);
    ASSERT_EQ(landscape.width, 512);
    std::size_t white = 0;
    for (const vyr::Vec4f& p : landscape.pixels) {
        ASSERT_TRUE((p.x == 1.0f && p.w == 1.0f) || (p.x == 0.0f && p.w == 0.0f));
        white += p.w == 1.0f ? 1 : 0;
    }
    EXPECT_GT(white, 0u);
    EXPECT_LT(white, landscape.pixels.size());
}

TEST_F(HelpersCli, BadInputFailsInOneLineAndWritesNothing) {
    const std::string out = path("never.png");
    const char* const cases[] = {
        "kelvin -5",
        "kelvin 40",  // too cold: the luminance underflows
        "kelvin 1e30",  // too hot: the radiance overflows
        "kelvin",
        "ocean --wind 0,0 ",
        "ocean --gravity 0 ",
        "ocean --amplifier nan ",
        "landscape --percentage inf ",
    };
    for (const char* arguments : cases) {
        const std::string command =
            std::string(arguments) + (std::string(arguments).back() == ' ' ? out : "");
        const CommandResult r = run(command);
        EXPECT_NE(r.status, 0) << command;
        EXPECT_EQ(std::count(r.output.begin(), r.output.end(), '\n'), 1) << r.output;
        EXPECT_FALSE(fs::exists(out)) << command;
    }
    const CommandResult wrongType = run("ocean " + path("normals.jpg"));
    EXPECT_NE(wrongType.status, 0);
    EXPECT_NE(wrongType.output.find("normals.jpg"), std::string::npos);
    // A missing directory is made; a file where a directory should be is refused.
    std::FILE* file = std::fopen(path("plain").c_str(), "w");
    std::fclose(file);
    const CommandResult notADirectory = run("landscape " + path("plain/mask.png"));
    EXPECT_NE(notADirectory.status, 0);
    EXPECT_NE(notADirectory.output.find("mask.png"), std::string::npos);
    EXPECT_NE(notADirectory.output.find("is not a directory"), std::string::npos);
}

}  // namespace
