// The command line as a newcomer meets it: option values that make no sense are refused naming
// them (status 2), a mistyped command gets the nearest name, global options may follow the
// command, and the smaller promises: render --check, numbers in list --json, named lobes and
// non-finite warnings in material, defaults in --help.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "helpers/cli_fixture.h"

namespace {

namespace fs = std::filesystem;

using clitest::SplitResult;

const std::string kScene = VEXAKELO_SOURCE_DIR "/scenes/simple.json";

class OptionsCli : public clitest::CliTest {
protected:
    OptionsCli() : CliTest("vexakelo_options_cli") {}

    SplitResult run(const std::string& arguments) {
        return clitest::runSplit(arguments, directory_);
    }
};

bool oneLine(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n') == 1 && text.back() == '\n';
}

TEST_F(OptionsCli, ValuesThatMakeNoSenseAreRefusedNamingThem) {
    struct Row {
        std::string arguments;
        std::string message;
    };
    // Appended rather than `" " + path(...)`, which g++ 12 misreads as an overlapping copy.
    const std::string png = std::string(" ").append(path("out.png"));
    const Row rows[] = {
        {"sky --sun 1,2 --exposure nan" + png, "--exposure: 'nan' is not a finite number above 0"},
        {"sky --sun 1,2 --exposure inf" + png, "'inf' is not a finite number above 0"},
        {"sky --sun 1,2 --exposure -1" + png, "'-1' is not a finite number above 0"},
        {"sky --sun 1,2 --exposure 0" + png, "'0' is not a finite number above 0"},
        {"sky --sun 1,2 --haze 1e30" + png, "--haze: '1e30' is not a finite number from 0 to 30"},
        {"sky --sun 1,2 --haze -1" + png, "'-1' is not a finite number from 0 to 30"},
        {"landscape --percentage 2" + png, "--percentage: '2' is not a finite number from 0 to 1"},
        {"landscape --percentage -1" + png, "'-1' is not a finite number from 0 to 1"},
        {"landscape --roughness -100" + png, "--roughness: '-100' is not a finite number"},
        {"landscape --roughness 1e30" + png, "'1e30' is not a finite number from 0 to 10"},
        {"landscape --seed 2147483648" + png,
         "--seed: '2147483648' is not a whole number from -2147483648 to 2147483647"},
        {"landscape --seed 1.5" + png, "'1.5' is not a whole number"},
        // Found by the cli_numbers fuzz target: CLI11 read a leading 0 as octal (010 became 8),
        // an exposure past a float's range arrived as infinity or 0, and a line break in a value
        // broke the one-line message.
        {"landscape --seed 010" + png,
         "--seed: '010' is not a whole number from -2147483648 to 2147483647 (write it without "
         "leading zeros)"},
        {"render " + kScene + " -o" + png + " --seed 08",
         "'08' is not a whole number from 0 to 2^64-1 (write it without leading zeros)"},
        {"sky --sun 1,2 --exposure 1e39" + png,
         "--exposure: '1e39' is not a finite number above 0 (1.4013e-45 to 3.40282e+38)"},
        {"sky --sun 1,2 --exposure 1e-50" + png, "'1e-50' is not a finite number above 0 ("},
        {"landscape --percentage '0\n5'" + png,
         "--percentage: '0\\x0a5' is not a finite number from 0 to 1"},
        // A seed is a whole number the renderer can hold: no wrap-around, no 300-digit range.
        {"render " + kScene + " -o" + png + " --seed -1",
         "--seed: '-1' is not a whole number from 0 to 2^64-1"},
        {"render " + kScene + " -o" + png + " --seed 18446744073709551616",
         "'18446744073709551616' is not a whole number from 0 to 2^64-1"},
        {"gallery -o" + png + " --seed 1e3", "'1e3' is not a whole number"},
        {"material vexa_kelo_Mtl_Mirror --seed 4294967296",
         "'4294967296' is not a whole number from 0 to 4294967295"},
        {"render " + kScene + " --check --max-texture-pixels 0",
         "--max-texture-pixels: '0' is not a whole number from 1"},
        // Wrong in itself, whatever the files hold.
        {"render " + kScene + " --size 0x5 -o" + png, "--size: '0x5' is not WIDTHxHEIGHT"},
        {"sky --sun 10,95" + png, "--sun: elevation 95 lies outside -90 to 90 degrees"},
        {"render -o" + png, "render: a scene file is needed (or --gallery)"},
        {"kelvin --scale 2", "kelvin: give a temperature in kelvin, or --swatch OUT.png"},
        {"ies " + kScene + " " + kScene + " --plot" + png,
         "--web, --cdf, --plot and --apply-tilt take exactly one FILE"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.arguments);
        const SplitResult r = run(row.arguments);
        EXPECT_EQ(r.status, 2);
        EXPECT_NE(r.err.find(row.message), std::string::npos) << r.err;
        EXPECT_TRUE(oneLine(r.err)) << r.err;
        EXPECT_LT(r.err.size(), 200u) << r.err;
        EXPECT_FALSE(fs::exists(path("out.png")));
    }
    // The ends of the ranges are values like any other.
    for (const std::string& good :
         {"landscape --percentage 0" + png, "landscape --percentage 1 --roughness 10" + png,
          "render " + kScene + " --check --seed 18446744073709551615",
          "landscape --seed -2147483648" + png}) {
        SCOPED_TRACE(good);
        const SplitResult r = run(good);
        EXPECT_EQ(r.status, 0) << r.err;
    }
    // Haze past the turbidities the sky model was fitted for is drawn, with a warning.
    const SplitResult hazy = run("sky --sun 1,2 --size 8 --haze 20" + png);
    EXPECT_EQ(hazy.status, 0) << hazy.err;
    EXPECT_NE(hazy.err.find("warning: --haze 20: the sky model is fitted for haze 0 to 8"),
              std::string::npos)
        << hazy.err;
}

TEST_F(OptionsCli, KelvinSaysWhichWayTheColourIsLost) {
    const SplitResult hot = run("kelvin 1e30");
    EXPECT_EQ(hot.status, 1);
    EXPECT_NE(hot.err.find("overflows"), std::string::npos) << hot.err;
    const SplitResult cold = run("kelvin 40");
    EXPECT_EQ(cold.status, 1);
    EXPECT_NE(cold.err.find("underflows"), std::string::npos) << cold.err;
}

TEST_F(OptionsCli, APlotNeedsAPositiveCandelaMultiplier) {
    // One vertical plane: 0, 45, 90 degrees at 100 cd, multiplier -1.
    const std::string lamp = path("negative.ies");
    std::ofstream(lamp) << "IESNA:LM-63-2002\nTILT=NONE\n1 1000 -1 3 1 1 2 0 0 0\n1 1 40\n"
                           "0 45 90\n0\n100 100 100\n";
    const SplitResult plot = run("ies " + lamp + " --plot " + path("p.png"));
    EXPECT_EQ(plot.status, 1);
    EXPECT_NE(plot.err.find("candela multiplier -1 makes every intensity 0 or negative"),
              std::string::npos)
        << plot.err;
    EXPECT_TRUE(oneLine(plot.err)) << plot.err;
    EXPECT_EQ(plot.out, "") << "nothing printed before the refusal";
    EXPECT_FALSE(fs::exists(path("p.png")));
    // Reading it is fine, with a warning.
    const SplitResult summary = run("ies " + lamp);
    EXPECT_EQ(summary.status, 0);
    EXPECT_NE(summary.err.find("warning: " + lamp + ": candela multiplier -1"), std::string::npos)
        << summary.err;
}

TEST_F(OptionsCli, AMistypedCommandGetsTheNearestName) {
    const struct {
        const char* typed;
        const char* line;
    } rows[] = {
        {"rendr x.json", "unknown command 'rendr' (did you mean 'render'?) (see --help)"},
        {"galery", "unknown command 'galery' (did you mean 'gallery'?) (see --help)"},
        {"lsit", "unknown command 'lsit' (did you mean 'list'?) (see --help)"},
        {"--library /nowhere.so kelvn 6500",
         "unknown command 'kelvn' (did you mean 'kelvin'?) (see --help)"},
        {"photograph", "unknown command 'photograph' (see --help)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.typed);
        const SplitResult r = run(row.typed);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.err, std::string("vexakelo: ") + row.line + "\n");
    }
}

TEST_F(OptionsCli, GlobalOptionsMayFollowTheCommand) {
    const std::string library =
        (fs::path(VEXAKELO_CLI).parent_path().parent_path() / "lib" / "libvexakelo.so").string();
    const SplitResult before = run("--library " + library + " list");
    ASSERT_EQ(before.status, 0) << before.err;
    const SplitResult after = run("list --library " + library);
    EXPECT_EQ(after.status, 0) << after.err;
    EXPECT_EQ(after.out, before.out);
    // Taken as the library to load, not refused as an unknown option.
    const SplitResult missing =
        run("material vexa_kelo_Mtl_Mirror --samples 1 --library " + path("none.so"));
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("none.so"), std::string::npos) << missing.err;
}

