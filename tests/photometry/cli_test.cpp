// `vexakelo ies`: summaries, JSON, errors as one line with a non-zero exit, --strict on the files
// that never finish, and the image outputs. Runs the built program; skips when it is absent.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "image_io.h"
#include "ies_test_util.h"

namespace {

namespace fs = std::filesystem;

struct Outcome {
    int status = -1;
    std::string out, err;
};

class IesCli : public ::testing::Test {
protected:
    void SetUp() override {
        cli_ = VEXAKELO_CLI;
        if (cli_.empty() || !fs::exists(cli_)) GTEST_SKIP() << "the vexakelo program is not built";
        dir_ = fs::temp_directory_path() / ("vexakelo_ies_cli_" + std::to_string(::getpid()));
        fs::create_directories(dir_);
    }
    void TearDown() override {
        std::error_code error;
        if (!dir_.empty()) fs::remove_all(dir_, error);
    }

    // The program under a deadline (timeout exits 124), so a read that hangs fails the test.
    Outcome run(const std::string& args) {
        const fs::path out = dir_ / "stdout", err = dir_ / "stderr";
        const std::string command = "timeout 20 '" + cli_ + "' ies " + args + " >'" +
                                    out.string() + "' 2>'" + err.string() + "'";
        Outcome r;
        const int raw = std::system(command.c_str());
        r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        r.out = slurp(out);
        r.err = slurp(err);
        return r;
    }
    static std::string slurp(const fs::path& p) {
        std::ifstream in(p, std::ios::binary);
        std::ostringstream s;
        s << in.rdbuf();
        return s.str();
    }
    static std::string data(const char* name) {
        return (fs::path(VEXAKELO_SOURCE_DIR) / "tests/data/ies" / name).string();
    }

