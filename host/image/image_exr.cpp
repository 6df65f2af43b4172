// The OpenEXR half of the image files, apart so that programs writing only PNG do not load
// OpenEXR.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>

#include <Iex.h>
#include <ImfIO.h>
#include <ImfTileDescription.h>
#include <ImfVersion.h>

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
#include "image_jpeg.h"

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

namespace {

// The one message for a header declaring more pixels than the limit, for every format.
[[noreturn]] void tooManyPixels(const std::string& name, std::int64_t width, std::int64_t height,
                                const ImageLimits& limits) {
    throw ImageError(name + ": declares " + std::to_string(width) + " x " + std::to_string(height) +
                     " pixels, more than the limit of " + std::to_string(limits.pixels));
}

}  // namespace

void checkImageSize(const std::string& name, std::int64_t width, std::int64_t height,
                    const ImageLimits& limits) {
    if (width < 1 || height < 1) {
        throw ImageError(name + ": the image is empty (" + std::to_string(width) + " x " +
                         std::to_string(height) + ")");
    }
    if (static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) > limits.pixels) {
        tooManyPixels(name, width, height, limits);
    }
}

namespace {

// An EXR file held in memory, for OpenEXR's reader.
class MemoryStream final : public Imf::IStream {
public:
    MemoryStream(const std::string& bytes, const std::string& name)
        : Imf::IStream(name.c_str()), bytes_(bytes) {}

    bool read(char c[], int n) override {
        if (n < 0 || static_cast<std::uint64_t>(n) > bytes_.size() - at_) {
            throw Iex::InputExc("the file ends early");
        }
        std::memcpy(c, bytes_.data() + at_, static_cast<std::size_t>(n));
        at_ += static_cast<std::uint64_t>(n);
        return at_ < bytes_.size();
    }
    std::uint64_t tellg() override { return at_; }
    void seekg(std::uint64_t position) override {
        at_ = std::min<std::uint64_t>(position, bytes_.size());
    }

private:
    const std::string& bytes_;
    std::uint64_t at_ = 0;
};

std::uint32_t littleEndian32(const std::string& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;) {
        value = (value << 8) | static_cast<unsigned char>(bytes[at + i]);
    }
    return value;
}

// Where the (single) header ends: after the magic number and version, attributes of a name, a
// type name and a stated size, ended by an empty name. Throws when a size runs past the bytes.
// OpenEXR reads most attribute types by their own layout, not by the size the file states, so a
// value whose size disagrees leaves it reading the next attribute from the wrong place (and
// sizing a string by whatever it finds there). Known layouts must fill their stated size
// exactly; a channel list must end with its empty name on its last byte.
bool attributeFillsItsSize(const std::string& type, const std::string& value,
                           std::size_t longest) {
    static const std::pair<const char*, std::size_t> kFixed[] = {
        {"box2i", 16}, {"box2f", 16},   {"int", 4},        {"float", 4},     {"double", 8},
        {"v2i", 8},    {"v2f", 8},      {"v3i", 12},       {"v3f", 12},      {"compression", 1},
        {"lineOrder", 1}, {"envmap", 1}, {"chromaticities", 32}, {"m33f", 36}, {"m44f", 64},
        {"keycode", 28}, {"timecode", 8}, {"rational", 8}, {"tiledesc", 9}};
    for (const auto& [name, size] : kFixed) {
        if (type == name) {
            return value.size() == size;
        }
    }
    if (type == "chlist") {
        // Entries of a name, its end and 16 bytes, then an empty name.
        std::size_t at = 0;
        while (at < value.size()) {
            const std::size_t end = value.find('\0', at);
            if (end == std::string::npos || end - at > longest) {
                return false;
            }
            if (end == at) {
                return end + 1 == value.size();
            }
            at = end + 1 + 16;
        }
        return false;
    }
    return true;
}

