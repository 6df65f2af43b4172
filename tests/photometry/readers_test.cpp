// The line readers, seen through IESFile::GuardedReader, which reads exactly as the plain
// readers do until its past-the-end budget runs out.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "photometry/ies_file.h"

namespace {

using Guarded = IESFile::GuardedReader;

std::filesystem::path scratchFile(const std::string& name, const std::string& bytes) {
    const auto dir = std::filesystem::temp_directory_path() / "vexakelo_photometry_readers";
    std::filesystem::create_directories(dir);
    const auto path = dir / name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

std::vector<std::string> lines(ITextReader& reader, int count) {
    std::vector<std::string> out;
    for (int i = 0; i < count; ++i) {
        out.emplace_back(reader.readLine());
    }
    return out;
}

TEST(BufferReader, LinesEndOnlyAtLineFeed) {
    struct Row {
        const char* text;
        std::vector<std::string> expected;  // the next three lines
        int eofAfter;                       // lines read before isEof turns true
    };
    const Row rows[] = {
        {"a\nb", {"a", "b", ""}, 2},
        {"a\n", {"a", "", ""}, 1},
        {"x\r\ny", {"x\r", "y", ""}, 2},  // the carriage return stays in the line
        {"", {"", "", ""}, 0},
        {"\n\n", {"", "", ""}, 2},
    };
    for (const Row& row : rows) {
        Guarded reader(Guarded::Source::Buffer);
        ASSERT_TRUE(reader.open(row.text));
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(reader.isEof(), i >= row.eofAfter) << row.text << " before line " << i;
            EXPECT_EQ(reader.readLine(), row.expected[static_cast<std::size_t>(i)])
                << row.text << " line " << i;
        }
    }
}

TEST(BufferReader, ReadCharPeeksAndOpenRewinds) {
    Guarded reader(Guarded::Source::Buffer);
    reader.open("ab\ncd");
    EXPECT_EQ(reader.readChar(), 'a');
    EXPECT_EQ(reader.readChar(), 'a');  // does not advance
    EXPECT_STREQ(reader.readLine(), "ab");
    EXPECT_EQ(reader.readChar(), 'c');
    reader.open("zz");
    EXPECT_STREQ(reader.readLine(), "zz");
}

// The plain readers a host reaches through IESFile's factories read as the parser reads: by
// lines, from a copy of a text or from a file, and are released through the same class.
TEST(PlainReaders, FactoriesGiveTheLibrarysReaders) {
    ITextReader* buffer = IESFile::createBufferReader();
    const std::string text = "IESNA:LM-63-1995\r\nTILT=NONE\nlast";
    ASSERT_TRUE(buffer->open(text.c_str()));
    EXPECT_EQ(lines(*buffer, 3), (std::vector<std::string>{"IESNA:LM-63-1995\r", "TILT=NONE", "last"}));
    EXPECT_TRUE(buffer->isEof());
    IESFile::releaseReader(buffer);

    const auto path = scratchFile("plain.ies", "first\r\nsecond\n");
    ITextReader* file = IESFile::createFileReader();
    ASSERT_TRUE(file->open(path.wstring().c_str()));
    // The file reader reads in text mode: the CR before the line-feed goes.
    EXPECT_EQ(lines(*file, 2), (std::vector<std::string>{"first", "second"}));
    file->close();
    IESFile::releaseReader(file);
}

TEST(GuardedReader, ThrowsAfterItsPastEndBudget) {
    Guarded reader(Guarded::Source::Buffer, 3);
    reader.open("only\n");
    EXPECT_STREQ(reader.readLine(), "only");
    for (int i = 0; i < 3; ++i) {
        EXPECT_STREQ(reader.readLine(), "");
    }
    EXPECT_EQ(reader.pastEndReads(), 3);
    EXPECT_THROW(reader.readLine(), IESFile::EndlessRead);
}

TEST(STLTextReader, TextModeAndTheLineBound) {
    const std::string l255(255, 'k');
    const std::string l300 = std::string(255, 'a') + std::string(45, 'b');
    struct Row {
        const char* name;
        std::string bytes;
        std::vector<std::string> expected;  // four lines
        bool eofAtEnd;
    };
    const Row rows[] = {
        {"crlf", "x\r\ny\r\n", {"x", "y", "", ""}, true},
        {"lone_cr", "x\ry\n", {"x\ry", "", "", ""}, true},
        // A CR before LF goes before the bound applies: 255 characters then CR LF read whole.
        {"l255_crlf", l255 + "\r\nnext\r\n", {l255, "next", "", ""}, true},
        // Longer than 255: cut, then the stream is failed: empty lines, end never reported.
        {"l300", l300 + "\nafter\n", {std::string(255, 'a'), "", "", ""}, false},
        {"no_final_newline", "a\nb", {"a", "b", "", ""}, true},
        {"ctrl_z", "a\n\x1a", {"a", "\x1a", "", ""}, true},
    };
    for (const Row& row : rows) {
        const auto path = scratchFile(std::string(row.name) + ".txt", row.bytes);
        Guarded reader(Guarded::Source::File);
        ASSERT_TRUE(reader.open(path.wstring().c_str())) << row.name;
        EXPECT_EQ(lines(reader, 4), row.expected) << row.name;
        EXPECT_EQ(reader.isEof(), row.eofAtEnd) << row.name;
        reader.close();
    }
}

TEST(STLTextReader, OpenKeepsTheFirstFile) {
    const auto first = scratchFile("first.txt", "one\ntwo\n");
    const auto second = scratchFile("second.txt", "other\n");
    Guarded reader(Guarded::Source::File);
    ASSERT_TRUE(reader.open(first.wstring().c_str()));
    EXPECT_STREQ(reader.readLine(), "one");
    EXPECT_FALSE(reader.open(second.wstring().c_str()));
    EXPECT_TRUE(reader.open(first.wstring().c_str()));  // same path: no reopen, no rewind
    EXPECT_STREQ(reader.readLine(), "two");
    reader.close();
    EXPECT_FALSE(reader.open(L"/nonexistent/vexakelo/lamp.ies"));
}

TEST(STLTextReader, WidePathsReachTheFileSystemAsUtf8) {
    const auto path = scratchFile("lampe_\xc3\xa9t\xc3\xa9.ies", "wide\n");
    const std::string dir = path.parent_path().string();  // ASCII
    const std::wstring wide = std::wstring(dir.begin(), dir.end()) + L"/lampe_\u00e9t\u00e9.ies";
    Guarded reader(Guarded::Source::File);
    ASSERT_TRUE(reader.open(wide.c_str()));
    EXPECT_STREQ(reader.readLine(), "wide");
}

TEST(STLTextReader, FileThatCannotBeOpenedNeverEnds) {
    Guarded reader(Guarded::Source::File, 5);
    EXPECT_FALSE(reader.open(L"/nonexistent/vexakelo/lamp.ies"));
    EXPECT_FALSE(reader.isEof());
    EXPECT_THROW(
        {
            for (int i = 0; i < 10; ++i) reader.readLine();
        },
        IESFile::EndlessRead);
}

}  // namespace
