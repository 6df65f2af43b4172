// The command line's numbers: one option value, as the tools declare their numeric options (the
// option checks of tools/option_checks.cpp on the same CLI11 option types), parsed as `vexakelo`
// parses it. The value either arrives as the number its text writes, within the option's range,
// or the parse throws CLI11's ParseError with a one-line message naming the option (main prints
// it on one line). A value printed back as the tools print it parses to the same value.
//
// The first byte of an input picks the option, the rest (up to a zero byte, which no argument can
// hold) is the text after `--name=`.
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "fuzz_check.h"
#include "option_checks.h"

namespace {

using vexakelo::cli::finiteNumber;
using vexakelo::cli::positiveNumber;
using vexakelo::cli::wholeNumber;

// Parses `--name=text` with the option `add` declares; true when it was accepted. A ParseError
// is checked for one line naming the option; anything else escaping is a crash.
template <class Add>
bool parse(const char* name, const std::string& text, Add&& add) {
    CLI::App app{"fuzz"};
    add(app);
    const std::string argument = std::string(name) + "=" + text;
    const char* argv[] = {"vexakelo", argument.c_str()};
    try {
        app.parse(2, argv);
    } catch (const CLI::ParseError& e) {
        const std::string message = e.what();
        FUZZ_CHECK(!message.empty() && message.find_first_of("\r\n") == std::string::npos,
                   "%s: the message is not one line: %s", name, message.c_str());
        FUZZ_CHECK(message.find(name) != std::string::npos, "%s: the message names no option: %s",
                   name, message.c_str());
        FUZZ_CHECK(e.get_exit_code() != 0, "%s: an error with exit code 0", name);
        return false;
    }
    return true;
}

// The whole number the text writes in decimal (an optional sign, then digits only), or nothing.
// Written out here rather than borrowed from the checks so that both cannot share a mistake.
std::optional<__int128> decimal(const std::string& text) {
    std::size_t at = 0;
    bool negative = false;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
        negative = text[at] == '-';
        ++at;
    }
    if (at == text.size()) return std::nullopt;
    __int128 value = 0;
    for (; at < text.size(); ++at) {
        if (text[at] < '0' || text[at] > '9') return std::nullopt;
        value = value * 10 + (text[at] - '0');
        if (value > (static_cast<__int128>(1) << 70)) return std::nullopt;  // past every range
    }
    return negative ? -value : value;
}

template <class T>
void wholeOption(const char* name, long long low, unsigned long long high,
                 const std::string& text) {
    const auto declare = [&](T& value) {
        return [&, name](CLI::App& app) {
            app.add_option(name, value)->check(wholeNumber(low, high));
        };
    };
    T value{};
    if (!parse(name, text, declare(value))) {
        return;
    }
    const std::optional<__int128> written = decimal(text);
    FUZZ_CHECK(written.has_value(), "%s accepted '%s', which is no decimal whole number", name,
               text.c_str());
    FUZZ_CHECK(*written == static_cast<__int128>(value), "%s: '%s' arrived as %s", name,
               text.c_str(), std::to_string(value).c_str());
    FUZZ_CHECK(static_cast<__int128>(value) >= low && static_cast<__int128>(value) <= high,
               "%s: %s is outside its range", name, std::to_string(value).c_str());
    T again{};
    FUZZ_CHECK(parse(name, std::to_string(value), declare(again)) && again == value,
               "%s: %s printed back does not parse to itself", name,
               std::to_string(value).c_str());
}

// A float option: `positive` for positiveNumber (above 0, no upper bound), else finiteNumber
// from `low` to `high`.
void floatOption(const char* name, bool positive, double low, double high,
                 const std::string& text) {
    const auto declare = [&](std::optional<float>& value) {
        return [&, name](CLI::App& app) {
            app.add_option(name, value)
                ->check(positive ? positiveNumber() : finiteNumber(low, high));
        };
    };
    std::optional<float> value;
    if (!parse(name, text, declare(value))) {
        return;
    }
    FUZZ_CHECK(value.has_value(), "%s: '%s' accepted without a value", name, text.c_str());
    const float v = *value;
    FUZZ_CHECK(std::isfinite(v), "%s: '%s' arrived as %g", name, text.c_str(), v);
    if (positive) {
        FUZZ_CHECK(v > 0.0f, "%s: '%s' arrived as %g, not above 0", name, text.c_str(), v);
    } else {
        FUZZ_CHECK(v >= low && v <= high, "%s: '%s' arrived as %g, outside %g to %g", name,
                   text.c_str(), v, low, high);
    }
    // The float nearest the text's number, or its neighbour where the decimal lies so close to
    // the midpoint between two floats that the parser's wider intermediate rounds the other way.
    errno = 0;
    char* end = nullptr;
    const float nearest = std::strtof(text.c_str(), &end);
    FUZZ_CHECK(end == text.c_str() + text.size(), "%s accepted '%s', which is no number", name,
               text.c_str());
    FUZZ_CHECK(v == nearest || v == std::nextafter(nearest, HUGE_VALF) ||
                   v == std::nextafter(nearest, -HUGE_VALF),
               "%s: '%s' arrived as %.9g", name, text.c_str(), v);
    char printed[32];
    std::snprintf(printed, sizeof printed, "%.9g", static_cast<double>(v));
    std::optional<float> again;
    FUZZ_CHECK(parse(name, printed, declare(again)) && again == value,
               "%s: %s printed back does not parse to itself", name, printed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string text(reinterpret_cast<const char*>(data) + 1,
                           strnlen(reinterpret_cast<const char*>(data) + 1, size - 1));
    // The numeric options of the tools, by the types they parse into.
    switch (data[0] % 8) {
        case 0:  // render, gallery --seed
            wholeOption<std::uint64_t>("--seed", 0, UINT64_MAX, text);
            break;
        case 1:  // render --max-*, diff --max-image-*
            wholeOption<std::uint64_t>("--max-scene-bytes", 1, UINT64_MAX, text);
            break;
        case 2:  // landscape --seed
            wholeOption<int>("--seed", INT32_MIN, INT32_MAX, text);
            break;
        case 3:  // material --seed
            wholeOption<unsigned>("--seed", 0, UINT32_MAX, text);
            break;
        case 4:  // sky --haze
            floatOption("--haze", false, 0.0, 30.0, text);
            break;
        case 5:  // landscape --roughness
            floatOption("--roughness", false, 0.0, 10.0, text);
            break;
        case 6:  // landscape --percentage
            floatOption("--percentage", false, 0.0, 1.0, text);
            break;
        default:  // sky --exposure
            floatOption("--exposure", true, 0.0, 0.0, text);
            break;
    }
    return 0;
}
