// The noisy part of what the camera's first hits on host scenery receive — the light of area
// lights, domes and the environment, and everything the bounce brings back — filtered across
// neighbouring pixels that see the same surface. Point lights and ambient lights are left out:
// they carry no noise, and their shadow edges must stay sharp.
//
// Each pixel holds its samples' sums: the scenery's albedo, the albedo times the noisy light
// (in the even and odd samples apart, whose difference estimates the noise), the facing normal
// and the hit distance. The light is divided by the albedo before filtering, so the filter
// works on lighting and the texture of the surface stays sharp, and multiplied back afterwards.
//
// The filter is an edge-stopping a-trous wavelet (three passes of a 5 x 5 B3 spline at spacings
// 1, 2 and 4 pixels): a neighbour counts less the more its normal, its distance and its
// object differ, and the more its lighting differs from the pixel's beyond the noise the pixel
// shows. The filtered image is biased where light changes faster than the noise; that error is
// what the low noise costs, and the convergence benchmark measures it against an unfiltered
// reference.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "render/vec.h"

namespace vkrender {

// What one camera sample's first hit was, when it was host scenery.
struct FirstHit {
    bool scenery = false;
    unsigned object = 0;
    float distance = 0.0f;
    Vec3f normal{0.0f, 0.0f, 0.0f};  // towards the camera
    Vec3f albedo{0.0f, 0.0f, 0.0f};
    Vec3f noisy{0.0f, 0.0f, 0.0f};  // the albedo times the filtered kinds of light
    // The albedo times what the caustic limit took off the bounce: not in the sample's colour,
    // but spread by the filter, so the floor keeps the caustic's energy without its fireflies.
    Vec3f heldBack{0.0f, 0.0f, 0.0f};
};

class IndirectFilterBuffers {
public:
    IndirectFilterBuffers(int width, int height);

    // Adds sample `index` of pixel i (called from one thread per pixel at a time).
    void add(std::size_t i, std::uint32_t index, const FirstHit& hit);

    // The amount to add to each pixel's mean of `samples[i]` samples: the filtered light (with
    // what the caustic limit held back) times the albedo, less the unfiltered light the mean
    // holds.
    std::vector<Vec3f> correction(const std::vector<std::uint32_t>& samples) const;

private:
    int width_;
    int height_;
    std::vector<Vec3f> albedo_;
    std::vector<Vec3f> even_;  // noisy + held back, even samples
    std::vector<Vec3f> odd_;
    std::vector<Vec3f> kept_;  // noisy alone: what the image's mean holds
    std::vector<Vec3f> normal_;
    std::vector<float> distance_;
    std::vector<std::uint32_t> hits_;
    std::vector<int> object_;  // the first scenery object seen, -1 none
};

}  // namespace vkrender