// Names and type names are as long as OpenEXR reads them (31 characters, 255 with the long-names
// flag): it stops a longer one there and reads on from the middle of it, sizes included.
std::size_t checkedHeaderEnd(const std::string& bytes, const std::string& name,
                             std::uint32_t version) {
    const auto broken = [&] {
        return ImageError(name + ": the EXR header is cut short or broken");
    };
    const std::size_t longest = (version & Imf::LONG_NAMES_FLAG) != 0 ? 255 : 31;
    std::size_t at = 8;
    while (true) {
        const std::size_t nameEnd = bytes.find('\0', at);
        if (nameEnd == std::string::npos) {
            throw broken();
        }
        if (nameEnd == at) {
            return at + 1;
        }
        const std::size_t typeEnd = bytes.find('\0', nameEnd + 1);
        if (typeEnd == std::string::npos || bytes.size() - (typeEnd + 1) < 4 ||
            nameEnd - at > longest || typeEnd - (nameEnd + 1) > longest) {
            throw broken();
        }
        const std::uint32_t size = littleEndian32(bytes, typeEnd + 1);
        at = typeEnd + 5;
        if (size > bytes.size() - at ||
            !attributeFillsItsSize(bytes.substr(nameEnd + 1, typeEnd - nameEnd - 1),
                                    bytes.substr(at, size), longest)) {
            throw broken();
        }
        at += size;
    }
}

// Scan lines per chunk for each compression.
std::uint64_t linesPerChunk(Imf::Compression compression) {
    switch (compression) {
        case Imf::ZIP_COMPRESSION:
        case Imf::PXR24_COMPRESSION:
            return 16;
        case Imf::PIZ_COMPRESSION:
        case Imf::B44_COMPRESSION:
        case Imf::B44A_COMPRESSION:
        case Imf::DWAA_COMPRESSION:
            return 32;
        case Imf::DWAB_COMPRESSION:
            return 256;
        default:
            return 1;
    }
}

Image readExr(const std::string& bytes, const std::string& name, const ImageLimits& limits) {
    try {
        // The header on its own first: OpenEXR sizes its tables by the data window (and
        // attributes by the sizes they state) as soon as a file is opened, so those sizes are
        // checked against the bytes there are before OpenEXR sees them.
        if (bytes.size() < 8) {
            throw ImageError(name + ": the EXR header is cut short or broken");
        }
        const std::uint32_t version = littleEndian32(bytes, 4);
        if ((version & (Imf::MULTI_PART_FILE_FLAG | Imf::NON_IMAGE_FLAG)) != 0) {
            throw ImageError(name + ": multi-part and deep EXR files are not read as images");
        }
        const std::size_t headerEnd = checkedHeaderEnd(bytes, name, version);
        Imf::Header header;
        {
            MemoryStream probe(bytes, name);
            probe.seekg(8);
            int v = static_cast<int>(version);
            header.readFrom(probe, v);
        }
        const Imath::Box2i window = header.dataWindow();
        const std::int64_t width = std::int64_t{window.max.x} - window.min.x + 1;
        const std::int64_t height = std::int64_t{window.max.y} - window.min.y + 1;
        if (width <= 0 || height <= 0) {
            throw ImageError(name + ": the EXR data window is empty");
        }
        if (static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) >
            limits.pixels) {
            tooManyPixels(name, width, height, limits);
        }
        // Every chunk of pixels has an 8-byte offset after the header; a file too short for
        // its offsets cannot hold the image its window declares.
        std::uint64_t chunks = 0;
        if (header.hasTileDescription()) {
            const Imf::TileDescription tiles = header.tileDescription();
            if (tiles.xSize == 0 || tiles.ySize == 0) {
                throw ImageError(name + ": the EXR tiles are empty");
            }
            chunks = ((static_cast<std::uint64_t>(width) + tiles.xSize - 1) / tiles.xSize) *
                     ((static_cast<std::uint64_t>(height) + tiles.ySize - 1) / tiles.ySize);
        } else {
            const std::uint64_t lines = linesPerChunk(header.compression());
            chunks = (static_cast<std::uint64_t>(height) + lines - 1) / lines;
        }
        if (chunks > (bytes.size() - headerEnd) / 8) {
            throw ImageError(name + ": the EXR file is too short for its " +
                             std::to_string(width) + " x " + std::to_string(height) +
                             " pixels");
        }
        MemoryStream stream(bytes, name);
        Imf::InputFile file(stream);
        if (file.header().dataWindow() != window) {
            throw ImageError(name + ": the EXR parts disagree on the data window");
        }
        // Read as 32-bit floats whatever the file stores, so float images come back exact.
        Image image(static_cast<int>(width), static_cast<int>(height));
        char* base = reinterpret_cast<char*>(image.pixels.data()) -
                     (static_cast<std::ptrdiff_t>(window.min.x) +
                      static_cast<std::ptrdiff_t>(window.min.y) * width) *
                         static_cast<std::ptrdiff_t>(sizeof(vyr::Vec4f));
        const std::size_t xStride = sizeof(vyr::Vec4f);
        const std::size_t yStride = xStride * static_cast<std::size_t>(width);
        Imf::FrameBuffer frame;
        frame.insert("R", Imf::Slice(Imf::FLOAT, base + 0, xStride, yStride, 1, 1, 0.0));
        frame.insert("G", Imf::Slice(Imf::FLOAT, base + 4, xStride, yStride, 1, 1, 0.0));
        frame.insert("B", Imf::Slice(Imf::FLOAT, base + 8, xStride, yStride, 1, 1, 0.0));
        frame.insert("A", Imf::Slice(Imf::FLOAT, base + 12, xStride, yStride, 1, 1, 1.0));
        file.setFrameBuffer(frame);
        file.readPixels(window.min.y, window.max.y);
        return image;
    } catch (const ImageError&) {
        throw;
    } catch (const std::exception& e) {
        throw ImageError(name + ": cannot read EXR (" + e.what() + ")");
    }
}

