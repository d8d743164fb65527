// Price arithmetic shared by the long/short system and its tips.
#pragma once

#include <cstdint>

#include "fenxi/fenxi.h"

namespace fenxi {

// A bar price in display units: price x 10000 / unit.
inline double Display(std::int32_t price, int unit) { return price * 10000.0 / unit; }

// Integer part of a double, saturated to the int64 range (NaN gives 0).
inline std::int64_t IntegerPart(double v) {
    if (!(v == v)) return 0;
    if (v >= 9.2e18) return INT64_MAX;
    if (v <= -9.2e18) return INT64_MIN;
    return static_cast<std::int64_t>(v);
}

// Prices compared in ticks of the security's last decimal: display value x
// as the integer part of x / 100 + 0.5 (2 decimals) or x / 10 + 0.5 (3).
struct Ticks {
    int decimals;
    int unit;
    std::int64_t Of(double display) const { return IntegerPart(display / (decimals == 3 ? 10 : 100) + 0.5); }
    // A raw bar price: c / (unit / 100) + 0.5, or / (unit / 1000).
    std::int64_t OfRaw(std::int32_t raw) const {
        return IntegerPart(raw / (unit / (decimals == 3 ? 1000.0 : 100.0)) + 0.5);
    }
};

// Mean of a bar field in display units over bars from .. to, oldest first.
inline double MeanOf(const UNIKDATA* bars, int unit, int from, int to, std::int32_t UNIKDATA::*field) {
    double total = 0.0;
    for (int j = from; j <= to; ++j) total += Display(bars[j].*field, unit);
    return total / (to - from + 1);
}

// Highest close (display units) of the run of non-rising closes that ends
// at bar i, walking back while each close is not above the one before it.
inline double DeclinePeak(const UNIKDATA* bars, int unit, int i) {
    double peak = Display(bars[i].Close, unit);
    for (int j = i; j > 0 && bars[j].Close <= bars[j - 1].Close; --j) {
        const double c = Display(bars[j - 1].Close, unit);
        if (c > peak) peak = c;
    }
    return peak;
}

}  // namespace fenxi
