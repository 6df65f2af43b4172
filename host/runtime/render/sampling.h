// Random numbers and noise for the shading context: the samples of a pixel (an Owen-scrambled
// Sobol' sequence, or a plain PCG stream for comparison), gradient noise in two and four
// dimensions remapped to [0, 1], and a repeatable hash of a float. All are pure functions of
// their inputs, so renders repeat exactly for a seed.
#pragma once

#include <cstdint>

namespace vkrender {

// PCG32 (XSH RR): 64-bit state, 32-bit output.
class Pcg32 {
public:
    Pcg32() { seed(0, 0); }
    Pcg32(std::uint64_t seedValue, std::uint64_t stream) { seed(seedValue, stream); }

    void seed(std::uint64_t seedValue, std::uint64_t stream) {
        state_ = 0;
        increment_ = (stream << 1u) | 1u;
        next();
        state_ += seedValue;
        next();
    }

    std::uint32_t next() {
        const std::uint64_t old = state_;
        state_ = old * 6364136223846793005ULL + increment_;
        const auto xorShifted = static_cast<std::uint32_t>(((old >> 18u) ^ old) >> 27u);
        const auto rot = static_cast<std::uint32_t>(old >> 59u);
        return (xorShifted >> rot) | (xorShifted << ((32u - rot) & 31u));
    }

    // Uniform in [0, 1): the top 24 bits, so the value is exact in a float and never 1.
    float uniform() { return static_cast<float>(next() >> 8) * 0x1p-24f; }

private:
    std::uint64_t state_ = 0;
    std::uint64_t increment_ = 1;
};

// A well-mixed 32-bit hash (the finaliser of a common 32-bit hash).
inline std::uint32_t mix32(std::uint32_t h) {
    h ^= h >> 16;
    h *= 0x85ebca6bu;
    h ^= h >> 13;
    h *= 0xc2b2ae35u;
    h ^= h >> 16;
    return h;
}

// Sobol' points in base 2, Owen-scrambled by hashing (each bit flipped by a hash of the bits
// above it), with the sample order shuffled the same way per pair of dimensions. Dimensions come
// in pairs: each pair is the first two dimensions of the Sobol' sequence with its own scramble
// and shuffle, so every pair is a stratified 2D net at every power-of-two count and different
// pairs are independent. Pure functions: a value depends only on (seed, index, dimension).
// Both are inline: they run several times for every random pair a shader asks for.
inline std::uint32_t reverseBits(std::uint32_t x) {
    x = __builtin_bswap32(x);
    x = ((x & 0x0f0f0f0fu) << 4) | ((x & 0xf0f0f0f0u) >> 4);
    x = ((x & 0x33333333u) << 2) | ((x & 0xccccccccu) >> 2);
    x = ((x & 0x55555555u) << 1) | ((x & 0xaaaaaaaau) >> 1);
    return x;
}
// A bijection on 32 bits in which each bit depends only on the bits below it and the seed.
inline std::uint32_t laineKarrasPermutation(std::uint32_t x, std::uint32_t seed) {
    // Additions and products by even constants only carry upwards, so bit k depends on bits
    // 0..k alone; each step is invertible.
    x += seed;
    x ^= x * 0x6c50b47cu;
    x ^= x * 0xb82f1e52u;
    x ^= x * 0xc7afe638u;
    x ^= x * 0x8d22f6e6u;
    return x;
}
// An Owen scramble of a 32-bit binary fraction: each bit flipped by a hash of the bits above it.
std::uint32_t nestedUniformScramble(std::uint32_t x, std::uint32_t seed);
// The first two dimensions of the Sobol' sequence as 32-bit binary fractions.
std::uint32_t sobolDimension0(std::uint32_t index);
std::uint32_t sobolDimension1(std::uint32_t index);
// The pair of dimensions (2 pair, 2 pair + 1) of sample `index` of a pixel seeded by `seed`.
void scrambledSobol2(std::uint32_t seed, std::uint32_t index, std::uint32_t pair, float out[2]);

// The seeds of one pair of dimensions of a pixel: the shuffle of the sample order and the
// scrambles of the two values.
struct PairSeeds {
    std::uint32_t shuffle;
    std::uint32_t x;
    std::uint32_t y;
};
PairSeeds pairSeeds(std::uint32_t pixelSeed, std::uint32_t pair);
// The pair for sample index `index` (given bit-reversed, as the shuffle works on it).
void scrambledSobol2(const PairSeeds& seeds, std::uint32_t reversedIndex, float out[2]);

// The random numbers of one pixel sample, dimension after dimension. `uniform` draws every
// number from a PCG stream of the pixel instead (the renderer's earlier sampler, kept for
// comparison).
class SampleSequence {
public:
    enum class Kind { Sobol, Uniform };

    explicit SampleSequence(Kind kind = Kind::Sobol) : kind_(kind) {}
    Kind kind() const { return kind_; }

    // Starts a pixel: its scrambles (or its PCG stream) depend on the render seed and the pixel.
    void beginPixel(std::uint64_t renderSeed, std::uint64_t pixel);
    // Starts sample `index` of the pixel at dimension 0.
    void beginSample(std::uint32_t index) {
        reversedIndex_ = reverseBits(index);
        dimension_ = 0;
        cachedPair_ = ~0u;
    }

    // The next dimension.
    float next1();
    // The next two dimensions of one stratified pair.
    void next2(float out[2]);

private:
    const PairSeeds& seedsOf(std::uint32_t pair);

    // Seeds of the first pairs are kept for the pixel's samples; deeper ones are hashed anew.
    static constexpr std::uint32_t kKeptPairs = 48;

    Kind kind_;
    std::uint32_t pixelSeed_ = 0;
    std::uint32_t reversedIndex_ = 0;
    std::uint32_t dimension_ = 0;
    // The pair last drawn from, so that two single draws share the work of one pair.
    std::uint32_t cachedPair_ = ~0u;
    float cached_[2] = {0.0f, 0.0f};
    std::uint32_t keptPairs_ = 0;
    PairSeeds kept_[kKeptPairs];
    PairSeeds scratch_{};
    Pcg32 rng_;
};

// A repeatable value in [0, 1) of x's bits (0 and -0 agree).
float hashToUnit(float x);

// Gradient noise, 0.5 at every lattice point, remapped from about [-1, 1] and clamped to [0, 1].
float gradientNoise2(float x, float y);
float gradientNoise4(float x, float y, float z, float w);

}  // namespace vkrender