    fs::path write(const char* name, const std::string& text) {
        const fs::path path = dir_ / name;
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    // The number after `key` in the output, NaN when absent.
    static double after(const std::string& text, const std::string& key, std::size_t from = 0) {
        const std::size_t at = text.find(key, from);
        return at == std::string::npos ? NAN : std::strtod(text.c_str() + at + key.size(), nullptr);
    }

    std::string cli_;
    fs::path dir_;
};

// V 0, 45, 90 and H 0, 90, 180 at 100 cd, with tilt factors 1 at 0 degrees and 0.5 at 90.
std::string tiltedLamp(int geometry) {
    return "IESNA:LM-63-2002\n[TEST] tilt\nTILT=INCLUDE\n" + std::to_string(geometry) +
           "\n2\n0 90\n1 0.5\n1 1000 1 3 3 1 2 0 0 0\n1 1 40\n0 45 90\n0 90 180\n"
           "100 100 100\n100 100 100\n100 100 100\n";
}

TEST_F(IesCli, SummaryNamesWhatTheFileHolds) {
    const Outcome r = run(data("lm95_8lamps_0_90.ies"));
    EXPECT_EQ(r.status, 0) << r.err;
    for (const char* expected :
         {"canonical: unchanged", "edition 1995", "photometric type C (1)", "lamps 8 x 5000 lm",
          "vertical angles   19: 0 .. 90", "horizontal angles 5: 0 .. 90",
          "symmetry 2 (double (quadrant))", "maximum candela 19267", "keywords 7",
          "[LAMPCAT] FP54T5HO/835"}) {
        EXPECT_NE(r.out.find(expected), std::string::npos) << expected << "\n" << r.out;
    }
}

TEST_F(IesCli, SaysWhatTheCanonicaliserChanged) {
    const Outcome r = run(data("iesna91_commas_one_per_line.ies"));
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("canonical: luminaire numbers joined onto one line, commas read as "
                         "separators"),
              std::string::npos)
        << r.out;
}

TEST_F(IesCli, JsonForEveryFileAndErrorsInline) {
    const Outcome r = run("--json " + data("lm1986_erco_dash_labels_0_90.ies") + " " +
                      (dir_ / "missing.ies").string());
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("\"verticalAngles\": {\"count\": 73, \"first\": 0, \"last\": 90}"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("\"ok\": false, \"error\": \"no such file\""), std::string::npos);
    EXPECT_NE(r.err.find("1 of 2 files could not be read"), std::string::npos) << r.err;
}

TEST_F(IesCli, BadFilesGiveOneLineAndANonZeroExit) {
    struct Row {
        const char* name;
        std::string bytes;
        const char* message;
    };
    const Row rows[] = {
        {"empty.ies", "", "no TILT= line"},
        {"short.ies", "TILT=NONE\n1 1000 1 3 2 1 2 0 0 0\n1 1 40\n0 45\n", "ends early"},
        {"absurd.ies", "TILT=NONE\n1 1000 1 99999 99999 1 2 0 0 0\n", "absurd angle counts"},
        {"binary.ies", std::string("TILT=NONE\n\0\xff\xfe garbage", 21), "is not a number"},
        // Wv = 1 − 2·trunc(−180/999) = 1: the library would divide by zero for the step.
        {"wide.ies", "TILT=NONE\n1 1000 1 2 1 1 2 0 0 0\n1 1 40\n1 1000\n0\n5 6\n",
         "vertical angles 1 .. 1000 give a web texture side of 1 (the web light needs 2 to 4097)"},
    };
    for (const Row& row : rows) {
        const fs::path path = dir_ / row.name;
        std::ofstream(path, std::ios::binary) << row.bytes;
        const fs::path web = dir_ / "web.exr";
        const Outcome r = run(path.string() + " --web " + web.string());
        EXPECT_EQ(r.status, 1) << row.name;
        EXPECT_EQ(r.err.find("vexakelo: " + path.string() + ": "), 0u) << r.err;
        EXPECT_NE(r.err.find(row.message), std::string::npos) << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        EXPECT_FALSE(fs::exists(web)) << row.name;
    }
}

TEST_F(IesCli, StrictReportsTheFilesThatNeverFinish) {
    const char* const endless[] = {
        "lm1986_erco_end_ctrlz_one_per_line.ies", "iesna91_split_lamp_line.ies",
        "iesna91_commas_one_per_line.ies",        "lm95_long_line_504_axial.ies",
        "lm02_single_line_1196_axial.ies",        "lm02_long_lines_0_360.ies",
        "lm02_two_hangles_0_90.ies",
    };
    for (const char* name : endless) {
        const Outcome r = run("--strict " + data(name));
        EXPECT_EQ(r.status, 1) << name;
        EXPECT_NE(r.err.find("the read never finishes"), std::string::npos) << name << r.err;
    }
    const fs::path shared = fs::path(VEXAKELO_SHARED_DIR) / "testdata/ies/lm95_lamp_line_split_5_5.ies";
    if (fs::exists(shared)) {
        EXPECT_NE(run("--strict " + shared.string()).err.find("never finishes"), std::string::npos);
    }
    const Outcome good = run("--strict " + data("lm95_8lamps_0_90.ies"));
    EXPECT_EQ(good.status, 0) << good.err;
    EXPECT_NE(good.out.find("--strict"), std::string::npos);
}

TEST_F(IesCli, WritesWebCdfAndPlot) {
    // V 0..90 step 5 (19) → Wv = 73; H 0..90 (5) → Hh = 1 + 2·trunc(360·4/90) = 33.
    const fs::path web = dir_ / "web.exr", cdf = dir_ / "cdf.exr", plot = dir_ / "plot.png";
    const Outcome r = run(data("lm95_8lamps_0_90.ies") + " --web " + web.string() + " --cdf " +
                      cdf.string() + " --plot " + plot.string());
    ASSERT_EQ(r.status, 0) << r.err;
    const vkimage::Image w = vkimage::readImage(web.string());
    EXPECT_EQ(w.width, 73);
    EXPECT_EQ(w.height, 33);
    float largest = 0.0f;
    for (const auto& p : w.pixels) largest = std::max(largest, p.x);
    // Normalised by the measured peak; the cubic interpolation between grid angles may rise a
    // little above it (1.00043 for this lamp, between 5 and 10 degrees).
    EXPECT_LE(largest, 1.001f);
    EXPECT_GT(largest, 0.9f);
    EXPECT_TRUE(fs::exists(dir_ / "web.png"));
    const vkimage::Image c = vkimage::readImage(cdf.string());
    EXPECT_EQ(c.width, 73);
    EXPECT_EQ(c.height, 33);
    const vkimage::Image p = vkimage::readImage(plot.string());
    EXPECT_EQ(p.width, 800);
}

}  // namespace

