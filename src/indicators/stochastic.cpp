// KDJ, KD and Williams %R.
#include <vector>

#include "core/window.h"
#include "core/registry.h"
#include "core/lane_steps.h"
#include "indicators/columns.h"
#include "indicators/stochastic.h"

using namespace fenxi;

namespace {

// The opening shared by KDJ and KD: reset, K/D(/J) drawn to n, levels 20/80.
void SetStochasticProperty(FENXIDATA_PROPERTY* property, int n, int lastLine) {
    for (int k = 3; k <= lastLine; ++k) {
        property->EndPos[k] = n;
        property->LineStyle[k] = 3;
    }
    property->LineStyle[0] = property->LineStyle[1] = 4;
    property->ValueScale = 100;
    SetFormat8(property, "%.2f");
}

void SetLevels(FENXIDATA* rows, std::initializer_list<double> levels) {
    int k = 0;
    for (double v : levels) rows[0].FenXi[k++] = v;
}


// %R of the newest bar over bars n-1 .. n-p, the range started from the close.
double WrNewest(const UNIKDATA* bars, double f, int n, int p) {
    if (n - 1 < p) return 0.0;
    const double c = bars[n - 1].Close * f;
    double h = c, l = c;
    for (std::int64_t j = n - 1; j > std::int64_t{n} - 1 - p; --j) {
        const double hj = bars[j].High * f, lj = bars[j].Low * f;
        if (hj > h) h = hj;
        if (lj < l) l = lj;
    }
    return h == l ? 0.0 : (h - c) / (h - l) * 100.0;
}

}  // namespace

