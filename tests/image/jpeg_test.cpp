// JPEG files as the tools read them: the colour spaces a JPEG may hold, decoded to linear RGBA;
// broken, oversized and hostile files refused with one line naming the file; and every JPEG the
// fuzzer ever saved either decoded or refused.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <jpeglib.h>

#include "image_io.h"

namespace {

struct Encoding {
    J_COLOR_SPACE input = JCS_RGB;
    int components = 3;
    J_COLOR_SPACE stored = JCS_YCbCr;
    bool adobeMarker = true;  // libjpeg writes one for CMYK and YCCK unless told not to
    std::vector<jpeg_scan_info> scans;  // empty: one sequential scan
};

Encoding kind(J_COLOR_SPACE input, int components, J_COLOR_SPACE stored,
             bool adobeMarker = true) {
    Encoding how;
    how.input = input;
    how.components = components;
    how.stored = stored;
    how.adobeMarker = adobeMarker;
    return how;
}

// A width x height JPEG of one colour, at quality 100 so that a flat block decodes to within a
// step of what went in.
std::string encode(int width, int height, const std::vector<unsigned char>& colour,
                   const Encoding& how = {}) {
    jpeg_compress_struct info;
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* out = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &out, &size);
    info.image_width = static_cast<JDIMENSION>(width);
    info.image_height = static_cast<JDIMENSION>(height);
    info.input_components = how.components;
    info.in_color_space = how.input;
    jpeg_set_defaults(&info);
    jpeg_set_colorspace(&info, how.stored);
    jpeg_set_quality(&info, 100, TRUE);
    info.write_Adobe_marker = how.adobeMarker ? TRUE : FALSE;
    if (!how.scans.empty()) {
        info.scan_info = how.scans.data();
        info.num_scans = static_cast<int>(how.scans.size());
    }
    jpeg_start_compress(&info, TRUE);
    std::vector<unsigned char> row;
    for (int x = 0; x < width; ++x) row.insert(row.end(), colour.begin(), colour.end());
    while (info.next_scanline < info.image_height) {
        JSAMPROW rows[1] = {row.data()};
        jpeg_write_scanlines(&info, rows, 1);
    }
    jpeg_finish_compress(&info);
    std::string bytes(reinterpret_cast<const char*>(out), size);
    jpeg_destroy_compress(&info);
    std::free(out);
    return bytes;
}

// The ImageError's message, or "decoded" when the bytes read as an image.
std::string readError(const std::string& bytes, const std::string& name,
                      const vkimage::ImageLimits& limits = {}) {
    try {
        vkimage::readImageFromMemory(bytes, name, limits);
    } catch (const vkimage::ImageError& e) {
        return e.what();
    }
    return "decoded";
}

// Every pixel within one 8-bit step of the sRGB colour, alpha 1.
void expectColour(const vkimage::Image& image, int r, int g, int b) {
    for (const vyr::Vec4f& p : image.pixels) {
        EXPECT_NEAR(vkimage::linearToSrgb8(p.x), r, 1);
        EXPECT_NEAR(vkimage::linearToSrgb8(p.y), g, 1);
        EXPECT_NEAR(vkimage::linearToSrgb8(p.z), b, 1);
        ASSERT_EQ(p.w, 1.0f);
    }
}

std::string fileBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

// A progressive scan script for one grey component: the DC coefficients, then each AC
// coefficient on its own, first to `firstBits` fewer bits and then refined one bit at a time.
std::vector<jpeg_scan_info> oneCoefficientPerScan(int firstBits) {
    std::vector<jpeg_scan_info> scans;
    scans.push_back({1, {0, 0, 0, 0}, 0, 0, 0, 0});
    for (int k = 1; k < 64; ++k) {
        scans.push_back({1, {0, 0, 0, 0}, k, k, 0, firstBits});
        for (int bits = firstBits; bits > 0; --bits) {
            scans.push_back({1, {0, 0, 0, 0}, k, k, bits, bits - 1});
        }
    }
    return scans;
}

