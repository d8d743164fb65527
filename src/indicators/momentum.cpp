// Momentum lines: PSY, ROC, MTM, OSC and CCI with their updaters.
#include <cmath>

#include "core/registry.h"
#include "core/stepped.h"
#include "core/window.h"
#include "indicators/columns.h"

using namespace fenxi;

namespace {

void SetLines(FENXIDATA_PROPERTY* property, std::initializer_list<std::uint8_t> styles, int scale) {
    int k = 0;
    for (std::uint8_t s : styles) property->LineStyle[k++] = s;
    property->ValueScale = scale;
    SetFormat(property, "%.2f");
}

// Rising, falling and level shares of bars i-period+1 .. i, in single
// precision: float(count) / float(period) * 100.0f.
void PsyRow(const UNIKDATA* bars, int count, int i, int period, FENXIDATA& row) {
    auto share = [period](int k) {
        return static_cast<double>(static_cast<float>(k) / static_cast<float>(period) * 100.0f);
    };
    row.FenXi[3] = share(CountThreeStatus(bars, count, i, period, 1));
    row.FenXi[4] = share(CountThreeStatus(bars, count, i, period, -1));
    row.FenXi[5] = share(CountThreeStatus(bars, count, i, period, 0));
}

// (close - base) * 10000 / base of raw closes, base the close N bars back.
double Roc(std::int32_t close, std::int32_t base) { return Int32Term(std::int64_t{close} - base) * 10000.0 / base; }
double Roc(const UNIKDATA* bars, int i, int period) { return Roc(bars[i].Close, bars[i - period].Close); }

double TypicalPrice(const UNIKDATA& bar, double f) {
    return Int32Term(std::int64_t{bar.High} + bar.Low + bar.Close) * f / 3.0;
}

// CCI of row i from its price (2), mean (3) and mean deviation (4); a zero
// deviation gives 200/3 on the first row of the line and repeats the
// previous row's value after it.
double Cci(const FENXIDATA* rows, int i, bool firstRow) {
    const double* v = rows[i].FenXi;
    if (v[4] == 0.0) return firstRow ? 66.66666666666667 : rows[i - 1].FenXi[5];
    return (v[2] - v[3]) / v[4] / 0.015;
}

}  // namespace

