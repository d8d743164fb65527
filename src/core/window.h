// Window averages and extremes over whole columns, with exact fast routes.
//
// A window sum over values that are all exact integers (or exact halves)
// whose magnitude times the window stays below 2^53 has every partial sum of
// the left-to-right double loop exact, so the double result equals the exact
// integer sum. A running int64 sum then gives the same bits in O(n) instead
// of O(n x period). Extremes of integers are exact whatever the order, so a
// monotonic deque gives the same values in O(n).
#pragma once

#include <cmath>
#include <cstdint>
#include <algorithm>
#include <vector>

#include "core/series.h"

namespace fenxi {

// FenXi[dst] = sum(rows, n, i, p, src) / p for every row: the plain route.
inline void ColumnAveragePlain(FENXIDATA* rows, int n, int src, int dst, int p) {
    for (int i = 0; i < n; ++i) rows[i].FenXi[dst] = sum(rows, n, i, p, src) / p;
}

// The scale (1 or 2) that makes every value of column `col` an integer whose
// magnitude times `period` stays below 2^53, or 0 when there is none.
inline int ExactScale(const FENXIDATA* rows, int n, int col, int period) {
    constexpr double kLimit = 9007199254740992.0;  // 2^53
    for (int scale : {1, 2}) {
        double most = 0.0;
        bool exact = true;
        for (int i = 0; i < n && exact; ++i) {
            const double v = rows[i].FenXi[col] * scale;
            exact = v == std::trunc(v) && std::fabs(v) < kLimit;  // also false for NaN and inf
            most = std::max(most, std::fabs(v));
        }
        if (exact && most * std::max(period, 1) < kLimit) return scale;
    }
    return 0;
}

// Windows from which the fast routes pay for their set-up (measured on the
// daily sample; both routes give the same values).
constexpr int kRunningSumFrom = 12;
constexpr int kSlidingExtremeFrom = 16;

// ColumnAveragePlain's values by a running int64 sum of value x scale, for
// a column whose ExactScale for p is `scale`.
inline void RunningAverage(FENXIDATA* rows, int n, int src, int dst, int p, int scale) {
    std::int64_t total = 0;  // exact sum of value x scale over the window
    for (int i = 0; i < n; ++i) {
        total += static_cast<std::int64_t>(rows[i].FenXi[src] * scale);
        if (i >= p) total -= static_cast<std::int64_t>(rows[i - p].FenXi[src] * scale);
        const double windowSum = i < p - 1 ? 0.0 : static_cast<double>(total) / scale;
        rows[i].FenXi[dst] = windowSum / p;
    }
}

// The same values as ColumnAveragePlain, by a running sum when it is exact.
inline void ColumnAverage(FENXIDATA* rows, int n, int src, int dst, int p) {
    const int scale = p >= kRunningSumFrom ? ExactScale(rows, n, src, p) : 0;
    if (scale != 0)
        RunningAverage(rows, n, src, dst, p, scale);
    else
        ColumnAveragePlain(rows, n, src, dst, p);
}

// Several averages of one column that fill(i) writes: FenXi[dst[j]] = the
// average of FenXi[src] over periods[j]. With only short windows this is the
// plain fused loop (fill row i, then its averages, the rows of a short
// window still in cache). Otherwise the column is filled first; each long
// window over exact values takes a running-sum pass and the rest share one.
template <class Fill>
void ColumnAverages(FENXIDATA* rows, int n, int src, const int* dst, const int* periods, int k, Fill fill) {
    int longest = 0;
    for (int j = 0; j < k; ++j) longest = std::max(longest, periods[j]);
    int scale = 0;
    if (longest >= kRunningSumFrom) {
        for (int i = 0; i < n; ++i) fill(i);
        scale = ExactScale(rows, n, src, longest);  // then exact for every shorter window too
    }
    // Copies in locals: the row writes cannot alias them, so they stay in registers.
    int plainDst[8], plainPeriod[8], plainCount = 0;
    for (int j = 0; j < k; ++j) {
        if (scale != 0 && periods[j] >= kRunningSumFrom) {
            RunningAverage(rows, n, src, dst[j], periods[j], scale);
        } else {
            plainDst[plainCount] = dst[j];
            plainPeriod[plainCount++] = periods[j];
        }
    }
    if (plainCount == 0) return;
    const bool fused = longest < kRunningSumFrom;
    for (int i = 0; i < n; ++i) {
        if (fused) fill(i);
        for (int q = 0; q < plainCount; ++q) {
            // The window sum written out: the same additions as `sum`, in order.
            const int p = plainPeriod[q];
            double total = 0.0;
            if (p >= 1 && i - p + 1 >= 0)
                for (const FENXIDATA* row = rows + i - p + 1; row <= rows + i; ++row) total += row->FenXi[src];
            rows[i].FenXi[plainDst[q]] = total / p;
        }
    }
}

// Highest (or lowest) of value(j) over j = max(0, i-period+1) .. i for every
// i, handed to out(i, extreme). Exact for integers, O(n); the monotonic queue
// lives in one ring buffer allocated per call.
template <class Value, class Out>
void SlidingExtreme(int n, int period, bool highest, Value value, Out out) {
    if (n < 1 || period < 1) return;
    const int size = std::min(n, period) + 1;
    std::vector<int> ring(static_cast<std::size_t>(size));
    int head = 0, count = 0;  // the queue is ring[head], ring[head+1], ... (count entries)
    auto at = [&](int k) -> int& { return ring[static_cast<std::size_t>((head + k) % size)]; };
    for (int i = 0; i < n; ++i) {
        const auto v = value(i);
        while (count > 0 && (highest ? value(at(count - 1)) <= v : value(at(count - 1)) >= v)) --count;
        at(count++) = i;
        if (at(0) <= std::int64_t{i} - period) head = (head + 1) % size, --count;
        out(i, value(at(0)));
    }
}

}  // namespace fenxi
