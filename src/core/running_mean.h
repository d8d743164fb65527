// Window means for streams, one bar at a time, with the batch's bits.
//
// The batch mean of column `src` at row i is sum(rows, n, i, p, src) / p:
// the left-to-right sum of the window, 0.0 before a full window. While every
// value in the window is a whole number or half whose double is at most
// 2^53 / p, every partial sum of that loop is exact, so a running int64 sum
// of the doubled values, halved, is the same double. The running sum and the
// number of values in the window that break the rule travel with each row in
// two private columns (`slot`, `slot + 1`); a window holding such a value is
// summed in order instead.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/series.h"

namespace fenxi {

// Doubled value as an exact integer, or false when it breaks the rule for p.
inline bool ExactDouble(double v, int p, std::int64_t& twice) {
    const double t = v * 2.0;
    if (!(t == std::trunc(t) && std::fabs(t) * p < 9007199254740992.0)) return false;
    twice = static_cast<std::int64_t>(t);
    return true;
}

inline double RunningMean(FENXIDATA* r, int n, int i, int p, int src, int slot) {
    std::int64_t total = 0;
    double broken = 0;
    if (i > 0) {
        std::memcpy(&total, &r[i - 1].FenXi[slot], sizeof total);
        broken = r[i - 1].FenXi[slot + 1];
    }
    std::int64_t t = 0;
    if (ExactDouble(r[i].FenXi[src], p, t))
        total += t;
    else
        broken += 1;
    if (i >= p) {
        if (ExactDouble(r[i - p].FenXi[src], p, t))
            total -= t;
        else
            broken -= 1;
    }
    std::memcpy(&r[i].FenXi[slot], &total, sizeof total);
    r[i].FenXi[slot + 1] = broken;
    if (i < p - 1) return 0.0 / p;
    return (broken == 0 ? static_cast<double>(total) * 0.5 : sum(r, n, i, p, src)) / p;
}

}  // namespace fenxi