TEST_F(OptionsCli, RenderCheckLoadsTheSceneAndWritesNothing) {
    const SplitResult ok = run("render --check " + kScene);
    ASSERT_EQ(ok.status, 0) << ok.err;
    EXPECT_EQ(ok.out.rfind(kScene + ": ok, ", 0), 0u) << ok.out;
    EXPECT_NE(ok.out.find("4 objects, 2 lights"), std::string::npos) << ok.out;

    const std::string bad = path("bad.json");
    std::ofstream(bad) << R"({"environment": {"shader": "Nope"}})";
    const SplitResult refused = run("render --check " + bad);
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err.rfind("vexakelo: " + bad + ": environment.shader: unknown shader 'Nope'",
                                0),
              0u)
        << refused.err;
    EXPECT_TRUE(oneLine(refused.err)) << refused.err;

    // The limits are the loader's: a texture over the pixel limit is named with it.
    const SplitResult limited = run("render --check " VEXAKELO_SOURCE_DIR
                                    "/scenes/textured.json --max-texture-pixels 100");
    EXPECT_EQ(limited.status, 1);
    EXPECT_NE(limited.err.find("more than the limit of 100"), std::string::npos) << limited.err;

    const SplitResult withOutput = run("render --check " + kScene + " -o " + path("x.png"));
    EXPECT_EQ(withOutput.status, 2);
    EXPECT_NE(withOutput.err.find("writes no image"), std::string::npos) << withOutput.err;
    EXPECT_FALSE(fs::exists(path("x.png")));
}

