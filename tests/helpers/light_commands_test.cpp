// The light commands (ies, kelvin, list, landscape) start without loading the renderer, OpenEXR
// or cairo, and the image outputs that need them still work through the same command line. The
// dynamic loader's own trace (LD_DEBUG=files) lists every object a process maps, whether linked
// or opened later.
#include <filesystem>
#include <string>
#include <vector>

#include "cli_fixture.h"

namespace {

namespace fs = std::filesystem;

struct Traced {
    int status;
    std::string loaded;  // the loader's trace alone; the program's output is discarded
};

Traced traced(const std::string& arguments) {
    const clitest::CommandResult r = clitest::shell("LD_DEBUG=files " + std::string(VEXAKELO_CLI) +
                                                    " " + arguments + " 2>&1 >/dev/null");
    return {r.status, r.output};
}

const std::vector<std::string> kHeavy = {"libembree", "libtbb", "libcairo", "libOpenEXR"};

class LightCommands : public clitest::CliTest {
protected:
    LightCommands() : CliTest("vexakelo_light") {}
};

TEST_F(LightCommands, MapNeitherTheRendererNorTheImageLibraries) {
    const std::string lamp = VEXAKELO_SOURCE_DIR "/tests/data/ies/lm02_0_180_crlf.ies";
    for (const std::string& arguments :
         {"ies " + lamp, "ies --json --grid " + lamp, std::string("kelvin 6500 --xyz"),
          std::string("list"), "landscape --seed 7 " + path("mask.png")}) {
        const Traced t = traced(arguments);
        ASSERT_EQ(t.status, 0) << arguments << "\n" << t.loaded;
        // The trace itself is there: the shader library is always loaded.
        EXPECT_NE(t.loaded.find("libvexakelo"), std::string::npos) << arguments << "\n" << t.loaded;
        for (const std::string& heavy : kHeavy) {
            EXPECT_EQ(t.loaded.find(heavy), std::string::npos)
                << arguments << " maps " << heavy << "\n" << t.loaded;
        }
    }
    EXPECT_TRUE(fs::exists(path("mask.png")));
}

TEST_F(LightCommands, ImageOutputsLoadWhatTheyNeedAndStillWork) {
    const std::string lamp = VEXAKELO_SOURCE_DIR "/tests/data/ies/lm02_0_180_crlf.ies";
    const Traced swatch = traced("kelvin 2700 --swatch " + path("strip.png"));
    ASSERT_EQ(swatch.status, 0) << swatch.loaded;
    EXPECT_NE(swatch.loaded.find("libcairo"), std::string::npos);
    EXPECT_TRUE(fs::exists(path("strip.png")));

    const Traced web = traced("ies " + lamp + " --web " + path("web.exr"));
    ASSERT_EQ(web.status, 0) << web.loaded;
    EXPECT_NE(web.loaded.find("libOpenEXR"), std::string::npos);
    EXPECT_TRUE(fs::exists(path("web.exr")));
}

TEST_F(LightCommands, EveryOtherCommandLineReachesTheFullProgram) {
    const Traced help = traced("--help");
    EXPECT_EQ(help.status, 0);
    // An unknown command is refused the same way, as a usage error.
    EXPECT_EQ(traced("no-such-command").status, 2);
    const Traced diff = traced("diff " + path("none.exr") + " " + path("none2.exr"));
    EXPECT_EQ(diff.status, 1);
    EXPECT_NE(diff.loaded.find("libembree"), std::string::npos);
}

}  // namespace
