// Volume lines: VOL1, VOL, OBV, VR, WVAD and their updaters.
#include <limits>

#include "core/registry.h"
#include "core/window.h"
#include "core/running_mean.h"
#include "core/stepped.h"
#include "indicators/columns.h"

using namespace fenxi;

namespace {

void SetCountScale(FENXIDATA_PROPERTY* property, const char* format) {
    property->ValueScale = 1;
    SetFormat(property, format);
}

// VR of bar i >= period: (up + level) / (down + level) x 100 of close x
// volume over the `period` bars before it (the bar itself is not in its
// span), summed newest first. Each bar adds its money to one sum and +0.0 to
// the other two, which leaves them as they were: the sums start at +0.0 and
// +0.0 + -0.0 is +0.0, so none is ever -0.0. Without branches the loop does
// not hang on the bars' direction.
double VolumeRatio(const UNIKDATA* bars, double f, int i, int period) {
    double up = 0.0, down = 0.0, flat = 0.0;
    for (int j = i - 1; j >= i - period; --j) {
        const double money = f * bars[j].Close * static_cast<double>(bars[j].Volume);
        const bool rising = bars[j].Close > bars[j].Open, falling = bars[j].Close < bars[j].Open;
        up += rising ? money : 0.0;
        down += falling ? money : 0.0;
        flat += rising || falling ? 0.0 : money;
    }
    return down + flat == 0.0 ? 0.0 : (up + flat) / (down + flat) * 100.0;
}

}  // namespace

