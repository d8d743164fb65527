// Parabolic stop-and-reverse.
#include "core/registry.h"
#include "indicators/columns.h"

using namespace fenxi;

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
    bool rising = true, first = true;
    double af = 0.0;
    for (int i = period; i < count; ++i) {
        // Extremes of the `period` bars before bar i; bar i is not included.
        double ll = bars[i - 1].Low * f, hh = bars[i - 1].High * f;
        for (int j = i - 2; j >= i - period; --j) {
            if (bars[j].Low * f < ll) ll = bars[j].Low * f;
            if (bars[j].High * f > hh) hh = bars[j].High * f;
        }
        double* v = rows[i].FenXi;
        if (first) {
            v[4] = rising ? ll : hh;
            v[5] = rising ? 1.0 : -1.0;
            af = 0.02;
            first = false;
            continue;
        }
        const double prev = rows[i - 1].FenXi[4];
        if (rising) {
            v[4] = (hh - prev) * af + prev;
            v[5] = 1.0;
            if (bars[i].High > bars[i - 1].High) af = std::min(af + 0.02, 0.2);
            if (v[4] > bars[i].Close * f) rising = false, first = true;
        } else {
            v[4] = (ll - prev) * af + prev;
            v[5] = -1.0;
            if (bars[i].Low < bars[i - 1].Low) af = std::min(af + 0.02, 0.2);
            if (bars[i].Close * f > v[4]) rising = true, first = true;
        }
    }
    LeaveLock();
}

void CAnalysisTechniques::UpdateSAR(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period) {
    FENXIDATA_PROPERTY scratch = ScratchProperty();
    GenerateSAR(bars, unit, out, count, period, &scratch);
}

// Streams: one row of SAR per bar; the direction, the reversal flag and the
// acceleration factor after each bar stay in Reserved[0..2].
namespace fenxi::steps {
namespace {

void SarStep(const UNIKDATA* bars, int unit, FENXIDATA* r, int, int i, const std::int32_t* p) {
    const int period = p[0];
    double* v = r[i].FenXi;
    double* s = r[i].Reserved;
    bool rising = i == 0 || r[i - 1].Reserved[0] != 0, first = i == 0 || r[i - 1].Reserved[1] != 0;
    double af = i == 0 ? 0.0 : r[i - 1].Reserved[2];
    if (i < period) {
        v[4] = 0.0;
    } else {
        const double f = PriceFactor(unit);
        double ll = bars[i - 1].Low * f, hh = bars[i - 1].High * f;
        for (int j = i - 2; j >= i - period; --j) {
            if (bars[j].Low * f < ll) ll = bars[j].Low * f;
            if (bars[j].High * f > hh) hh = bars[j].High * f;
        }
        if (first) {
            v[4] = rising ? ll : hh;
            v[5] = rising ? 1.0 : -1.0;
            af = 0.02;
            first = false;
        } else {
            const double prev = r[i - 1].FenXi[4];
            if (rising) {
                v[4] = (hh - prev) * af + prev;
                v[5] = 1.0;
                if (bars[i].High > bars[i - 1].High) af = std::min(af + 0.02, 0.2);
                if (v[4] > bars[i].Close * f) rising = false, first = true;
            } else {
                v[4] = (ll - prev) * af + prev;
                v[5] = -1.0;
                if (bars[i].Low < bars[i - 1].Low) af = std::min(af + 0.02, 0.2);
                if (bars[i].Close * f > v[4]) rising = true, first = true;
            }
        }
    }
    s[0] = rising;
    s[1] = first;
    s[2] = af;
}

std::int64_t SarWindow(const std::int32_t* p) { return std::int64_t{p[0]} + 2; }

}  // namespace

const detail::StreamForm SAR{detail::StreamForm::Stepped, &SarStep, &SarWindow};

}  // namespace fenxi::steps
