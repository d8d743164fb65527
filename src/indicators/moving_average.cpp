// Moving averages: MA1..MA7, MA channel, life line, SMA, EMA and updaters.
#include "core/window.h"
#include "core/registry.h"
#include "core/running_mean.h"
#include "core/lane_steps.h"
#include "core/stepped.h"
#include "indicators/columns.h"

using namespace fenxi;

namespace {

// Property entries the MA family writes; it never resets the property.
void SetMaLine(FENXIDATA_PROPERTY* property, int line, int start, int n) {
    property->StartPos[line] = start;
    property->EndPos[line] = n;
    property->LineStyle[line] = 3;
}

void SetPriceScale(FENXIDATA_PROPERTY* property) {
    property->ValueScale = 10000;
    SetFormat(property, "%.2f");
    property->Flag352 = 1;
}

}  // namespace

namespace fenxi::kernels {
namespace {

constexpr int kMaLines[] = {1, 2, 3, 4, 5, 6, 7};

// MAk = SUM(C, Nk) / Nk into columns 1..K; column 0 the close.
template <int K>
void Ma(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    ColumnAverages(o, n, 0, kMaLines, p, K, [&](int i) { return b[i].Close * f; });
}

// Each price's average over N: columns 0-3 the open, high, low and close,
// 4-7 their averages.
void MaChannel(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    static constexpr int kPrices[] = {0, 1, 2, 3};
    const AverageLine lines[] = {{0, 4, p[0]}, {1, 5, p[0]}, {2, 6, p[0]}, {3, 7, p[0]}};
    AverageColumns(o, n, kPrices, lines, 4, [&](int i, double* v) { CopyPrices(b[i], f, v[0], v[1], v[2], v[3]); });
}

// LIFEk = MA((H + C) / 2, k) for k = 65, 130; column 0 the mid price.
void LifeLine(const UNIKDATA* b, int unit, int n, const std::int32_t*, const LineOut& o) {
    const double f = PriceFactor(unit);
    ColumnAverages(o, n, 0, kMaLines, kLifeLinePeriods, 2, [&](int i) { return LifeLineMid(b[i], f); });
}

// The averages one bar at a time, each over the source column written
// before it.
std::int64_t Longest(const std::int32_t* p, int k) {
    std::int64_t most = 0;
    for (int j = 0; j < k; ++j) most = std::max<std::int64_t>(most, p[j]);
    return most;
}

template <int K>
struct MaSteps {
    double f;
    int p[K];
    WindowMean mean[K];
    static std::int64_t History(const std::int32_t* p) { return Longest(p, K); }
    MaSteps(int unit, const std::int32_t* q) : f(PriceFactor(unit)) { std::copy(q, q + K, p); }
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) {
        o(0, i) = b[i].Close * f;
        for (int j = 0; j < K; ++j) o(1 + j, i) = mean[j].Next(i, p[j], [&](int t) { return o(0, t); });
    }
    void Resume(const UNIKDATA*, int i, const LineOut& o) {
        for (int j = 0; j < K; ++j) mean[j].Resume(i, p[j], [&](int t) { return o(0, t); });
    }
};

struct ChannelSteps {
    double f;
    int p;
    WindowMean mean[4];
    static std::int64_t History(const std::int32_t* p) { return p[0]; }
    ChannelSteps(int unit, const std::int32_t* q) : f(PriceFactor(unit)), p(q[0]) {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) {
        CopyPrices(b[i], f, o(0, i), o(1, i), o(2, i), o(3, i));
        for (int c = 0; c < 4; ++c) o(4 + c, i) = mean[c].Next(i, p, [&](int t) { return o(c, t); });
    }
};

struct LifeSteps {
    double f;
    WindowMean mean[2];
    static std::int64_t History(const std::int32_t*) { return kLifeLinePeriods[1]; }
    LifeSteps(int unit, const std::int32_t*) : f(PriceFactor(unit)) {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) {
        o(0, i) = LifeLineMid(b[i], f);
        for (int j = 0; j < 2; ++j) o(1 + j, i) = mean[j].Next(i, kLifeLinePeriods[j], [&](int t) { return o(0, t); });
    }
};

}  // namespace

