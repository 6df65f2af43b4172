// Number extraction: the reader's fast path must take a line's numbers exactly as
// `std::istringstream >> float` does (the same floats bit for bit, stopping at the same token),
// a token it converts must be the stream's value for that token, and the integer fields truncate
// and saturate without undefined behaviour.
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "ies_support.h"
#include "photometry/ies_parts.h"

namespace {

std::vector<float> streamNumbers(const std::string& line) {
    std::vector<float> out;
    std::istringstream in(line);
    float v = 0.0f;
    while (in >> v) out.push_back(v);
    return out;
}

bool sameBits(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Lines are short in real files; longer inputs only slow the stream down.
    if (size > 512) return 0;
    const std::string line(reinterpret_cast<const char*>(data), size);

    const std::vector<float> numbers = extractNumbers(line);
    const std::vector<float> expected = streamNumbers(line);
    FUZZ_CHECK(numbers.size() == expected.size(), "%zu numbers, the stream reads %zu",
               numbers.size(), expected.size());
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        FUZZ_CHECK(sameBits(numbers[i], expected[i]), "number %zu is %.9g, the stream reads %.9g",
                   i, static_cast<double>(numbers[i]), static_cast<double>(expected[i]));
        volatile std::int32_t truncated = truncateToInt(numbers[i]);
        (void)truncated;
    }

    // Integer fields of any float, infinities and NaN included.
    if (size >= sizeof(float)) {
        float raw = 0.0f;
        std::memcpy(&raw, data, sizeof raw);
        volatile std::int32_t truncated = truncateToInt(raw);
        (void)truncated;
    }

    // The whole input as one token: a plain conversion must agree with the stream reading all of it.
    float plain = 0.0f;
    if (parsePlainFloat(line.data(), line.data() + line.size(), plain)) {
        std::istringstream in(line);
        float v = 0.0f;
        const bool whole = static_cast<bool>(in >> v) && in.peek() == std::char_traits<char>::eof();
        FUZZ_CHECK(whole && sameBits(plain, v), "plain conversion %.9g, the stream %.9g",
                   static_cast<double>(plain), static_cast<double>(v));
    }
    return 0;
}
