#include "render/sampling.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace vkrender {

namespace {

std::uint32_t hashCell(std::int32_t x, std::int32_t y, std::int32_t z = 0, std::int32_t w = 0) {
    std::uint32_t h = mix32(static_cast<std::uint32_t>(x) * 0x8da6b343u);
    h = mix32(h ^ (static_cast<std::uint32_t>(y) * 0xd8163841u));
    h = mix32(h ^ (static_cast<std::uint32_t>(z) * 0xcb1ab31fu));
    return mix32(h ^ (static_cast<std::uint32_t>(w) * 0x165667b1u));
}

// The quintic fade 6t^5 - 15t^4 + 10t^3: continuous second derivative across cells.
float fade(float t) {
    return t * t * t * (t * (t * 6.0f - 15.0f) + 10.0f);
}
float lerp(float a, float b, float t) {
    return a + t * (b - a);
}

// Eight unit-ish gradients in 2D: the axes and the diagonals.
float grad2(std::uint32_t h, float x, float y) {
    switch (h & 7u) {
        case 0:
            return x + y;
        case 1:
            return -x + y;
        case 2:
            return x - y;
        case 3:
            return -x - y;
        case 4:
            return x;
        case 5:
            return -x;
        case 6:
            return y;
        default:
            return -y;
    }
}

// The 32 gradients of 4D noise: three components of +-1 and one zero. Gradient g leaves out
// axis g >> 3 and takes the signs of bits 0, 1 and 2 for the other three in order; the table
// turns the branches on g into look-ups, summing in the same order.
struct Gradient4 {
    unsigned char axis[3];
    float sign[3];
};
constexpr Gradient4 makeGradient4(std::uint32_t g) {
    Gradient4 r{};
    const std::uint32_t skipped = g >> 3;
    int k = 0;
    for (unsigned char axis = 0; axis < 4; ++axis) {
        if (axis == skipped)
            continue;
        r.axis[k] = axis;
        r.sign[k] = (g >> k) & 1u ? -1.0f : 1.0f;
        ++k;
    }
    return r;
}
constexpr auto kGradients4 = [] {
    std::array<Gradient4, 32> table{};
    for (std::uint32_t g = 0; g < 32; ++g)
        table[g] = makeGradient4(g);
    return table;
}();

float grad4(std::uint32_t h, const float d[4]) {
    const Gradient4& g = kGradients4[h & 31u];
    return g.sign[0] * d[g.axis[0]] + g.sign[1] * d[g.axis[1]] + g.sign[2] * d[g.axis[2]];
}

float toUnit(float n) {
    return std::clamp(0.5f + 0.5f * n, 0.0f, 1.0f);
}

}  // namespace

std::uint32_t nestedUniformScramble(std::uint32_t x, std::uint32_t seed) {
    return reverseBits(laineKarrasPermutation(reverseBits(x), seed));
}

std::uint32_t sobolDimension0(std::uint32_t index) {
    return reverseBits(index);
}

namespace {

// The second dimension's generator matrix applied a byte at a time, its columns bit-reversed:
// column k is v(k) with v(0) = 1/2 and v(k+1) = v(k) ^ (v(k) >> 1).
struct Sobol1Tables {
    std::uint32_t reversed[4][256];
    Sobol1Tables() {
        std::uint32_t columns[32];
        std::uint32_t v = 1u << 31;
        for (std::uint32_t& c : columns) {
            c = reverseBits(v);
            v ^= v >> 1;
        }
        for (int byte = 0; byte < 4; ++byte) {
            for (std::uint32_t value = 0; value < 256; ++value) {
                std::uint32_t r = 0;
                for (int bit = 0; bit < 8; ++bit) {
                    if ((value >> bit) & 1u) {
                        r ^= columns[8 * byte + bit];
                    }
                }
                reversed[byte][value] = r;
            }
        }
    }
};

const Sobol1Tables kSobol1;

// The second Sobol' dimension of `index`, bit-reversed.
std::uint32_t sobol1Reversed(std::uint32_t index) {
    return kSobol1.reversed[0][index & 0xffu] ^ kSobol1.reversed[1][(index >> 8) & 0xffu] ^
           kSobol1.reversed[2][(index >> 16) & 0xffu] ^ kSobol1.reversed[3][index >> 24];
}

float toUnitFloat(std::uint32_t bits) {
    return static_cast<float>(bits >> 8) * 0x1p-24f;
}

}  // namespace

std::uint32_t sobolDimension1(std::uint32_t index) {
    return reverseBits(sobol1Reversed(index));
}

PairSeeds pairSeeds(std::uint32_t pixelSeed, std::uint32_t pair) {
    const std::uint32_t h = mix32(pixelSeed ^ mix32(pair * 0x9e3779b9u + 0x7f4a7c15u));
    return {h, mix32(h ^ 0xa511e9b3u), mix32(h ^ 0x63d83595u)};
}

void scrambledSobol2(const PairSeeds& seeds, std::uint32_t reversedIndex, float out[2]) {
    // The sample order is shuffled per pair (an Owen scramble of the index), which keeps the
    // pairs of one sample apart while any power-of-two run of samples is still whole Sobol'
    // blocks. Scrambling works on reversed bits: Owen's flips hang on the bits above.
    const std::uint32_t shuffled =
        reverseBits(laineKarrasPermutation(reversedIndex, seeds.shuffle));
    // Dimension 0 is the reversed index, so its reversed value is the index itself.
    out[0] = toUnitFloat(reverseBits(laineKarrasPermutation(shuffled, seeds.x)));
    out[1] = toUnitFloat(reverseBits(laineKarrasPermutation(sobol1Reversed(shuffled), seeds.y)));
}

