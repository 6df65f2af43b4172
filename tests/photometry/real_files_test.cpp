// The real LM-63 files: every one reads through the canonicaliser with the counts and angle
// ranges its source lists; the canonical text gives the same record as the raw text wherever the
// raw text reads to completion; and through the plain file reader exactly the eight files
// that never finish are stopped by the guard.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "ies_test_util.h"

namespace {

namespace fs = std::filesystem;

struct RealFile {
    const char* name;
    int type;
    int nV, nH;
    float v0, vLast, h0, hLast;
    bool pathEnds;    // read(path) finishes on the raw file
    bool bufferEnds;  // read(buffer) finishes on the raw text
};

// clang-format off
const RealFile kFiles[] = {
    {"lm1986_erco_end_ctrlz_one_per_line.ies", 1, 19, 1, 0, 90, 0, 0, false, false},
    {"lm1986_erco_dash_labels_0_90.ies", 1, 73, 2, 0, 90, 0, 90, true, true},
    {"lm1986_report_header_trailing_tab.ies", 1, 37, 5, 0, 180, 0, 90, true, true},
    {"iesna91_split_lamp_line.ies", 1, 37, 1, 0, 90, 0, 0, false, false},
    {"iesna91_commas_one_per_line.ies", 1, 37, 5, 0, 90, 0, 90, false, false},
    {"iesna91_axial_36.ies", 1, 36, 1, 0, 90, 0, 0, true, true},
    {"iesna95_sccsid_line_0_90.ies", 1, 73, 5, 0, 180, 0, 90, true, true},
    {"lm95_leading_blanks_axial.ies", 1, 19, 1, 0, 90, 0, 0, true, true},
    {"lm95_long_line_504_axial.ies", 1, 73, 1, 0, 180, 0, 0, false, true},
    {"lm95_0_180_mult_nonuniform_v.ies", 1, 35, 35, 0, 180, 0, 180, true, true},
    {"lm95_vertical_0_180_axial.ies", 1, 37, 1, 0, 180, 0, 0, true, true},
    {"lm95_8lamps_0_90.ies", 1, 19, 5, 0, 90, 0, 90, true, true},
    {"lm95_lamp_line_split_5_5.ies", 1, 21, 5, 0, 180, 0, 90, false, false},
    {"lm95_h90_270.ies", 1, 37, 13, 0, 90, 90, 270, true, true},
    {"lm95_huge_263x361_crlf.ies", 1, 263, 361, 0, 180, 0, 360, true, true},
    {"lm02_tabs_0_180.ies", 1, 37, 73, 0, 90, 0, 180, true, true},
    {"lm02_0_180_crlf.ies", 1, 37, 73, 0, 90, 0, 180, true, true},
    {"lm02_axial_absolute_crlf.ies", 1, 37, 1, 0, 90, 0, 0, true, true},
    {"lm02_0_90_mult_crlf.ies", 1, 74, 12, 0, 180, 0, 90, true, true},
    {"lm02_0_360_crlf.ies", 1, 37, 25, 0, 180, 0, 360, true, true},
    {"lm02_roadway_199x38_crlf.ies", 1, 199, 38, 0, 180, 0, 180, true, true},
    {"lm02_typeB_0_90_crlf.ies", 2, 45, 23, -90, 90, 0, 90, true, true},
    {"lm02_typeB_m90_90_crlf.ies", 2, 45, 45, -90, 90, -90, 90, true, true},
    {"lm02_tabs_negative_lamps_0_355.ies", 1, 73, 72, 0, 180, 0, 355, true, true},
    {"lm02_single_line_1196_axial.ies", 1, 181, 1, 0, 180, 0, 0, false, true},
    {"lm02_long_lines_0_360.ies", 1, 181, 25, 0, 180, 0, 360, false, true},
    {"lm02_two_hangles_0_90.ies", 1, 181, 2, 0, 180, 0, 90, false, true},
    {"lm02_tilt_include_synthetic.ies", 1, 5, 1, 0, 90, 0, 0, true, true},
    {"lm95_synthetic_mult_crlf.ies", 1, 37, 1, 0, 90, 0, 0, true, true},
};
// clang-format on

// The project's own copy when the licence allowed one, else the shared test data.
fs::path locate(const char* name) {
    const fs::path local = fs::path(VEXAKELO_SOURCE_DIR) / "tests/data/ies" / name;
    if (fs::exists(local)) return local;
    return fs::path(VEXAKELO_SHARED_DIR) / "testdata/ies" / name;
}

std::string slurp(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

// The raw text of a CR LF file keeps "text \r" (the trim removes blanks only, and the CR is
// last); canonical text has "text", trimmed. Compare both as the canonical form.
std::string withoutCr(std::string s) {
    while (!s.empty() && (s.back() == '\r' || s.back() == ' ')) s.pop_back();
    return s;
}

void expectSameRecord(const IESFileData& a, const IESFileData& b, const char* name) {
    SCOPED_TRACE(name);
    EXPECT_EQ(a.version, b.version);
    EXPECT_EQ(a.hasTilt, b.hasTilt);
    EXPECT_EQ(a.lampCount, b.lampCount);
    EXPECT_EQ(a.lumensPerLamp, b.lumensPerLamp);
    EXPECT_EQ(a.candelaMultiplier, b.candelaMultiplier);
    EXPECT_EQ(a.verticalAngleCount, b.verticalAngleCount);
    EXPECT_EQ(a.horizontalAngleCount, b.horizontalAngleCount);
    EXPECT_EQ(a.photometricType, b.photometricType);
    EXPECT_EQ(a.unitsType, b.unitsType);
    EXPECT_EQ(a.width, b.width);
    EXPECT_EQ(a.length, b.length);
    EXPECT_EQ(a.height, b.height);
    EXPECT_EQ(a.ballastFactor, b.ballastFactor);
    EXPECT_EQ(a.ballastLampFactor, b.ballastLampFactor);
    EXPECT_EQ(a.inputWatts, b.inputWatts);
    EXPECT_EQ(a.symmetryMode, b.symmetryMode);
    EXPECT_EQ(a.maxCandela, b.maxCandela);
    ASSERT_EQ(a.keywords == nullptr, b.keywords == nullptr);
    for (int k = 0; a.keywords != nullptr && (a.keywords[k] || b.keywords[k]); ++k) {
        ASSERT_TRUE(a.keywords[k] && b.keywords[k]) << "keyword " << k;
        EXPECT_EQ(withoutCr(a.keywords[k]), withoutCr(b.keywords[k]));  // endings normalised
    }
    const int nV = a.verticalAngleCount, nH = a.horizontalAngleCount;
    ASSERT_TRUE(a.verticalAngles && b.verticalAngles && a.candelas && b.candelas);
    EXPECT_EQ(0, std::memcmp(a.verticalAngles, b.verticalAngles, sizeof(float) * nV));
    EXPECT_EQ(0, std::memcmp(a.horizontalAngles, b.horizontalAngles, sizeof(float) * nH));
    EXPECT_EQ(0, std::memcmp(a.candelas, b.candelas, sizeof(float) * nV * nH));
}

class RealFiles : public ::testing::TestWithParam<RealFile> {
protected:
    void SetUp() override {
        path_ = locate(GetParam().name);
        if (!fs::exists(path_)) GTEST_SKIP() << "test data not present: " << path_;
    }
    fs::path path_;
};

TEST_P(RealFiles, CanonicalTextReadsWithTheListedCountsAndRanges) {
    const RealFile& f = GetParam();
    const IESFile::Canonical canon = IESFile::canonicalize(slurp(path_));
    std::unique_ptr<iestest::Parsed> p;
    ASSERT_NO_THROW(p = iestest::parse(canon.text));
    const IESFileData& d = *p->file.data();
    EXPECT_EQ(d.photometricType, f.type);
    ASSERT_EQ(d.verticalAngleCount, f.nV);
    ASSERT_EQ(d.horizontalAngleCount, f.nH);
    EXPECT_EQ(d.verticalAngles[0], f.v0);
    EXPECT_EQ(d.verticalAngles[f.nV - 1], f.vLast);
    EXPECT_EQ(d.horizontalAngles[0], f.h0);
    EXPECT_EQ(d.horizontalAngles[f.nH - 1], f.hLast);
    EXPECT_GT(d.maxCandela, 0.0f);
    // Every canonical line fits the file reader's bound, so the text also reads from a file.
    std::istringstream lines(canon.text);
    for (std::string line; std::getline(lines, line);) {
        if (line.find("TILT=") != std::string::npos) break;  // header lines are kept as written
    }
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 255u);
}

TEST_P(RealFiles, CanonicalTextGivesTheRawRecordWhereTheRawTextFinishes) {
    const RealFile& f = GetParam();
    const std::string raw = slurp(path_);
    std::unique_ptr<iestest::Parsed> direct;
    if (!f.bufferEnds) {
        EXPECT_THROW(iestest::parse(raw), IESFile::EndlessRead);
        return;
    }
    ASSERT_NO_THROW(direct = iestest::parse(raw));
    const auto canon = iestest::parse(IESFile::canonicalize(raw).text);
    expectSameRecord(*direct->file.data(), *canon->file.data(), f.name);
}

TEST_P(RealFiles, FileReaderFinishesOrIsStoppedByTheGuard) {
    const RealFile& f = GetParam();
    IESFile::GuardedReader reader(IESFile::GuardedReader::Source::File);
    IESFile file(&reader);
    file.read(path_.wstring());  // the guard's exception is swallowed by read(path)
    EXPECT_EQ(file.data() != nullptr, f.pathEnds) << f.name;
}

INSTANTIATE_TEST_SUITE_P(Ies, RealFiles, ::testing::ValuesIn(kFiles),
                         [](const ::testing::TestParamInfo<RealFile>& info) {
                             std::string name = info.param.name;
                             name = name.substr(0, name.size() - 4);
                             return name;
                         });

TEST(Canonicaliser, ReportsWhatItChanged) {
    struct Row {
        const char* name;
        std::string text;
        std::uint32_t changes;
    };
    const std::string tail = "1 1 40\n0 90\n0\n7 8\n";
    const Row rows[] = {
        {"canonical", "TILT=NONE\n1 1000 1 2 1 1 2 0 0 0\n" + tail, 0},
        {"crlf", "TILT=NONE\r\n1 1000 1 2 1 1 2 0 0 0\r\n1 1 40\r\n0 90\r\n0\r\n7 8\r\n",
         IESFile::kLineEndings},
        {"tilt case", "tilt=none\n1 1000 1 2 1 1 2 0 0 0\n" + tail, IESFile::kTiltLine},
        {"split header", "TILT=NONE\n1 1000 1 2 1\n1 2 0 0 0\n" + tail, IESFile::kLuminaireJoined},
        {"commas", "TILT=NONE\n1 1000 1 2 1 1 2 0 0 0\n1,1,40\n0,90\n0\n7,8\n", IESFile::kCommas},
        {"ballast with angles", "TILT=NONE\n1 1000 1 2 1 1 2 0 0 0\n1 1 40 0 90\n0\n7 8\n",
         IESFile::kRegrouped},
        {"trailing", "TILT=NONE\n1 1000 1 2 1 1 2 0 0 0\n" + tail + "END\n\x1a",
         IESFile::kTrailingDropped},
        {"run together", "TILT=NONE\n1 1000 1 2 1 1 2 0 0 0\n1 1 40\n0 90\n0\n7.5.5\n",
         IESFile::kNumbersRewritten},
    };
    for (const Row& row : rows) {
        const IESFile::Canonical c = IESFile::canonicalize(row.text);
        EXPECT_EQ(c.changes, row.changes) << row.name << ": " << c.describe();
        ASSERT_NO_THROW(iestest::parse(c.text)) << row.name;
    }
    EXPECT_EQ(IESFile::canonicalize(rows[0].text).text, rows[0].text);
    EXPECT_EQ(IESFile::canonicalize(rows[6].text).droppedLines, 2);
    // Run-together numbers are split as a stream would read them: 7.5 and .5.
    const auto split = iestest::parse(IESFile::canonicalize(rows[7].text).text);
    EXPECT_EQ(split->file.data()->candelas[1], 0.5f);
}

TEST(Canonicaliser, RefusesWhatCannotBeRead) {
    struct Row {
        const char* text;
        const char* message;  // part of the error
    };
    const Row rows[] = {
        {"no tilt\n1 2 3\n", "no TILT= line"},
        {"TILT=NONE\n1 1000 1 2 1 1 2 0 0 0\n1 1 40\n0 90\n0\n7\n", "ends early"},
        {"TILT=NONE\n1 1000 1 2 1 1 2 0\n", "ends early"},
        {"TILT=NONE\n1 1000 1 0 1 1 2 0 0 0\n", "absurd angle counts"},
        {"TILT=NONE\n1 1000 1 100000 100000 1 2 0 0 0\n", "absurd angle counts"},
        {"TILT=NONE\n1 1000 1 2 1 1 2 0 0 0\n1 1 forty\n", "'forty' is not a number"},
        {"TILT=INCLUDE\n1\n-3\n", "absurd tilt pair count"},
    };
    for (const Row& row : rows) {
        try {
            IESFile::canonicalize(row.text);
            ADD_FAILURE() << "accepted: " << row.text;
        } catch (const IESFile::CanonicalError& e) {
            EXPECT_NE(std::string(e.what()).find(row.message), std::string::npos) << e.what();
        }
    }
}

TEST(Canonicaliser, KeepsTiltNumbersAndHeaderLines) {
    const std::string text =
        "IESNA:LM-63-1995\r\n[TEST] x\r\nTILT=INCLUDE\r\n1\r\n10\r\n"
        "0 10 20 30 40 50 60 70 80 90\r\n1 1 1 1 1 1 1 1 1 1\r\n"
        "1 1000 1 2 1 1 2 0 0 0\r\n1 1 40\r\n0 90\r\n0\r\n7 8\r\n";
    const auto c = IESFile::canonicalize(text);
    const auto p = iestest::parse(c.text);
    EXPECT_EQ(p->file.data()->version, 1995);
    EXPECT_STREQ(p->file.data()->keywords[0], "[TEST] x");
    EXPECT_EQ(p->file.data()->lumensPerLamp, 1000.0f);
    EXPECT_EQ(p->file.data()->maxCandela, 8.0f);
}

}  // namespace
