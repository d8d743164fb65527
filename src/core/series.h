// Series primitives shared by the generators: window sums and averages,
// one-step smoothings, price windows, extremes and bar-to-bar measures.
// Pure functions; each keeps its exact window and its value before a full
// window, including the odd ones the indicator lines rely on.
#pragma once

#include <cstdint>

#include "fenxi/fenxi.h"

namespace fenxi {

using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using FENXIDATA_PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

// An int expression such as (p - 1) formed in 32-bit arithmetic (wrapping
// like the engine's int) and converted to double.
inline double Int32Term(std::int64_t v) { return static_cast<double>(static_cast<std::int32_t>(v)); }

// The price-to-analysis factor of one call, formed once.
inline double PriceFactor(int unit) { return 10000.0 / unit; }

// Sum of rows[j].FenXi[col] for j = i-period+1 .. i, left to right; 0.0 before
// a full window (i-period+1 < 0) and for period < 1. n is not read.
inline double sum(const FENXIDATA* rows, int /*n*/, int i, int period, int col) {
    const std::int64_t start = std::int64_t{i} - period + 1;
    if (start < 0 || start > i) return 0.0;
    double total = 0.0;
    for (std::int64_t j = start; j <= i; ++j) total += rows[j].FenXi[col];
    return total;
}

inline double ma(const FENXIDATA* rows, int n, int i, int period, int col) {
    return sum(rows, n, i, period, col) / period;
}

// Sum of values[0..count-1] in order; 0.0 for count < 1.
inline double sum(const std::int32_t* values, int count) {
    double total = 0.0;
    for (int j = 0; j < count; ++j) total += values[j];
    return total;
}

// count 0 gives 0.0 / 0 (NaN), unguarded like the engine.
inline double ma(const std::int32_t* values, int count) { return sum(values, count) / count; }

// Weighted smoothing with weight m out of n.
inline double sma(double x, int n, int m, double prev) {
    return (Int32Term(std::int64_t{n} - m) * prev + m * x) / n;
}

// Exponential smoothing with factor 2/(n+1).
inline double ema(double x, int n, double prev) {
    return (Int32Term(std::int64_t{n} - 1) * prev + 2 * x) / Int32Term(std::int64_t{n} + 1);
}

// Copies one raw price field of bars max(0, i-period+1) .. i, oldest first, into
// out[0..]; count = number copied. False (nothing written) for n == 0, null bars
// or period == 0. A partial window at the start of the series is allowed.
inline bool PriceWindow(const UNIKDATA* bars, int n, int i, int period, std::int32_t UNIKDATA::*field,
                        std::int32_t* out, int& count) {
    if (n == 0 || bars == nullptr || period == 0) return false;
    const std::int64_t start = i < period ? 0 : std::int64_t{i} - period + 1;
    count = 0;
    for (std::int64_t j = start; j <= i; ++j) out[count++] = bars[j].*field;
    return true;
}

inline bool open(const UNIKDATA* bars, int, int n, int i, int period, std::int32_t* out, int& count) {
    return PriceWindow(bars, n, i, period, &UNIKDATA::Open, out, count);
}
inline bool high(const UNIKDATA* bars, int, int n, int i, int period, std::int32_t* out, int& count) {
    return PriceWindow(bars, n, i, period, &UNIKDATA::High, out, count);
}
inline bool low(const UNIKDATA* bars, int, int n, int i, int period, std::int32_t* out, int& count) {
    return PriceWindow(bars, n, i, period, &UNIKDATA::Low, out, count);
}
inline bool close(const UNIKDATA* bars, int, int n, int i, int period, std::int32_t* out, int& count) {
    return PriceWindow(bars, n, i, period, &UNIKDATA::Close, out, count);
}

// Lowest / highest of values[0..count-1]; count itself when count < 1.
inline std::int32_t llv(const std::int32_t* values, int count) {
    if (count < 1) return count;
    std::int32_t v = values[0];
    for (int j = 1; j < count; ++j)
        if (values[j] < v) v = values[j];
    return v;
}
inline std::int32_t hhv(const std::int32_t* values, int count) {
    if (count < 1) return count;
    std::int32_t v = values[0];
    for (int j = 1; j < count; ++j)
        if (values[j] > v) v = values[j];
    return v;
}

// Raw stochastic value of bar i over bars max(0, i-period+1) .. i, 0..100:
// (Close - L) / (H - L) * 100 with 32-bit differences, 50.0 when H == L.
// With no window (n == 0, null bars, period < 1) L = H = 0 and the result is
// 50.0. Works on the bars directly, no scratch arrays.
inline double rsv(const UNIKDATA* bars, int /*unit*/, int n, int i, int period) {
    std::int32_t lo = 0, hi = 0;
    if (n != 0 && bars != nullptr && period >= 1) {
        const std::int64_t start = i < period ? 0 : std::int64_t{i} - period + 1;
        lo = bars[start].Low;
        hi = bars[start].High;
        for (std::int64_t j = start + 1; j <= i; ++j) {
            if (bars[j].Low < lo) lo = bars[j].Low;
            if (bars[j].High > hi) hi = bars[j].High;
        }
    }
    if (hi == lo) return 50.0;
    return Int32Term(std::int64_t{bars[i].Close} - lo) / Int32Term(std::int64_t{hi} - lo) * 100.0;
}

// Percentage distance of the close from its average over the window. Before a
// full window the available closes are still divided by the full period.
// -10000.0 when no window can be taken (n == 0, null bars, period < 1).
inline double bias(const UNIKDATA* bars, int /*unit*/, int n, int i, int period) {
    if (n == 0 || bars == nullptr || period < 1) return -10000.0;
    const std::int64_t start = i < period ? 0 : std::int64_t{i} - period + 1;
    double total = 0.0;
    for (std::int64_t j = start; j <= i; ++j) total += bars[j].Close;
    const double avg = total / period;
    return (bars[i].Close - avg) / avg * 100.0;
}

// Close momentum over k bars in analysis units; the converted close itself
// when bar i-k does not exist.
inline double mtm(const UNIKDATA* bars, int unit, int n, int i, int k) {
    const double f = PriceFactor(unit);
    if (std::int64_t{i} - k >= 0 && n >= 1) return bars[i].Close * f - bars[std::int64_t{i} - k].Close * f;
    return bars[i].Close * f - 0.0;
}

// Close over the close k bars back, x100; divides by 0.0 (inf or NaN) when
// bar i-k does not exist.
inline double osc(const UNIKDATA* bars, int unit, int n, int i, int k) {
    const double f = PriceFactor(unit);
    if (std::int64_t{i} - k >= 0 && n >= 1) return bars[i].Close * f * 100.0 / (bars[std::int64_t{i} - k].Close * f);
    return bars[i].Close * f * 100.0 / 0.0;
}

// A field of the bar k bars back: 0..3 prices converted, 4 volume, 5 amount,
// 6 zero; 0.0 for any other field or when the bar does not exist.
inline double refk(const UNIKDATA* bars, int unit, int n, int i, int k, int field) {
    const double f = PriceFactor(unit);
    if (std::int64_t{i} - k < 0 || n < 1 || static_cast<unsigned>(field) >= 7) return 0.0;
    const UNIKDATA& b = bars[std::int64_t{i} - k];
    switch (field) {
        case 0: return b.Open * f;
        case 1: return b.High * f;
        case 2: return b.Low * f;
        case 3: return b.Close * f;
        case 4: return static_cast<double>(b.Volume);
        case 5: return b.Amount;
        default: return 0.0;
    }
}

// Rising (mode 1), falling (-1) or level (0) bars among i-count+1 .. i.
// -1 when i < count-1, count < 1, n < 1, for other modes, and for null bars
// or i >= n.
inline int CountThreeStatus(const UNIKDATA* bars, int n, int i, int count, int mode) {
    if (std::int64_t{i} < std::int64_t{count} - 1 || count < 1 || n < 1) return -1;
    if (bars == nullptr || i >= n) return -1;
    int up = 0, down = 0, level = 0;
    for (int j = i; j > i - count; --j) {
        up += bars[j].Close > bars[j].Open;
        down += bars[j].Close < bars[j].Open;
        level += bars[j].Close == bars[j].Open;
    }
    switch (mode) {
        case 1: return up;
        case -1: return down;
        case 0: return level;
        default: return -1;
    }
}

}  // namespace fenxi
