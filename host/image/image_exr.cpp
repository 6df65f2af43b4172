// The OpenEXR half of the image files, apart so that programs writing only PNG do not load
// OpenEXR.
#include <cstddef>
#include <filesystem>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfOutputFile.h>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wunused-function"
#include <stb/stb_image.h>
#pragma GCC diagnostic pop

#include "image_commit.h"
#include "image_io.h"

namespace vkimage {

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
