// Bollinger bands.
#include <cmath>

#include "core/registry.h"
#include "core/stepped.h"
#include "core/window.h"
#include "indicators/columns.h"

using namespace fenxi;

namespace {

// Average and population deviation of the converted closes of bars i, i-1,
// ..., i-p+1, both sums taken from bar i backwards.
void MeanAndDeviation(const UNIKDATA* bars, double f, int i, int p, double& mean, double& deviation) {
    double total = 0.0;
    for (int j = 0; j < p; ++j) total += bars[i - j].Close * f;
    mean = total / p;
    double squares = 0.0;
    for (int j = 0; j < p; ++j) {
        const double d = bars[i - j].Close * f - mean;
        squares += d * d;
    }
    deviation = std::sqrt(squares / p);
}

// Bands of row i from its deviation and the previous row's average.
void Bands(FENXIDATA& row, double previousMean, int kUpper, int kLower) {
    row.FenXi[6] = previousMean;
    row.FenXi[7] = kUpper * row.FenXi[5] + previousMean;
    row.FenXi[8] = kLower * row.FenXi[5] + previousMean;
}

}  // namespace

namespace fenxi::kernels {
namespace {

// MID = the previous bar's average of the last N closes; UPPER = UP * STD +
// MID and LOWER = DOWN * STD + MID with STD the population deviation of the
// bar's own window, both sums taken from the newest close back: columns 6,
// 7, 8, 0 before bar N. Columns 0-3 hold the bar's prices when p[3] asks for
// them, else 0; 4-5 end as 0.
void Boll(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const int period = p[0], up = p[1], down = p[2];
    const bool withBars = p[3] != 0;
    const double f = PriceFactor(unit);
    const int windows = period <= n ? n - period + 1 : 0;
    Scratch<double> mean(static_cast<std::size_t>(windows)), deviation(static_cast<std::size_t>(windows));
    if (windows > 0) {
        // The sums of every full window in vector lanes.
        Scratch<double> close(static_cast<std::size_t>(n));
        ConvertedField(b, n, &UNIKDATA::Close, f, close.data());
        lanes::WindowSumsNewestFirst(close.data(), windows, period, mean.data());
        lanes::Divide(mean.data(), windows, period);
        lanes::SquaredDeviations(close.data(), mean.data(), windows, period, deviation.data());
        lanes::Divide(deviation.data(), windows, period);
    }
    for (int i = 0; i < n; ++i) {
        o.Ahead(0, i);
        o.Ahead(8, i);
        if (withBars)
            CopyPrices(b[i], f, o(0, i), o(1, i), o(2, i), o(3, i));
        else
            o(0, i) = o(1, i) = o(2, i) = o(3, i) = 0.0;
        o(4, i) = o(5, i) = 0.0;
        if (i < period) {
            o(6, i) = o(7, i) = o(8, i) = 0.0;
        } else {
            const double previous = mean[i - period], spread = std::sqrt(deviation[i - period + 1]);
            o(6, i) = previous;
            o(7, i) = up * spread + previous;
            o(8, i) = down * spread + previous;
        }
    }
}

// One bar: its window's average and deviation summed from the newest close
// back, the previous window's average carried for the middle line.
struct BollSteps {
    double f, mean = 0.0;
    int period, up, down;
    bool withBars;
    static std::int64_t History(const std::int32_t* p) { return std::int64_t{p[0]} + 1; }
    BollSteps(int unit, const std::int32_t* p)
        : f(PriceFactor(unit)), period(p[0]), up(p[1]), down(p[2]), withBars(p[3] != 0) {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) {
        if (withBars)
            CopyPrices(b[i], f, o(0, i), o(1, i), o(2, i), o(3, i));
        else
            o(0, i) = o(1, i) = o(2, i) = o(3, i) = 0.0;
        o(4, i) = o(5, i) = 0.0;
        const double previous = mean;
        double deviation = 0.0;
        if (i >= period - 1) MeanAndDeviation(b, f, i, period, mean, deviation);
        if (i < period) {
            o(6, i) = o(7, i) = o(8, i) = 0.0;
        } else {
            o(6, i) = previous;
            o(7, i) = up * deviation + previous;
            o(8, i) = down * deviation + previous;
        }
    }
};

}  // namespace

const detail::Kernel BOLL = detail::WithSteps<BollSteps>(&Boll, detail::Cols({0, 1, 2, 3, 4, 5, 6, 7, 8}));

}  // namespace fenxi::kernels

void CAnalysisTechniques::GenerateBOLLIN(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p, int kUpper,
                                         int kLower, int withBars, FENXIDATA_PROPERTY* property, int) {
    if (n < 1 || bars == nullptr || property == nullptr || p < 1) return;
    FENXIDATA* rows = AcquireReset(out, RowsWithExtra(n, 2 * std::int64_t{p}), property);
    if (rows == nullptr) return;
    property->StartPos[6] = std::min(n, p);
    property->StartPos[7] = property->StartPos[8] = MinPos(n, 2 * std::int64_t{p} - 1);
    for (int k = 6; k <= 8; ++k) {
        property->EndPos[k] = n;
        property->LineStyle[k] = 3;
    }
    if (withBars) {
        property->StartPos[0] = 0;
        property->EndPos[0] = n;
        property->LineStyle[0] = 2;
    }
    property->ValueScale = 10000;
    SetFormat8(property, "%.2f");
    property->Flag352 = 1;

    const std::int32_t params[] = {p, kUpper, kLower, withBars};
    RunKernel(kernels::BOLL, bars, unit, rows, n, params);
    LeaveLock();
}

void CAnalysisTechniques::UpdateBOLLIN(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p, int kUpper,
                                       int kLower) {
    if (!CanUpdate(bars, rows, n) || p < 1) return;
    FENXIDATA& row = rows[n - 1];
    if (n - 1 >= p - 1)
        MeanAndDeviation(bars, PriceFactor(unit), n - 1, p, row.FenXi[4], row.FenXi[5]);
    else
        row.FenXi[4] = row.FenXi[5] = 0.0;
    // The generator cleared every row's average, so the first update after it
    // finds 0.0 as the previous average.
    if (n - 1 < p)
        row.FenXi[6] = row.FenXi[7] = row.FenXi[8] = 0.0;
    else
        Bands(row, rows[n - 2].FenXi[4], kUpper, kLower);
}
