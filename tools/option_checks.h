// Validators for numeric options whose messages name the value and the accepted range in words a
// user can act on (CLI11's own range check prints the type's full range for a negative seed).
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>

namespace vexakelo::cli {

// A whole number from `low` to `high` written in digits (no sign for an unsigned range, no
// fraction, no exponent), e.g. a seed.
CLI::Validator wholeNumber(long long low, unsigned long long high);

// A finite number from `low` to `high`; `why` ends the message when it is outside
// ("--haze 1e30: expected a finite number from 0 to 40 (turbidity minus 2)").
CLI::Validator finiteNumber(double low, double high, const std::string& why = "");

// A finite number above zero that a float holds (the options it checks are floats).
CLI::Validator positiveNumber();

}  // namespace vexakelo::cli
