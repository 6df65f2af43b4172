// The raw line reader: arbitrary text read as `vexakelo ies --strict` reads it, uncanonicalised,
// through the guarded reader into a record whose arrays are then read end to end. Beside it the
// library's two buffer readers, the copying one and the in-place one the guard wraps, must hand
// out the same lines, the same characters and the same end.
//
// Both comparisons come from one pass: the record is read through a reader that moves the
// copying reader in step with the guarded one and compares them at every call, and once the
// record is read both are taken on to past their end. The readers are made once and reopened
// for each input, as a host reading many lamps would.
#include <cstdint>
#include <cstring>
#include <string>

#include "ies_support.h"
#include "photometry/ies_file.h"

namespace {

// Two past-end reads are enough to see both readers keep returning empty lines.
constexpr int kPastEndReads = 2;

class LockstepReader final : public ITextReader {
public:
    LockstepReader(ITextReader& plain, IESFile::GuardedReader& guarded)
        : plain_(plain), guarded_(guarded) {}

    bool open(const void* source) override {
        FUZZ_CHECK(plain_.open(source) && guarded_.open(source), "a buffer reader refused the text");
        length_ = std::strlen(static_cast<const char*>(source));
        lines_ = 0;
        pastEnd_ = 0;
        return true;
    }
    void close() override {
        plain_.close();
        guarded_.close();
    }
    bool isEof() override {
        const bool end = plain_.isEof();
        FUZZ_CHECK(end == guarded_.isEof(), "end differs after %zu lines", lines_);
        return end;
    }
    // The character under the cursor is compared before every line, whether or not the record
    // reader asks for it (reading it moves nothing).
    const char* readLine() override {
        const bool end = isEof();
        readChar();
        pastEnd_ += end ? 1 : 0;
        // The guarded reader may throw EndlessRead here; the copying reader has then read one
        // line more, which nothing compares any more.
        const char* a = plain_.readLine();
        const char* b = guarded_.readLine();
        FUZZ_CHECK(std::strcmp(a, b) == 0, "line %zu differs", lines_);
        FUZZ_CHECK(++lines_ <= length_ + static_cast<std::size_t>(pastEnd_),
                   "more lines than characters");
        return b;
    }
    signed char readChar() override {
        const signed char c = plain_.readChar();
        FUZZ_CHECK(c == guarded_.readChar(), "readChar differs after %zu lines", lines_);
        return c;
    }

    // Reads on to `kPastEndReads` lines past the end, comparing as before.
    void readPastEnd() {
        while (pastEnd_ < kPastEndReads) {
            readLine();
        }
    }

private:
    ITextReader& plain_;
    IESFile::GuardedReader& guarded_;
    std::size_t length_ = 0;
    std::size_t lines_ = 0;
    int pastEnd_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static ITextReader* const plain = IESFile::createBufferReader();
    static IESFile::GuardedReader guarded(IESFile::GuardedReader::Source::Buffer);
    static LockstepReader lockstep(*plain, guarded);

    const std::string text(reinterpret_cast<const char*>(data), size);
    IESFile file(&lockstep);
    bool endless = false;
    try {
        file.read(text.c_str());
    } catch (const IESFile::EndlessRead&) {
        FUZZ_CHECK(!guarded.failure().empty(), "an endless read left no reason");
        endless = true;
    }
    if (!endless) {
        // The guard allows far more than these few reads past the end.
        lockstep.readPastEnd();
    }
    lockstep.close();
    if (const IESFileData* d = file.data()) {
        volatile float sink = fuzz::touchRecord(*d);
        (void)sink;
    }
    fuzz::releaseTextures(file);
    return 0;
}
