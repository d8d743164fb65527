// Exponential average with a shifted input.
#include "core/registry.h"
#include "core/stepped.h"
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

// One bar: row i reads bar i only without a shift; with one, the newest
// SHIFT rows hold no value yet, so a step writes the prices alone.
struct ExpmaSteps {
    double f, keep, div, e = 0.0;
    bool shifted;
    static std::int64_t History(const std::int32_t*) { return 0; }
    ExpmaSteps(int unit, const std::int32_t* p)
        : f(PriceFactor(unit)), keep(Int32Term(std::int64_t{p[0]} - 1)), div(Int32Term(std::int64_t{p[0]} + 1)),
          shifted(p[1] != 0) {}
    void First(const UNIKDATA* b, const LineOut& o) {
        e = b[0].Close * f;
        Write(b, 0, o);
    }
    void Next(const UNIKDATA* b, int i, const LineOut& o) {
        const double x = b[i].Close * f;
        e = e * keep / div + (x + x) / div;
        Write(b, i, o);
    }
    void Write(const UNIKDATA* b, int i, const LineOut& o) const {
        if (!shifted) o(0, i) = e;
        CopyPrices(b[i], f, o(2, i), o(4, i), o(5, i), o(3, i));
    }
};

}  // namespace

const detail::Kernel EXPMA = detail::WithSteps<ExpmaSteps>(&Expma, detail::Cols({0, 2, 3, 4, 5}));

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
