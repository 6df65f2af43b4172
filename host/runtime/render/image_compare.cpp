#include "render/image_compare.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace vkrender {

namespace {

void requireSameSize(const vkimage::Image& a, const vkimage::Image& b) {
    if (a.width != b.width || a.height != b.height) {
        throw vkimage::ImageError("the images differ in size: " + std::to_string(a.width) + "x" +
                                  std::to_string(a.height) + " and " + std::to_string(b.width) +
                                  "x" + std::to_string(b.height));
    }
}

}  // namespace

ImageDifference compareImages(const vkimage::Image& image, const vkimage::Image& reference,
                              Region region) {
    requireSameSize(image, reference);
    if (region.width <= 0 || region.height <= 0) {
        region = {0, 0, image.width, image.height};
    }
    const int x1 = std::min(image.width, region.x + region.width);
    const int y1 = std::min(image.height, region.y + region.height);
    const int x0 = std::max(0, region.x);
    const int y0 = std::max(0, region.y);
    ImageDifference d;
    double squares = 0.0;
    double differences = 0.0;
    double references = 0.0;
    long long count = 0;
    for (int y = y0; y < y1; ++y) {
        for (int x = x0; x < x1; ++x) {
            const vyr::Vec4f a = image.at(x, y);
            const vyr::Vec4f b = reference.at(x, y);
            for (const auto& [va, vb] : {std::pair{a.x, b.x}, {a.y, b.y}, {a.z, b.z}}) {
                const double diff = static_cast<double>(va) - static_cast<double>(vb);
                squares += diff * diff;
                differences += diff;
                references += vb;
                if (std::fabs(diff) > d.maxDifference) {
                    d.maxDifference = std::fabs(diff);
                    d.maxX = x;
                    d.maxY = y;
                }
            }
            count += 3;
        }
    }
    if (count == 0) {
        return d;
    }
    d.rmse = std::sqrt(squares / static_cast<double>(count));
    d.meanDifference = differences / static_cast<double>(count);
    d.referenceMean = references / static_cast<double>(count);
    d.relativeRmse = d.referenceMean > 0.0 ? d.rmse / d.referenceMean : 0.0;
    return d;
}

vkimage::Image differenceHeatMap(const vkimage::Image& image, const vkimage::Image& reference,
                                 float scale) {
    requireSameSize(image, reference);
    vkimage::Image heat(image.width, image.height);
    std::vector<float> magnitude(image.pixels.size());
    float largest = 0.0f;
    for (std::size_t i = 0; i < image.pixels.size(); ++i) {
        const vyr::Vec4f a = image.pixels[i];
        const vyr::Vec4f b = reference.pixels[i];
        magnitude[i] = (std::fabs(a.x - b.x) + std::fabs(a.y - b.y) + std::fabs(a.z - b.z)) / 3.0f;
        if (std::isfinite(magnitude[i])) {
            largest = std::max(largest, magnitude[i]);
        }
    }
    const float top = scale > 0.0f ? scale : largest;
    // Stops of the ramp at 0, 1/4, 1/2, 3/4 and 1 of the scale.
    constexpr vyr::Vec3f kRamp[] = {{0.0f, 0.0f, 0.0f},
                                    {0.0f, 0.1f, 0.8f},
                                    {0.9f, 0.05f, 0.05f},
                                    {1.0f, 0.9f, 0.0f},
                                    {1.0f, 1.0f, 1.0f}};
    for (std::size_t i = 0; i < magnitude.size(); ++i) {
        float t = top > 0.0f ? magnitude[i] / top : 0.0f;
        t = std::isfinite(t) ? std::clamp(t, 0.0f, 1.0f) : 1.0f;
        const float at = t * 4.0f;
        const int k = std::min(3, static_cast<int>(at));
        const float f = at - static_cast<float>(k);
        const vyr::Vec3f lo = kRamp[k];
        const vyr::Vec3f hi = kRamp[k + 1];
        heat.pixels[i] = {lo.x + f * (hi.x - lo.x), lo.y + f * (hi.y - lo.y),
                          lo.z + f * (hi.z - lo.z), 1.0f};
    }
    return heat;
}

}  // namespace vkrender
