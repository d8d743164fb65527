// Series helpers and property helpers shared by the indicator families.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "core/lanes.h"
#include "core/pool.h"
#include "core/series.h"

namespace fenxi {

// Cumulative directional volume / 100: put(i, value). Bar 0 gives 0.0;
// each later bar adds (close up), subtracts (close down) or keeps (level)
// its volume; the division by 100 comes after the accumulation.
inline double DirectionalTotal(double total, std::int32_t close, std::int32_t previous, double volume) {
    if (close > previous) return total + volume;
    if (close < previous) return total - volume;
    return total;
}
inline double DirectionalTotal(double total, const UNIKDATA& bar, const UNIKDATA& previous) {
    return DirectionalTotal(total, bar.Close, previous.Close, static_cast<double>(bar.Volume));
}

// close(i) and volume(i) give bar i's close and its volume as a double.
template <class Close, class Volume, class Put>
void DirectionalVolumeOf(int n, Close close, Volume volume, Put put) {
    if (n < 1) return;
    put(0, 0.0);
    double total = 0.0;
    for (int i = 1; i < n; ++i) {
        total = DirectionalTotal(total, close(i), close(i - 1), volume(i));
        put(i, total / 100.0);
    }
}
template <class Put>
void DirectionalVolume(const UNIKDATA* bars, int n, Put put) {
    DirectionalVolumeOf(
        n, [&](int i) { return bars[i].Close; }, [&](int i) { return static_cast<double>(bars[i].Volume); }, put);
}
// The same from contiguous closes and volumes.
template <class Put>
void DirectionalVolume(const std::int32_t* close, const double* volume, int n, Put put) {
    DirectionalVolumeOf(n, [&](int i) { return close[i]; }, [&](int i) { return volume[i]; }, put);
}

inline void ColumnDirectionalVolume(FENXIDATA* rows, int n, const UNIKDATA* bars, int col) {
    DirectionalVolume(bars, n, [&](int i, double v) { rows[i].FenXi[col] = v; });
}

// BIAS x 100 of every bar for period > 0: put(i, value). The closes of
// each window are summed exactly by a running int64 sum, which equals the
// left-to-right double sum of `bias` while the window's magnitude stays
// below 2^53 (|close| < 2^31, period < 2^22). `closes`, when given, holds
// the bars' closes.
template <class Put>
void BiasValues(const UNIKDATA* bars, int unit, int count, int period, Put put, const std::int32_t* closes = nullptr) {
    if (period >= (1 << 22)) {
        for (int i = 0; i < count; ++i) put(i, bias(bars, unit, count, i, period) * 100.0);
        return;
    }
    Scratch<std::int32_t> gathered(closes == nullptr ? static_cast<std::size_t>(count) : 0);
    if (closes == nullptr) {
        for (int i = 0; i < count; ++i) gathered[i] = bars[i].Close;
        closes = gathered.data();
    }
    // Blocks small enough to stay in the first-level cache: the sums and
    // closes, then the two divisions per bar in vector lanes.
    constexpr int kBlock = 256;
    double totals[kBlock], close[kBlock], values[kBlock];
    std::int64_t total = 0;
    for (int from = 0; from < count; from += kBlock) {
        const int m = std::min(kBlock, count - from);
        for (int k = 0; k < m; ++k) {
            const int i = from + k;
            total += closes[i];
            if (i >= period) total -= closes[i - period];
            totals[k] = static_cast<double>(total);
            close[k] = closes[i];
        }
        lanes::Bias(totals, close, m, period, values);
        for (int k = 0; k < m; ++k) put(from + k, values[k]);
    }
}

// out[i] = sum(x, i, period) / period for i in [period, count): the OBV
// average, which starts one bar after its first full window. period >= 1.
inline void TrailingAverage(const double* x, int count, int period, double* out) {
    if (period >= count) return;
    lanes::WindowSums(x + 1, count - period, period, out + period);
    lanes::Divide(out + period, count - period, period);
}

// The life line's source: the mid price of high and close, the pair summed
// as 32-bit integers.
inline double LifeLineMid(const UNIKDATA& bar, double f) {
    return Int32Term(std::int64_t{bar.High} + bar.Close) * f * 0.5;
}
constexpr int kLifeLinePeriods[] = {65, 130};

// Open, high, low and close of one bar, converted, into four lines.
inline void CopyPrices(const UNIKDATA& bar, double f, double& open, double& high, double& low, double& close) {
    open = bar.Open * f;
    high = bar.High * f;
    low = bar.Low * f;
    close = bar.Close * f;
}

// A property as the engine makes one on its stack for the updaters that
// rerun their generator: flags 352-355 zero, 356 one, Field360 zero.
inline FENXIDATA_PROPERTY ScratchProperty() {
    FENXIDATA_PROPERTY p{};
    p.Flag356 = 1;
    return p;
}

// min(a, b) of two ints formed the engine's way (b may be a wrapped p - 1).
inline std::int32_t MinPos(std::int32_t a, std::int64_t b) {
    return std::min(a, static_cast<std::int32_t>(b));
}

// Format as a C string copy (text and its NUL).
inline void SetFormat(FENXIDATA_PROPERTY* p, const char* text) { std::strcpy(p->Format, text); }

// Format as an eight-byte store: the text, then zero bytes up to eight.
inline void SetFormat8(FENXIDATA_PROPERTY* p, const char* text) {
    char bytes[8] = {};
    std::memcpy(bytes, text, std::strlen(text));
    std::memcpy(p->Format, bytes, sizeof bytes);
}

// Spare rows beyond the bars that a generator asks for (n + 2 x periods):
// never written, so they are capped rather than let huge periods claim
// gigabytes.
constexpr std::int64_t kMaxSpareRows = 65536;

// Rows for n bars plus `extra` spare rows: never fewer than n, at most
// kMaxSpareRows more.
inline std::int64_t RowsWithExtra(int n, std::int64_t extra) {
    return std::int64_t{n} + std::clamp<std::int64_t>(extra, 0, kMaxSpareRows);
}

}  // namespace fenxi