namespace fenxi::kernels {
namespace {

constexpr double kTiny = 2.2250738585072014e-308, kHuge = 1.7976931348623157e308;

// WRk = (HHV(H, Nk) - C) * 100 / (HHV(H, Nk) - LLV(L, Nk)) * 100 into columns
// 3, 4 (and 5 when N3 > 0; else column 5 is only scaled x100 as it stood),
// 0 where the range is empty. The extremes start from the smallest normal
// and the largest double, so a window of no bars keeps those. Columns 8-10
// hold the converted high, low and close, 6-7 the last line's extremes.
// extremes(k, h, l) takes line k's window into h and l.
template <class Extremes>
void WrBar(const UNIKDATA* b, double f, int i, int lines, const LineOut& o, Extremes extremes) {
    const double c = b[i].Close * f;
    o(8, i) = b[i].High * f;
    o(9, i) = b[i].Low * f;
    o(10, i) = c;
    double h = kTiny, l = kHuge;
    for (int k = 0; k < lines; ++k) {
        h = kTiny, l = kHuge;
        extremes(k, h, l);
        o(3 + k, i) = (h == l ? 0.0 : (h - c) * 100.0 / (h - l)) * 100;
    }
    o(6, i) = h;
    o(7, i) = l;
    if (lines == 2) o(5, i) *= 100;
}

// The window's extremes walked over the converted highs and lows.
void WalkExtremes(const UNIKDATA* b, double f, int i, int period, double& h, double& l) {
    for (std::int64_t j = std::max<std::int64_t>(0, std::int64_t{i} - period + 1); j <= i; ++j) {
        if (b[j].High * f > h) h = b[j].High * f;
        if (b[j].Low * f < l) l = b[j].Low * f;
    }
}

void Wr(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    const int lines = p[2] > 0 ? 3 : 2;
    // With a positive finite factor the extreme of the converted prices is
    // the converted extreme of the raw integers.
    const bool exact = f > 0 && f < kHuge;
    IntColumn highs[3], lows[3];
    if (exact) {
        const IntColumn h = FieldColumn(b, n, &UNIKDATA::High), l = FieldColumn(b, n, &UNIKDATA::Low);
        for (int k = 0; k < lines; ++k) {
            if (p[k] < 1) continue;
            highs[k] = IntColumn(static_cast<std::size_t>(n));
            lows[k] = IntColumn(static_cast<std::size_t>(n));
            WindowExtremes(h.data(), n, p[k], true, highs[k].data());
            WindowExtremes(l.data(), n, p[k], false, lows[k].data());
        }
    }
    for (int i = 0; i < n; ++i) {
        o.Ahead(3, i);
        o.Ahead(10, i);
        WrBar(b, f, i, lines, o, [&](int k, double& h, double& l) {
            if (p[k] < 1 || !exact) return WalkExtremes(b, f, i, p[k], h, l);
            const double hv = highs[k][i] * f, lv = lows[k][i] * f;
            if (hv > h) h = hv;
            if (lv < l) l = lv;
        });
    }
}

// K, D and J x100 into columns 3-5 and the RSV into column 2, as KdjValues
// forms them.
void Kdj(const UNIKDATA* b, int, int n, const std::int32_t* p, const LineOut& o) {
    KdjValues(b, n, p[0], p[1], p[2], [&](int i, double rsv, double k, double d) {
        o.Ahead(2, i);
        o(2, i) = rsv;
        o(3, i) = k * 100;
        o(4, i) = d * 100;
        o(5, i) = (3 * k - 2 * d) * 100;
    });
}

// KD: the RSV into column 2; K seeded from the previous RSV on bar 1, D from
// K on bar 2, both x100 into columns 3 and 4; the cells before are left as
// they were and scaled x100 like the rest. Put takes bar i's RSV; the pass
// takes the RSVs of sliding windows, a step walks its window.
struct KdSteps {
    int p[3];
    double previous = 0.0, k = 0.0, d = 0.0;
    static std::int64_t History(const std::int32_t* p) { return std::int64_t{p[0]} + 3; }
    KdSteps(int, const std::int32_t* q) : p{q[0], q[1], q[2]} {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) { Put(i, rsv(b, 0, i + 1, i, p[0]), o); }
    void Put(int i, double v, const LineOut& o) {
        o(2, i) = v;
        if (i >= 1) k = Smooth(i == 1 ? previous : k, v, p[1]);
        if (i >= 2) d = Smooth(i == 2 ? previous : d, k, p[2]);
        previous = i == 0 ? v : k;  // the RSV of bar 0, then K of the bar before
        o(3, i) = i >= 1 ? k * 100 : o(3, i) * 100;
        o(4, i) = i >= 2 ? d * 100 : o(4, i) * 100;
    }
};

void Kd(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    KdSteps s(unit, p);
    RsvValues(b, n, p[0], [&](int i, double v) {
        o.Ahead(2, i);
        s.Put(i, v, o);
    });
}

// One bar of WR, its windows walked.
struct WrSteps {
    double f;
    int p[3], lines;
    static std::int64_t History(const std::int32_t* p) { return std::max({p[0], p[1], p[2]}) + std::int64_t{1}; }
    WrSteps(int unit, const std::int32_t* q) : f(PriceFactor(unit)), p{q[0], q[1], q[2]}, lines(q[2] > 0 ? 3 : 2) {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) const {
        WrBar(b, f, i, lines, o, [&](int k, double& h, double& l) { WalkExtremes(b, f, i, p[k], h, l); });
    }
};

}  // namespace

// Lane step types have external linkage: the lane routes instantiate them in
// templates of a shared header.
// One bar of KDJ: the RSV by a walk over its window (the input), K and D
// carried as Smooth does.
template <class V>
struct KdjLanes {
    V k{}, d{};
    int period;
    double keep1, keep2, q1, q2;
    static constexpr int kInputs = 1;
    static constexpr int kAhead[] = {2};
    static std::int64_t History(const std::int32_t* p) { return std::int64_t{p[0]} + 3; }
    KdjLanes(V, const std::int32_t* p)
        : period(p[0]), keep1(Int32Term(std::int64_t{p[1]} - 1)), keep2(Int32Term(std::int64_t{p[2]} - 1)), q1(p[1]),
          q2(p[2]) {}
    void In(const UNIKDATA* b, int i, double, double* in) const { in[0] = rsv(b, 0, i + 1, i, period); }
    static void Prepare(const UNIKDATA* b, int n, const std::int32_t* p, double, double* in) {
        RsvValues(b, n, p[0], [&](int i, double v) { in[i] = v; });
    }
    template <class Out>
    void Write(const Out& o, int i, V v) const {
        o(2, i) = v;
        o(3, i) = k * 100.0;
        o(4, i) = d * 100.0;
        o(5, i) = (3.0 * k - 2.0 * d) * 100.0;
    }
    template <class Out>
    void First(const V* in, const Out& o) {
        k = d = in[0];
        Write(o, 0, in[0]);
    }
    template <class Out>
    void Next(const V* in, int i, const Out& o) {
        k = (keep1 * k + in[0]) / q1;
        d = (keep2 * d + k) / q2;
        Write(o, i, in[0]);
    }
};


using detail::Cols;
using detail::WithSteps;
const detail::Kernel KD = WithSteps<KdSteps>(&Kd, Cols({2, 3, 4}), Cols({3, 4}));  // bars 0, 1 scale what is there
const detail::Kernel WR = WithSteps<WrSteps>(&Wr, Cols({3, 4, 5, 6, 7, 8, 9, 10}), Cols({5})),
                     KDJ = detail::WithLaneSteps<KdjLanes>(&Kdj, Cols({2, 3, 4, 5}));

}  // namespace fenxi::kernels

