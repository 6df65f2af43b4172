// JPEG files through libjpeg-turbo. libjpeg reports an error through a callback that must not
// return: ours longjmps back to the function that called into the library. Those functions hold
// nothing with a destructor, so the jump skips no C++ object, and the decompress object belongs to
// an owner outside them whose destructor releases it however the decode ended.
#include "image_jpeg.h"

#include <jerror.h>
#include <jpeglib.h>

#include <climits>
#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <vector>

namespace vkimage {

namespace {

// Every scan of a multi-scan file (progressive, or sequential with components in separate scans)
// is a pass over the whole image's coefficients, so a few kilobytes of tiny scans would cost
// thousands of passes; encoders write about ten, and a limit of 256 leaves room for any real
// progression while a hostile file stays well within a second at the fuzzer's pixel limit.
constexpr int kMaxScans = 256;

// Everything a decode touches, plain data only: the frames that setjmp never run a destructor.
struct JpegState {
    jpeg_decompress_struct info;
    jpeg_error_mgr errors;
    jpeg_progress_mgr progress;
    std::jmp_buf failed;
    char message[JMSG_LENGTH_MAX];
    bool created;
};

JpegState& stateOf(j_common_ptr info) { return *static_cast<JpegState*>(info->client_data); }

[[noreturn]] void failWithLibraryMessage(j_common_ptr info) {
    JpegState& state = stateOf(info);
    (*info->err->format_message)(info, state.message);
    std::longjmp(state.failed, 1);
}

void errorExit(j_common_ptr info) { failWithLibraryMessage(info); }

// A warning (level -1) is corrupt data the decoder would fill with grey and carry on over: the
// tools refuse an image they could read only in part rather than pass on silent garbage. An
// unknown JFIF revision says nothing about the pixels and is let through; traces are dropped.
void emitMessage(j_common_ptr info, int level) {
    if (level < 0 && info->err->msg_code != JWRN_JFIF_MAJOR) {
        failWithLibraryMessage(info);
    }
}

// Nothing of the decoder's goes to stderr, where the tools print their one-line errors.
void outputMessage(j_common_ptr) {}

void checkScanCount(j_common_ptr info) {
    const auto* decompress = reinterpret_cast<j_decompress_ptr>(info);
    if (decompress->input_scan_number > kMaxScans) {
        JpegState& state = stateOf(info);
        std::snprintf(state.message, sizeof state.message, "more than %d scans", kMaxScans);
        std::longjmp(state.failed, 1);
    }
}

// libjpeg's own allocations, above all the whole-image coefficient buffer of a multi-scan file
// (two bytes for each of 64 coefficients per 8 x 8 block, up to four components, blocks padded
// to whole MCUs), capped near what the pixel limit allows: 16 bytes a pixel and 64 MiB for
// tables and row buffers.
long memoryLimit(const ImageLimits& limits) {
    constexpr long kFixed = 64L << 20;
    if (limits.pixels > static_cast<std::uint64_t>((LONG_MAX - kFixed) / 16)) {
        return LONG_MAX;
    }
    return static_cast<long>(limits.pixels) * 16 + kFixed;
}

// Sets up the decoder and reads the header; false with `state.message` set on failure.
bool readHeader(JpegState& state, const std::string& bytes, long maxMemory) {
    if (setjmp(state.failed) != 0) {
        return false;
    }
    jpeg_create_decompress(&state.info);
    state.created = true;
    state.info.mem->max_memory_to_use = maxMemory;
    state.info.progress = &state.progress;
    jpeg_mem_src(&state.info, reinterpret_cast<const unsigned char*>(bytes.data()),
                 static_cast<unsigned long>(bytes.size()));
    jpeg_read_header(&state.info, TRUE);
    return true;
}

// Decodes into `pixels`, `rowBytes` a row, which must be what the header promised.
bool decode(JpegState& state, unsigned char* pixels, std::size_t rowBytes) {
    if (setjmp(state.failed) != 0) {
        return false;
    }
    jpeg_start_decompress(&state.info);
    if (static_cast<std::size_t>(state.info.output_width) * state.info.output_components !=
        rowBytes) {
        std::snprintf(state.message, sizeof state.message, "decoded rows of an unexpected size");
        return false;
    }
    while (state.info.output_scanline < state.info.output_height) {
        JSAMPROW row = pixels + static_cast<std::size_t>(state.info.output_scanline) * rowBytes;
        if (jpeg_read_scanlines(&state.info, &row, 1) != 1) {
            std::snprintf(state.message, sizeof state.message, "the decoder stopped early");
            return false;
        }
    }
    jpeg_finish_decompress(&state.info);
    return true;
}

// Owns the decompress object for the C++ side.
class JpegDecoder {
public:
    JpegDecoder() : state_() {
        state_.info.err = jpeg_std_error(&state_.errors);
        state_.errors.error_exit = errorExit;
        state_.errors.emit_message = emitMessage;
        state_.errors.output_message = outputMessage;
        state_.progress.progress_monitor = checkScanCount;
        state_.info.client_data = &state_;
    }
    ~JpegDecoder() {
        if (state_.created) {
            jpeg_destroy_decompress(&state_.info);
        }
    }
    JpegDecoder(const JpegDecoder&) = delete;
    JpegDecoder& operator=(const JpegDecoder&) = delete;

