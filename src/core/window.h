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

#include "core/lanes.h"
#include "core/series.h"

namespace fenxi {

// FenXi[dst] = sum(rows, n, i, p, src) / p for every row: the plain route.
inline void ColumnAveragePlain(FENXIDATA* rows, int n, int src, int dst, int p) {
    for (int i = 0; i < n; ++i) rows[i].FenXi[dst] = sum(rows, n, i, p, src) / p;
}

// The scale (1 or 2) that makes every value x[0..n-1] an integer whose
// magnitude times `period` stays below 2^53, or 0 when there is none.
inline int ExactScale(const double* x, int n, int period) {
    constexpr double kLimit = 9007199254740992.0;  // 2^53
    for (int scale : {1, 2}) {
        double most = 0.0;
        bool exact = true;
        for (int i = 0; i < n && exact; ++i) {
            const double v = x[i] * scale;
            exact = v == std::trunc(v) && std::fabs(v) < kLimit;  // also false for NaN and inf
            most = std::max(most, std::fabs(v));
        }
        if (exact && most * std::max(period, 1) < kLimit) return scale;
    }
    return 0;
}

// Windows from which the running sum pays for its set-up (measured on the
// daily sample; every route gives the same values).
constexpr int kRunningSumFrom = 12;
constexpr int kSlidingExtremeFrom = 16;

// The sums of `sum(rows, n, i, p, src)` over a contiguous column x, produced
// chunk by chunk in order: 0.0 where bar i has no full window (and for
// p < 1), else the left-to-right sum of x[i-p+1..i]. With a scale from
// ExactScale it keeps a running int64 sum (exact, so the same bits);
// without one it sums each window in order, several windows per vector.
class WindowSummer {
public:
    WindowSummer(const double* x, int p, int scale) : x_(x), p_(p), scale_(scale) {}
    // out[i - from] for i in [from, to); chunks must follow one another.
    void Next(int from, int to, double* out) {
        if (scale_ != 0) {
            for (int i = from; i < to; ++i) {
                total_ += static_cast<std::int64_t>(x_[i] * scale_);
                if (i >= p_) total_ -= static_cast<std::int64_t>(x_[i - p_] * scale_);
                out[i - from] = i < p_ - 1 ? 0.0 : static_cast<double>(total_) / scale_;
            }
            return;
        }
        const int first = p_ < 1 ? to : std::clamp(p_ - 1, from, to);  // first bar with a full window
        for (int i = from; i < first; ++i) out[i - from] = 0.0;
        if (first < to) lanes::WindowSums(x_, first, to, p_, out + (first - from));
    }

private:
    const double* x_;
    int p_, scale_;
    std::int64_t total_ = 0;
};

// The scale for a window of p over x: a running sum is taken only for
// windows long enough to gain from it.
inline int RunningScale(const double* x, int n, int p) { return p >= kRunningSumFrom ? ExactScale(x, n, p) : 0; }

// out[i] = sum(...) / p over a whole contiguous column.
inline void AverageInto(const double* x, int n, int p, double* out) {
    if (n < 1) return;
    WindowSummer(x, p, RunningScale(x, n, p)).Next(0, n, out);
    for (int i = 0; i < n; ++i) out[i] /= p;
}

// Rows per chunk of the multi-line helper: its sums stay in the L1/L2 cache
// between being computed and being written into the rows.
constexpr int kChunkRows = 1024;

// One averaged line: FenXi[dst] = the average of source column `source`
// over `period`.
struct AverageLine {
    int source;
    int dst;
    int period;
};

// Fills S source columns and averages them into rows, writing each row
// once. fill(i, v) sets v[0..S-1] for bar i; source s is stored in
// FenXi[srcCols[s]] and line q gets sum(rows, n, i, period, srcCols[source])
// / period, bit for bit.
template <int S, class Fill>
void AverageColumns(FENXIDATA* rows, int n, const int (&srcCols)[S], const AverageLine* lines, int k, Fill fill) {
    if (n < 1 || k > 8) return;
    std::vector<double> x(static_cast<std::size_t>(S) * n);
    for (int i = 0; i < n; ++i) {
        double v[S];
        fill(i, v);
        for (int s = 0; s < S; ++s) x[static_cast<std::size_t>(s) * n + i] = v[s];
    }
    std::vector<WindowSummer> summers;
    summers.reserve(static_cast<std::size_t>(k));
    for (int q = 0; q < k; ++q) {
        const double* column = x.data() + static_cast<std::size_t>(lines[q].source) * n;
        summers.emplace_back(column, lines[q].period, RunningScale(column, n, lines[q].period));
    }
    std::vector<double> sums(static_cast<std::size_t>(k) * kChunkRows);
    int dst[8], period[8];  // locals: the row writes cannot alias them
    for (int q = 0; q < k; ++q) dst[q] = lines[q].dst, period[q] = lines[q].period;
    for (int from = 0; from < n; from += kChunkRows) {
        const int to = std::min(n, from + kChunkRows);
        for (int q = 0; q < k; ++q) summers[q].Next(from, to, sums.data() + q * kChunkRows);
        for (int i = from; i < to; ++i) {
            double* v = rows[i].FenXi;
            for (int s = 0; s < S; ++s) v[srcCols[s]] = x[static_cast<std::size_t>(s) * n + i];
            for (int q = 0; q < k; ++q) v[dst[q]] = sums[q * kChunkRows + (i - from)] / period[q];
        }
    }
}

// Several averages of one column that value(i) gives: FenXi[src] = value(i)
// and FenXi[dst[j]] = its average over periods[j].
template <class Value>
void ColumnAverages(FENXIDATA* rows, int n, int src, const int* dst, const int* periods, int k, Value value) {
    AverageLine lines[8];
    k = std::min(k, 8);
    for (int j = 0; j < k; ++j) lines[j] = {0, dst[j], periods[j]};
    const int srcCols[1] = {src};
    AverageColumns(rows, n, srcCols, lines, k, [&](int i, double* v) { v[0] = value(i); });
}

// ColumnAveragePlain's values for a column already in the rows.
inline void ColumnAverage(FENXIDATA* rows, int n, int src, int dst, int p) {
    const AverageLine line{0, dst, p};
    const int srcCols[1] = {src};
    AverageColumns(rows, n, srcCols, &line, 1, [&](int i, double* v) { v[0] = rows[i].FenXi[src]; });
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
