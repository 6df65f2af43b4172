// Reading and writing images for the host tools: linear float RGBA in memory, PNG (sRGB,
// tone-mapped) and OpenEXR (linear half or float) on disk. Writers never leave a half-written
// file: they write beside the target and rename.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "vyr/types.h"

namespace vkimage {

struct ImageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Image {
    int width = 0;
    int height = 0;
    std::vector<vyr::Vec4f> pixels;  // linear RGBA, rows top to bottom

    Image() = default;
    Image(int w, int h, vyr::Vec4f fill = {0.0f, 0.0f, 0.0f, 1.0f})
        : width(w), height(h), pixels(static_cast<std::size_t>(w) * h, fill) {}
    vyr::Vec4f& at(int x, int y) { return pixels[static_cast<std::size_t>(y) * width + x]; }
    const vyr::Vec4f& at(int x, int y) const {
        return pixels[static_cast<std::size_t>(y) * width + x];
    }
};

enum class ToneMap {
    Clamp,   // linear values clamped to [0, 1], then sRGB encoded
    Filmic,  // exposure-scaled, then a smooth shoulder (x / (1 + x) on luminance), sRGB encoded
};

// Linear [0, 1] to the sRGB-encoded 8-bit value.
unsigned char linearToSrgb8(float linear);
float srgb8ToLinear(unsigned char encoded);

// Writes by extension: .png (tone-mapped, 8-bit sRGB) or .exr (linear float).
void writeImage(const std::string& path, const Image& image, ToneMap toneMap = ToneMap::Clamp,
                float exposure = 1.0f);
void writePng(const std::string& path, const Image& image, ToneMap toneMap = ToneMap::Clamp,
              float exposure = 1.0f);
// ZIP-compressed unless `compress` is false (for data textures whose deflate would cost more
// than making them).
void writeExr(const std::string& path, const Image& image, bool compress = true);

// Why a file could not be read, without its path: "no such file", "is a directory", "larger than
// the limit of 16777216 bytes". Callers put the path (and their own context) in front.
struct FileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A file's bytes, at most `maxBytes`: a longer file (or a device such as /dev/zero) stops at the
// limit with FileError instead of filling memory.
std::string readFileBytes(const std::string& path, std::uint64_t maxBytes);

// What reading an image may cost. The pixel count is checked against the size the file's header
// declares, before anything is decoded: a small PNG can declare 16384 x 16384 pixels (4 GiB of
// float RGBA once decoded).
struct ImageLimits {
    std::uint64_t bytes = 256ull << 20;  // the file
    std::uint64_t pixels = 1ull << 26;   // width x height (8192 x 8192, 1 GiB as float RGBA)
};

// Reads PNG, JPEG (sRGB, converted to linear) or EXR (linear), told apart by their first bytes.
// Throws ImageError naming the file and the problem. A JPEG that the decoder finds corrupt is an
// error, not an image filled out with grey; a CMYK JPEG shows what its inks leave of the light.
Image readImage(const std::string& path, const ImageLimits& limits = {});
// The same from the file's bytes held in memory; `name` is used in messages.
Image readImageFromMemory(const std::string& bytes, const std::string& name,
                          const ImageLimits& limits = {});

// Whether the path ends in .png or .exr (case-insensitive).
bool hasExtension(const std::string& path, const char* extension);

}  // namespace vkimage
