#include "image_io.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfOutputFile.h>

#define STB_IMAGE_IMPLEMENTATION
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

namespace vkimage {
namespace {

std::string temporaryBeside(const std::string& path) { return path + ".partial"; }

void commit(const std::string& temporary, const std::string& path) {
    std::error_code error;
    std::filesystem::rename(temporary, path, error);
    if (error) {
        std::filesystem::remove(temporary, error);
        throw ImageError(path + ": cannot write (" + error.message() + ")");
    }
}

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
    const float c = encoded / 255.0f;
    return c <= 0.04045f ? c / 12.92f : std::pow((c + 0.055f) / 1.055f, 2.4f);
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

void writeExr(const std::string& path, const Image& image, bool compress) {
    const std::string temporary = temporaryBeside(path);
    try {
        Imf::Header header(image.width, image.height);
        if (!compress) {
            header.compression() = Imf::NO_COMPRESSION;
        }
        header.channels().insert("R", Imf::Channel(Imf::FLOAT));
        header.channels().insert("G", Imf::Channel(Imf::FLOAT));
        header.channels().insert("B", Imf::Channel(Imf::FLOAT));
        header.channels().insert("A", Imf::Channel(Imf::FLOAT));
        Imf::OutputFile file(temporary.c_str(), header);
        Imf::FrameBuffer frame;
        char* base = reinterpret_cast<char*>(const_cast<vyr::Vec4f*>(image.pixels.data()));
        const std::size_t xStride = sizeof(vyr::Vec4f);
        const std::size_t yStride = xStride * image.width;
        frame.insert("R", Imf::Slice(Imf::FLOAT, base + 0, xStride, yStride));
        frame.insert("G", Imf::Slice(Imf::FLOAT, base + 4, xStride, yStride));
        frame.insert("B", Imf::Slice(Imf::FLOAT, base + 8, xStride, yStride));
        frame.insert("A", Imf::Slice(Imf::FLOAT, base + 12, xStride, yStride));
        file.setFrameBuffer(frame);
        file.writePixels(image.height);
    } catch (const std::exception& e) {
        std::error_code ignored;
        std::filesystem::remove(temporary, ignored);
        throw ImageError(path + ": cannot write EXR (" + e.what() + ")");
    }
    commit(temporary, path);
}

void writeImage(const std::string& path, const Image& image, ToneMap toneMap, float exposure) {
    if (hasExtension(path, ".exr")) {
        writeExr(path, image);
    } else if (hasExtension(path, ".png")) {
        writePng(path, image, toneMap, exposure);
    } else {
        throw ImageError(path + ": unknown image type (use .png or .exr)");
    }
}

Image readImage(const std::string& path) {
    if (!std::filesystem::exists(path)) {
        throw ImageError(path + ": no such file");
    }
    if (hasExtension(path, ".exr")) {
        try {
            // Read as 32-bit floats whatever the file stores, so float images come back exact.
            Imf::InputFile file(path.c_str());
            const Imath::Box2i window = file.header().dataWindow();
            const int width = window.max.x - window.min.x + 1;
            const int height = window.max.y - window.min.y + 1;
            Image image(width, height);
            char* base = reinterpret_cast<char*>(image.pixels.data()) -
                         (static_cast<std::ptrdiff_t>(window.min.x) +
                          static_cast<std::ptrdiff_t>(window.min.y) * width) *
                             static_cast<std::ptrdiff_t>(sizeof(vyr::Vec4f));
            const std::size_t xStride = sizeof(vyr::Vec4f);
            const std::size_t yStride = xStride * width;
            Imf::FrameBuffer frame;
            frame.insert("R", Imf::Slice(Imf::FLOAT, base + 0, xStride, yStride, 1, 1, 0.0));
            frame.insert("G", Imf::Slice(Imf::FLOAT, base + 4, xStride, yStride, 1, 1, 0.0));
            frame.insert("B", Imf::Slice(Imf::FLOAT, base + 8, xStride, yStride, 1, 1, 0.0));
            frame.insert("A", Imf::Slice(Imf::FLOAT, base + 12, xStride, yStride, 1, 1, 1.0));
            file.setFrameBuffer(frame);
            file.readPixels(window.min.y, window.max.y);
            return image;
        } catch (const std::exception& e) {
            throw ImageError(path + ": cannot read EXR (" + e.what() + ")");
        }
    }
    int width = 0;
    int height = 0;
    int channels = 0;
    unsigned char* data = stbi_load(path.c_str(), &width, &height, &channels, 4);
    if (data == nullptr) {
        throw ImageError(path + ": cannot read image (" + stbi_failure_reason() + ")");
    }
    Image image(width, height);
    for (std::size_t i = 0; i < image.pixels.size(); ++i) {
        image.pixels[i] = {srgb8ToLinear(data[4 * i]), srgb8ToLinear(data[4 * i + 1]),
                           srgb8ToLinear(data[4 * i + 2]), data[4 * i + 3] / 255.0f};
    }
    stbi_image_free(data);
    return image;
}

}  // namespace vkimage