namespace fenxi::kernels {
namespace {

// VOLUME = V into column 0; MAVOLk = MA(V, Nk) into columns 2 and 3.
void Vol(const UNIKDATA* b, int, int n, const std::int32_t* p, const LineOut& o) {
    static constexpr int kLines[] = {2, 3};
    ColumnAverages(o, n, 0, kLines, p, 2, [&](int i) { return static_cast<double>(b[i].Volume); });
}

// OBV = SUM(C > C1 ? V : C < C1 ? -V : 0) / 100 into column 0; MAOBV = its
// average over N into column 1 from bar N on (earlier cells are left).
void Obv(const UNIKDATA* b, int, int n, const std::int32_t* p, const LineOut& o) {
    const int period = p[0];
    Scratch<double> obv(static_cast<std::size_t>(n)), average(static_cast<std::size_t>(n));
    DirectionalVolume(b, n, [&](int i, double v) { obv[i] = v; });
    TrailingAverage(obv.data(), n, period, average.data());
    for (int i = 0; i < n; ++i) {
        o.Ahead(0, i);
        o(0, i) = obv[i];
        if (i >= period) o(1, i) = average[i];
    }
}

// One bar: the undivided total carried, the average summed over the OBV
// column in order.
struct ObvSteps {
    double total = 0.0;
    int period;
    static std::int64_t History(const std::int32_t* p) { return std::int64_t{p[0]} + 1; }
    ObvSteps(int, const std::int32_t* p) : period(p[0]) {}
    void First(const UNIKDATA*, const LineOut& o) { o(0, 0) = 0.0; }
    void Next(const UNIKDATA* b, int i, const LineOut& o) {
        total = DirectionalTotal(total, b[i], b[i - 1]);
        o(0, i) = total / 100.0;
        if (i >= period) o(1, i) = ma(o, i, period, 0);
    }
};

// VOLUME = V into column 0.
struct Vol1Steps {
    static constexpr int kAhead[] = {0};
    static std::int64_t History(const std::int32_t*) { return 0; }
    Vol1Steps(int, const std::int32_t*) {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) const { o(0, i) = static_cast<double>(b[i].Volume); }
};

// The two averages one bar at a time over the volume column.
struct VolSteps {
    int p[2];
    WindowMean mean[2];
    static std::int64_t History(const std::int32_t* p) { return std::max(p[0], p[1]); }
    VolSteps(int, const std::int32_t* q) : p{q[0], q[1]} {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) {
        o(0, i) = static_cast<double>(b[i].Volume);
        for (int j = 0; j < 2; ++j) o(2 + j, i) = mean[j].Next(i, p[j], [&](int t) { return o(0, t); });
    }
};

// VR of each bar from bar N into column 0, 0 before.
void Vr(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const int period = p[0];
    const double f = PriceFactor(unit);
    for (int i = 0; i < std::min(period, n); ++i) o(0, i) = 0.0;
    for (int i = period; i < n; ++i) {
        o.Ahead(0, i);
        o(0, i) = VolumeRatio(b, f, i, period);
    }
}

// The same one bar at a time.
struct VrSteps {
    double f;
    int period;
    static std::int64_t History(const std::int32_t* p) { return p[0]; }
    VrSteps(int unit, const std::int32_t* p) : f(PriceFactor(unit)), period(p[0]) {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) const {
        o(0, i) = i < period ? 0.0 : VolumeRatio(b, f, i, period);
    }
};

// WVAD: body (1) and range (2) of every bar, converted; the sum over each
// full window of N of body / range * amount / 100000 (3), newest first, in
// vector lanes, with +0.0 for a bar without range or amount (the sum starts
// at +0.0, so adding +0.0 changes nothing); 0 before. N >= 1.
void Wvad(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const int period = p[0];
    const double f = PriceFactor(unit);
    Scratch<double> term(static_cast<std::size_t>(n));
    for (int j = 0; j < n; ++j) {
        const double body = Int32Term(std::int64_t{b[j].Close} - b[j].Open) * f;
        const double range = Int32Term(std::int64_t{b[j].High} - b[j].Low) * f;
        o(1, j) = body;
        o(2, j) = range;
        term[j] = range == 0.0 || b[j].Amount <= 0 ? 0.0 : body / range * b[j].Amount / 100000.0;
    }
    for (int i = 0; i < std::min(period - 1, n); ++i) o(3, i) = 0.0;
    if (period > n) return;
    const int windows = n - period + 1;
    Scratch<double> total(static_cast<std::size_t>(windows));
    lanes::WindowSumsNewestFirst(term.data(), windows, period, total.data());
    for (int i = period - 1; i < n; ++i) {
        o.Ahead(3, i);
        o(3, i) = total[i - period + 1];
    }
}

// One bar: the window's terms summed newest first over the body and range
// columns, bars without range or amount left out; 0 for N < 1.
struct WvadSteps {
    double f;
    int period;
    static std::int64_t History(const std::int32_t* p) { return p[0]; }
    WvadSteps(int unit, const std::int32_t* p) : f(PriceFactor(unit)), period(p[0]) {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) const {
        o(1, i) = Int32Term(std::int64_t{b[i].Close} - b[i].Open) * f;
        o(2, i) = Int32Term(std::int64_t{b[i].High} - b[i].Low) * f;
        double total = 0.0;
        if (period >= 1 && i >= period - 1)
            for (int j = i; j > i - period; --j) {
                const double range = o(2, j);
                if (range == 0.0 || b[j].Amount <= 0) continue;
                total += o(1, j) / range * b[j].Amount / 100000.0;
            }
        o(3, i) = total;
    }
};

}  // namespace

using detail::Cols;
const detail::Kernel WVAD = detail::WithSteps<WvadSteps>(&Wvad, Cols({1, 2, 3})),
                     VOL = detail::WithSteps<VolSteps>(&Vol, Cols({0, 2, 3})),
                     OBV = detail::WithSteps<ObvSteps>(&Obv, Cols({0, 1})),
                     VOL1 = detail::SteppedKernel<Vol1Steps>(Cols({0})), VR = detail::WithSteps<VrSteps>(&Vr, Cols({0}));

}  // namespace fenxi::kernels

void CAnalysisTechniques::GenerateVOL1(UNIKDATA* bars, int, FENXIDATA*& out, int count,
                                       FENXIDATA_PROPERTY* property) {
    if (count < 1 || bars == nullptr || property == nullptr) return;
    FENXIDATA* rows = AcquireReset(out, count, property);
    if (rows == nullptr) return;
    property->StartPos[0] = 0;
    property->LineStyle[0] = 11;
    SetCountScale(property, "%.0f");
    RunKernel(kernels::VOL1, bars, 0, rows, count, nullptr);
    LeaveLock();
}