namespace fenxi::kernels {
namespace {

// ROC = (C - REF(C, N)) * 10000 / REF(C, N) of the raw closes into column 1,
// 0 before bar N.
void RocKernel(const UNIKDATA* b, int, int n, const std::int32_t* p, const LineOut& o) {
    const int period = p[0];
    for (int i = 0; i < std::min(period, n); ++i) o(1, i) = 0;
    const IntColumn close = FieldColumn(b, n, &UNIKDATA::Close);
    for (int i = period; i < n; ++i) {
        o.Ahead(1, i);
        o(1, i) = Roc(close[i], close[i - period]);
    }
}

// MTM = C - REF(C, N) into column 1 from bar N; MAMTM = MA(MTM, M) into
// column 2 from bar N+M-1. Earlier cells are left as they were.
void Mtm(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const int period = p[0], average = p[1];
    if (period >= n) return;
    const double f = PriceFactor(unit);
    const int count = n - period;
    Scratch<double> close(static_cast<std::size_t>(n)), mtm(static_cast<std::size_t>(count)),
        mean(static_cast<std::size_t>(count));
    ConvertedField(b, n, &UNIKDATA::Close, f, close.data());
    for (int j = 0; j < count; ++j) mtm[j] = close[period + j] - close[j];
    AverageInto(mtm.data(), count, average, mean.data());
    for (int j = 0; j < count; ++j) {
        const int i = period + j;
        o.Ahead(1, i);
        o(1, i) = mtm[j];
        if (j >= average - 1) o(2, i) = mean[j];
    }
}

// TYP = (H+L+C)/3 into column 2; over each full window of N its average
// (3), mean deviation (4) and CCI = (TYP - MA) / AVEDEV / 0.015 (5); a zero
// deviation gives 200/3 on the first bar and repeats the previous value
// after. Before the first full window 3-5 hold 0.
void CciKernel(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const int period = p[0];
    const double f = PriceFactor(unit);
    Scratch<double> typical(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) o(2, i) = typical[i] = TypicalPrice(b[i], f);
    for (int i = 0; i < std::min(period - 1, n); ++i) o(3, i) = o(4, i) = o(5, i) = 0;
    if (period > n) return;
    const int windows = n - period + 1;
    Scratch<double> mean(static_cast<std::size_t>(windows)), spread(static_cast<std::size_t>(windows));
    lanes::WindowSums(typical.data(), windows, period, mean.data());
    lanes::Divide(mean.data(), windows, period);
    lanes::AbsoluteDeviations(typical.data(), mean.data(), windows, period, spread.data());
    lanes::Divide(spread.data(), windows, period);
    double cci = 66.66666666666667;
    for (int k = 0; k < windows; ++k) {
        const int i = period - 1 + k;
        o.Ahead(3, i);
        const double m = mean[k], d = spread[k];
        if (d != 0.0) cci = (typical[i] - m) / d / 0.015;
        o(3, i) = m;
        o(4, i) = d;
        o(5, i) = cci;
    }
}

// PSY's rising, falling and level shares (columns 3-5) from bar N-1, 0
// before; N > 0.
void Psy(const UNIKDATA* b, int, int n, const std::int32_t* p, const LineOut& o) {
    const int period = p[0];
    FENXIDATA row;
    for (int i = 0; i < n; ++i) {
        o.Ahead(3, i);
        if (i < period - 1) {
            o(3, i) = o(4, i) = o(5, i) = 0;
            continue;
        }
        PsyRow(b, n, i, period, row);
        o(3, i) = row.FenXi[3];
        o(4, i) = row.FenXi[4];
        o(5, i) = row.FenXi[5];
    }
}

// OSC = C / REF(C, N) * 100 * 100 into column 0 from bar N; MAOSC = its
// average over M into column 1 from bar N+M-1 (M >= 1). N > 0.
void Osc(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const int period = p[0], average = p[1];
    if (period >= n) return;
    const int count = n - period;
    Scratch<double> osc(static_cast<std::size_t>(count)), mean(static_cast<std::size_t>(count));
    // osc(): C x f x 100 / (C N bars back x f), from the converted closes.
    Scratch<double> close(static_cast<std::size_t>(n));
    ConvertedField(b, n, &UNIKDATA::Close, PriceFactor(unit), close.data());
    for (int j = 0; j < count; ++j) osc[j] = close[period + j] * 100.0 / close[j] * 100.0;
    if (average >= 1) AverageInto(osc.data(), count, average, mean.data());
    for (int j = 0; j < count; ++j) {
        o.Ahead(0, period + j);
        o(0, period + j) = osc[j];
        if (average >= 1 && j >= average - 1) o(1, period + j) = mean[j];
    }
}

// One bar of each, the averages summed in order over the line written
// before them.
struct RocSteps {
    int period;
    static std::int64_t History(const std::int32_t* p) { return p[0]; }
    RocSteps(int, const std::int32_t* p) : period(p[0]) {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) const { o(1, i) = i < period ? 0 : Roc(b, i, period); }
};

struct MtmSteps {
    int unit, period, average;
    static std::int64_t History(const std::int32_t* p) { return std::int64_t{p[0]} + p[1]; }
    MtmSteps(int u, const std::int32_t* p) : unit(u), period(p[0]), average(p[1]) {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) const {
        if (i >= period) o(1, i) = mtm(b, unit, i + 1, i, period);
        if (i >= std::int64_t{period} + average - 1) o(2, i) = ma(o, i, average, 1);
    }
};

struct OscSteps {
    int unit, period, average;
    static std::int64_t History(const std::int32_t* p) { return std::int64_t{p[0]} + p[1]; }
    OscSteps(int u, const std::int32_t* p) : unit(u), period(p[0]), average(p[1]) {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) const {
        if (i < period) return;
        o(0, i) = osc(b, unit, i + 1, i, period) * 100.0;
        if (average > 0 && i >= std::int64_t{period} + average - 1) o(1, i) = ma(o, i, average, 0);
    }
};

struct PsySteps {
    int period;
    static std::int64_t History(const std::int32_t* p) { return p[0]; }
    PsySteps(int, const std::int32_t* p) : period(p[0]) {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) const {
        if (i < period - 1) {
            o(3, i) = o(4, i) = o(5, i) = 0;
            return;
        }
        FENXIDATA row;
        PsyRow(b, i + 1, i, period, row);
        for (int c = 3; c <= 5; ++c) o(c, i) = row.FenXi[c];
    }
};

// CCI over its window of typical prices, mean and deviation summed oldest
// first as the pass's lanes sum them; the last value carried for a zero
// deviation.
struct CciSteps {
    double f, cci = 66.66666666666667;
    int period;
    static std::int64_t History(const std::int32_t* p) { return p[0]; }
    CciSteps(int unit, const std::int32_t* p) : f(PriceFactor(unit)), period(p[0]) {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) {
        o(2, i) = TypicalPrice(b[i], f);
        if (i < period - 1) {
            o(3, i) = o(4, i) = o(5, i) = 0;
            return;
        }
        const double m = ma(o, i, period, 2);
        double spread = 0.0;
        for (int j = i - period + 1; j <= i; ++j) spread += std::fabs(m - o(2, j));
        const double d = spread / period;
        if (d != 0.0) cci = (o(2, i) - m) / d / 0.015;
        o(3, i) = m;
        o(4, i) = d;
        o(5, i) = cci;
    }
};

}  // namespace

using detail::Cols;
using detail::WithSteps;
const detail::Kernel PSY = WithSteps<PsySteps>(&Psy, Cols({3, 4, 5})), OSC = WithSteps<OscSteps>(&Osc, Cols({0, 1}));
const detail::Kernel ROC = WithSteps<RocSteps>(&RocKernel, Cols({1})), MTM = WithSteps<MtmSteps>(&Mtm, Cols({1, 2})),
                     CCI = WithSteps<CciSteps>(&CciKernel, Cols({2, 3, 4, 5}));

}  // namespace fenxi::kernels

