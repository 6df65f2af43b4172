// How every command writes its files: all names checked before the first is written, all or none
// appearing, inputs never overwritten, missing directories made (and removed again on failure),
// messages that name the target and never a staging file, and the names written printed.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "helpers/cli_fixture.h"

namespace {

namespace fs = std::filesystem;

using clitest::SplitResult;

const std::string kLamp = VEXAKELO_SOURCE_DIR "/tests/data/ies/lm02_0_180_crlf.ies";
const std::string kScene = VEXAKELO_SOURCE_DIR "/scenes/simple.json";

class OutputsCli : public clitest::CliTest {
protected:
    OutputsCli() : CliTest("vexakelo_outputs_cli") {}

    SplitResult run(const std::string& arguments) {
        return clitest::runSplit(arguments, directory_);
    }
    // Every name under the scratch directory, relative to it.
    std::set<std::string> entries() const {
        std::set<std::string> names;
        for (const auto& e : fs::recursive_directory_iterator(directory_)) {
            names.insert(fs::relative(e.path(), directory_).string());
        }
        return names;
    }
    void touch(const char* name, const std::string& text = "") {
        std::ofstream(path(name), std::ios::binary) << text;
    }
};

std::size_t lines(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST_F(OutputsCli, NothingIsWrittenWhenAnyOutputIsWrong) {
    struct Row {
        std::string arguments;
        std::string mentions;
    };
    touch("plain");
    fs::create_directories(path("taken_latlong.png"));
    fs::create_directories(path("folder.exr"));
    const Row rows[] = {
        // The second output's extension is checked before the first is written.
        {"gallery -o " + path("g.png") + " --exr " + path("g.txt") +
             " --only vexa_kelo_Mtl_Mirror --tile 32 --spp 1 -q",
         "g.txt: --exr writes .exr files"},
        {"ies " + kLamp + " --web " + path("a.exr") + " --cdf " + path("b.txt"),
         "b.txt: --cdf writes .exr files"},
        // The preview beside the web texture is an output like any other.
        {"ies " + kLamp + " --web " + path("w.exr") + " --plot " + path("w.png"),
         "w.png: --plot names the same file as the --web preview"},
        {"ies " + kLamp + " --cdf " + path("c.exr") + " --apply-tilt " + path("plain/t.ies"),
         "plain is not a directory"},
        // The panorama's name is taken by a directory: not even the fisheye appears.
        {"sky --sun 10,20 --size 8 " + path("taken.png"), "taken_latlong.png: the panorama"},
        {"render " + kScene + " -o " + path("r.png") + " --exr " + path("folder.exr") +
             " --size 8x8 --spp 1 -q",
         "folder.exr: --exr names a directory"},
        {"kelvin 3000 --swatch " + path("s.jpg"), "s.jpg: --swatch writes .png files"},
        {"diff " + path("none.exr") + " " + path("none2.exr") + " --heat " + path("h.png"),
         "none.exr"},
    };
    const std::set<std::string> before = entries();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.arguments);
        const SplitResult r = run(row.arguments);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err.rfind("vexakelo: ", 0), 0u) << r.err;
        EXPECT_NE(r.err.find(row.mentions), std::string::npos) << r.err;
        EXPECT_EQ(lines(r.err), 1u) << r.err;
        EXPECT_EQ(entries(), before) << "an output or a staging file was left";
    }
}

TEST_F(OutputsCli, AnInputIsNeverOverwritten) {
    // A lamp file named like the web texture's preview.
    fs::copy_file(kLamp, path("web.png"));
    const std::string lamp = clitest::readFile(path("web.png"));
    const SplitResult r = run("ies " + path("web.png") + " --web " + path("web.exr"));
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("would overwrite the input"), std::string::npos) << r.err;
    EXPECT_EQ(clitest::readFile(path("web.png")), lamp);
    EXPECT_FALSE(fs::exists(path("web.exr")));

    // The same file by another spelling, and a scene as the render's output.
    ASSERT_EQ(run("ocean --wind 5,1 " + path("a.exr")).status, 0);
    const std::string image = clitest::readFile(path("a.exr"));
    fs::create_directories(path("sub"));
    const SplitResult heat = run("diff " + path("a.exr") + " " + path("a.exr") + " --heat " +
                                 path("sub") + "/../a.exr");
    EXPECT_EQ(heat.status, 1);
    EXPECT_NE(heat.err.find("would overwrite the input"), std::string::npos) << heat.err;
    EXPECT_EQ(clitest::readFile(path("a.exr")), image);
}

