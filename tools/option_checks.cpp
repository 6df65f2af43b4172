#include "option_checks.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace vexakelo::cli {

namespace {

std::string bound(unsigned long long value) {
    if (value == UINT64_MAX) return "2^64-1";
    if (value == static_cast<unsigned long long>(INT64_MAX)) return "2^63-1";
    return std::to_string(value);
}

// The text as the message shows it, quoted, with control characters written out: an argument
// may hold a line break, and the error must stay on the one line main prints.
std::string quotedText(const std::string& text) {
    std::string out = "'";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
            out += escaped;
        } else {
            out += c;
        }
    }
    return out + "'";
}

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

}  // namespace

CLI::Validator wholeNumber(long long low, unsigned long long high) {
    const std::string range =
        "a whole number from " + std::to_string(low) + " to " + bound(high);
    return CLI::Validator(
        [=](std::string& text) -> std::string {
            const char* first = text.data();
            const char* last = text.data() + text.size();
            bool ok = !text.empty();
            if (ok && text[0] == '-') {
                long long value = 0;
                const auto [end, error] = std::from_chars(first, last, value);
                ok = error == std::errc() && end == last && value >= low;
            } else if (ok) {
                unsigned long long value = 0;
                const auto [end, error] = std::from_chars(first + (text[0] == '+'), last, value);
                ok = error == std::errc() && end == last && value <= high &&
                     (low <= 0 || value >= static_cast<unsigned long long>(low));
            }
            if (!ok) {
                return quotedText(text) + " is not " + range;
            }
            // CLI11 converts the checked text with base 0, which reads a leading 0 as octal (010
            // would arrive as 8, 08 as an error), and a check cannot hand it another text.
            const std::size_t digits = text.find_first_not_of("+-");
            if (text.size() - digits > 1 && text[digits] == '0') {
                return quotedText(text) + " is not " + range + " (write it without leading zeros)";
            }
            return {};
        },
        range);
}

CLI::Validator finiteNumber(double low, double high, const std::string& why) {
    const std::string range = "a finite number from " + number(low) + " to " + number(high);
    return CLI::Validator(
        [=](std::string& text) -> std::string {
            errno = 0;
            char* end = nullptr;
            const double value = std::strtod(text.c_str(), &end);
            if (text.empty() || end != text.c_str() + text.size() || !std::isfinite(value) ||
                value < low || value > high) {
                return quotedText(text) + " is not " + range +
                       (why.empty() ? "" : " (" + why + ")");
            }
            return {};
        },
        range);
}

CLI::Validator positiveNumber() {
    return CLI::Validator(
        [](std::string& text) -> std::string {
            // Read as CLI11 reads it into the option's float (a long double, then narrowed), so
            // that what passes here is what the option holds: 1e39 would be infinite, 1e-50 zero.
            char* end = nullptr;
            const long double value = std::strtold(text.c_str(), &end);
            const auto narrowed = static_cast<float>(value);
            if (text.empty() || end != text.c_str() + text.size() || !std::isfinite(value) ||
                !(value > 0.0L)) {
                return quotedText(text) + " is not a finite number above 0";
            }
            if (!std::isfinite(narrowed) || !(narrowed > 0.0f)) {
                return quotedText(text) + " is not a finite number above 0 (" +
                       number(std::numeric_limits<float>::denorm_min()) + " to " +
                       number(std::numeric_limits<float>::max()) + ")";
            }
            return {};
        },
        "a finite number above 0");
}

}  // namespace vexakelo::cli