void CAnalysisTechniques::GenerateKDJ(UNIKDATA* bars, int, FENXIDATA*& out, int n, int p1, int p2, int p3,
                                      FENXIDATA_PROPERTY* property) {
    if (bars == nullptr || property == nullptr || n < 1 || p1 < 1 || p2 < 1 || p3 < 1) return;
    ResetProperty(property);
    SetStochasticProperty(property, n, 5);

    FENXIDATA* rows = out = Acquire(RowsWithExtra(n, std::int64_t{p2} + p3));
    if (rows == nullptr) return;
    SetLevels(rows, {2000.0, 8000.0});
    const std::int32_t p[] = {p1, p2, p3};
    RunKernel(kernels::KDJ, bars, 0, rows, n, p);
    LeaveLock();
}

void CAnalysisTechniques::GenerateKD(UNIKDATA* bars, int, FENXIDATA*& out, int n, int p1, int p2, int p3,
                                     FENXIDATA_PROPERTY* property) {
    if (bars == nullptr || property == nullptr || n < 1 || p1 < 1 || p2 < 1 || p3 < 1) return;
    ResetProperty(property);
    SetStochasticProperty(property, n, 4);
    property->StartPos[3] = property->StartPos[4] = std::min(n, p1);

    FENXIDATA* rows = out = Acquire(RowsWithExtra(n, std::int64_t{p2} + p3));
    if (rows == nullptr) return;
    SetLevels(rows, {2000.0, 8000.0});
    const std::int32_t p[] = {p1, p2, p3};
    RunKernel(kernels::KD, bars, 0, rows, n, p);
    LeaveLock();
}

void CAnalysisTechniques::GenerateWR(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3,
                                     FENXIDATA_PROPERTY* property) {
    if (n < 1 || bars == nullptr || property == nullptr) return;
    FENXIDATA* rows = out = Acquire(RowsWithExtra(n, 2 * (std::int64_t{p1} + p2 + p3)));
    if (rows == nullptr) return;
    property->Flag355 = 0;
    std::memset(property->StartPos, 0, sizeof property->StartPos);
    std::memset(property->LineStyle + 5, 0, 16);
    property->Flag356 = 1;
    property->EndPos[3] = property->EndPos[4] = n;
    property->LineStyle[0] = property->LineStyle[1] = property->LineStyle[2] = 4;
    property->LineStyle[3] = property->LineStyle[4] = 3;
    property->ValueScale = 100;
    SetFormat8(property, "%.2f");

    SetLevels(rows, {2000.0, 5000.0, 8000.0});
    const std::int32_t p[] = {p1, p2, p3};
    RunKernel(kernels::WR, bars, unit, rows, n, p);
    LeaveLock();
}

void CAnalysisTechniques::UpdateStochastic(UNIKDATA* bars, FENXIDATA* rows, int n, int p1, int p2, int p3,
                                           bool withJ) {
    if (!CanUpdate(bars, rows, n)) return;
    double* v = rows[n - 1].FenXi;
    v[2] = rsv(bars, 0, n, n - 1, p1);
    if (n == 2) {
        v[3] = Smooth(rows[0].FenXi[2], v[2], p2);
    } else {
        // The previous row's K and D were scaled x100 by the generator.
        if (n - 1 > 1) v[3] = Smooth(rows[n - 2].FenXi[3], v[2], p2);
        if (n == 3)
            v[4] = Smooth(rows[1].FenXi[3], v[3], p3);
        else if (n - 1 > 2)
            v[4] = Smooth(rows[n - 2].FenXi[4], v[3], p3);
    }
    if (withJ && n > 2) v[5] = 3 * v[3] - 2 * v[4];
    v[3] *= 100;
    v[4] *= 100;
    if (withJ) v[5] *= 100;
}

void CAnalysisTechniques::UpdateKDJ(UNIKDATA* bars, int, FENXIDATA*& rows, int n, int p1, int p2, int p3) {
    UpdateStochastic(bars, rows, n, p1, p2, p3, true);
}

void CAnalysisTechniques::UpdateKD(UNIKDATA* bars, int, FENXIDATA*& rows, int n, int p1, int p2, int p3) {
    UpdateStochastic(bars, rows, n, p1, p2, p3, false);
}

void CAnalysisTechniques::UpdateWR(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2, int p3) {
    if (!CanUpdate(bars, rows, n)) return;
    const double f = PriceFactor(unit);
    double* v = rows[n - 1].FenXi;
    v[3] = WrNewest(bars, f, n, p1);
    if (p2 > 0) v[4] = WrNewest(bars, f, n, p2);
    if (p3 > 0) v[5] = WrNewest(bars, f, n, p3);
    for (int k = 3; k <= 5; ++k) v[k] *= 100;
}
