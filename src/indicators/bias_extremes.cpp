// BIAS lines and highest/lowest of a price field.
#include "core/window.h"
#include "core/registry.h"
#include "core/stepped.h"
#include "indicators/columns.h"

using namespace fenxi;

namespace {

void BiasColumn(const UNIKDATA* bars, int unit, FENXIDATA* rows, int count, int from, int period, int col) {
    if (period <= 0) return;  // the line keeps what the buffer held
    for (int i = from; i < count; ++i) rows[i].FenXi[col] = bias(bars, unit, count, i, period) * 100.0;
}


}  // namespace

namespace fenxi::kernels {
namespace {

constexpr std::int32_t UNIKDATA::*kFields[] = {&UNIKDATA::Open, &UNIKDATA::High, &UNIKDATA::Low, &UNIKDATA::Close};

// HHV (LLV) = the highest (lowest) FIELD of bars max(0, i-N+1) .. i into
// column 0, times the price factor except for the low's LLV, which stays a
// raw integer. FIELD = p[0] (0 open .. 3 close), N = p[1] > 0.
template <bool highest>
void Extreme(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const int field = p[0], period = p[1];
    if (period <= 0 || field < 0 || field > 3) return;
    const bool convert = highest || field != CAnalysisTechniques::KI_LOW;
    const double f = PriceFactor(unit);
    const IntColumn x = FieldColumn(b, n, kFields[field]);
    IntColumn extreme(static_cast<std::size_t>(n));
    WindowExtremes(x.data(), n, period, highest, extreme.data());
    for (int i = 0; i < n; ++i) {
        o.Ahead(0, i);
        o(0, i) = convert ? extreme[i] * f : static_cast<double>(extreme[i]);
    }
}

// One bar by a walk over its window: exact for integers in any order.
template <bool highest>
struct ExtremeSteps {
    std::int32_t UNIKDATA::*field;
    int period;
    bool convert;
    double f;
    static std::int64_t History(const std::int32_t* p) { return std::int64_t{p[1]} + 1; }
    ExtremeSteps(int unit, const std::int32_t* p)
        : field(kFields[p[0]]), period(p[1]), convert(highest || p[0] != CAnalysisTechniques::KI_LOW),
          f(PriceFactor(unit)) {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) const {
        std::int32_t v = b[i].*field;
        for (int j = i - 1; j >= 0 && j > i - period; --j)
            if (highest ? b[j].*field > v : b[j].*field < v) v = b[j].*field;
        o(0, i) = convert ? v * f : static_cast<double>(v);
    }
};

// BIASk = (C - MA(C, Nk)) / MA(C, Nk) * 100 * 100 into column k for each
// Nk > 0 (a line with Nk <= 0 is left as it was), as BiasValues forms it,
// from running int64 sums of the closes.
struct BiasSteps {
    std::int64_t total[3] = {0, 0, 0};
    std::int32_t p[3];
    static constexpr int kAhead[] = {0};
    static std::int64_t History(const std::int32_t* p) { return std::max({p[0], p[1], p[2]}) + std::int64_t{1}; }
    BiasSteps(int, const std::int32_t* q) : p{q[0], q[1], q[2]} {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) {
        for (int k = 0; k < 3; ++k) {
            if (p[k] <= 0) continue;
            total[k] += b[i].Close;
            if (i >= p[k]) total[k] -= b[i - p[k]].Close;
            const double avg = static_cast<double>(total[k]) / p[k];
            o(k, i) = (b[i].Close - avg) / avg * 100.0 * 100.0;
        }
    }
    void Resume(const UNIKDATA* b, int i, const LineOut&) {
        for (int k = 0; k < 3; ++k) {
            total[k] = 0;
            if (p[k] > 0)
                for (int j = std::max(0, i - p[k]); j < i; ++j) total[k] += b[j].Close;
        }
    }
};

// The running sums stay exact while a window of closes sums below 2^53;
// longer windows take BiasValues' ordered sums.
bool Running(const std::int32_t* p) { return p[0] < (1 << 22) && p[1] < (1 << 22) && p[2] < (1 << 22); }

void Bias(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    if (Running(p)) return detail::RunSteps<BiasSteps>(b, unit, n, p, o);
    for (int k = 0; k < 3; ++k)
        if (p[k] > 0) BiasValues(b, unit, n, p[k], [&](int i, double v) { o(k, i) = v; });
}

}  // namespace

const detail::Kernel BIAS = detail::WithSteps<BiasSteps>(&Bias, detail::Cols({0, 1, 2}));
const detail::Kernel HHV = detail::WithSteps<ExtremeSteps<true>>(&Extreme<true>, detail::Cols({0})),
                     LLV = detail::WithSteps<ExtremeSteps<false>>(&Extreme<false>, detail::Cols({0}));

}  // namespace fenxi::kernels

void CAnalysisTechniques::GenerateBIAS(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period1,
                                       int period2, int period3, FENXIDATA_PROPERTY* property) {
    if (count <= 0 || bars == nullptr || property == nullptr) return;
    FENXIDATA* rows = AcquireReset(out, count, property);
    if (rows == nullptr) return;
    const int p[] = {period1, period2, period3};
    for (int k = 0; k < 3; ++k) {
        property->StartPos[k] = MinPos(count, std::int64_t{p[k]} - 1);
        property->EndPos[k] = count;
        property->LineStyle[k] = 3;
    }
    property->ValueScale = 100;
    SetFormat(property, "%.2f");
    RunKernel(kernels::BIAS, bars, unit, rows, count, p);
    LeaveLock();
}

void CAnalysisTechniques::UpdateBIAS(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period1,
                                     int period2, int period3) {
    if (!CanUpdate(bars, out, count)) return;
    const std::int32_t p[] = {period1, period2, period3};
    if (kernels::Running(p)) return detail::StepNewest<kernels::BiasSteps>(bars, unit, out, count, p);
    for (int k = 0; k < 3; ++k) BiasColumn(bars, unit, out, count, count - 1, p[k], k);
}

void CAnalysisTechniques::GenerateExtreme(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, KLINE_INDEX field,
                                          int period, FENXIDATA_PROPERTY* property, bool highest) {
    if (period < 0 || count < 1 || bars == nullptr || property == nullptr) return;
    FENXIDATA* rows = AcquireReset(out, count, property);
    if (rows == nullptr) return;
    property->StartPos[0] = MinPos(count, std::int64_t{period} - 1);
    property->LineStyle[0] = 3;
    property->ValueScale = 100;
    SetFormat(property, "%.2f");
    // LLV over the low is stored as the raw integer, unlike every other field.
    const std::int32_t p[] = {field, period};
    RunKernel(highest ? kernels::HHV : kernels::LLV, bars, unit, rows, count, p);
    LeaveLock();
}

void CAnalysisTechniques::GenerateHHV(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, KLINE_INDEX field,
                                      int period, FENXIDATA_PROPERTY* property) {
    GenerateExtreme(bars, unit, out, count, field, period, property, true);
}

void CAnalysisTechniques::GenerateLLV(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, KLINE_INDEX field,
                                      int period, FENXIDATA_PROPERTY* property) {
    GenerateExtreme(bars, unit, out, count, field, period, property, false);
}