void CAnalysisTechniques::GenerateVOL(UNIKDATA* bars, int, FENXIDATA*& out, int count, int period1, int period2,
                                      FENXIDATA_PROPERTY* property) {
    if (count < 1 || bars == nullptr || property == nullptr) return;
    FENXIDATA* rows = AcquireReset(out, count, property);
    if (rows == nullptr) return;
    property->StartPos[0] = 0;
    property->StartPos[2] = MinPos(count, std::int64_t{period1} - 1);
    property->StartPos[3] = MinPos(count, std::int64_t{period2} - 1);
    property->EndPos[2] = property->EndPos[3] = count;
    property->LineStyle[0] = 11;
    property->LineStyle[2] = property->LineStyle[3] = 3;
    SetCountScale(property, "%.0f");
    const std::int32_t periods[] = {period1, period2};
    RunKernel(kernels::VOL, bars, 0, rows, count, periods);
    LeaveLock();
}

void CAnalysisTechniques::GenerateOBV(UNIKDATA* bars, int, FENXIDATA*& out, int count, int period,
                                      FENXIDATA_PROPERTY* property) {
    if (count < 1 || bars == nullptr || property == nullptr || period < 0) return;
    FENXIDATA* rows = AcquireReset(out, count, property);
    if (rows == nullptr) return;
    property->StartPos[0] = 1;
    property->StartPos[1] = std::min(count, period);
    property->EndPos[0] = property->EndPos[1] = count;
    property->LineStyle[0] = property->LineStyle[1] = 3;
    SetCountScale(property, "%.2f");

    if (period == 0) {
        // An empty window: 0.0 / 0 on every row, the x86 default NaN (sign
        // set), written as such: a compiler that sees both zeros may fold the
        // division to a NaN of the other sign.
        ColumnDirectionalVolume(rows, count, bars, 0);
        const double nan = -std::numeric_limits<double>::quiet_NaN();
        for (int i = 0; i < count; ++i) rows[i].FenXi[1] = nan;
    } else {
        const std::int32_t p[] = {period};
        RunKernel(kernels::OBV, bars, 0, rows, count, p);
    }
    LeaveLock();
}

void CAnalysisTechniques::GenerateVR(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period,
                                     FENXIDATA_PROPERTY* property) {
    if (count < 1 || bars == nullptr || property == nullptr || period < 0) return;
    FENXIDATA* rows = AcquireReset(out, count, property);
    if (rows == nullptr) return;
    property->StartPos[0] = std::min(count, period);
    property->EndPos[0] = count;
    property->LineStyle[0] = 3;
    SetCountScale(property, "%.2f");

    const std::int32_t p[] = {period};
    RunKernel(kernels::VR, bars, unit, rows, count, p);
    LeaveLock();
}

void CAnalysisTechniques::GenerateWVAD(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period,
                                       FENXIDATA_PROPERTY* property) {
    if (count < 1 || bars == nullptr || property == nullptr || period < 1) return;
    FENXIDATA* rows = AcquireReset(out, count, property);
    if (rows == nullptr) return;
    property->StartPos[3] = MinPos(count, std::int64_t{period} - 1);
    property->EndPos[3] = count;
    property->LineStyle[0] = 4;
    property->LineStyle[3] = 3;
    SetCountScale(property, "%.2f");

    rows[0].FenXi[0] = 0.0;
    const std::int32_t p[] = {period};
    RunKernel(kernels::WVAD, bars, unit, rows, count, p);
    LeaveLock();
}

void CAnalysisTechniques::UpdateWVAD(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period) {
    if (!CanUpdate(bars, out, count)) return;
    const std::int32_t p[] = {period};
    detail::StepNewest<kernels::WvadSteps>(bars, unit, out, count, p);
}

void CAnalysisTechniques::UpdateVOL1(UNIKDATA*, int, FENXIDATA*&, int) {}
void CAnalysisTechniques::UpdateOBV(UNIKDATA*, int, FENXIDATA*&, int) {}
void CAnalysisTechniques::UpdateVOL(UNIKDATA*, int, FENXIDATA*&, int, int, int) {}
void CAnalysisTechniques::UpdateVR(UNIKDATA*, int, FENXIDATA*&, int, int) {}
