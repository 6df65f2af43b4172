// The raw line reader: arbitrary text read as `vexakelo ies --strict` reads it, uncanonicalised,
// through the guarded reader into a record whose arrays are then read end to end. Beside it the
// library's two buffer readers, the copying one and the in-place one the guard wraps, must hand
// out the same lines, the same characters and the same end.
#include <cstdint>
#include <cstring>
#include <string>

#include "ies_support.h"
#include "photometry/ies_file.h"

namespace {

// Two past-end reads are enough to see both readers keep returning empty lines.
constexpr int kPastEndReads = 2;

void compareReaders(const char* text) {
    ITextReader* plain = IESFile::createBufferReader();
    IESFile::GuardedReader guarded(IESFile::GuardedReader::Source::Buffer, kPastEndReads);
    FUZZ_CHECK(plain->open(text) && guarded.open(text), "a buffer reader refused the text");
    const std::size_t length = std::strlen(text);
    std::size_t lines = 0;
    int pastEnd = 0;
    while (pastEnd < kPastEndReads) {
        FUZZ_CHECK(plain->isEof() == guarded.isEof(), "end differs after %zu lines", lines);
        FUZZ_CHECK(plain->readChar() == guarded.readChar(), "readChar differs after %zu lines",
                   lines);
        if (plain->isEof()) ++pastEnd;
        const std::string a = plain->readLine();
        const std::string b = guarded.readLine();
        FUZZ_CHECK(a == b, "line %zu differs", lines);
        FUZZ_CHECK(++lines <= length + kPastEndReads, "more lines than characters");
    }
    plain->close();
    guarded.close();
    IESFile::releaseReader(plain);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    compareReaders(text.c_str());

    IESFile::GuardedReader reader(IESFile::GuardedReader::Source::Buffer);
    IESFile file(&reader);
    try {
        file.read(text.c_str());
    } catch (const IESFile::EndlessRead&) {
        FUZZ_CHECK(!reader.failure().empty(), "an endless read left no reason");
    }
    if (const IESFileData* d = file.data()) {
        volatile float sink = fuzz::touchRecord(*d);
        (void)sink;
    }
    fuzz::releaseTextures(file);
    return 0;
}
