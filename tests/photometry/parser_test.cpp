// The section-parser chain: editions, keywords, TILT forms, the luminaire header, angle and
// candela sections, the endings that finish and the one that does not, and the symmetry mode.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "ies_test_util.h"

namespace {

using iestest::parse;

const char* const kBody =
    "1 1000 1 3 2 1 2 0 0 0\n"
    "1 1 40\n"
    "0 45 90\n"
    "0 90\n"
    "100 50 10\n"
    "120 60 20\n";

TEST(IESParser, Editions) {
    struct Row {
        const char* header;
        int version;
    };
    const Row rows[] = {
        {"IESNA:LM-63-1995\n", 1995},
        {"iesna:lm-63-1991\n", 1991},
        {"IESNA91\n", 1986},  // names no year: the text decides
        {"IESNA:LM-63-2002\n", 1986},
        {"", 1986},
        {"IESNA:LM-63-1991\nIESNA:LM-63-1995\n", 1995},  // the last header line counts
    };
    for (const Row& row : rows) {
        const auto p = parse(std::string(row.header) + "TILT=NONE\n" + kBody);
        ASSERT_NE(p->file.data(), nullptr) << row.header;
        EXPECT_EQ(p->file.data()->version, row.version) << row.header;
    }
}

TEST(IESParser, ReadsTheRecordOfACanonicalFile) {
    const auto p = parse(std::string("IESNA:LM-63-1995\nTILT=NONE\n") + kBody);
    const IESFileData& d = *p->file.data();
    EXPECT_EQ(d.lampCount, 1);
    EXPECT_EQ(d.lumensPerLamp, 1000.0f);
    EXPECT_EQ(d.verticalAngleCount, 3);
    EXPECT_EQ(d.horizontalAngleCount, 2);
    EXPECT_EQ(d.photometricType, 1);
    EXPECT_EQ(d.unitsType, 2);
    EXPECT_EQ(d.inputWatts, 40.0f);
    EXPECT_FALSE(d.hasTilt);
    EXPECT_EQ(d.reservedA, -1);
    ASSERT_NE(d.candelas, nullptr);
    // Row h holds the nV values of horizontal angle h.
    const float expected[] = {100, 50, 10, 120, 60, 20};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(d.candelas[i], expected[i]) << i;
    EXPECT_EQ(d.maxCandela, 120.0f);
    EXPECT_EQ(d.horizontalAngles[1], 90.0f);
}

TEST(IESParser, KeywordsEndAtTheFirstOtherLineAndTheCountStaysZero) {
    const auto three = parse(std::string("IESNA:LM-63-1995\n[A] 1\n[B] 2\n[C] 3\nTILT=NONE\n") + kBody);
    const IESFileData& d = *three->file.data();
    ASSERT_NE(d.keywords, nullptr);
    EXPECT_STREQ(d.keywords[0], "[A] 1");
    EXPECT_STREQ(d.keywords[2], "[C] 3");
    EXPECT_EQ(d.keywords[3], nullptr);
    EXPECT_EQ(d.keywordCount, 0);  // Deliberate: never written

    const auto gap = parse(std::string("IESNA:LM-63-1995\n[A] 1\n\n[B] 2\nTILT=NONE\n") + kBody);
    EXPECT_STREQ(gap->file.data()->keywords[0], "[A] 1");
    EXPECT_EQ(gap->file.data()->keywords[1], nullptr);  // [B] fell to the contents part
    EXPECT_EQ(gap->file.data()->verticalAngleCount, 3);
}

TEST(IESParser, TiltForms) {
    struct Row {
        const char* name;
        std::string tilt;
        int nV;  // vertical count that ends up in the record
    };
    const Row rows[] = {
        {"none", "TILT=NONE\n", 3},
        // Ten tilt numbers on one line: recognised, they are counted; missed, they would be the
        // luminaire line.
        {"lower case include", "tilt=include\n1\n5\n0 10 20 30 40 50 60 70 80 90\n", 3},
        // The pair count must stand on the second line; the 2N numbers may wrap anyhow.
        {"numbers spread over lines", "TILT=INCLUDE\n1\n3\n0 45\n90 1\n0.5\n0.2\n", 3},
        // With CR LF the value is "INCLUDE\r": not recognised, no numbers are expected, and
        // the tilt lines fall to the contents part, which drops them.
        {"include with carriage return", "TILT=INCLUDE\r\n1\r\n2\r\n0 90\r\n1 1\r\n", 3},
    };
    for (const Row& row : rows) {
        const auto p = parse("IESNA:LM-63-1995\n" + row.tilt + kBody);
        EXPECT_EQ(p->file.data()->verticalAngleCount, row.nV) << row.name;
        EXPECT_FALSE(p->file.data()->hasTilt) << row.name;
    }
    // Unrecognised, a tilt line that holds exactly ten numbers is taken for the luminaire line.
    const auto mistaken = parse(
        "TILT=INCLUDE\r\n1\r\n10\r\n0 5 10 3 2 1 2 0 0 0\r\n1 1 40\r\n0 45 90\r\n0 90\r\n"
        "100 50 10\r\n120 60 20\r\n");
    EXPECT_EQ(mistaken->file.data()->lampCount, 0);
    EXPECT_EQ(mistaken->file.data()->lumensPerLamp, 5.0f);
    EXPECT_EQ(mistaken->file.data()->candelaMultiplier, 10.0f);
    EXPECT_EQ(mistaken->file.data()->candelas[3], 120.0f);
}

TEST(IESParser, NumberExtractionStopsAtTheFirstFailure) {
    struct Row {
        const char* verticals;
        std::vector<float> angles;  // the first three vertical angles in the record
    };
    const Row rows[] = {
        {"0 45 90", {0, 45, 90}},
        {"0\t45  90 ", {0, 45, 90}},
        {"0 45.5.5", {0, 45.5f, 0.5f}},      // "45.5.5" reads as 45.5 then .5
        {"0 45 90 135 180", {0, 45, 90}},    // surplus numbers are dropped
        {"0,45\n45\n90", {0, 45, 90}},       // a comma ends the line's numbers after 0
        {"0 1e999 7\n45\n90", {0, 45, 90}},  // overflow fails the extraction
    };
    for (const Row& row : rows) {
        const auto p = parse(std::string("TILT=NONE\n1 1000 1 3 2 1 2 0 0 0\n1 1 40\n") +
                             row.verticals + "\n0 90\n1 2 3\n4 5 6\n");
        const IESFileData& d = *p->file.data();
        ASSERT_NE(d.verticalAngles, nullptr) << row.verticals;
        for (int i = 0; i < 3; ++i) EXPECT_FLOAT_EQ(d.verticalAngles[i], row.angles[i]) << row.verticals;
        EXPECT_EQ(d.candelas[5], 6.0f) << row.verticals;
    }
}

TEST(IESParser, LuminaireHeaderNeedsExactlyTenNumbers) {
    // Labels and a nine-number line are dropped until the ten-number line.
    const auto p = parse(std::string("TILT=NONE\nsome label\n1 2 3 4 5 6 7 8 9\n") + kBody);
    EXPECT_EQ(p->file.data()->verticalAngleCount, 3);
    // "0,5" yields 0 and stops: ten numbers in all.
    const auto comma = parse(
        "TILT=NONE\n1 1000 1 3 2 1 2 0 0 0,5\n1 1 40\n0 45 90\n0 90\n1 2 3\n4 5 6\n");
    EXPECT_EQ(comma->file.data()->height, 0.0f);
    EXPECT_EQ(comma->file.data()->horizontalAngleCount, 2);
}

TEST(IESParser, SurplusCandelasAreNotStored) {
    const auto p = parse(
        "TILT=NONE\n1 1000 1 3 2 1 2 0 0 0\n1 1 40\n0 45 90\n0 90\n1 2 3 4 5 6 9999\n");
    EXPECT_EQ(p->file.data()->maxCandela, 6.0f);
}

TEST(IESParser, MaxCandelaOfANonPositiveGridIsZero) {
    const auto p = parse(
        "TILT=NONE\n1 1000 1 3 2 1 2 0 0 0\n1 1 40\n0 45 90\n0 90\n-1 0 -3\n-4 -5 0\n");
    EXPECT_EQ(p->file.data()->maxCandela, 0.0f);
}

TEST(IESParser, TwoEndingsFinishAndOneDoesNot) {
    const std::string body = std::string("TILT=NONE\n") + kBody;
    const std::string noNewline = body.substr(0, body.size() - 1);
    EXPECT_NO_THROW(parse(noNewline));
    EXPECT_NO_THROW(parse(body));
    EXPECT_NO_THROW(parse(body + "END\n"));
    // In memory the end is tested again once the contents part lets go, which is after the
    // second further line; with a third, the symmetry part takes every line and the end is
    // never tested again.
    EXPECT_NO_THROW(parse(body + "END\nmore\n"));
    EXPECT_THROW(parse(body + "END\nmore\nthird\n"), IESFile::EndlessRead);
    // From a file the end is only seen when a read hits it: two further lines never finish.
    const auto path = std::filesystem::temp_directory_path() / "vexakelo_photometry_two_more.ies";
    std::ofstream(path, std::ios::binary) << body << "END\nmore\n";
    IESFile::GuardedReader reader(IESFile::GuardedReader::Source::File);
    IESFile file(&reader);
    file.read(path.wstring());
    EXPECT_EQ(file.data(), nullptr);
}

TEST(IESParser, WithoutALuminaireLineTheRecordKeepsItsFreshValues) {
    // One line after the tilt line: the end is seen before the contents part runs.
    const auto p = parse("IESNA:LM-63-1995\nTILT=NONE\nno header here\n");
    const IESFileData& d = *p->file.data();
    EXPECT_EQ(d.version, 1995);
    EXPECT_EQ(d.verticalAngleCount, 1);
    EXPECT_EQ(d.horizontalAngleCount, 1);
    EXPECT_EQ(d.verticalAngles, nullptr);
    EXPECT_EQ(d.candelas, nullptr);
    EXPECT_EQ(d.inputWatts, 50.0f);
    EXPECT_EQ(d.symmetryMode, 0);  // no horizontal angles to derive it from
    EXPECT_EQ(p->file.sampleIntensity(0.0, 0.0), 0.0f);
}

TEST(IESParser, IncompleteFilesNeverEnd) {
    const char* const texts[] = {
        "TILT=NONE\nno header here\nstill none\n",                       // no luminaire line
        "TILT=NONE\n1 1000 1 3 2\n1 2 1 0 0 0\n1 1 40\n0 45 90\n",       // header over two lines
        "TILT=NONE\n1 1000 1 3 2 1 2 0 0 0\n1 1 40\n0 45 90\n0 90\n1 2\n",  // candelas short
        "TILT=INCLUDE\n1\n-3\n",  // the tilt count runs negative and never reaches 0
    };
    for (const char* text : texts) {
        EXPECT_THROW(parse(text), IESFile::EndlessRead) << text;
    }
}

TEST(IESParser, ReadPathSwallowsTheEndlessReadAndLeavesNoRecord) {
    const auto path = std::filesystem::temp_directory_path() / "vexakelo_photometry_split.ies";
    std::ofstream(path, std::ios::binary) << "TILT=NONE\n1 1000 1 3 2\n1 2 1 0 0 0\n";
    IESFile::GuardedReader reader(IESFile::GuardedReader::Source::File);
    IESFile file(&reader);
    file.read(path.wstring());
    EXPECT_EQ(file.data(), nullptr);
    EXPECT_GT(reader.pastEndReads(), IESFile::GuardedReader::kDefaultPastEndBudget);
}

TEST(IESParser, ReadPathOfAGoodFile) {
    const auto path = std::filesystem::temp_directory_path() / "vexakelo_photometry_good.ies";
    std::ofstream(path, std::ios::binary) << "IESNA:LM-63-1995\r\nTILT=NONE\r\n" << kBody;
    IESFile file;
    file.read(path.wstring());
    ASSERT_NE(file.data(), nullptr);
    EXPECT_EQ(file.data()->version, 1995);
    EXPECT_EQ(file.data()->candelas[3], 120.0f);
}

TEST(IESParser, SymmetryModes) {
    struct Row {
        int type;
        std::vector<float> h;
        int mode;
    };
    const Row rows[] = {
        {1, {0, 90, 180}, 1},   {1, {0, 45, 90}, 2},       {1, {0}, 3},
        {1, {0, 360}, 3},       {1, {0, 90, 180, 270, 360}, 0},
        {1, {90, 180, 270}, 1}, {1, {0, 355}, 0},
        {2, {0, 45, 90}, 1},    {2, {-90, -45, 0}, 1},     {2, {-90, 0, 90}, 0},
        {3, {0, 90}, 1},        {2, {0}, 0},
    };
    for (const Row& row : rows) {
        const auto p = parse(iestest::lamp({0, 90}, row.h, [](int, int) { return 1.0f; }, row.type));
        EXPECT_EQ(p->file.data()->symmetryMode, row.mode)
            << "type " << row.type << " " << iestest::join(row.h);
    }
}

TEST(IESParser, ASecondReadReappliesTheFirstReadsParts) {
    iestest::Parsed p;
    p.file.read((std::string("TILT=NONE\n") + kBody).c_str());
    p.file.read("TILT=NONE\n1 1000 1 2 1 1 2 0 0 0\n1 1 40\n0 90\n0\n7 8\n");
    EXPECT_EQ(p.file.data()->verticalAngleCount, 3);
    EXPECT_EQ(p.file.data()->maxCandela, 120.0f);
}

TEST(IESParser, CopiesAreDeepAndIndependent) {
    auto p = parse(std::string("IESNA:LM-63-1995\n[K] v\nTILT=NONE\n") + kBody);
    IESFile copy(p->file);
    IESFile assigned;
    assigned = p->file;
    p.reset();
    for (const IESFile* f : {&copy, &assigned}) {
        ASSERT_NE(f->data(), nullptr);
        EXPECT_EQ(f->data()->candelas[3], 120.0f);
        EXPECT_STREQ(f->data()->keywords[0], "[K] v");
        EXPECT_EQ(f->data()->symmetryMode, 2);
    }
    // The copy starts with fresh parts: it reads a new text completely.
    copy.read("TILT=NONE\n1 1000 1 2 1 1 2 0 0 0\n1 1 40\n0 90\n0\n7 8\n");
    EXPECT_EQ(copy.data()->maxCandela, 8.0f);
}

}  // namespace
