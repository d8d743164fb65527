// Exponential average with a shifted input.
#include "core/registry.h"
#include "indicators/columns.h"

using namespace fenxi;

namespace fenxi::kernels {
namespace {

// EXPMA = EXPMA' * (N-1)/(N+1) + 2C/(N+1) over the close SHIFT bars ahead into
// column 0 for rows 0 .. n-SHIFT-1, seeded with bar 0 (not bar SHIFT);
// columns 2-5 the bar's open, close, high and low.
void Expma(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const int shift = p[1];
    const double f = PriceFactor(unit);
    const double keep = Int32Term(std::int64_t{p[0]} - 1), div = Int32Term(std::int64_t{p[0]} + 1);
    double e = b[0].Close * f;
    o(0, 0) = e;
    for (int k = 1; k < n - shift; ++k) {
        const double x = b[shift + k].Close * f;
        o(0, k) = e = e * keep / div + (x + x) / div;
    }
    for (int i = 0; i < n; ++i) {
        o.Ahead(2, i);
        CopyPrices(b[i], f, o(2, i), o(4, i), o(5, i), o(3, i));
    }
}

}  // namespace

const detail::Kernel EXPMA{&Expma, detail::Cols({0, 2, 3, 4, 5})};

}  // namespace fenxi::kernels

void CAnalysisTechniques::GenerateEXPMA(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p, int shift,
                                        FENXIDATA_PROPERTY* property, int) {
    if (n < 1 || bars == nullptr || property == nullptr || shift < 0) return;
    FENXIDATA* rows = out = Acquire(n);
    if (rows == nullptr) return;
    property->Flag355 = 0;
    std::memset(property->StartPos + 1, 0, 20 * sizeof(std::int32_t));
    std::memset(property->LineStyle + 1, 0, 20);
    property->Flag356 = 1;
    property->StartPos[0] = std::min(1, n);
    property->LineStyle[0] = 3;
    property->EndPos[0] = n - shift;
    property->ValueScale = 10000;
    SetFormat(property, "%.2f");

    const std::int32_t params[] = {p, shift};
    RunKernel(kernels::EXPMA, bars, unit, rows, n, params);
    LeaveLock();
}

void CAnalysisTechniques::UpdateEXPMA(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p, int shift) {
    FENXIDATA_PROPERTY scratch = ScratchProperty();
    GenerateEXPMA(bars, unit, rows, n, p, shift, &scratch, 5);
}

// Streams: the newest bar holds a value only without a shift, where row k
// reads bar k: EXPMA = EXPMA' * (N-1)/(N+1) + 2C/(N+1), seeded with bar 0.
// With a shift the newest SHIFT bars hold none and the stream gives NaN.
namespace fenxi::steps {
namespace {

void ExpmaStep(const UNIKDATA* bars, int unit, FENXIDATA* r, int, int i, const std::int32_t* p) {
    const double f = PriceFactor(unit);
    const double keep = Int32Term(std::int64_t{p[0]} - 1), div = Int32Term(std::int64_t{p[0]} + 1);
    const double x = bars[i].Close * f;
    r[i].FenXi[0] = i == 0 ? x : r[i - 1].FenXi[0] * keep / div + (x + x) / div;
}

std::int64_t OneBack(const std::int32_t*) { return 2; }

}  // namespace

const detail::StreamForm EXPMA{detail::StreamForm::Stepped, &ExpmaStep, &OneBack};

}  // namespace fenxi::steps
