// MACD and RSI, built from whole-column helpers.
#include <cmath>

#include "core/registry.h"
#include "core/lane_steps.h"
#include "indicators/columns.h"

using namespace fenxi;

namespace fenxi::kernels {

// Lane step types have external linkage: the lane routes instantiate them in
// templates of a shared header.

// DIF = EMA(C, SHORT) - EMA(C, LONG); DEA = EMA(DIF, M); MACD = 2*(DIF - DEA),
// each EMA ((p-1)*prev + 2x)/(p+1) seeded with its first input. Columns: 1
// the close, 2 and 3 the two averages, 5 DIF, 6 DEA, 7 MACD.
template <class V>
struct MacdLanes {
    V f, fast{}, slow{}, dea{};
    double keep1, div1, keep2, div2, keep3, div3;
    static constexpr int kInputs = 1;
    static constexpr int kAhead[] = {1, 7};
    static std::int64_t History(const std::int32_t*) { return 0; }
    MacdLanes(V f, const std::int32_t* p)
        : f(f),
          keep1(Int32Term(std::int64_t{p[0]} - 1)), div1(Int32Term(std::int64_t{p[0]} + 1)),
          keep2(Int32Term(std::int64_t{p[1]} - 1)), div2(Int32Term(std::int64_t{p[1]} + 1)),
          keep3(Int32Term(std::int64_t{p[2]} - 1)), div3(Int32Term(std::int64_t{p[2]} + 1)) {}
    static void In(const UNIKDATA* b, int i, double, double* in) { in[0] = b[i].Close; }
    template <class Out>
    void Write(const Out& o, int i, V x, V dif) const {
        o(1, i) = x;
        o(2, i) = fast;
        o(3, i) = slow;
        o(5, i) = dif;
        o(6, i) = dea;
        o(7, i) = (dif - dea) * 2.0;
    }
    template <class Out>
    void First(const V* in, const Out& o) {
        const V x = in[0] * f;
        fast = slow = x;
        const V dif = fast - slow;
        dea = dif;
        Write(o, 0, x, dif);
    }
    template <class Out>
    void Next(const V* in, int i, const Out& o) {
        const V x = in[0] * f;
        fast = (keep1 * fast + (x + x)) / div1;
        slow = (keep2 * slow + (x + x)) / div2;
        const V dif = fast - slow;
        dea = (keep3 * dea + (dif + dif)) / div3;
        Write(o, i, x, dif);
    }
};

// RSIk = SMA(MAX(D, 0), Nk, 1) / SMA(|D|, Nk, 1) * 100 * 100, D = C - C1, the
// smoothings ((p-1)*prev + x)/p seeded with 0 on bar 0 and the ratio 0 where
// the move is 0. Columns: 8 and 9 MAX(D, 0) and |D|, 4 and 5 the N2
// smoothings (the N1 ones are the row form's overwritten intermediates), 6
// and 7 the lines. The input is C - C1 wrapped to 32 bits, as the row form
// takes it.
template <class V>
struct RsiLanes {
    V f, up1{}, move1{}, up2{}, move2{};
    double keep1, keep2, q1, q2;
    static constexpr int kInputs = 1;
    static constexpr int kAhead[] = {4, 9};
    static std::int64_t History(const std::int32_t*) { return 1; }
    RsiLanes(V f, const std::int32_t* p)
        : f(f), keep1(Int32Term(std::int64_t{p[0]} - 1)), keep2(Int32Term(std::int64_t{p[1]} - 1)), q1(p[0]),
          q2(p[1]) {}
    static void In(const UNIKDATA* b, int i, double, double* in) {
        in[0] = i == 0 ? 0.0 : Int32Term(std::int64_t{b[i].Close} - b[i - 1].Close);
    }
    template <class Out>
    void Write(const Out& o, int i, V up, V move) const {
        using lanes::Select;
        const V zero{};
        o(8, i) = up;
        o(9, i) = move;
        o(4, i) = up2;
        o(5, i) = move2;
        const V r1 = Select(move1 == 0.0, zero, up1 / move1);
        const V r2 = Select(move2 == 0.0, zero, up2 / move2);
        o(6, i) = r1 * 100.0 * 100.0;
        o(7, i) = r2 * 100.0 * 100.0;
    }
    template <class Out>
    void First(const V*, const Out& o) {
        Write(o, 0, V{}, V{});
    }
    template <class Out>
    void Next(const V* in, int i, const Out& o) {
        const V d = in[0] * f;
        const V up = lanes::Select(d > 0.0, d, V{});
        const V move = lanes::Abs(d);
        up1 = (keep1 * up1 + up) / q1;
        move1 = (keep1 * move1 + move) / q1;
        up2 = (keep2 * up2 + up) / q2;
        move2 = (keep2 * move2 + move) / q2;
        Write(o, i, up, move);
    }
};

const detail::Kernel MACD = detail::LanedKernel<MacdLanes>(detail::Cols({1, 2, 3, 5, 6, 7}));
const detail::Kernel RSI = detail::LanedKernel<RsiLanes>(detail::Cols({4, 5, 6, 7, 8, 9}));

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
