// Reads bars from a CSV file for the fenxi tool.
#pragma once

#include <istream>
#include <stdexcept>
#include <string>
#include <vector>

#include "fenxi/fenxi.h"

namespace fenxi_cli {

// A malformed input: the message reads "FILE:LINE: what is wrong".
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct BarFile {
    std::vector<UNIKDATA> bars;  // oldest first
    int unit = 100;              // 10^(largest number of price decimals), or as overridden
    std::string code;            // a six-digit security code found in the file name, if any
    int market = 0;              // 1 for Shanghai codes (sh prefix or 5, 6, 9 first digit)
};

// Header row required; comma or tab separated; columns found by name
// (date, time, open, high, low, close, volume, amount and common aliases,
// English or Chinese); dates 2024-01-31 or 20240131, optionally with a time;
// rows oldest or newest first (reversed). `unit` <= 0 picks it from the
// decimals. "-" reads standard input.
BarFile ReadBars(const std::string& path, int unit = 0);
// The same from an open stream; `name` stands for the file in messages.
BarFile ReadBars(std::istream& in, const std::string& name, int unit = 0);

}  // namespace fenxi_cli
