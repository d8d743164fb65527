// The shipped daily series repeated to n bars, for benchmarks: each copy is
// shifted so its first open continues from the previous copy's last close,
// and the dates keep counting.
#pragma once

#include <map>
#include <vector>

#include "bars.h"

namespace benchbars {

inline const std::vector<UNIKDATA>& Extended(int n) {
    static std::map<int, std::vector<UNIKDATA>> cache;
    auto& bars = cache[n];
    if (!bars.empty()) return bars;
    static const std::vector<UNIKDATA> base = testbars::Sample();
    bars.reserve(static_cast<std::size_t>(n));
    std::int32_t shift = 0;
    while (static_cast<int>(bars.size()) < n) {
        for (const UNIKDATA& b : base) {
            if (static_cast<int>(bars.size()) == n) break;
            UNIKDATA c = b;
            c.Open += shift;
            c.High += shift;
            c.Low += shift;
            c.Close += shift;
            c.Date = static_cast<std::int32_t>(bars.size());
            bars.push_back(c);
        }
        shift = bars.back().Close - base.front().Open;
    }
    return bars;
}

}  // namespace benchbars