// What the PNG decoder would trip on before it sees that a file is broken, or empty when
// nothing: it sizes its buffer by each data chunk's declared length before reading the chunk (a
// length past the file's end makes it allocate gigabytes for nothing), and an empty first data
// chunk hands its copy a null pointer, undefined even for no bytes.
std::string pngTrouble(const std::string& bytes) {
    if (bytes.size() < 8 || bytes.compare(0, 8, "\x89PNG\r\n\x1a\n") != 0) {
        return {};
    }
    const auto at = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    bool data = false;
    for (std::size_t pos = 8; pos + 8 <= bytes.size();) {
        const std::uint32_t length = (static_cast<std::uint32_t>(at(pos)) << 24) |
                                     (static_cast<std::uint32_t>(at(pos + 1)) << 16) |
                                     (static_cast<std::uint32_t>(at(pos + 2)) << 8) | at(pos + 3);
        if (length > bytes.size() - pos - 8) {
            return "a PNG chunk declares " + std::to_string(length) + " bytes past the file's end";
        }
        if (bytes.compare(pos + 4, 4, "IDAT") == 0) {
            if (length == 0 && !data) {
                return "the PNG's first image data chunk is empty";
            }
            data = true;
        }
        pos += 12 + static_cast<std::size_t>(length);
    }
    return {};
}

}  // namespace

Image readImageFromMemory(const std::string& bytes, const std::string& name,
                          const ImageLimits& limits) {
    if (bytes.size() > limits.bytes) {
        throw ImageError(name + ": larger than the limit of " + std::to_string(limits.bytes) +
                         " bytes");
    }
    // OpenEXR files start with the magic number 20000630 (little-endian).
    if (bytes.size() >= 4 && bytes.compare(0, 4, "\x76\x2f\x31\x01") == 0) {
        return readExr(bytes, name, limits);
    }
    if (looksLikeJpeg(bytes)) {
        return readJpeg(bytes, name, limits);
    }
    // stb takes the length as an int.
    if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        throw ImageError(name + ": too large for the PNG reader");
    }
    const auto* data = reinterpret_cast<const stbi_uc*>(bytes.data());
    const int length = static_cast<int>(bytes.size());
    int width = 0;
    int height = 0;
    int channels = 0;
    if (const std::string trouble = pngTrouble(bytes); !trouble.empty()) {
        throw ImageError(name + ": " + trouble);
    }
    if (stbi_info_from_memory(data, length, &width, &height, &channels) == 0) {
        throw ImageError(name + ": cannot read image (" + stbi_failure_reason() + ")");
    }
    checkImageSize(name, width, height, limits);
    unsigned char* decoded = stbi_load_from_memory(data, length, &width, &height, &channels, 4);
    if (decoded == nullptr) {
        throw ImageError(name + ": cannot read image (" + stbi_failure_reason() + ")");
    }
    Image image(width, height);
    for (std::size_t i = 0; i < image.pixels.size(); ++i) {
        image.pixels[i] = {srgb8ToLinear(decoded[4 * i]), srgb8ToLinear(decoded[4 * i + 1]),
                           srgb8ToLinear(decoded[4 * i + 2]), decoded[4 * i + 3] / 255.0f};
    }
    stbi_image_free(decoded);
    return image;
}

Image readImage(const std::string& path, const ImageLimits& limits) {
    std::string bytes;
    try {
        bytes = readFileBytes(path, limits.bytes);
    } catch (const FileError& e) {
        throw ImageError(path + ": " + e.what());
    }
    return readImageFromMemory(bytes, path, limits);
}

}  // namespace vkimage
