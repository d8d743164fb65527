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

#include "core/kernel.h"
#include "core/lanes.h"
#include "core/pool.h"
#include "core/series.h"

namespace fenxi {

// FenXi[dst] = sum(rows, n, i, p, src) / p for every row: the plain route.
inline void ColumnAveragePlain(FENXIDATA* rows, int n, int src, int dst, int p) {
    for (int i = 0; i < n; ++i) rows[i].FenXi[dst] = sum(rows, n, i, p, src) / p;
}

// Exactness of a column for the running sum, checked value by value: the
// scale (1 or 2) that makes every value an integer whose magnitude times the
// window stays below 2^53, or 0 when there is none.
class ExactnessCheck {
public:
    ExactnessCheck() = default;
    explicit ExactnessCheck(const lanes::Exactness& e) : whole_(e.whole), halves_(e.halves), most_(e.most) {}
    void Add(double v) {
        const double a = std::fabs(v);
        whole_ = whole_ & lanes::WholeBelow53(a);
        halves_ = halves_ & lanes::WholeBelow53(a + a);
        most_ = a > most_ ? a : most_;  // NaN never enters; it clears both flags
    }
    int Scale(int period) const {
        const double w = std::max(period, 1);
        if (whole_ && most_ * w < kLimit) return 1;
        if (halves_ && (most_ + most_) * w < kLimit) return 2;
        return 0;
    }

private:
    static constexpr double kLimit = 9007199254740992.0;  // 2^53
    bool whole_ = true, halves_ = true;
    double most_ = 0.0;  // largest |v|
};

inline int ExactScale(const double* x, int n, int period) { return ExactnessCheck(lanes::Exact(x, n)).Scale(period); }

// Windows from which the running sum pays for its set-up (measured on the
// daily sample; every route gives the same values).
constexpr int kRunningSumFrom = 12;
constexpr int kSlidingExtremeFrom = 16;

// The sums of `sum(rows, n, i, p, src)` over one column, produced chunk by
// chunk in order: 0.0 where bar i has no full window (and for p < 1), else
// the left-to-right sum of the column's values i-p+1 .. i. With a scale from
// ExactnessCheck it keeps a running int64 sum of value x scale, exact and so
// the same bits; otherwise it sums each window in order, several windows per
// vector.
class WindowSummer {
public:
    WindowSummer(int p, int scale) : p_(p), running_(scale != 0), unscale_(scale == 2 ? 0.5 : 1.0) {}

    // The bars a chunk starting at `from` must hold before it.
    int History() const { return p_ < 1 ? 0 : p_; }

