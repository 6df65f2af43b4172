#include "option_checks.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace vexakelo::cli {

namespace {

std::string bound(unsigned long long value) {
    if (value == UINT64_MAX) return "2^64-1";
    if (value == static_cast<unsigned long long>(INT64_MAX)) return "2^63-1";
    return std::to_string(value);
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
            return ok ? std::string() : "'" + text + "' is not " + range;
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
                return "'" + text + "' is not " + range + (why.empty() ? "" : " (" + why + ")");
            }
            return {};
        },
        range);
}

CLI::Validator positiveNumber() {
    return CLI::Validator(
        [](std::string& text) -> std::string {
            char* end = nullptr;
            const double value = std::strtod(text.c_str(), &end);
            if (text.empty() || end != text.c_str() + text.size() || !std::isfinite(value) ||
                !(value > 0.0)) {
                return "'" + text + "' is not a finite number above 0";
            }
            return {};
        },
        "a finite number above 0");
}

}  // namespace vexakelo::cli