TEST_F(OptionsCli, ListJsonGivesDefaultsAsNumbersAndArrays) {
    const SplitResult r = run("list --json");
    ASSERT_EQ(r.status, 0) << r.err;
    const nlohmann::json list = nlohmann::json::parse(r.out);
    const auto parameter = [&](const std::string& shader, const std::string& name) {
        for (const auto& s : list["shaders"]) {
            if (s["name"] != shader) continue;
            for (const auto& p : s["parameters"]) {
                if (p["name"] == name) return p["default"];
            }
        }
        ADD_FAILURE() << shader << " " << name << " not listed";
        return nlohmann::json();
    };
    EXPECT_EQ(parameter("vexa_kelo_Env_Sky", "sun_direction"), nlohmann::json({0, 0, 1}));
    EXPECT_EQ(parameter("vexa_kelo_Env_Sky", "ground_color"), nlohmann::json({0.2, 0.2, 0.2, 1}));
    EXPECT_EQ(parameter("vexa_kelo_Env_Sky", "haze"), nlohmann::json(0.0));
    EXPECT_TRUE(parameter("vexa_kelo_Env_Sky", "haze").is_number_float());
    EXPECT_EQ(parameter("vexa_kelo_Mtl_Dielectric", "u_transmittanceMapEnable"),
              nlohmann::json(false));
    const nlohmann::json mode = parameter("vexa_kelo_Mtl_Dielectric", "u_procedureMapEnable");
    EXPECT_TRUE(mode.is_number_integer()) << mode;
    EXPECT_EQ(parameter("vexa_kelo_Mtl_Dielectric", "u_transmittanceTransform").size(), 9u);
    EXPECT_TRUE(parameter("vexa_kelo_Mtl_Dielectric", "u_transmittanceMap").is_null());
}

TEST_F(OptionsCli, MaterialNamesLobesAndSaysWhenValuesAreNotFinite) {
    const SplitResult mirror = run("material vexa_kelo_Mtl_Mirror --samples 10");
    ASSERT_EQ(mirror.status, 0) << mirror.err;
    EXPECT_NE(mirror.out.find("lobe  4 (mirror reflection):"), std::string::npos) << mirror.out;
    EXPECT_EQ(mirror.err, "");
    const SplitResult glass = run("material vexa_kelo_Mtl_Dielectric --samples 10");
    EXPECT_NE(glass.out.find("lobe 32 (specular):"), std::string::npos) << glass.out;

    // A Glazing of no panes divides by zero as contracted: still probed, and said so.
    const SplitResult glazing = run("material vexa_kelo_Mtl_Glazing --set u_level=0 --samples 10");
    EXPECT_EQ(glazing.status, 0) << glazing.err;
    EXPECT_NE(glazing.err.find("warning: vexa_kelo_Mtl_Glazing: shade gives "), std::string::npos)
        << glazing.err;
    EXPECT_NE(glazing.err.find("nan"), std::string::npos) << glazing.err;
    EXPECT_NE(glazing.err.find("shadow gives -inf -inf -inf with u_level=0"), std::string::npos)
        << glazing.err;
}

TEST_F(OptionsCli, HelpGivesTheDefaults) {
    const SplitResult gallery = run("gallery --help");
    EXPECT_NE(gallery.out.find("=256"), std::string::npos) << gallery.out;  // --tile
    EXPECT_NE(gallery.out.find("samples per pixel (default 16)"), std::string::npos);
    const SplitResult ocean = run("ocean --help");
    for (const char* value : {"=4,3", "=0.0005", "=9.81", "=0.001", "=0 "}) {
        EXPECT_NE(ocean.out.find(value), std::string::npos) << value << "\n" << ocean.out;
    }
    const SplitResult sky = run("sky --help");
    EXPECT_NE(sky.out.find("OUT_latlong"), std::string::npos) << sky.out;
    const SplitResult ies = run("ies --help");
    EXPECT_NE(ies.out.find("OUT.png beside it"), std::string::npos) << ies.out;
}

}  // namespace

// The parameter reference in docs/ is generated from the declarations; a shader whose table
// changed without the page being regenerated would leave hosts reading stale offsets.
TEST_F(OptionsCli, ParameterReferenceMatchesTheDeclarations) {
    const SplitResult r = run("list --markdown");
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string committed =
        clitest::readFile(fs::path(VEXAKELO_SOURCE_DIR) / "docs" / "parameters.md");
    EXPECT_EQ(r.out, committed) << "regenerate it: vexakelo list --markdown > docs/parameters.md";
}
