// Inputs the fuzz targets found, one table per reader stage, each kept as a row with the property
// it broke. The minimised input is written out literally, so a row reads as the file it was.
#include <gtest/gtest.h>

#include <string>

#include "ies_test_util.h"

namespace {

// Canonicaliser: every text it accepts must read to the end through the guarded reader and give
// a complete record; every text it cannot bring into that shape must be refused.
TEST(FuzzRegressions, CanonicalTextsReadToTheEndOrAreRefused) {
    struct Row {
        const char* name;
        std::string text;
    };
    const Row rows[] = {
        // A failed extraction that ate a character ('+', '.') after a number: the word was taken
        // whole, written unchanged, and the reader's stream stopped inside the luminaire line.
        {"sign after a number", "TILT=\n0 5 0\r1 2 0+\n0 0 0 0 0 0 0\n0 0\n0\n0\n0"},
        {"point after a number",
         "TILT=NONE\n1 1000 1 1 1 1 2 0 0 1.2.\n1 1 40\n0\n0\n5\n"},
        {"minus after a number", "TILT=NONE\n1 1000 1 1 1 1 2 0 0 0\n1 1 40-\n0\n0\n5\n"},
        // A label line before TILT that the reader's stream reads as ten numbers: past the header
        // and keyword runs the reader takes it for the luminaire line and never finishes.
        {"ten-number label line",
         ".8.1\t3\t5\t3\t3\t2\t0 0 1\nTILT=\n0 0 0\n1 1\n0 0\n0 0\n0 0 0\n0 0\n0 0"},
        {"ten-number line after a keyword",
         "IESNA:LM-63-1995\n[TEST] x\n1 2 3 4 5 6 7 8 9 10\nTILT=NONE\n"
         "1 1000 1 1 1 1 2 0 0 0\n1 1 40\n0\n0\n5\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        IESFile::Canonical canonical;
        try {
            canonical = IESFile::canonicalize(row.text);
        } catch (const IESFile::CanonicalError&) {
            continue;
        }
        std::unique_ptr<iestest::Parsed> p;
        ASSERT_NO_THROW(p = iestest::parse(canonical.text)) << canonical.text;
        ASSERT_NE(p->file.data(), nullptr);
        EXPECT_NE(p->file.data()->candelas, nullptr);
    }
}

// Lines the header and keyword runs take stay, however many numbers they hold; a free label line
// of ten numbers goes, and the change is reported.
TEST(FuzzRegressions, OnlyLabelLinesTheReaderWouldMistakeAreDropped) {
    const std::string body = "TILT=NONE\n1 1000 1 1 1 1 2 0 0 0\n1 1 40\n0\n0\n5\n";
    const std::string kept = "IESNA 1 2 3 4 5 6 7 8 9 10\n[KEY] 1 2 3 4 5 6 7 8 9 10\nlabel 1 2\n";
    const IESFile::Canonical c = IESFile::canonicalize(kept + "1 2 3 4 5 6 7 8 9 10\n" + body);
    EXPECT_EQ(c.text.substr(0, kept.size()), kept);
    EXPECT_EQ(c.text.substr(kept.size(), 9), "TILT=NONE");
    EXPECT_TRUE(c.changes & IESFile::kLabelsDropped);
    EXPECT_FALSE(IESFile::canonicalize(kept + body).changes & IESFile::kLabelsDropped);
}

// The words the fix refuses are refused with the word named; run-together numbers that a stream
// reads whole are still split.
TEST(FuzzRegressions, CanonicaliserNamesTheWordItCannotRead) {
    const std::string lamp = "TILT=NONE\n1 1000 1 1 1 1 2 0 0 WORD\n1 1 40\n0\n0\n5\n";
    for (const char* word : {"0+", "1.2.", "7-"}) {
        std::string text = lamp;
        text.replace(text.find("WORD"), 4, word);
        try {
            IESFile::canonicalize(text);
            ADD_FAILURE() << word << " was accepted";
        } catch (const IESFile::CanonicalError& e) {
            EXPECT_NE(std::string(e.what()).find(std::string("'") + word + "'"),
                      std::string::npos)
                << e.what();
        }
    }
    std::string split = lamp;
    split.replace(split.find("WORD"), 4, "0.5.5");
    const auto p = iestest::parse(IESFile::canonicalize(split).text);
    ASSERT_NE(p->file.data(), nullptr);
}

}  // namespace