namespace {

TEST_F(IesCli, TiltIsReportedAndBakedInByGeometry) {
    // The factor at tilt angle τ is 1 − τ/180 (linear between 0 → 1 and 90 → 0.5), so 45° gives
    // 75 cd and 90° gives 50 cd. Geometry 1 tilts with θ in every plane; geometry 2 with the
    // projection onto the 0-180 plane (φ = 90 sees no tilt, its horizontal direction included);
    // geometry 3 onto the 90-270 plane (φ = 0 and 180 see none).
    const float expected[3][3][3] = {
        // [geometry][h: φ = 0, 90, 180][v: θ = 0, 45, 90]
        {{100, 75, 50}, {100, 75, 50}, {100, 75, 50}},
        {{100, 75, 50}, {100, 100, 100}, {100, 75, 50}},
        {{100, 100, 100}, {100, 75, 50}, {100, 100, 100}},
    };
    for (int geometry = 1; geometry <= 3; ++geometry) {
        SCOPED_TRACE(geometry);
        const fs::path lamp = write("tilted.ies", tiltedLamp(geometry));
        const Outcome summary = run(lamp.string());
        EXPECT_EQ(summary.status, 0) << summary.err;
        EXPECT_NE(summary.out.find("tilt INCLUDE, geometry " + std::to_string(geometry)),
                  std::string::npos) << summary.out;
        EXPECT_NE(summary.out.find("factors 0.5 .. 1; the web light ignores tilt"),
                  std::string::npos) << summary.out;

        const fs::path out = dir_ / "baked.ies";
        const Outcome baked = run(lamp.string() + " --apply-tilt " + out.string());
        ASSERT_EQ(baked.status, 0) << baked.err;
        const auto canonical = IESFile::canonicalize(slurp(out));
        EXPECT_NE(canonical.text.find("\nTILT=NONE\n"), std::string::npos);
        const auto p = iestest::parse(canonical.text);
        const IESFileData& d = *p->file.data();
        ASSERT_EQ(d.verticalAngleCount * d.horizontalAngleCount, 9);
        for (int h = 0; h < 3; ++h) {
            for (int v = 0; v < 3; ++v) {
                EXPECT_NEAR(d.candelas[h * 3 + v], expected[geometry - 1][h][v], 1e-4)
                    << "h " << h << " v " << v;
            }
        }
    }
    const fs::path odd = write("odd.ies", tiltedLamp(4));
    const Outcome refused = run(odd.string() + " --apply-tilt " + (dir_ / "x.ies").string());
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("geometry 4 is not 1, 2 or 3"), std::string::npos) << refused.err;
    EXPECT_FALSE(fs::exists(dir_ / "x.ies"));

    const fs::path shared = fs::path(VEXAKELO_SHARED_DIR) / "testdata/ies/lm02_tilt_include_synthetic.ies";
    if (fs::exists(shared)) {
        const Outcome r = run(shared.string());
        EXPECT_NE(r.out.find("geometry 1 (lamp vertical, base up or down), 4 angles 0 .. 180, "
                             "factors 0.800000012 .. 1"),
                  std::string::npos) << r.out;
    }
}