    // out[i - from] for bars i in [from, to). x[t] (and, when running,
    // scaled[t] = x[t] x scale) hold bar base + t for every bar from
    // max(0, from - History()) to to - 1. Chunks must follow one another.
    void Next(int from, int to, const double* x, const std::int64_t* scaled, int base, double* out) {
        if (running_) {
            // Locals: the stores to out cannot alias them. total x 0.5 is the
            // correctly rounded total / 2, as the sum divided.
            const int p = p_;
            const double unscale = unscale_;
            std::int64_t total = total_;
            int i = from;
            for (; i < std::min(to, p); ++i) {
                total += scaled[i - base];
                out[i - from] = i < p - 1 ? 0.0 : static_cast<double>(total) * unscale;
            }
            for (; i < to; ++i) {
                total += scaled[i - base] - scaled[i - p - base];
                out[i - from] = static_cast<double>(total) * unscale;
            }
            total_ = total;
            return;
        }
        const int first = p_ < 1 ? to : std::clamp(p_ - 1, from, to);  // first bar with a full window
        for (int i = from; i < first; ++i) out[i - from] = 0.0;
        if (first < to) lanes::WindowSums(x + (first - p_ + 1 - base), to - first, p_, out + (first - from));
    }

private:
    int p_;
    bool running_;
    double unscale_;
    std::int64_t total_ = 0;
};

// out[i] = sum(rows, n, i, p, ...) over a whole contiguous column: 0.0
// before a full window, else the left-to-right sum, by an exact running
// int64 sum where every value allows one.
inline void WindowSumsInto(const double* x, int n, int p, double* out) {
    if (n < 1) return;
    const int scale = ExactScale(x, n, p);
    Scratch<std::int64_t> scaled(scale != 0 ? static_cast<std::size_t>(n) : 0);
    for (int i = 0; scale != 0 && i < n; ++i) scaled[i] = static_cast<std::int64_t>(x[i] * scale);
    WindowSummer(p, scale).Next(0, n, x, scaled.data(), 0, out);
}

// out[i] = sum(...) / p over a whole contiguous column, with the running
// sum's values converted as it goes (no second column).
inline void AverageInto(const double* x, int n, int p, double* out) {
    if (n < 1) return;
    const int scale = p >= kRunningSumFrom ? ExactScale(x, n, p) : 0;
    if (scale != 0) {
        const double unscale = scale == 2 ? 0.5 : 1.0;  // x 0.5 is the correctly rounded / 2
        std::int64_t total = 0;
        for (int i = 0; i < n; ++i) {
            total += static_cast<std::int64_t>(x[i] * scale);
            if (i >= p) total -= static_cast<std::int64_t>(x[i - p] * scale);
            out[i] = i < p - 1 ? 0.0 : static_cast<double>(total) * unscale;
        }
    } else {
        WindowSummer(p, 0).Next(0, n, x, nullptr, 0, out);
    }
    lanes::Divide(out, n, p);
}

// One averaged line: FenXi[dst] = the average of source column `source`
// over `period`.
struct AverageLine {
    int source;
    int dst;
    int period;
};

// Fills S source columns and averages them into rows, writing each row
// once. fill(i, v) sets v[0..S-1] for bar i and must depend on i alone (it
// is called again for the history of each chunk). Source s is stored in
// FenXi[srcCols[s]] and line q gets sum(rows, n, i, period, srcCols[source])
// / period, bit for bit. The work is done in chunks whose values and sums
// stay in cache until they are written into the rows.
template <int S, class Fill>
void AverageColumns(const LineOut& rows, int n, const int (&srcCols)[S], const AverageLine* lines, int k, Fill fill) {
    if (n < 1 || k > 8) return;
    // One exactness check per source, for its longest window that gains from
    // a running sum; it then holds for every shorter window too.
    int longest[S] = {}, scale[S] = {};
    bool anyRunning = false;
    for (int q = 0; q < k; ++q)
        if (lines[q].period >= kRunningSumFrom) {
            longest[lines[q].source] = std::max(longest[lines[q].source], lines[q].period);
            anyRunning = true;
        }
    if (anyRunning) {
        ExactnessCheck check[S];
        for (int i = 0; i < n; ++i) {
            double v[S];
            fill(i, v);
            for (int s = 0; s < S; ++s) check[s].Add(v[s]);
        }
        for (int s = 0; s < S; ++s) scale[s] = longest[s] > 0 ? check[s].Scale(longest[s]) : 0;
    }
    std::vector<WindowSummer> summers;
    summers.reserve(static_cast<std::size_t>(k));
    int history = 0;
    for (int q = 0; q < k; ++q) {
        summers.emplace_back(lines[q].period, lines[q].period >= kRunningSumFrom ? scale[lines[q].source] : 0);
        history = std::max(history, std::min(summers.back().History(), n));
    }
    const int chunk = std::min(n, std::max(2048, 4 * history));
    const std::size_t span = static_cast<std::size_t>(history) + chunk;
    PooledColumn x(S * span), sums(static_cast<std::size_t>(k) * chunk);
    std::vector<std::int64_t, PoolAllocator<std::int64_t>> scaled(S * span);
    int dst[8];  // a local copy: the row writes cannot alias it
    for (int q = 0; q < k; ++q) dst[q] = lines[q].dst;
    for (int from = 0; from < n; from += chunk) {
        const int to = std::min(n, from + chunk), base = std::max(0, from - history);
        for (int i = base; i < to; ++i) {
            double v[S];
            fill(i, v);
            for (int s = 0; s < S; ++s) {
                x[s * span + (i - base)] = v[s];
                if (scale[s] != 0) scaled[s * span + (i - base)] = static_cast<std::int64_t>(v[s] * scale[s]);
            }
        }
        for (int q = 0; q < k; ++q) {
            const std::size_t column = static_cast<std::size_t>(lines[q].source) * span;
            double* out = sums.data() + static_cast<std::size_t>(q) * chunk;
            summers[q].Next(from, to, x.data() + column, scaled.data() + column, base, out);
            lanes::Divide(out, to - from, lines[q].period);
        }
        for (int i = from; i < to; ++i) {
            rows.Ahead(srcCols[0], i);
            for (int s = 0; s < S; ++s) rows(srcCols[s], i) = x[s * span + (i - base)];
            for (int q = 0; q < k; ++q) rows(dst[q], i) = sums[static_cast<std::size_t>(q) * chunk + (i - from)];
        }
    }
}

// Several averages of one column that value(i) gives: FenXi[src] = value(i)
// and FenXi[dst[j]] = its average over periods[j].
template <class Value>
void ColumnAverages(const LineOut& rows, int n, int src, const int* dst, const int* periods, int k, Value value) {
    AverageLine lines[8];
    k = std::min(k, 8);
    for (int j = 0; j < k; ++j) lines[j] = {0, dst[j], periods[j]};
    const int srcCols[1] = {src};
    AverageColumns(rows, n, srcCols, lines, k, [&](int i, double* v) { v[0] = value(i); });
}

// Highest (or lowest) of value(j) over j = max(0, i-period+1) .. i for every
// i, handed to out(i, extreme). Exact for integers, O(n); the monotonic queue
// lives in one ring buffer allocated per call, indexed by compare-and-wrap.
template <class Value, class Out>
void SlidingExtreme(int n, int period, bool highest, Value value, Out out) {
    if (n < 1 || period < 1) return;
    const int size = std::min(n, period) + 1;
    std::vector<int> ring(static_cast<std::size_t>(size));
    int head = 0, tail = 0, count = 0;  // the queue is ring[head] .. ring[tail - 1], wrapping
    auto back = [&] { return ring[static_cast<std::size_t>(tail == 0 ? size - 1 : tail - 1)]; };
    for (int i = 0; i < n; ++i) {
        const auto v = value(i);
        while (count > 0 && (highest ? value(back()) <= v : value(back()) >= v)) {
            tail = tail == 0 ? size - 1 : tail - 1;
            --count;
        }
        ring[static_cast<std::size_t>(tail)] = i;
        tail = tail + 1 == size ? 0 : tail + 1;
        ++count;
        if (ring[static_cast<std::size_t>(head)] <= std::int64_t{i} - period) {
            head = head + 1 == size ? 0 : head + 1;
            --count;
        }
        out(i, value(ring[static_cast<std::size_t>(head)]));
    }
}

// out[i] = highest (or lowest) of x[max(0, i-period+1) .. i], period >= 1:
// short windows by a walk over the contiguous values, longer ones by the
// sliding queue.
inline void WindowExtremes(const std::int32_t* x, int n, int period, bool highest, std::int32_t* out) {
    if (period >= kSlidingExtremeFrom) {
        SlidingExtreme(n, period, highest, [&](int j) { return x[j]; }, [&](int i, std::int32_t v) { out[i] = v; });
        return;
    }
    for (int i = 0; i < n; ++i) {
        std::int32_t v = x[i];
        const int from = std::max(0, i - period + 1);
        if (highest)
            for (int j = from; j < i; ++j) v = std::max(v, x[j]);
        else
            for (int j = from; j < i; ++j) v = std::min(v, x[j]);
        out[i] = v;
    }
}

// One price field of every bar as a contiguous column.
using IntColumn = Scratch<std::int32_t>;
inline IntColumn FieldColumn(const UNIKDATA* bars, int n, std::int32_t UNIKDATA::*field) {
    IntColumn x(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) x[i] = bars[i].*field;
    return x;
}

// out[i] = convert(bars[i].*field) for every bar. The field is copied out of
// the records a block at a time first: converted straight from the 48-byte
// records, GCC assembles each vector of strided fields on the stack and
// reloads it before the stores have landed, which measured about 3x slower.
template <class Convert>
inline void MappedField(const UNIKDATA* bars, int n, std::int32_t UNIKDATA::*field, Convert convert, double* out) {
    constexpr int kBlock = 512;
    std::int32_t raw[kBlock];
    for (int from = 0; from < n; from += kBlock) {
        const int m = std::min(kBlock, n - from);
        for (int k = 0; k < m; ++k) raw[k] = bars[from + k].*field;
        for (int k = 0; k < m; ++k) out[from + k] = convert(raw[k]);
    }
}

// out[i] = bars[i].*field * f for every bar.
inline void ConvertedField(const UNIKDATA* bars, int n, std::int32_t UNIKDATA::*field, double f, double* out) {
    MappedField(bars, n, field, [f](std::int32_t v) { return v * f; }, out);
}

}  // namespace fenxi
