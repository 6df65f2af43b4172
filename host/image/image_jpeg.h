// The image readers' shared internals: the JPEG decoder (libjpeg-turbo) beside the PNG and EXR
// readers of image_exr.cpp.
#pragma once

#include <cstdint>
#include <string>

#include "image_io.h"

namespace vkimage {

// Whether the bytes start as every JPEG does (the start-of-image marker, FF D8).
bool looksLikeJpeg(const std::string& bytes);

// Decodes a JPEG to linear RGBA. Throws ImageError naming `name`: for a header past the pixel
// limit (before anything is decoded), a colour space other than grey, YCbCr, RGB, CMYK or YCCK,
// and anything the decoder calls an error or warns about as corrupt data.
Image readJpeg(const std::string& bytes, const std::string& name, const ImageLimits& limits);

// A decoder's header size, checked before decoding: at least one pixel, at most the limit (the
// same message as for an EXR's data window).
void checkImageSize(const std::string& name, std::int64_t width, std::int64_t height,
                    const ImageLimits& limits);

}  // namespace vkimage