TEST_F(OutputsCli, MissingDirectoriesAreMadeAndRemovedAgainOnFailure) {
    const SplitResult made = run("landscape " + path("new/deeper/mask.png"));
    ASSERT_EQ(made.status, 0) << made.err;
    EXPECT_TRUE(fs::exists(path("new/deeper/mask.png")));
    EXPECT_EQ(made.out, path("new/deeper/mask.png") + "\n");

    touch("bad.json", R"({"environment": {"shader": "Nope"}})");
    const SplitResult failed = run("render " + path("bad.json") + " -o " + path("made/x/y.png"));
    EXPECT_EQ(failed.status, 1);
    EXPECT_NE(failed.err.find("unknown shader 'Nope'"), std::string::npos) << failed.err;
    EXPECT_FALSE(fs::exists(path("made")));

    // A directory that held something before the command stays, and so does what it held.
    touch("new/keep.txt", "kept");
    touch("broken.ies", "not a lamp");
    EXPECT_EQ(run("ies " + path("broken.ies") + " --web " + path("new/more/w.exr")).status, 1);
    EXPECT_FALSE(fs::exists(path("new/more")));
    EXPECT_EQ(clitest::readFile(path("new/keep.txt")), "kept");
}

TEST_F(OutputsCli, MessagesNameTheTargetAndItsProblem) {
    fs::create_directories(path("dir.png"));
    touch("plain");
    const std::string commands[] = {
        "ocean ", "landscape ", "kelvin 3000 --swatch ",
        "sky --sun 1,2 --size 8 ", "render " + kScene + " --size 8x8 --spp 1 -q -o ",
        "gallery --only vexa_kelo_Mtl_Mirror --tile 32 --spp 1 -q -o ",
    };
    for (const std::string& command : commands) {
        for (const auto& [target, problem] :
             {std::pair<std::string, std::string>{path("dir.png"), "names a directory"},
              {path("plain/x.png"), "plain is not a directory"}}) {
            SCOPED_TRACE(command + target);
            const SplitResult r = run(command + target);
            EXPECT_EQ(r.status, 1);
            EXPECT_EQ(r.err.find("vexakelo: " + target + ": "), 0u) << r.err;
            EXPECT_NE(r.err.find(problem), std::string::npos) << r.err;
            for (const char* internal : {"Success", ".partial", ".vexakelo-"}) {
                EXPECT_EQ(r.err.find(internal), std::string::npos) << r.err;
            }
        }
    }
}

TEST_F(OutputsCli, EveryCommandPrintsTheFilesItWrote) {
    struct Row {
        std::string arguments;
        std::string printed;  // what stdout ends with
    };
    const Row rows[] = {
        {"ocean " + path("o.png"), path("o.png") + "\n"},
        {"kelvin --swatch " + path("k.png"), path("k.png") + "\n"},
        {"sky --sun 1,2 --size 8 " + path("s.exr"),
         path("s.exr") + "\n" + path("s_latlong.exr") + "\n"},
        {"ies " + kLamp + " --web " + path("w.exr") + " --cdf " + path("c.exr"),
         path("w.exr") + "\n" + path("w.png") + "\n" + path("c.exr") + "\n"},
        {"gallery -o " + path("g.png") + " --only vexa_kelo_Mtl_Mirror --tile 32 --spp 1 -q",
         path("g.png") + "\n1 shaders, 0 failed\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.arguments);
        const SplitResult r = run(row.arguments);
        ASSERT_EQ(r.status, 0) << r.err;
        ASSERT_GE(r.out.size(), row.printed.size()) << r.out;
        EXPECT_EQ(r.out.substr(r.out.size() - row.printed.size()), row.printed);
    }
    // With JSON on stdout the names go to stderr, so that the JSON stays whole.
    const SplitResult json = run("ies --json " + kLamp + " --plot " + path("p.png"));
    ASSERT_EQ(json.status, 0) << json.err;
    EXPECT_EQ(json.out.front(), '[');
    EXPECT_EQ(json.out.substr(json.out.size() - 2), "]\n");
    // (A sanitizer build may append its report of suppressed leaks.)
    EXPECT_EQ(json.err.rfind(path("p.png") + "\n", 0), 0u) << json.err;
}

}  // namespace
