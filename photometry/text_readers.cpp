#include "photometry/text_readers.h"

#include <cstring>

bool BufferReader::open(const void* source) {
    text.assign(static_cast<const char*>(source));
    cursor = text.begin();
    position = 0;
    return true;
}

const char* BufferReader::readLine() {
    line.clear();
    while (cursor != text.end()) {
        const char byte = text[static_cast<std::size_t>(position)];
        ++cursor;
        ++position;
        if (byte == '\n') {
            break;
        }
        line.push_back(byte);
    }
    return line.c_str();
}

bool InPlaceBufferReader::open(const void* source) {
    text = static_cast<const char*>(source);
    size = std::strlen(text);
    position = 0;
    return true;
}

const char* InPlaceBufferReader::readLine() {
    const char* start = text + position;
    const char* end = text + size;
    const char* stop = static_cast<const char*>(std::memchr(start, '\n', size - position));
    line.assign(start, stop != nullptr ? stop : end);
    position = stop != nullptr ? static_cast<std::size_t>(stop - text) + 1 : size;
    return line.c_str();
}

signed char BufferReader::readChar() {
    // Deliberate: reads the byte at the cursor without advancing (the terminating zero at the end).
    return static_cast<signed char>(text.c_str()[static_cast<std::size_t>(position)]);
}

std::string narrowPath(const std::wstring& path) {
    std::string out;
    out.reserve(path.size());
    for (const wchar_t wide : path) {
        auto c = static_cast<std::uint32_t>(wide);
        if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
            c = 0xFFFD;
        }
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else if (c < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (c >> 6)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else if (c < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (c >> 12)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (c >> 18)));
            out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
    }
    return out;
}

bool STLTextReader::open(const void* source) {
    const std::wstring requested(static_cast<const wchar_t*>(source));
    if (stream.is_open()) {
        // Nothing is reopened: the same path is fine, a different one is refused.
        return requested == path;
    }
    // Binary at the OS level; readLine does the text-mode translation itself, identically on
    // every platform.
    stream.clear();
    stream.open(narrowPath(requested), std::ios::in | std::ios::binary);
    if (!stream.is_open()) {
        return false;
    }
    path = requested;
    return true;
}

void STLTextReader::close() {
    stream.close();
    path.clear();
}

// A bounded line read into a 256-byte buffer: end of file, then the delimiter, then the bound
// are tested in that order for every character, as the stream's getline does. A CR directly
// before LF counts as the LF (text mode), before the bound applies.
const char* STLTextReader::readLine() {
    line.clear();
    std::istream::sentry sentry(stream, true);
    if (!sentry) {
        stream.setstate(std::ios::failbit);
        return line.c_str();
    }
    std::streambuf* buffer = stream.rdbuf();
    using Traits = std::char_traits<char>;
    bool extracted = false;
    std::ios::iostate state = std::ios::goodbit;
    for (;;) {
        const int c = buffer->sgetc();
        if (Traits::eq_int_type(c, Traits::eof())) {
            state |= std::ios::eofbit;
            break;
        }
        if (c == '\n') {
            buffer->sbumpc();
            extracted = true;
            break;
        }
        if (c == '\r') {
            buffer->sbumpc();
            if (buffer->sgetc() == '\n') {
                buffer->sbumpc();
                extracted = true;
                break;
            }
            if (static_cast<int>(line.size()) >= kLineBufferSize - 1) {
                buffer->sungetc();  // a lone CR past the bound stays in the stream
                state |= std::ios::failbit;
                break;
            }
            line.push_back('\r');
            extracted = true;
            continue;
        }
        if (static_cast<int>(line.size()) >= kLineBufferSize - 1) {
            state |= std::ios::failbit;
            break;
        }
        buffer->sbumpc();
        line.push_back(static_cast<char>(c));
        extracted = true;
    }
    if (!extracted) {
        state |= std::ios::failbit;
    }
    if (state != std::ios::goodbit) {
        stream.setstate(state);
    }
    return line.c_str();
}

signed char STLTextReader::readChar() {
    return static_cast<signed char>(stream.get());
}

ITextReader* IESFile::createFileReader() {
    return new STLTextReader();
}

ITextReader* IESFile::createBufferReader() {
    return new BufferReader();
}

void IESFile::releaseReader(ITextReader* reader) {
    // The two concrete readers the factories above make; anything else is not ours to free.
    if (auto* file = dynamic_cast<STLTextReader*>(reader); file != nullptr) {
        delete file;
    } else if (auto* buffer = dynamic_cast<BufferReader*>(reader); buffer != nullptr) {
        delete buffer;
    }
}