TEST(JpegFiles, EveryColourSpaceDecodesToLinearRgba) {
    // YCbCr (the usual photograph) and grey, through the decoder's own conversion.
    const vkimage::Image photo =
        vkimage::readImageFromMemory(encode(16, 8, {200, 100, 50}), "photo.jpg");
    EXPECT_EQ(photo.width, 16);
    EXPECT_EQ(photo.height, 8);
    expectColour(photo, 200, 100, 50);
    Encoding grey = kind(JCS_GRAYSCALE, 1, JCS_GRAYSCALE);
    expectColour(vkimage::readImageFromMemory(encode(8, 8, {77}, grey), "grey.jpg"), 77, 77, 77);
    Encoding rgb = kind(JCS_RGB, 3, JCS_RGB);
    expectColour(vkimage::readImageFromMemory(encode(8, 8, {10, 250, 128}, rgb), "rgb.jpg"), 10,
                 250, 128);
    // Progressive, the decoder's default script.
    Encoding progressive;
    jpeg_compress_struct probe;
    jpeg_error_mgr errors;
    probe.err = jpeg_std_error(&errors);
    jpeg_create_compress(&probe);
    probe.input_components = 3;
    probe.in_color_space = JCS_RGB;
    jpeg_set_defaults(&probe);
    jpeg_simple_progression(&probe);
    progressive.scans.assign(probe.scan_info, probe.scan_info + probe.num_scans);
    jpeg_destroy_compress(&probe);
    expectColour(
        vkimage::readImageFromMemory(encode(24, 24, {30, 60, 90}, progressive), "p.jpg"), 30,
        60, 90);
}

TEST(JpegFiles, CmykShowsWhatTheInksLeaveOfTheLight) {
    // With an Adobe marker the inks are stored inverted (255: no ink): cyan 0, magenta 127,
    // yellow 255 of ink and no black leave red 255, green 128 and blue 0.
    Encoding adobe = kind(JCS_CMYK, 4, JCS_CMYK, true);
    expectColour(
        vkimage::readImageFromMemory(encode(8, 8, {255, 128, 0, 255}, adobe), "adobe.jpg"), 255,
        128, 0);
    // Black at half leaves half of each: 255 x 128 / 255 of red, 128 x 128 / 255 = 64 of green.
    expectColour(
        vkimage::readImageFromMemory(encode(8, 8, {255, 128, 0, 128}, adobe), "half.jpg"), 128,
        64, 0);
    // YCCK is stored as YCbCr of the first three and decodes to the same CMYK.
    Encoding ycck = kind(JCS_CMYK, 4, JCS_YCCK, true);
    expectColour(
        vkimage::readImageFromMemory(encode(8, 8, {255, 128, 0, 255}, ycck), "ycck.jpg"), 255,
        128, 0);
    // Without the marker the ink itself is stored: no cyan, magenta 128, full yellow, no black.
    Encoding plain = kind(JCS_CMYK, 4, JCS_CMYK, false);
    expectColour(
        vkimage::readImageFromMemory(encode(8, 8, {0, 128, 255, 0}, plain), "plain.jpg"), 255,
        127, 0);
    // Two components are neither grey nor colour.
    Encoding two = kind(JCS_UNKNOWN, 2, JCS_UNKNOWN);
    EXPECT_EQ(readError(encode(8, 8, {1, 2}, two), "two.jpg"),
              "two.jpg: a JPEG of 2 colour components of no known kind");
}