void CAnalysisTechniques::GeneratePSY(UNIKDATA* bars, int, FENXIDATA*& out, int count, int period,
                                      FENXIDATA_PROPERTY* property) {
    if (count < 1 || bars == nullptr || property == nullptr) return;
    FENXIDATA* rows = AcquireReset(out, count, property);
    if (rows == nullptr) return;
    property->StartPos[3] = MinPos(count, std::int64_t{period} - 1);
    property->EndPos[3] = count;
    SetLines(property, {4, 4, 4, 3}, 1);
    rows[0].FenXi[0] = 20.0;
    rows[0].FenXi[1] = 50.0;
    rows[0].FenXi[2] = 80.0;
    if (period > 0) {
        const std::int32_t p[] = {period};
        RunKernel(kernels::PSY, bars, 0, rows, count, p);
    }
    LeaveLock();
}

void CAnalysisTechniques::UpdatePSY(UNIKDATA* bars, int, FENXIDATA*& out, int count, int period) {
    if (!CanUpdate(bars, out, count) || period <= 0) return;
    const std::int32_t p[] = {period};
    detail::StepNewest<kernels::PsySteps>(bars, 0, out, count, p);
}

void CAnalysisTechniques::GenerateROC(UNIKDATA* bars, int, FENXIDATA*& out, int count, int period,
                                      FENXIDATA_PROPERTY* property) {
    if (count < 1 || bars == nullptr || property == nullptr || period < 0) return;
    FENXIDATA* rows = AcquireReset(out, count, property);
    if (rows == nullptr) return;
    property->StartPos[1] = std::min(count, period);
    property->EndPos[1] = count;
    SetLines(property, {4, 3}, 100);
    rows[0].FenXi[0] = 0.0;
    const std::int32_t p[] = {period};
    RunKernel(kernels::ROC, bars, 0, rows, count, p);
    LeaveLock();
}

void CAnalysisTechniques::UpdateROC(UNIKDATA* bars, int, FENXIDATA*& out, int count, int period) {
    if (!CanUpdate(bars, out, count) || period < 0) return;
    const std::int32_t p[] = {period};
    detail::StepNewest<kernels::RocSteps>(bars, 0, out, count, p);
}

