// Parabolic stop-and-reverse.
#include "core/registry.h"
#include "core/stepped.h"
#include "core/window.h"
#include "indicators/columns.h"

using namespace fenxi;

namespace {

// The running state between bars: direction, a reversal pending (the next
// bar restarts from the window's extreme) and the acceleration factor.
struct SarState {
    bool rising = true;
    bool first = true;
    double af = 0.0;
};

// SAR and direction of bar i >= period from the previous SAR and the
// extremes ll, hh of the `period` bars before bar i: SAR' + AF * (extreme -
// SAR'), AF from 0.02 by 0.02 per new extreme up to 0.2; a close through the
// SAR reverses.
void SarNext(const UNIKDATA* bars, double f, int i, double ll, double hh, double prev, SarState& s, double& sar,
             double& direction) {
    if (s.first) {
        sar = s.rising ? ll : hh;
        direction = s.rising ? 1.0 : -1.0;
        s.af = 0.02;
        s.first = false;
        return;
    }
    if (s.rising) {
        sar = (hh - prev) * s.af + prev;
        direction = 1.0;
        if (bars[i].High > bars[i - 1].High) s.af = std::min(s.af + 0.02, 0.2);
        if (sar > bars[i].Close * f) s.rising = false, s.first = true;
    } else {
        sar = (ll - prev) * s.af + prev;
        direction = -1.0;
        if (bars[i].Low < bars[i - 1].Low) s.af = std::min(s.af + 0.02, 0.2);
        if (bars[i].Close * f > sar) s.rising = true, s.first = true;
    }
}

// The same with the extremes walked over the converted prices (v[4], v[5]).
void SarBar(const UNIKDATA* bars, double f, int i, int period, double prev, SarState& s, double* v) {
    double ll = bars[i - 1].Low * f, hh = bars[i - 1].High * f;
    for (int j = i - 2; j >= i - period; --j) {
        if (bars[j].Low * f < ll) ll = bars[j].Low * f;
        if (bars[j].High * f > hh) hh = bars[j].High * f;
    }
    SarNext(bars, f, i, ll, hh, prev, s, v[4], v[5]);
}

}  // namespace

namespace fenxi::kernels {
namespace {

// SAR into column 4 (0 before bar N) and its direction into column 5 from
// bar N. With a positive finite factor the extremes of the converted prices
// are the converted extremes of the raw integers, found by sliding windows.
void Sar(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const int period = p[0];
    for (int i = 0; i < std::min(period, n); ++i) o(4, i) = 0.0;
    if (period >= n) return;
    const double f = PriceFactor(unit);
    SarState state;
    double sar = 0.0;
    if (!(f > 0 && f < 1.7976931348623157e308)) {
        for (int i = period; i < n; ++i) {
            double v[6];
            SarBar(b, f, i, period, sar, state, v);
            o(4, i) = sar = v[4];
            o(5, i) = v[5];
        }
        return;
    }
    const IntColumn h = FieldColumn(b, n, &UNIKDATA::High), l = FieldColumn(b, n, &UNIKDATA::Low);
    IntColumn highest(static_cast<std::size_t>(n)), lowest(static_cast<std::size_t>(n));
    WindowExtremes(h.data(), n - 1, period, true, highest.data());
    WindowExtremes(l.data(), n - 1, period, false, lowest.data());
    for (int i = period; i < n; ++i) {
        o.Ahead(4, i);
        double direction;
        SarNext(b, f, i, lowest[i - 1] * f, highest[i - 1] * f, sar, state, sar, direction);
        o(4, i) = sar;
        o(5, i) = direction;
    }
}

// One bar: the extremes walked over the period before it.
struct SarSteps {
    double f, sar = 0.0;
    int period;
    SarState state;
    static std::int64_t History(const std::int32_t* p) { return std::int64_t{p[0]} + 1; }
    SarSteps(int unit, const std::int32_t* p) : f(PriceFactor(unit)), period(p[0]) {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) {
        if (i < period) {
            o(4, i) = 0.0;
            return;
        }
        double v[6];
        SarBar(b, f, i, period, sar, state, v);
        o(4, i) = sar = v[4];
        o(5, i) = v[5];
    }
};

}  // namespace

const detail::Kernel SAR = detail::WithSteps<SarSteps>(&Sar, detail::Cols({4, 5}));

}  // namespace fenxi::kernels

void CAnalysisTechniques::GenerateSAR(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period,
                                      FENXIDATA_PROPERTY* property) {
    if (count < 1 || bars == nullptr || property == nullptr || period < 1) return;
    FENXIDATA* rows = AcquireReset(out, count, property);
    if (rows == nullptr) return;
    property->StartPos[4] = std::min(count, period);
    property->LineStyle[4] = 5;
    property->ValueScale = 10000;
    SetFormat(property, "%.2f");
    property->Flag352 = 1;

    const std::int32_t p[] = {period};
    RunKernel(kernels::SAR, bars, unit, rows, count, p);
    LeaveLock();
}

void CAnalysisTechniques::UpdateSAR(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period) {
    FENXIDATA_PROPERTY scratch = ScratchProperty();
    GenerateSAR(bars, unit, out, count, period, &scratch);
}
