#include "image_io.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "image_commit.h"

#define STB_IMAGE_IMPLEMENTATION
// stb decodes PNG only (JPEG goes through libjpeg-turbo); its other formats would only widen
// what bad input reaches.
#define STBI_ONLY_PNG
#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STBI_FAILURE_USERMSG
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wunused-function"
#include <stb/stb_image.h>
#include <stb/stb_image_write.h>
#pragma GCC diagnostic pop

// The host tools draw labels with cairo, whose text goes through fontconfig; fontconfig keeps its
// configuration for the life of the process by design. Leak checking (in sanitizer builds) is
// told so here, where every tool links; elsewhere this is unused.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }
// Nor does the report of that suppression belong on a tool's stderr, where it is one-line errors.
extern "C" const char* __lsan_default_options() { return "print_suppressions=0"; }

namespace vkimage {

std::string temporaryBeside(const std::string& path) { return path + ".partial"; }

void commit(const std::string& temporary, const std::string& path) {
    std::error_code error;
    std::filesystem::rename(temporary, path, error);
    if (error) {
        // The reason is taken before the clean-up, whose own result would overwrite it.
        const std::string reason = error.message();
        std::filesystem::remove(temporary, error);
        throw ImageError(path + ": cannot write (" + reason + ")");
    }
}

namespace {

vyr::Vec3f toneMapped(const vyr::Vec4f& p, ToneMap toneMap, float exposure) {
    vyr::Vec3f c{p.x * exposure, p.y * exposure, p.z * exposure};
    if (toneMap == ToneMap::Filmic) {
        const float luminance = 0.2126f * c.x + 0.7152f * c.y + 0.0722f * c.z;
        if (luminance > 0.0f) {
            const float scale = 1.0f / (1.0f + luminance);
            c = {c.x * scale, c.y * scale, c.z * scale};
        }
    }
    return c;
}

}  // namespace

unsigned char linearToSrgb8(float linear) {
    if (!(linear > 0.0f)) {
        return 0;
    }
    if (linear >= 1.0f) {
        return 255;
    }
    const float encoded = linear <= 0.0031308f ? 12.92f * linear
                                               : 1.055f * std::pow(linear, 1.0f / 2.4f) - 0.055f;
    return static_cast<unsigned char>(std::lround(encoded * 255.0f));
}

float srgb8ToLinear(unsigned char encoded) {
    // 256 values, each a pow: made once, since every decoded texel asks for three.
    static const std::array<float, 256> kTable = [] {
        std::array<float, 256> table{};
        for (std::size_t i = 0; i < table.size(); ++i) {
            const float c = static_cast<float>(i) / 255.0f;
            table[i] = c <= 0.04045f ? c / 12.92f : std::pow((c + 0.055f) / 1.055f, 2.4f);
        }
        return table;
    }();
    return kTable[encoded];
}

std::string readFileBytes(const std::string& path, std::uint64_t maxBytes) {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) {
        throw FileError("no such file");
    }
    if (status.type() == fs::file_type::directory) {
        throw FileError("is a directory");
    }
    const auto tooLarge = [&] {
        return FileError("larger than the limit of " + std::to_string(maxBytes) + " bytes");
    };
    if (status.type() == fs::file_type::regular) {
        const std::uintmax_t size = fs::file_size(path, error);
        if (!error && size > maxBytes) {
            throw tooLarge();
        }
    }
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        throw FileError(std::string("cannot open (") + std::strerror(errno) + ")");
    }
    // Read in pieces up to one byte past the limit: devices and pipes report no size, and a file
    // may grow while it is read.
    std::string bytes;
    char piece[1 << 16];
    while (true) {
        const std::size_t got = std::fread(piece, 1, sizeof piece, file);
        if (bytes.size() + got > maxBytes) {
            std::fclose(file);
            throw tooLarge();
        }
        bytes.append(piece, got);
        if (got < sizeof piece) {
            break;
        }
    }
    const bool failed = std::ferror(file) != 0;
    const int readErrno = errno;
    std::fclose(file);
    if (failed) {
        throw FileError(std::string("read error (") + std::strerror(readErrno) + ")");
    }
    return bytes;
}

bool hasExtension(const std::string& path, const char* extension) {
    const std::size_t n = std::strlen(extension);
    if (path.size() < n) {
        return false;
    }
    for (std::size_t i = 0; i < n; ++i) {
        if (std::tolower(static_cast<unsigned char>(path[path.size() - n + i])) != extension[i]) {
            return false;
        }
    }
    return true;
}

void writePng(const std::string& path, const Image& image, ToneMap toneMap, float exposure) {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(image.width) * image.height * 4);
    for (std::size_t i = 0; i < image.pixels.size(); ++i) {
        const vyr::Vec3f c = toneMapped(image.pixels[i], toneMap, exposure);
        bytes[4 * i + 0] = linearToSrgb8(c.x);
        bytes[4 * i + 1] = linearToSrgb8(c.y);
        bytes[4 * i + 2] = linearToSrgb8(c.z);
        const float a = std::clamp(image.pixels[i].w, 0.0f, 1.0f);
        bytes[4 * i + 3] = static_cast<unsigned char>(std::lround(a * 255.0f));
    }
    const std::string temporary = temporaryBeside(path);
    if (stbi_write_png(temporary.c_str(), image.width, image.height, 4, bytes.data(),
                       image.width * 4) == 0) {
        std::error_code ignored;
        std::filesystem::remove(temporary, ignored);
        throw ImageError(path + ": cannot write PNG (" + std::strerror(errno) + ")");
    }
    commit(temporary, path);
}

}  // namespace vkimage