void CAnalysisTechniques::GenerateMTM(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period,
                                      int average, FENXIDATA_PROPERTY* property) {
    if (count < 1 || bars == nullptr || property == nullptr) return;
    FENXIDATA* rows = AcquireReset(out, count, property);
    if (rows == nullptr) return;
    property->StartPos[1] = std::min(count, period);
    property->StartPos[2] = MinPos(count, std::int64_t{period} + average - 1);
    property->EndPos[1] = property->EndPos[2] = count;
    SetLines(property, {4, 3, 3}, 1);
    rows[0].FenXi[0] = 0.0;
    if (period >= 1 && average >= 1) {
        const std::int32_t p[] = {period, average};
        RunKernel(kernels::MTM, bars, unit, rows, count, p);
    }
    LeaveLock();
}

void CAnalysisTechniques::UpdateMTM(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period, int average) {
    if (!CanUpdate(bars, out, count) || period < 1 || average < 1) return;
    const std::int32_t p[] = {period, average};
    detail::StepNewest<kernels::MtmSteps>(bars, unit, out, count, p);
}

void CAnalysisTechniques::GenerateOSC(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period,
                                      int average, FENXIDATA_PROPERTY* property) {
    if (count < 1 || bars == nullptr || property == nullptr) return;
    FENXIDATA* rows = AcquireReset(out, count, property);
    if (rows == nullptr) return;
    property->StartPos[0] = std::min(count, period);
    property->StartPos[1] = MinPos(count, std::int64_t{period} + average - 1);
    property->EndPos[0] = property->EndPos[1] = count;
    SetLines(property, {3, 3}, 100);
    if (period > 0) {
        const std::int32_t p[] = {period, average};
        RunKernel(kernels::OSC, bars, unit, rows, count, p);
    }
    LeaveLock();
}

void CAnalysisTechniques::UpdateOSC(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period, int average) {
    if (!CanUpdate(bars, out, count) || period <= 0) return;
    const std::int32_t p[] = {period, average};
    detail::StepNewest<kernels::OscSteps>(bars, unit, out, count, p);
}

void CAnalysisTechniques::GenerateCCI(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period,
                                      FENXIDATA_PROPERTY* property) {
    if (count < 1 || bars == nullptr || property == nullptr || period < 0) return;
    FENXIDATA* rows = AcquireReset(out, count, property);
    if (rows == nullptr) return;
    property->StartPos[5] = std::min(count, period);
    property->EndPos[5] = count;
    SetLines(property, {4, 4, 0, 0, 0, 3}, 1);
    rows[0].FenXi[0] = 100.0;
    rows[0].FenXi[1] = -100.0;

    if (period >= 1) {
        const std::int32_t p[] = {period};
        RunKernel(kernels::CCI, bars, unit, rows, count, p);
        LeaveLock();
        return;
    }
    // An empty window: 0.0 / 0 on every row.
    const double f = PriceFactor(unit);
    for (int i = 0; i < count; ++i) rows[i].FenXi[2] = TypicalPrice(bars[i], f);
    for (int i = std::max(period - 1, 0); i < count; ++i) {
        double* v = rows[i].FenXi;
        v[3] = sum(rows, count, i, period, 2) / period;
        double spread = 0.0;
        for (int j = i - period + 1; j <= i; ++j) spread += std::fabs(v[3] - rows[j].FenXi[2]);
        v[4] = spread / period;
        v[5] = Cci(rows, i, i == period - 1);
    }
    LeaveLock();
}

void CAnalysisTechniques::UpdateCCI(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period) {
    if (!CanUpdate(bars, out, count) || period < 0) return;
    const int i = count - 1;
    const double f = PriceFactor(unit);
    double* v = out[i].FenXi;
    v[2] = TypicalPrice(bars[i], f);
    if (i < period - 1) {
        v[3] = v[4] = 0;
        return;
    }
    // Closes, not typical prices: the updater has always differed here.
    double total = 0.0;
    for (int j = i - period + 1; j <= i; ++j) total += bars[j].Close * f;
    v[3] = total / period;
    double spread = 0.0;
    for (int j = i - period + 1; j <= i; ++j) spread += std::fabs(v[3] - bars[j].Close * f);
    v[4] = spread / period;
    v[5] = Cci(out, i, i <= period - 1);
}
