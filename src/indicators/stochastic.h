// The stochastic kernel shared by KDJ and the tactics pools.
#pragma once

#include <cstdint>
#include <vector>

#include "core/series.h"
#include "core/window.h"

namespace fenxi {

// ((p - 1) * prev + x) / p, the weighted smoothing of one step.
inline double Smooth(double prev, double x, int p) { return (Int32Term(std::int64_t{p} - 1) * prev + x) / p; }

// put(i, rsv(bars, 0, n, i, p)) for every bar in order, the window's lowest
// low and highest high found by sliding extremes from p = 16 on (exact
// integers, so the same values).
template <class Put>
void RsvValues(const UNIKDATA* bars, int n, int p, Put put) {
    if (p < kSlidingExtremeFrom) {
        for (int i = 0; i < n; ++i) put(i, rsv(bars, 0, n, i, p));
        return;
    }
    std::vector<std::int32_t> lows(static_cast<std::size_t>(n));
    SlidingExtreme(n, p, false, [&](int j) { return bars[j].Low; }, [&](int i, std::int32_t v) { lows[i] = v; });
    SlidingExtreme(n, p, true, [&](int j) { return bars[j].High; }, [&](int i, std::int32_t hi) {
        const std::int32_t lo = lows[i];
        put(i, hi == lo ? 50.0 : Int32Term(std::int64_t{bars[i].Close} - lo) / Int32Term(std::int64_t{hi} - lo) * 100.0);
    });
}

// RSV = (C - LLV(L, N)) / (HHV(H, N) - LLV(L, N)) * 100; K = SMA(RSV, M1, 1);
// D = SMA(K, M2, 1), both seeded with the first RSV: put(i, rsv, k, d) in
// bar order, K and D unscaled.
template <class Put>
void KdjValues(const UNIKDATA* bars, int n, int p1, int p2, int p3, Put put) {
    double k = 0.0, d = 0.0;
    RsvValues(bars, n, p1, [&](int i, double rsv) {
        k = i == 0 ? rsv : Smooth(k, rsv, p2);
        d = i == 0 ? k : Smooth(d, k, p3);
        put(i, rsv, k, d);
    });
}

}  // namespace fenxi