    JpegState& state() { return state_; }

private:
    JpegState state_;
};

unsigned char product255(unsigned a, unsigned b) {
    return static_cast<unsigned char>((a * b + 127) / 255);
}

}  // namespace

bool looksLikeJpeg(const std::string& bytes) {
    return bytes.size() >= 2 && bytes.compare(0, 2, "\xff\xd8") == 0;
}

Image readJpeg(const std::string& bytes, const std::string& name, const ImageLimits& limits) {
    const auto failed = [&](const char* why) {
        return ImageError(name + ": cannot read JPEG (" + why + ")");
    };
    JpegDecoder decoder;
    JpegState& state = decoder.state();
    if (!readHeader(state, bytes, memoryLimit(limits))) {
        throw failed(state.message);
    }
    jpeg_decompress_struct& info = state.info;
    const int width = static_cast<int>(info.image_width);
    const int height = static_cast<int>(info.image_height);
    checkImageSize(name, width, height, limits);
    // Grey, YCbCr and RGB come out as RGBA from the decoder. CMYK (and YCCK, which the decoder
    // turns into CMYK) is converted here the way a viewer without colour management shows it:
    // each of red, green and blue is what its ink (cyan, magenta, yellow) and black leave of the
    // light. Files with an Adobe marker store the inks inverted (0 is full ink), as Adobe's
    // programs write them; files without one store the ink itself.
    const bool cmyk = info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK;
    switch (info.jpeg_color_space) {
        case JCS_GRAYSCALE:
        case JCS_YCbCr:
        case JCS_RGB:
            info.out_color_space = JCS_EXT_RGBA;
            break;
        case JCS_CMYK:
        case JCS_YCCK:
            info.out_color_space = JCS_CMYK;
            break;
        default:
            throw ImageError(name + ": a JPEG of " + std::to_string(info.num_components) +
                             " colour components of no known kind");
    }
    const std::size_t rowBytes = static_cast<std::size_t>(width) * 4;
    std::vector<unsigned char> decoded(rowBytes * static_cast<std::size_t>(height));
    if (!decode(state, decoded.data(), rowBytes)) {
        throw failed(state.message);
    }
    const bool inverted = info.saw_Adobe_marker != 0;
    Image image(width, height);
    for (std::size_t i = 0; i < image.pixels.size(); ++i) {
        const unsigned char* p = &decoded[4 * i];
        if (cmyk) {
            const unsigned k = inverted ? p[3] : 255u - p[3];
            const auto light = [&](unsigned char ink) {
                return srgb8ToLinear(product255(inverted ? ink : 255u - ink, k));
            };
            image.pixels[i] = {light(p[0]), light(p[1]), light(p[2]), 1.0f};
        } else {
            image.pixels[i] = {srgb8ToLinear(p[0]), srgb8ToLinear(p[1]), srgb8ToLinear(p[2]), 1.0f};
        }
    }
    return image;
}

}  // namespace vkimage
