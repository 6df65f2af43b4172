// The canonicaliser: arbitrary text either refused with a CanonicalError or rewritten into a text
// the guarded line reader reads to its end, and rewriting that text again changes nothing.
#include <cstdint>
#include <string>

#include "ies_support.h"
#include "photometry/ies_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    IESFile::Canonical canonical;
    try {
        canonical = IESFile::canonicalize(text);
    } catch (const IESFile::CanonicalError&) {
        return 0;
    }
    FUZZ_CHECK(!canonical.text.empty() && canonical.text.back() == '\n',
               "the canonical text does not end with a line-feed");
    FUZZ_CHECK(canonical.text.find('\r') == std::string::npos ||
                   canonical.text.find("\r\n") == std::string::npos,
               "CR LF endings survived");
    volatile std::size_t described = canonical.describe().size();
    (void)described;

    // Made once and reopened for each input, as a host reading many lamps would.
    static IESFile::GuardedReader reader(IESFile::GuardedReader::Source::Buffer);
    IESFile file(&reader);
    try {
        file.read(canonical.text.c_str());
    } catch (const IESFile::EndlessRead& e) {
        FUZZ_CHECK(false, "the canonical text never finishes: %s", e.what());
    }
    const IESFileData* d = file.data();
    FUZZ_CHECK(d != nullptr && d->candelas != nullptr && d->verticalAngles != nullptr &&
                   d->horizontalAngles != nullptr,
               "the canonical text gives no complete record");
    volatile float sink = fuzz::touchRecord(*d);
    (void)sink;
    fuzz::releaseTextures(file);

    // A text that came back unchanged is its own canonical form already: canonicalising it
    // again is the call just made.
    if (canonical.text == text) {
        return 0;
    }
    IESFile::Canonical again;
    try {
        again = IESFile::canonicalize(canonical.text);
    } catch (const IESFile::CanonicalError& e) {
        FUZZ_CHECK(false, "the canonical text is refused: %s", e.what());
    }
    FUZZ_CHECK(again.text == canonical.text, "canonicalising twice changes the text");
    return 0;
}
