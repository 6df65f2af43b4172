// The texture helpers' private random generator: the classic 15-bit linear congruential
// generator (state x, x = x * 214013 + 2531011 mod 2^32, draw (x >> 16) & 0x7FFF). Each helper
// owns one for the length of a generation, so the process-wide rand() state, which belongs to
// the host application and is not thread-safe, is never touched, and the textures are the same
// on every platform.
#pragma once

#include <cstdint>

namespace vexakelo {

class ClassicRandom {
public:
    static constexpr int kMax = 0x7FFF;

    explicit constexpr ClassicRandom(std::uint32_t seed) noexcept : state_(seed) {}

    // A value in 0 ... 32767.
    constexpr int next() noexcept {
        state_ = state_ * 214013u + 2531011u;
        return static_cast<int>((state_ >> 16) & 0x7FFFu);
    }

private:
    std::uint32_t state_;
};

}  // namespace vexakelo
