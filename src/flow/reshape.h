// The digit-dependent reshaping of the capital-flow line.
#pragma once

#include <cstdint>
#include <cstdlib>

namespace fenxi {

// v scaled by m / 100, where m = 100 + 3a (a odd) or 100 - 3a (a even) and a
// is |units digit + tens digit| of v truncated to int32 (out of range or NaN:
// INT32_MIN). m is applied before the division by 100.
inline double ReshapeFlow(double v) {
    const std::int32_t t = (v >= -2147483648.0 && v < 2147483648.0) ? static_cast<std::int32_t>(v) : INT32_MIN;
    const int d = t % 10 + (t / 10) % 10;
    const int a = std::abs(d);
    const int m = (a % 2 == 1) ? 100 + 3 * a : 100 - 3 * a;
    return static_cast<double>(m) * v / 100.0;
}

}  // namespace fenxi