TEST(JpegFiles, BrokenFilesAreOneErrorNamingTheFile) {
    const std::string good = encode(32, 32, {200, 100, 50});
    ASSERT_EQ(readError(good, "good.jpg"), "decoded");
    // Cut short: the decoder would fill the rest with grey and warn; the tools refuse it.
    EXPECT_EQ(readError(good.substr(0, good.size() / 2), "cut.jpg"),
              "cut.jpg: cannot read JPEG (Premature end of JPEG file)");
    EXPECT_EQ(readError(good.substr(0, 2), "start.jpg"),
              "start.jpg: cannot read JPEG (Premature end of JPEG file)");
    // The end of the image one byte into the data of a scan: corrupt data, which the decoder
    // would also fill with grey.
    const std::size_t scan = good.find("\xff\xda");
    ASSERT_NE(scan, std::string::npos);
    const std::size_t data = scan + 2 + ((static_cast<unsigned char>(good[scan + 2]) << 8) |
                                         static_cast<unsigned char>(good[scan + 3]));
    const std::string marked = good.substr(0, data + 1) + "\xff\xd9";
    const std::string corrupt = readError(marked, "marked.jpg");
    EXPECT_EQ(corrupt.rfind("marked.jpg: cannot read JPEG (Corrupt JPEG data", 0), 0u) << corrupt;
    // A Huffman table (class and number 0, then sixteen counts) listing 14 x 0 + 2 + 255 = 257
    // codes, in a segment of its size and in one too short for it.
    const std::string table = std::string(15, '\0') + "\x02\xff";
    EXPECT_EQ(readError(std::string("\xff\xd8\xff\xc4\x00\x13", 6) + table, "h.jpg"),
              "h.jpg: cannot read JPEG (Bogus Huffman table definition)");
    EXPECT_EQ(readError(std::string("\xff\xd8\xff\xc4\x00\x03", 6) + table, "h.jpg"),
              "h.jpg: cannot read JPEG (Bogus marker length)");
    // Fill bytes before the start of the image are not a JPEG (nor anything else).
    EXPECT_EQ(readError(std::string("\xff\xff\xd8", 3) + good.substr(2), "fill.jpg")
                  .rfind("fill.jpg: cannot read image (", 0),
              0u);
    for (const std::string& message :
         {readError(good.substr(0, 100), "a.jpg"), readError(marked, "b.jpg")}) {
        EXPECT_EQ(message.find('\n'), std::string::npos) << message;
    }
}

TEST(JpegFiles, LimitsHoldBeforeDecoding) {
    const std::string small = encode(8, 8, {1, 2, 3});
    EXPECT_EQ(readError(small, "s.jpg", {1 << 20, 63}),
              "s.jpg: declares 8 x 8 pixels, more than the limit of 63");
    EXPECT_EQ(readError(small, "s.jpg", {1 << 20, 64}), "decoded");
    // The frame header's height and width (after FF C0, the length and the precision) raised to
    // 60000: refused from the header, where decoding would have found the data cut short.
    std::string huge = small;
    const std::size_t frame = huge.find("\xff\xc0");
    ASSERT_NE(frame, std::string::npos);
    huge.replace(frame + 5, 4, "\xea\x60\xea\x60");
    EXPECT_EQ(readError(huge, "huge.jpg"),
              "huge.jpg: declares 60000 x 60000 pixels, more than the limit of 67108864");
    // Scans: each coefficient in a scan of its own decodes (64 scans); refined over four more
    // bits each it takes 316, past the limit of 256, since every scan is a pass over the image.
    Encoding sparse = kind(JCS_GRAYSCALE, 1, JCS_GRAYSCALE);
    sparse.scans = oneCoefficientPerScan(0);
    ASSERT_EQ(sparse.scans.size(), 64u);
    expectColour(vkimage::readImageFromMemory(encode(16, 16, {90}, sparse), "64.jpg"), 90, 90,
                 90);
    sparse.scans = oneCoefficientPerScan(4);
    ASSERT_EQ(sparse.scans.size(), 316u);
    EXPECT_EQ(readError(encode(16, 16, {90}, sparse), "316.jpg"),
              "316.jpg: cannot read JPEG (more than 256 scans)");
}

TEST(JpegFiles, WhatTheFuzzerSavedIsAnErrorOrAnImage) {
    // The inputs on which the earlier decoder shifted past 32 bits, indexed its tables with an
    // unassigned code or overflowed in dequantisation: each now decodes or is one clean error.
    const std::filesystem::path findings = std::string(VEXAKELO_SOURCE_DIR) + "/fuzz/findings";
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(findings)) {
        if (entry.path().extension() != ".jpg") continue;
        ++files;
        const std::string message = readError(fileBytes(entry.path()), "in");
        if (message != "decoded") {
            EXPECT_EQ(message.rfind("in: ", 0), 0u) << entry.path() << ": " << message;
            EXPECT_EQ(message.find('\n'), std::string::npos) << entry.path();
        }
    }
    EXPECT_GE(files, 20);
}

}  // namespace
