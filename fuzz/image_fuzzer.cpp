// The image readers as the tools call them: bytes in memory to linear RGBA, PNG through stb, JPEG
// through libjpeg-turbo, EXR through OpenEXR, told apart by their first bytes, under a byte limit
// and a pixel limit that is checked against the header before anything is decoded. Anything wrong
// must end as one ImageError; an image that loads has the size it says and stays within the
// limits.
#include <cstdint>
#include <string>

#include "fuzz_check.h"
#include "image_io.h"

namespace {

vkimage::ImageLimits fuzzLimits() {
    vkimage::ImageLimits limits;
    limits.bytes = 256 << 10;
    limits.pixels = 256 * 256;
    return limits;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const vkimage::ImageLimits limits = fuzzLimits();
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    vkimage::Image image;
    try {
        image = vkimage::readImageFromMemory(bytes, "fuzz.img", limits);
    } catch (const vkimage::ImageError&) {
        return 0;
    }
    FUZZ_CHECK(image.width > 0 && image.height > 0, "an image of %d x %d", image.width,
               image.height);
    const std::uint64_t pixels = static_cast<std::uint64_t>(image.width) * image.height;
    FUZZ_CHECK(pixels <= limits.pixels, "%d x %d is past the pixel limit", image.width,
               image.height);
    FUZZ_CHECK(image.pixels.size() == pixels, "%zu pixels for %d x %d", image.pixels.size(),
               image.width, image.height);
    return 0;
}