// Lane step types have external linkage: the lane routes instantiate them in
// templates of a shared header.
// SMAk = ((Nk-1)*SMAk' + C) / Nk, every line seeded with the first close;
// column 0 the close.
template <class V>
struct SmaLanes {
    V f, s[5];
    double keep[5], q[5];
    static constexpr int kInputs = 1;
    static constexpr int kAhead[] = {0};
    static std::int64_t History(const std::int32_t*) { return 0; }
    SmaLanes(V f, const std::int32_t* p) : f(f), s{} {
        for (int j = 0; j < 5; ++j) {
            keep[j] = Int32Term(std::int64_t{p[j]} - 1);
            q[j] = p[j];
        }
    }
    static void In(const UNIKDATA* b, int i, double, double* in) { in[0] = b[i].Close; }
    template <class Out>
    void First(const V* in, const Out& o) {
        const V x = in[0] * f;
        o(0, 0) = x;
        for (int j = 0; j < 5; ++j) o(1 + j, 0) = s[j] = x;
    }
    template <class Out>
    void Next(const V* in, int i, const Out& o) {
        const V x = in[0] * f;
        o(0, i) = x;
        for (int j = 0; j < 5; ++j) {
            s[j] = (keep[j] * s[j] + x) / q[j];
            o(1 + j, i) = s[j];
        }
    }
};

// EMA = ((N-1)*EMA' + 2*C) / (N+1), seeded with the first close; column 0
// the close.
template <class V>
struct EmaLanes {
    V f, e{};
    double keep, div;
    static constexpr int kInputs = 1;
    static constexpr int kAhead[] = {0};
    static std::int64_t History(const std::int32_t*) { return 0; }
    EmaLanes(V f, const std::int32_t* p)
        : f(f), keep(Int32Term(std::int64_t{p[0]} - 1)), div(Int32Term(std::int64_t{p[0]} + 1)) {}
    static void In(const UNIKDATA* b, int i, double, double* in) { in[0] = b[i].Close; }
    template <class Out>
    void First(const V* in, const Out& o) {
        o(0, 0) = o(1, 0) = e = in[0] * f;
    }
    template <class Out>
    void Next(const V* in, int i, const Out& o) {
        const V x = in[0] * f;
        e = (keep * e + (x + x)) / div;
        o(0, i) = x;
        o(1, i) = e;
    }
    void Resume(const UNIKDATA*, int i, const LineOut& o) { e = o(1, i - 1); }
};


using detail::Cols;
using detail::WithSteps;
const detail::Kernel MA1 = WithSteps<MaSteps<1>>(&Ma<1>, Cols({0, 1})),
                     MA2 = WithSteps<MaSteps<2>>(&Ma<2>, Cols({0, 1, 2})),
                     MA3 = WithSteps<MaSteps<3>>(&Ma<3>, Cols({0, 1, 2, 3})),
                     MA4 = WithSteps<MaSteps<4>>(&Ma<4>, Cols({0, 1, 2, 3, 4})),
                     MA5 = WithSteps<MaSteps<5>>(&Ma<5>, Cols({0, 1, 2, 3, 4, 5})),
                     MA6 = WithSteps<MaSteps<6>>(&Ma<6>, Cols({0, 1, 2, 3, 4, 5, 6})),
                     MA7 = WithSteps<MaSteps<7>>(&Ma<7>, Cols({0, 1, 2, 3, 4, 5, 6, 7})),
                     MACHANEL = WithSteps<ChannelSteps>(&MaChannel, Cols({0, 1, 2, 3, 4, 5, 6, 7})),
                     LIFELINE = WithSteps<LifeSteps>(&LifeLine, Cols({0, 1, 2}));
const detail::Kernel SMA = detail::LanedKernel<SmaLanes>(Cols({0, 1, 2, 3, 4, 5})),
                     EMA = detail::LanedKernel<EmaLanes>(Cols({0, 1}));

}  // namespace fenxi::kernels