void scrambledSobol2(std::uint32_t seed, std::uint32_t index, std::uint32_t pair, float out[2]) {
    scrambledSobol2(pairSeeds(seed, pair), reverseBits(index), out);
}

void SampleSequence::beginPixel(std::uint64_t renderSeed, std::uint64_t pixel) {
    if (kind_ == Kind::Uniform) {
        rng_.seed(renderSeed, pixel);
        return;
    }
    pixelSeed_ = mix32(static_cast<std::uint32_t>(renderSeed) ^
                       mix32(static_cast<std::uint32_t>(renderSeed >> 32) + 0x632be5abu)) ^
                 mix32(static_cast<std::uint32_t>(pixel) * 0x85ebca6bu +
                       static_cast<std::uint32_t>(pixel >> 32));
    keptPairs_ = 0;
    beginSample(0);
}

const PairSeeds& SampleSequence::seedsOf(std::uint32_t pair) {
    if (pair < keptPairs_) {
        return kept_[pair];
    }
    if (pair < kKeptPairs) {
        while (keptPairs_ <= pair) {
            kept_[keptPairs_] = pairSeeds(pixelSeed_, keptPairs_);
            ++keptPairs_;
        }
        return kept_[pair];
    }
    scratch_ = pairSeeds(pixelSeed_, pair);
    return scratch_;
}

float SampleSequence::next1() {
    if (kind_ == Kind::Uniform) {
        return rng_.uniform();
    }
    const std::uint32_t pair = dimension_ >> 1;
    if (pair != cachedPair_) {
        scrambledSobol2(seedsOf(pair), reversedIndex_, cached_);
        cachedPair_ = pair;
    }
    const float value = cached_[dimension_ & 1u];
    ++dimension_;
    return value;
}

void SampleSequence::next2(float out[2]) {
    if (kind_ == Kind::Uniform) {
        out[0] = rng_.uniform();
        out[1] = rng_.uniform();
        return;
    }
    // A pair starts at an even dimension, so its two values are one stratified 2D point.
    dimension_ = (dimension_ + 1u) & ~1u;
    scrambledSobol2(seedsOf(dimension_ >> 1), reversedIndex_, out);
    dimension_ += 2;
}

float hashToUnit(float x) {
    if (x == 0.0f) {
        x = 0.0f;
    }
    std::uint32_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    return static_cast<float>(mix32(bits ^ 0x9e3779b9u) >> 8) * 0x1p-24f;
}

float gradientNoise2(float x, float y) {
    const float fx = std::floor(x);
    const float fy = std::floor(y);
    const auto ix = static_cast<std::int32_t>(fx);
    const auto iy = static_cast<std::int32_t>(fy);
    const float dx = x - fx;
    const float dy = y - fy;
    const float u = fade(dx);
    const float v = fade(dy);
    const float n00 = grad2(hashCell(ix, iy), dx, dy);
    const float n10 = grad2(hashCell(ix + 1, iy), dx - 1.0f, dy);
    const float n01 = grad2(hashCell(ix, iy + 1), dx, dy - 1.0f);
    const float n11 = grad2(hashCell(ix + 1, iy + 1), dx - 1.0f, dy - 1.0f);
    return toUnit(lerp(lerp(n00, n10, u), lerp(n01, n11, u), v));
}

float gradientNoise4(float x, float y, float z, float w) {
    const float p[4] = {x, y, z, w};
    std::int32_t cell[4];
    float d[4];
    float f[4];
    for (int i = 0; i < 4; ++i) {
        const float fl = std::floor(p[i]);
        cell[i] = static_cast<std::int32_t>(fl);
        d[i] = p[i] - fl;
        f[i] = fade(d[i]);
    }
    // The corners' hashes share their prefixes (the hash takes x, then y, z and w), so they
    // are built axis by axis: 2 + 4 + 8 + 16 mixes instead of 64, the same values as hashCell.
    std::uint32_t hx[2], hxy[4], hxyz[8], hashes[16];
    for (int i = 0; i < 2; ++i)
        hx[i] = mix32(static_cast<std::uint32_t>(cell[0] + i) * 0x8da6b343u);
    for (int i = 0; i < 4; ++i)
        hxy[i] = mix32(hx[i & 1] ^ (static_cast<std::uint32_t>(cell[1] + (i >> 1)) * 0xd8163841u));
    for (int i = 0; i < 8; ++i)
        hxyz[i] =
            mix32(hxy[i & 3] ^ (static_cast<std::uint32_t>(cell[2] + (i >> 2)) * 0xcb1ab31fu));
    for (int i = 0; i < 16; ++i)
        hashes[i] =
            mix32(hxyz[i & 7] ^ (static_cast<std::uint32_t>(cell[3] + (i >> 3)) * 0x165667b1u));
    // Sixteen corners, blended one axis at a time (x innermost).
    float values[16];
    for (int corner = 0; corner < 16; ++corner) {
        const float offset[4] = {d[0] - static_cast<float>(corner & 1),
                                 d[1] - static_cast<float>((corner >> 1) & 1),
                                 d[2] - static_cast<float>((corner >> 2) & 1),
                                 d[3] - static_cast<float>((corner >> 3) & 1)};
        values[corner] = grad4(hashes[corner], offset);
    }
    for (int axis = 0, count = 16; axis < 4; ++axis, count /= 2) {
        for (int i = 0; i < count / 2; ++i) {
            values[i] = lerp(values[2 * i], values[2 * i + 1], f[axis]);
        }
    }
    // The 4D sum of three unit gradients reaches about +-1.5 at its extremes; scale it into
    // the same range as the 2D noise.
    return toUnit(values[0] * (2.0f / 3.0f));
}

}  // namespace vkrender
