// Reads bars from a CSV file for the fenxi tool.
#pragma once

#include <cstdint>
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

// Bounds of what is read: longer lines or fields, more bars, or a byte 0
// (not a text file) stop the reading with an error naming the line.
constexpr std::size_t kMaxLineBytes = 4096;
constexpr std::size_t kMaxFieldBytes = 64;
constexpr std::size_t kMaxBars = 20'000'000;

struct ReadOptions {
    int unit = 0;                 // > 0 forces a unit; else chosen from the prices
    bool keepSuspended = false;   // keep rows whose four prices are all 0
};

struct BarFile {
    std::vector<UNIKDATA> bars;  // oldest first
    int unit = 100;
    int decimals = 0;            // the most decimals a price of the file is written with
    std::string code;            // a six-digit security code found in the file name, if any
    int market = 0;              // 1 Shanghai, 0 Shenzhen
    std::string marketFrom;      // what the market was read from ("suffix .XSHG", "first digit", ...)
    int suspended = 0;           // all-zero rows skipped
    int rounded = 0;             // prices rounded to the unit
    double roundedBy = 0;        // the largest rounding, in price units
};

// Header row required; comma or tab separated; columns found by name
// (date, time, open, high, low, close, volume, amount and common aliases,
// English or Chinese); dates 2024-01-31 or 20240131, optionally with a time;
// rows oldest or newest first (reversed). Without a unit it is the largest
// power of ten, up to the prices' decimals, that keeps every price within 32
// bits; prices with more decimals are rounded half away from zero. "-" reads
// standard input.
BarFile ReadBars(const std::string& path, const ReadOptions& options = {});
// The same from an open stream; `name` stands for the file in messages.
BarFile ReadBars(std::istream& in, const std::string& name, const ReadOptions& options = {});

// The unit of a brick chart of `box` raw units (kept within 2,000..10,000 by
// the engine): the power of ten from the file's unit up, every price within
// 32 bits, that puts a box nearest to 1 % of the median close.
int BrickUnit(const BarFile& file, int box);
// The bars at a larger unit (a multiple of the file's).
void Rescale(BarFile& file, int unit);

// The security code and market a file name shows: a six-digit code standing
// alone, with a market from a suffix (.SH, .XSHG / .SZ, .XSHE), a prefix
// (sh / sz) or else its first digit (5, 6, 9 Shanghai).
void CodeFromName(const std::string& path, BarFile& file);

}  // namespace fenxi_cli
