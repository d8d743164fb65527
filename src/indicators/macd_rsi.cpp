// MACD and RSI, built from whole-column helpers.
#include <cmath>

#include "core/registry.h"
#include "indicators/columns.h"

using namespace fenxi;

namespace fenxi::kernels {
namespace {

// DIF = EMA(C, SHORT) - EMA(C, LONG); DEA = EMA(DIF, M); MACD = 2*(DIF - DEA),
// each EMA ((p-1)*prev + 2x)/(p+1) seeded with its first input. Columns: 1
// the close, 2 and 3 the two averages, 5 DIF, 6 DEA, 7 MACD.
void Macd(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    const double keep1 = Int32Term(std::int64_t{p[0]} - 1), div1 = Int32Term(std::int64_t{p[0]} + 1);
    const double keep2 = Int32Term(std::int64_t{p[1]} - 1), div2 = Int32Term(std::int64_t{p[1]} + 1);
    const double keep3 = Int32Term(std::int64_t{p[2]} - 1), div3 = Int32Term(std::int64_t{p[2]} + 1);
    double x = b[0].Close * f, fast = x, slow = x, dif = fast - slow, dea = dif;
    for (int i = 0;;) {
        o.Ahead(1, i);
        o.Ahead(7, i);
        o(1, i) = x;
        o(2, i) = fast;
        o(3, i) = slow;
        o(5, i) = dif;
        o(6, i) = dea;
        o(7, i) = (dif - dea) * 2.0;
        if (++i == n) break;
        x = b[i].Close * f;
        fast = (keep1 * fast + (x + x)) / div1;
        slow = (keep2 * slow + (x + x)) / div2;
        dif = fast - slow;
        dea = (keep3 * dea + (dif + dif)) / div3;
    }
}

// RSIk = SMA(MAX(D, 0), Nk, 1) / SMA(|D|, Nk, 1) * 100 * 100, D = C - C1, the
// smoothings ((p-1)*prev + x)/p seeded with 0 on bar 0 and the ratio 0 where
// the move is 0. Columns: 8 and 9 MAX(D, 0) and |D|, 4 and 5 the N2
// smoothings (the N1 ones are the row form's overwritten intermediates), 6
// and 7 the lines.
void Rsi(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    const double keep1 = Int32Term(std::int64_t{p[0]} - 1), keep2 = Int32Term(std::int64_t{p[1]} - 1);
    const int q1 = p[0], q2 = p[1];
    double up1 = 0.0, move1 = 0.0, up2 = 0.0, move2 = 0.0, up = 0.0, move = 0.0;
    for (int i = 0;;) {
        o.Ahead(4, i);
        o.Ahead(9, i);
        o(8, i) = up;
        o(9, i) = move;
        o(4, i) = up2;
        o(5, i) = move2;
        const double r1 = move1 == 0.0 ? 0.0 : up1 / move1;
        const double r2 = move2 == 0.0 ? 0.0 : up2 / move2;
        o(6, i) = r1 * 100.0 * 100.0;
        o(7, i) = r2 * 100.0 * 100.0;
        if (++i == n) break;
        const double d = Int32Term(std::int64_t{b[i].Close} - b[i - 1].Close) * f;
        up = d > 0 ? d : 0.0;
        move = std::fabs(d);
        up1 = (keep1 * up1 + up) / q1;
        move1 = (keep1 * move1 + move) / q1;
        up2 = (keep2 * up2 + up) / q2;
        move2 = (keep2 * move2 + move) / q2;
    }
}

}  // namespace

const detail::Kernel MACD{&Macd, detail::Cols({1, 2, 3, 5, 6, 7})};
const detail::Kernel RSI{&Rsi, detail::Cols({4, 5, 6, 7, 8, 9})};

}  // namespace fenxi::kernels

void CAnalysisTechniques::GenerateMACD(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3,
                                       FENXIDATA_PROPERTY* property) {
    FENXIDATA* rows = out = Acquire(RowsWithExtra(n, 2 * (std::int64_t{p1} + p2 + p3)));
    if (n <= 0) return;  // the lock stays held, as the engine always did
    if (rows == nullptr) return;
    if (bars == nullptr || property == nullptr) {
        LeaveLock();
        return;
    }
    ResetProperty(property);
    property->EndPos[5] = property->EndPos[6] = n;
    property->LineStyle[0] = 4;
    property->LineStyle[5] = property->LineStyle[6] = 3;
    property->LineStyle[7] = 6;
    property->ValueScale = 10000;
    SetFormat(property, "%.2f");
    rows[0].FenXi[0] = 0.0;
    const std::int32_t p[] = {p1, p2, p3};
    RunKernel(kernels::MACD, bars, unit, rows, n, p);
    LeaveLock();
}

