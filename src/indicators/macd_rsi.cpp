// MACD and RSI, built from whole-column helpers.
#include <cmath>

#include "core/registry.h"
#include "indicators/columns.h"

using namespace fenxi;

namespace {

// dst = a / b per row, 0.0 where b is 0.0.
void ColumnRatio(FENXIDATA* rows, int n, int a, int b, int dst) {
    for (int i = 0; i < n; ++i) {
        const double d = rows[i].FenXi[b];
        rows[i].FenXi[dst] = d == 0.0 ? 0.0 : rows[i].FenXi[a] / d;
    }
}

}  // namespace

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

    ColumnFromClose(rows, n, bars, unit, 1);
    ColumnEma(rows, n, 1, 2, p1);
    ColumnEma(rows, n, 1, 3, p2);
    for (int i = 0; i < n; ++i) rows[i].FenXi[5] = rows[i].FenXi[2] - rows[i].FenXi[3];
    ColumnEma(rows, n, 5, 6, p3);
    for (int i = 0; i < n; ++i) rows[i].FenXi[7] = rows[i].FenXi[5] - rows[i].FenXi[6];
    ColumnScale(rows, n, 7, 7, 2.0);
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
    rows[0].FenXi[8] = rows[0].FenXi[9] = 0.0;

    const double f = PriceFactor(unit);
    for (int i = 1; i < n; ++i) {
        const double d = Int32Term(std::int64_t{bars[i].Close} - bars[i - 1].Close) * f;
        rows[i].FenXi[8] = d > 0 ? d : 0.0;
        rows[i].FenXi[9] = std::fabs(d);
    }
    ColumnSmooth(rows, n, 8, 4, p1);
    ColumnSmooth(rows, n, 9, 5, p1);
    ColumnRatio(rows, n, 4, 5, 6);
    ColumnScale(rows, n, 6, 6, 100.0);
    ColumnSmooth(rows, n, 8, 4, p2);
    ColumnSmooth(rows, n, 9, 5, p2);
    ColumnRatio(rows, n, 4, 5, 7);
    ColumnScale(rows, n, 7, 7, 100.0);
    for (int i = 0; i < n; ++i) {
        rows[i].FenXi[6] *= 100.0;
        rows[i].FenXi[7] *= 100.0;
    }
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
