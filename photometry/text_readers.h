// The library's two line readers: BufferReader over a text held in memory, STLTextReader over a
// file. Internal to the library; hosts reach them through IESFile (and IESFile::GuardedReader).
#pragma once

#include <cstdint>
#include <fstream>
#include <string>

#include "photometry/ies_file.h"

// Reads a zero-terminated text of its own. Only the line-feed ends a line: a carriage return
// stays in the line.
class BufferReader final : public ITextReader {
public:
    bool open(const void* source) override;
    void close() override {}
    bool isEof() override { return cursor == text.end(); }
    const char* readLine() override;
    signed char readChar() override;

private:
    std::string text;
    std::string::const_iterator cursor = text.end();
    std::int32_t position = 0;
    std::string line;
};

// Reads a file named by a wide path as a text-mode stream does: a carriage return right before a
// line-feed is dropped, a line is at most 255 characters, and a longer one comes back cut and
// leaves the stream failed (every later line empty, the end never reported).
// Reads a zero-terminated text where it lies, as BufferReader reads its copy: same lines, same end,
// same readChar. The text must outlive the reads (the guarded reader's buffer mode, whose caller
// holds the text for the whole read; a copy would double the memory of a large file).
class InPlaceBufferReader final : public ITextReader {
public:
    bool open(const void* source) override;
    void close() override {}
    bool isEof() override { return position == size; }
    const char* readLine() override;
    signed char readChar() override { return static_cast<signed char>(text[position]); }

private:
    const char* text = "";
    std::size_t size = 0;
    std::size_t position = 0;
    std::string line;
};

class STLTextReader final : public ITextReader {
public:
    static constexpr int kLineBufferSize = 256;

    bool open(const void* source) override;
    void close() override;
    bool isEof() override { return stream.eof(); }
    const char* readLine() override;
    signed char readChar() override;

    // The stream failed or reached its end: every further line is empty.
    bool exhausted() const { return stream.fail() || stream.eof(); }

private:
    std::ifstream stream;
    std::wstring path;
    std::string line;
};

// The platform's narrow encoding of a wide path (UTF-8 on Linux).
std::string narrowPath(const std::wstring& path);