TEST_F(IesCli, NamedTiltFileThatCannotBeReadIsAWarning) {
    const fs::path lamp = write("named.ies", "IESNA:LM-63-2002\nTILT=lamp.tlt\n"
                                             "1 1000 1 2 1 1 2 0 0 0\n1 1 40\n0 90\n0\n5 6\n");
    const Outcome missing = run(lamp.string());
    EXPECT_EQ(missing.status, 0) << missing.err;
    EXPECT_EQ(missing.err, "vexakelo: warning: " + lamp.string() + ": tilt file " +
                               (dir_ / "lamp.tlt").string() + ": no such file; tilt ignored\n");
    write("lamp.tlt", "3\n2\n0 90\n1 word\n");
    EXPECT_NE(run(lamp.string()).err.find("'word' in the tilt data is not a number"),
              std::string::npos);
    write("lamp.tlt", "3\n2\n0 90\n1 0.5\n");
    const Outcome read = run(lamp.string());
    EXPECT_TRUE(read.err.empty()) << read.err;
    EXPECT_NE(read.out.find("geometry 3 (lamp horizontal along the 90-270 degree plane)"),
              std::string::npos) << read.out;
}

TEST_F(IesCli, GridAndFluxAgainstTheRatedLumens) {
    // The candela table as the file gives it.
    const Outcome csv = run("--grid " + data("lm95_8lamps_0_90.ies"));
    EXPECT_EQ(csv.status, 0) << csv.err;
    EXPECT_EQ(csv.out.find("vertical\\horizontal,0,22.5,45,67.5,90\n0,19229,19229,19229,19229,19229\n"
                           "5,19192,19239,19140,19168,19182\n"),
              0u) << csv.out.substr(0, 200);
    EXPECT_EQ(std::count(csv.out.begin(), csv.out.end(), '\n'), 20);  // header + 19 angles

    // 1000 cd in every direction: 4π·1000 = 12566.37 lm; the first zone 2π·1000·(1 − cos 10°)
    // = 95.4557 lm, the zone from 80° to 90° 2π·1000·cos 80° = 1091.06 lm.
    auto isotropic = [](int lumens) {
        std::string text = iestest::lamp(iestest::steps(0, 180, 10), {0, 90, 180, 270, 360},
                                         [](int, int) { return 1000.0f; });
        const std::string rated = "\n1 1000 1 ";
        return text.replace(text.find(rated), rated.size(),
                            "\n1 " + std::to_string(lumens) + " 1 ");
    };
    const fs::path matching = write("iso.ies", isotropic(12566));
    const Outcome json = run("--json --grid " + matching.string());
    ASSERT_EQ(json.status, 0) << json.err;
    EXPECT_NEAR(after(json.out, "\"flux\": {\"computed\": true, \"lumens\": "), 12566.37, 0.05);
    EXPECT_NEAR(after(json.out, "{\"from\": 0, \"to\": 10, \"lumens\": "), 95.4557, 1e-3);
    EXPECT_NEAR(after(json.out, "{\"from\": 80, \"to\": 90, \"lumens\": "), 1091.06, 1e-2);
    EXPECT_NE(json.out.find("\"ratedLumens\": 12566, \"differsFromRated\": false"),
              std::string::npos) << json.out;
    EXPECT_NE(json.out.find("\"grid\": {\"vertical\": [0, 10, 20,"), std::string::npos);
    EXPECT_NE(json.out.find("\"candela\": [[1000, 1000,"), std::string::npos);

    const Outcome off = run(write("iso2.ies", isotropic(11000)).string());
    EXPECT_NE(off.out.find("rated 1 x 11000 = 11000 lm, grid/rated 114.2 % -- differs by more "
                           "than 5 %"),
              std::string::npos) << off.out;
}

}  // namespace