void CAnalysisTechniques::GenerateRSI(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2,
                                      FENXIDATA_PROPERTY* property) {
    if (n <= 0 || bars == nullptr || property == nullptr) return;
    FENXIDATA* rows = AcquireReset(out, RowsWithExtra(n, 2 * (std::int64_t{p1} + p2)), property);
    if (rows == nullptr) return;
    property->StartPos[6] = property->StartPos[7] = std::min(n, 1);
    property->EndPos[6] = property->EndPos[7] = n;
    property->LineStyle[0] = property->LineStyle[1] = 4;
    property->LineStyle[6] = property->LineStyle[7] = 3;
    property->ValueScale = 100;
    SetFormat(property, "%.2f");
    rows[0].FenXi[0] = 3000.0;
    rows[0].FenXi[1] = 7000.0;
    const std::int32_t p[] = {p1, p2};
    RunKernel(kernels::RSI, bars, unit, rows, n, p);
    LeaveLock();
}

void CAnalysisTechniques::UpdateMACD(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2, int p3) {
    FENXIDATA_PROPERTY scratch = ScratchProperty();
    GenerateMACD(bars, unit, rows, n, p1, p2, p3, &scratch);
}

void CAnalysisTechniques::UpdateRSI(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2) {
    FENXIDATA_PROPERTY scratch = ScratchProperty();
    GenerateRSI(bars, unit, rows, n, p1, p2, &scratch);
}

// Streams: one row of MACD and RSI per bar, every value formed as above.
namespace fenxi::steps {
namespace {

// ((p-1)*prev + 2x)/(p+1), or x on the first bar.
double EmaOf(const FENXIDATA* r, int i, int col, double x, int p) {
    if (i == 0) return x;
    return (Int32Term(std::int64_t{p} - 1) * r[i - 1].FenXi[col] + (x + x)) / Int32Term(std::int64_t{p} + 1);
}

// DIF = EMA(C, SHORT) - EMA(C, LONG); DEA = EMA(DIF, M); MACD = 2*(DIF - DEA).
void MacdStep(const UNIKDATA* b, int unit, FENXIDATA* r, int, int i, const std::int32_t* p) {
    double* v = r[i].FenXi;
    if (i == 0) v[0] = 0.0;
    v[1] = b[i].Close * PriceFactor(unit);
    v[2] = EmaOf(r, i, 2, v[1], p[0]);
    v[3] = EmaOf(r, i, 3, v[1], p[1]);
    v[5] = v[2] - v[3];
    v[6] = EmaOf(r, i, 6, v[5], p[2]);
    v[7] = (v[5] - v[6]) * 2.0;
}

// RSIk = SMA(MAX(D, 0), Nk, 1) / SMA(|D|, Nk, 1) * 100 * 100, D = C - C1; the
// four smoothings run in Reserved[0..3].
void RsiStep(const UNIKDATA* b, int unit, FENXIDATA* r, int, int i, const std::int32_t* p) {
    double* v = r[i].FenXi;
    double* s = r[i].Reserved;
    double up = 0.0, move = 0.0;
    if (i > 0) {
        const double d = Int32Term(std::int64_t{b[i].Close} - b[i - 1].Close) * PriceFactor(unit);
        up = d > 0 ? d : 0.0;
        move = std::fabs(d);
    }
    v[8] = up;
    v[9] = move;
    for (int k = 0; k < 2; ++k) {
        const int q = p[k];
        const double keep = Int32Term(std::int64_t{q} - 1);
        s[2 * k] = i == 0 ? up : (keep * r[i - 1].Reserved[2 * k] + up) / q;
        s[2 * k + 1] = i == 0 ? move : (keep * r[i - 1].Reserved[2 * k + 1] + move) / q;
        const double ratio = s[2 * k + 1] == 0.0 ? 0.0 : s[2 * k] / s[2 * k + 1];
        v[6 + k] = ratio * 100.0 * 100.0;
    }
    v[4] = s[2];
    v[5] = s[3];
}

std::int64_t TwoBack(const std::int32_t*) { return 3; }

}  // namespace

const detail::StreamForm MACD{detail::StreamForm::Stepped, &MacdStep, &TwoBack};
const detail::StreamForm RSI{detail::StreamForm::Stepped, &RsiStep, &TwoBack};

}  // namespace fenxi::steps
