// BIAS lines and highest/lowest of a price field.
#include "core/window.h"
#include "core/registry.h"
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

// HHV (LLV) = the highest (lowest) FIELD of bars max(0, i-N+1) .. i into
// column 0, times the price factor except for the low's LLV, which stays a
// raw integer. FIELD = p[0] (0 open .. 3 close), N = p[1] > 0.
template <bool highest>
void Extreme(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    static constexpr std::int32_t UNIKDATA::*kFields[] = {&UNIKDATA::Open, &UNIKDATA::High, &UNIKDATA::Low,
                                                           &UNIKDATA::Close};
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

// BIASk = (C - MA(C, Nk)) / MA(C, Nk) * 100 * 100 into column k for each
// Nk > 0 (a line with Nk <= 0 is left as it was), as BiasValues forms it:
// the three running sums in one pass.
void Bias(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    bool running = true;
    for (int k = 0; k < 3; ++k) running = running && p[k] < (1 << 22);
    if (!running) {
        for (int k = 0; k < 3; ++k)
            if (p[k] > 0) BiasValues(b, unit, n, p[k], [&](int i, double v) { o(k, i) = v; });
        return;
    }
    std::int64_t total[3] = {0, 0, 0};
    for (int i = 0; i < n; ++i) {
        o.Ahead(0, i);
        for (int k = 0; k < 3; ++k) {
            if (p[k] <= 0) continue;
            total[k] += b[i].Close;
            if (i >= p[k]) total[k] -= b[i - p[k]].Close;
            const double avg = static_cast<double>(total[k]) / p[k];
            o(k, i) = (b[i].Close - avg) / avg * 100.0 * 100.0;
        }
    }
}

}  // namespace

const detail::Kernel BIAS{&Bias, detail::Cols({0, 1, 2})};
const detail::Kernel HHV{&Extreme<true>, detail::Cols({0})}, LLV{&Extreme<false>, detail::Cols({0})};

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
    const int p[] = {period1, period2, period3};
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

// Streams: BIAS from running int64 sums of the closes (columns 20-22 of the
// stream's private rows), as BiasValues forms it; the extremes by a walk
// over the window, exact for integers in any order.
namespace fenxi::steps {
namespace {

void BiasStep(const UNIKDATA* b, int, FENXIDATA* r, int, int i, const std::int32_t* p) {
    for (int k = 0; k < 3; ++k) {
        std::int64_t total = 0;
        if (i > 0) std::memcpy(&total, &r[i - 1].FenXi[20 + k], sizeof total);
        total += b[i].Close;
        if (i >= p[k]) total -= b[i - p[k]].Close;
        std::memcpy(&r[i].FenXi[20 + k], &total, sizeof total);
        const double avg = static_cast<double>(total) / p[k];
        r[i].FenXi[k] = (b[i].Close - avg) / avg * 100.0 * 100.0;
    }
}

template <bool highest>
void ExtremeStep(const UNIKDATA* b, int unit, FENXIDATA* r, int, int i, const std::int32_t* p) {
    static constexpr std::int32_t UNIKDATA::*kFields[] = {&UNIKDATA::Open, &UNIKDATA::High, &UNIKDATA::Low,
                                                           &UNIKDATA::Close};
    const auto member = kFields[p[0]];
    std::int32_t v = b[i].*member;
    for (int j = i - 1; j >= 0 && j > i - p[1]; --j)
        if (highest ? b[j].*member > v : b[j].*member < v) v = b[j].*member;
    r[i].FenXi[0] = highest || p[0] != CAnalysisTechniques::KI_LOW ? v * PriceFactor(unit) : static_cast<double>(v);
}

std::int64_t BiasWindow(const std::int32_t* p) { return std::max({p[0], p[1], p[2]}) + std::int64_t{1}; }
std::int64_t ExtremeWindow(const std::int32_t* p) { return std::int64_t{p[1]} + 1; }

}  // namespace

const detail::StreamForm BIAS{detail::StreamForm::Stepped, &BiasStep, &BiasWindow};
const detail::StreamForm HHV{detail::StreamForm::Stepped, &ExtremeStep<true>, &ExtremeWindow};
const detail::StreamForm LLV{detail::StreamForm::Stepped, &ExtremeStep<false>, &ExtremeWindow};

}  // namespace fenxi::steps