void CAnalysisTechniques::GenerateMALines(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, const int* periods,
                                          int k, FENXIDATA_PROPERTY* property, bool firstLineShort) {
    out = nullptr;
    if (n < 1 || bars == nullptr || property == nullptr || k < 1 || k > 7) return;
    property->StartPos[0] = 0;
    property->LineStyle[0] = 0;
    for (int j = 1; j <= k; ++j) SetMaLine(property, j, std::min(n, periods[j - 1]), n);
    if (firstLineShort) property->StartPos[1] = std::min(periods[0], n - 1);
    SetPriceScale(property);

    FENXIDATA* rows = out = Acquire(n);
    if (rows == nullptr) return;
    static const detail::Kernel* const kLines[] = {&kernels::MA1, &kernels::MA2, &kernels::MA3, &kernels::MA4,
                                                   &kernels::MA5, &kernels::MA6, &kernels::MA7};
    RunKernel(*kLines[k - 1], bars, unit, rows, n, periods);
    LeaveLock();
}

void CAnalysisTechniques::UpdateMALines(UNIKDATA* bars, int unit, FENXIDATA* rows, int n, const int* periods,
                                        int k) {
    if (!CanUpdate(bars, rows, n)) return;
    using detail::StepNewest;
    using kernels::MaSteps;
    switch (k) {
        case 1: return StepNewest<MaSteps<1>>(bars, unit, rows, n, periods);
        case 2: return StepNewest<MaSteps<2>>(bars, unit, rows, n, periods);
        case 3: return StepNewest<MaSteps<3>>(bars, unit, rows, n, periods);
        case 4: return StepNewest<MaSteps<4>>(bars, unit, rows, n, periods);
        case 5: return StepNewest<MaSteps<5>>(bars, unit, rows, n, periods);
        case 6: return StepNewest<MaSteps<6>>(bars, unit, rows, n, periods);
        case 7: return StepNewest<MaSteps<7>>(bars, unit, rows, n, periods);
        default: return;
    }
}

void CAnalysisTechniques::GenerateMA1(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1,
                                      FENXIDATA_PROPERTY* property, int) {
    const int p[] = {p1};
    GenerateMALines(bars, unit, out, n, p, 1, property, true);
}

void CAnalysisTechniques::GenerateMA2(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2,
                                      FENXIDATA_PROPERTY* property, int) {
    const int p[] = {p1, p2};
    GenerateMALines(bars, unit, out, n, p, 2, property, false);
}

void CAnalysisTechniques::GenerateMA3(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3,
                                      FENXIDATA_PROPERTY* property, int) {
    const int p[] = {p1, p2, p3};
    GenerateMALines(bars, unit, out, n, p, 3, property, false);
}

void CAnalysisTechniques::GenerateMA4(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3,
                                      int p4, FENXIDATA_PROPERTY* property, int) {
    const int p[] = {p1, p2, p3, p4};
    GenerateMALines(bars, unit, out, n, p, 4, property, false);
}

void CAnalysisTechniques::GenerateMA5(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3,
                                      int p4, int p5, FENXIDATA_PROPERTY* property, int) {
    const int p[] = {p1, p2, p3, p4, p5};
    GenerateMALines(bars, unit, out, n, p, 5, property, false);
}

void CAnalysisTechniques::GenerateMA6(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3,
                                      int p4, int p5, int p6, FENXIDATA_PROPERTY* property, int) {
    const int p[] = {p1, p2, p3, p4, p5, p6};
    GenerateMALines(bars, unit, out, n, p, 6, property, false);
}

void CAnalysisTechniques::GenerateMA7(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3,
                                      int p4, int p5, int p6, int p7, FENXIDATA_PROPERTY* property, int) {
    const int p[] = {p1, p2, p3, p4, p5, p6, p7};
    GenerateMALines(bars, unit, out, n, p, 7, property, false);
}

void CAnalysisTechniques::UpdateMA1(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1) {
    const int p[] = {p1};
    UpdateMALines(bars, unit, rows, n, p, 1);
}

void CAnalysisTechniques::UpdateMA2(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2) {
    const int p[] = {p1, p2};
    UpdateMALines(bars, unit, rows, n, p, 2);
}

void CAnalysisTechniques::UpdateMA3(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2, int p3) {
    const int p[] = {p1, p2, p3};
    UpdateMALines(bars, unit, rows, n, p, 3);
}

void CAnalysisTechniques::UpdateMA5(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2, int p3,
                                    int p4, int p5) {
    const int p[] = {p1, p2, p3, p4, p5};
    UpdateMALines(bars, unit, rows, n, p, 5);
}

