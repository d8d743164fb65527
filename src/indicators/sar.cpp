// Parabolic stop-and-reverse.
#include "core/registry.h"
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

// SAR (v[4]) and direction (v[5]) of bar i >= period from the previous SAR:
// SAR' + AF * (extreme of the `period` bars before bar i - SAR'), AF from
// 0.02 by 0.02 per new extreme up to 0.2; a close through the SAR reverses.
void SarBar(const UNIKDATA* bars, double f, int i, int period, double prev, SarState& s, double* v) {
    double ll = bars[i - 1].Low * f, hh = bars[i - 1].High * f;
    for (int j = i - 2; j >= i - period; --j) {
        if (bars[j].Low * f < ll) ll = bars[j].Low * f;
        if (bars[j].High * f > hh) hh = bars[j].High * f;
    }
    if (s.first) {
        v[4] = s.rising ? ll : hh;
        v[5] = s.rising ? 1.0 : -1.0;
        s.af = 0.02;
        s.first = false;
        return;
    }
    if (s.rising) {
        v[4] = (hh - prev) * s.af + prev;
        v[5] = 1.0;
        if (bars[i].High > bars[i - 1].High) s.af = std::min(s.af + 0.02, 0.2);
        if (v[4] > bars[i].Close * f) s.rising = false, s.first = true;
    } else {
        v[4] = (ll - prev) * s.af + prev;
        v[5] = -1.0;
        if (bars[i].Low < bars[i - 1].Low) s.af = std::min(s.af + 0.02, 0.2);
        if (bars[i].Close * f > v[4]) s.rising = true, s.first = true;
    }
}

}  // namespace

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

    for (int i = 0; i < std::min(period, count); ++i) rows[i].FenXi[4] = 0.0;
    const double f = PriceFactor(unit);
    SarState state;
    for (int i = period; i < count; ++i) SarBar(bars, f, i, period, rows[i - 1].FenXi[4], state, rows[i].FenXi);
    LeaveLock();
}

void CAnalysisTechniques::UpdateSAR(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period) {
    FENXIDATA_PROPERTY scratch = ScratchProperty();
    GenerateSAR(bars, unit, out, count, period, &scratch);
}

// Streams: one row of SAR per bar; the state after each bar stays in
// Reserved[0..2] of the stream's private rows.
namespace fenxi::steps {
namespace {

void SarStep(const UNIKDATA* bars, int unit, FENXIDATA* r, int, int i, const std::int32_t* p) {
    SarState s;
    if (i > 0) s = {r[i - 1].Reserved[0] != 0, r[i - 1].Reserved[1] != 0, r[i - 1].Reserved[2]};
    if (i < p[0])
        r[i].FenXi[4] = 0.0;
    else
        SarBar(bars, PriceFactor(unit), i, p[0], r[i - 1].FenXi[4], s, r[i].FenXi);
    r[i].Reserved[0] = s.rising;
    r[i].Reserved[1] = s.first;
    r[i].Reserved[2] = s.af;
}

std::int64_t SarWindow(const std::int32_t* p) { return std::int64_t{p[0]} + 2; }

}  // namespace

const detail::StreamForm SAR{detail::StreamForm::Stepped, &SarStep, &SarWindow};

}  // namespace fenxi::steps
