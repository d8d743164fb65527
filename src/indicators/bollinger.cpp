// Bollinger bands.
#include <cmath>

#include "core/registry.h"
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

    const double f = PriceFactor(unit);
    for (int i = 0; i < std::min(p - 1, n); ++i) rows[i].FenXi[4] = rows[i].FenXi[5] = 0.0;
    if (p <= n) {
        // MeanAndDeviation for every full window, the windows in vector lanes.
        const int windows = n - p + 1;
        PooledColumn close(static_cast<std::size_t>(n)), mean(static_cast<std::size_t>(windows)),
            squares(static_cast<std::size_t>(windows));
        for (int i = 0; i < n; ++i) close[i] = bars[i].Close * f;
        lanes::WindowSumsNewestFirst(close.data(), windows, p, mean.data());
        lanes::Divide(mean.data(), windows, p);
        lanes::SquaredDeviations(close.data(), mean.data(), windows, p, squares.data());
        lanes::Divide(squares.data(), windows, p);
        for (int i = p - 1; i < n; ++i) {
            rows[i].FenXi[4] = mean[i - p + 1];
            rows[i].FenXi[5] = std::sqrt(squares[i - p + 1]);
        }
    }
    for (int i = 0; i < std::min(p, n); ++i) rows[i].FenXi[6] = rows[i].FenXi[7] = rows[i].FenXi[8] = 0.0;
    for (int i = p; i < n; ++i) Bands(rows[i], rows[i - 1].FenXi[4], kUpper, kLower);
    for (int i = 0; i < n; ++i) {
        double* v = rows[i].FenXi;
        v[4] = v[5] = 0.0;
        if (withBars)
            CopyPrices(bars[i], f, v[0], v[1], v[2], v[3]);
        else
            v[0] = v[1] = v[2] = v[3] = 0.0;
    }
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

// Streams: one row of the bands per bar, the window's average kept in
// column 20 of the stream's private rows for the next bar's middle line.
namespace fenxi::steps {
namespace {

void BollStep(const UNIKDATA* b, int unit, FENXIDATA* r, int, int i, const std::int32_t* p) {
    FENXIDATA& row = r[i];
    if (i >= p[0] - 1) MeanAndDeviation(b, PriceFactor(unit), i, p[0], row.FenXi[20], row.FenXi[5]);
    if (i >= p[0]) Bands(row, r[i - 1].FenXi[20], p[1], p[2]);
}

std::int64_t BollWindow(const std::int32_t* p) { return std::int64_t{p[0]} + 2; }

}  // namespace

const detail::StreamForm BOLL{detail::StreamForm::Stepped, &BollStep, &BollWindow};

}  // namespace fenxi::steps