void CAnalysisTechniques::GenerateMAChanel(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p,
                                           FENXIDATA_PROPERTY* property, int) {
    out = nullptr;
    if (n < 1 || bars == nullptr || property == nullptr) return;
    for (int c = 0; c < 4; ++c) {
        property->StartPos[c] = 0;
        property->LineStyle[c] = 0;
        SetMaLine(property, 4 + c, std::min(n, p), n);
    }
    SetPriceScale(property);

    FENXIDATA* rows = out = Acquire(n);
    if (rows == nullptr) return;
    const std::int32_t period[] = {p};
    RunKernel(kernels::MACHANEL, bars, unit, rows, n, period);
    LeaveLock();
}

void CAnalysisTechniques::GenerateLifeLine(UNIKDATA* bars, int unit, FENXIDATA*& out, int n,
                                           FENXIDATA_PROPERTY* property, int) {
    out = nullptr;
    if (n < 1 || bars == nullptr || property == nullptr) return;
    property->StartPos[0] = 0;
    property->LineStyle[0] = 0;
    SetMaLine(property, 1, std::min(n, 65), n);
    SetMaLine(property, 2, std::min(n, 130), n);
    property->LineOption2[1] = 2;
    property->LineOption2[2] = 2;
    SetPriceScale(property);

    FENXIDATA* rows = out = Acquire(n);
    if (rows == nullptr) return;
    RunKernel(kernels::LIFELINE, bars, unit, rows, n, nullptr);
    LeaveLock();
}

void CAnalysisTechniques::GenerateSMA(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3,
                                      int p4, int p5, FENXIDATA_PROPERTY* property, int) {
    out = nullptr;
    if (n < 1 || bars == nullptr || property == nullptr) return;
    FENXIDATA* rows = out = Acquire(n);
    if (rows == nullptr) return;
    const int p[] = {p1, p2, p3, p4, p5};
    property->Flag355 = 0;
    std::memset(property->StartPos + 6, 0, 15 * sizeof(std::int32_t));
    std::memset(property->LineStyle, 0, sizeof property->LineStyle);
    property->Flag356 = 1;
    property->StartPos[0] = 0;
    for (int j = 1; j <= 5; ++j) SetMaLine(property, j, std::min(n, p[j - 1]), n);
    property->ValueScale = 10000;
    SetFormat8(property, "%.2f");
    property->Flag352 = 1;

    RunKernel(kernels::SMA, bars, unit, rows, n, p);
    LeaveLock();
}

void CAnalysisTechniques::UpdateSMA(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2, int p3,
                                    int p4, int p5) {
    if (!CanUpdate(bars, rows, n)) return;
    const int p[] = {p1, p2, p3, p4, p5};
    const int i = n - 1;
    const double raw = bars[i].Close;  // raw scale, without the unit factor
    rows[i].FenXi[0] = raw;
    if (n == 1) {
        for (int j = 1; j <= 5; ++j) rows[0].FenXi[j] = bars[0].Close * PriceFactor(unit);
        return;
    }
    for (int j = 1; j <= 5; ++j)
        rows[i].FenXi[j] = (Int32Term(std::int64_t{p[j - 1]} - 1) * rows[i - 1].FenXi[j] + raw) / p[j - 1];
}

void CAnalysisTechniques::GenerateEMA(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p,
                                      FENXIDATA_PROPERTY* property, int) {
    out = nullptr;
    if (n < 1 || bars == nullptr || property == nullptr) return;
    property->Flag355 = 0;
    std::memset(property->StartPos + 2, 0, 19 * sizeof(std::int32_t));
    std::memset(property->LineStyle, 0, sizeof property->LineStyle);
    property->Flag356 = 1;
    property->StartPos[0] = 0;
    SetMaLine(property, 1, std::min(n, p), n);
    property->ValueScale = 10000;
    SetFormat8(property, "%.2f");
    property->Flag352 = 1;

    FENXIDATA* rows = out = Acquire(n);
    if (rows == nullptr) return;
    const std::int32_t period[] = {p};
    RunKernel(kernels::EMA, bars, unit, rows, n, period);
    LeaveLock();
}

void CAnalysisTechniques::UpdateEMA(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p) {
    if (!CanUpdate(bars, rows, n)) return;
    const std::int32_t period[] = {p};
    detail::StepNewest<detail::LaneSteps<kernels::EmaLanes>>(bars, unit, rows, n, period);
}
