// Random numbers and noise for the shading context: a PCG stream per pixel sample, gradient
// noise in two and four dimensions remapped to [0, 1], and a repeatable hash of a float.
// All are pure functions of their inputs, so renders repeat exactly for a seed.
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

// A repeatable value in [0, 1) of x's bits (0 and -0 agree).
float hashToUnit(float x);

// Gradient noise, 0.5 at every lattice point, remapped from about [-1, 1] and clamped to [0, 1].
float gradientNoise2(float x, float y);
float gradientNoise4(float x, float y, float z, float w);

}  // namespace vkrender
