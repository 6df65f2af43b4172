// Number extraction reads exactly as `std::istringstream >> float` does: the parser's result is
// compared, bit for bit, with a stream run on the same line (tricky forms and random lines).
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <sstream>

#include "ies_test_util.h"

namespace {

std::vector<float> streamNumbers(const std::string& line) {
    std::vector<float> out;
    std::istringstream in(line);
    float v = 0.0f;
    while (in >> v) out.push_back(v);
    return out;
}

// The line as the vertical angle list of a file that expects exactly as many angles as the
// stream extracts; the record then holds what the parser extracted.
void expectSameAsStream(const std::string& line) {
    const std::vector<float> expected = streamNumbers(line);
    if (expected.empty()) return;
    std::unique_ptr<iestest::Parsed> p;
    std::string rows;
    for (std::size_t i = 0; i < expected.size(); ++i) rows += "1 ";
    ASSERT_NO_THROW(p = iestest::parse("TILT=NONE\n1 1000 1 " + std::to_string(expected.size()) +
                                       " 1 1 2 0 0 0\n1 1 40\n" + line + "\n0\n" + rows + "\n"))
        << line;
    const IESFileData& d = *p->file.data();
    ASSERT_NE(d.verticalAngles, nullptr) << line;
    ASSERT_EQ(d.verticalAngleCount, static_cast<int>(expected.size())) << line;
    EXPECT_EQ(0, std::memcmp(d.verticalAngles, expected.data(), sizeof(float) * expected.size()))
        << line;
}

TEST(NumberExtraction, TrickyFormsReadAsTheStreamReadsThem) {
    const char* const lines[] = {
        "0 45 90",        "1.2.3",         "5e 7",          "0x1A 3",        "1e39 2",
        "1e-46 2",        "3.4028235e38",  "3.4028236e38",  "-3.5e38 1",     "1e-38 1e-45",
        "-0 0",           ".5 5.",         "+5 -5",         "00012 0.000",   "1.5e 2",
        "1e+ 2",          "12abc 4",       "1,5 6",         "\t7\v8\f9\r",   "1e5.5",
        "2.5E+3 2.5e-3",  "- 1",           ". 1",           "1.e3",          ".e3",
        "0.1 0.2 0.3 0.30000001",          "123456789012345678901234567890 1",
        "0.000000000000000000000000000000000000000000001401298464324817",
    };
    for (const char* line : lines) expectSameAsStream(line);
}

TEST(NumberExtraction, RandomLinesReadAsTheStreamReadsThem) {
    constexpr unsigned kSeed = 20261121;
    constexpr int kLines = 3000;
    const std::string alphabet = "0123456789000111.....--++eeE  \t,x";
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<int> length(1, 24);
    std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
    for (int i = 0; i < kLines; ++i) {
        std::string line;
        for (int n = length(random); n > 0; --n) line.push_back(alphabet[pick(random)]);
        expectSameAsStream(line);
    }
}

}  // namespace
