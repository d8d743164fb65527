// Capital-flow direction lines over the cumulative directional volume.
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <sstream>

#include "core/registry.h"
#include "core/stepped.h"
#include "flow/reshape.h"
#include "platform/debug_output.h"
#include "indicators/columns.h"

using namespace fenxi;

namespace {

// Integer percentage move (close - prev) * 100 / prev in 32-bit arithmetic.
std::int32_t PercentMove(std::int32_t close, std::int32_t prev) {
    const std::int32_t diff = static_cast<std::int32_t>(std::int64_t{close} - prev);
    return static_cast<std::int32_t>(std::int64_t{diff} * 100) / prev;
}

// The one-price limit bars of LDX (v3 of bar i >= 2): the first such bar
// that the line contradicts flips and halves it; the later bars of the run
// take two thirds of its size on the move's side. `draw` marks the draws
// the engine takes from rand() on a flip.
template <class Draw>
void LimitBars(const UNIKDATA* bars, int i, double& v3, bool& adjusting, bool& upside, Draw draw) {
    const UNIKDATA& b = bars[i];
    if (!(b.Open == b.High && b.High == b.Low && b.Low == b.Close)) {
        adjusting = false;
        return;
    }
    if (!adjusting) {
        const std::int32_t prev = bars[i - 1].Close;
        const std::int32_t pct = prev > 0 ? PercentMove(b.Close, prev) : 0;
        if (prev > 0 && pct > 4 && v3 < 0) {
            draw();
            adjusting = upside = true;
            v3 = v3 * -0.5;
        }
        if (prev > 0 && pct < -4 && v3 > 0) {
            draw();
            adjusting = true;
            upside = false;
            v3 = v3 * -0.5;
        }
    } else {
        const double a = std::fabs(v3);
        v3 = upside ? (a + a) / 3.0 : (a * -2.0) / 3.0;
    }
}

}  // namespace

namespace fenxi::kernels {
namespace {

// LDX = MA(OBV, 2) - MA(OBV, 65): OBV into column 0, its 65-bar average
// into column 1 from bar 65 on (earlier cells are left as they were and
// still enter column 3), MA(OBV, 2) into column 2 and LDX into column 3
// from bar 2, reshaped on one-price limit bars. trace(i, value) sees each
// LDX before the reshaping; draw() marks each flip.
template <class Trace, class Draw>
void ZjRun(const UNIKDATA* b, int n, const LineOut& o, Trace trace, Draw draw) {
    Scratch<double> obv(static_cast<std::size_t>(n)), average(static_cast<std::size_t>(n));
    DirectionalVolume(b, n, [&](int i, double v) { obv[i] = v; });
    TrailingAverage(obv.data(), n, 65, average.data());
    bool adjusting = false, upside = false;
    for (int i = 0; i < n; ++i) {
        o.Ahead(0, i);
        o(0, i) = obv[i];
        if (i >= 65) o(1, i) = average[i];
        if (i < 2) continue;
        const double two = (0.0 + obv[i - 1] + obv[i]) * 0.5;
        double ldx = two - o(1, i);
        o(2, i) = two;
        trace(i, ldx);
        LimitBars(b, i, ldx, adjusting, upside, draw);
        o(3, i) = ldx;
    }
}

void Zj(const UNIKDATA* b, int, int n, const std::int32_t*, const LineOut& o) {
    ZjRun(b, n, o, [](int, double) {}, [] {});
}

// One bar of LDX: the undivided volume total and the limit-bar state
// carried, the averages summed in order over the OBV column.
struct ZjSteps {
    double total = 0.0;
    bool adjusting = false, upside = false;
    static std::int64_t History(const std::int32_t*) { return 70; }
    ZjSteps(int, const std::int32_t*) {}
    void First(const UNIKDATA*, const LineOut& o) { o(0, 0) = 0.0; }
    void Next(const UNIKDATA* b, int i, const LineOut& o) {
        total = DirectionalTotal(total, b[i], b[i - 1]);
        o(0, i) = total / 100.0;
        if (i >= 65) o(1, i) = ma(o, i, 65, 0);
        if (i < 2) return;
        const double two = (0.0 + o(0, i - 1) + o(0, i)) * 0.5;
        double ldx = two - o(1, i);
        o(2, i) = two;
        LimitBars(b, i, ldx, adjusting, upside, [] {});
        o(3, i) = ldx;
    }
};

// OBV (0, and again in 4), MA(OBV, 3) from bar 3 (1); DIF = EMA12 - EMA28
// of OBV (5, 6, 7), each average seeded with the plain mean of its first
// full window; DEA = its 9-bar average seeded likewise (9); SHLDX the
// reshaped -2 x (DIF - DEA) (8). The averages are 0 before their seeds.
struct ShSteps {
    double total = 0.0, v0 = 0.0, v1 = 0.0, v2 = 0.0;  // OBV of bars i, i-1, i-2
    double seed13 = 0.0, seed29 = 0.0, seed9 = 0.0, ema12 = 0.0, ema28 = 0.0, dif = 0.0, dea = 0.0;
    static constexpr int kAhead[] = {0};
    static std::int64_t History(const std::int32_t*) { return 40; }
    ShSteps(int, const std::int32_t*) {}
    void First(const UNIKDATA* b, const LineOut& o) { Next(b, 0, o); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) {
        v2 = v1;
        v1 = v0;
        if (i > 0) total = DirectionalTotal(total, b[i], b[i - 1]);
        v0 = i == 0 ? 0.0 : total / 100.0;
        o(0, i) = o(4, i) = v0;
        if (i >= 3) o(1, i) = (0.0 + v2 + v1 + v0) / 3.0;
        if (i <= 12) seed13 += v0;
        if (i <= 28) seed29 += v0;
        ema12 = i < 12 ? 0 : i == 12 ? seed13 / 13.0 : (v0 + v0) / 14.0 + ema12 * 12.0 / 14.0;
        ema28 = i < 28 ? 0 : i == 28 ? seed29 / 29.0 : (v0 + v0) / 30.0 + ema28 * 28.0 / 30.0;
        dif = i < 28 ? 0 : ema12 - ema28;
        if (i >= 28 && i <= 36) seed9 += dif;
        dea = i < 36 ? 0 : i == 36 ? seed9 / 9.0 : dea * 8.0 / 10.0 + (dif + dif) / 10.0;
        o(5, i) = ema12;
        o(6, i) = ema28;
        o(7, i) = dif;
        o(9, i) = dea;
        o(8, i) = ReshapeFlow((dif - dea) * -2.0);
    }
};

}  // namespace

const detail::Kernel ZJLDXFX = detail::WithSteps<ZjSteps>(&Zj, detail::Cols({0, 1, 2, 3}), detail::Cols({1, 2, 3}));
const detail::Kernel SHLDXFX = detail::SteppedKernel<ShSteps>(detail::Cols({0, 1, 4, 5, 6, 7, 8, 9}), detail::Cols({1}));

}  // namespace fenxi::kernels

void CAnalysisTechniques::GenerateZJLDXFX(UNIKDATA* bars, int, FENXIDATA*& out, int n,
                                          FENXIDATA_PROPERTY* property) {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    if (n <= 0) {
        PutAnalog("nDayNum <= 0, EXIT GenerateZJLDXFX");
        return;
    }
    if (bars == nullptr || property == nullptr) return;
    // Texts are composed only when a sink will receive them: a concrete sink
    // with no debug-output hook drops everything. One stream serves them all.
    const bool listened = Log != nullptr && (dynamic_cast<CAnaLogForHVQ*>(Log) == nullptr ||
                                             fenxi::platform::DebugOutputListened());
    std::ostringstream os;
    auto trace = [&](auto&&... parts) {
        if (!listened) return;
        os.str("");
        (os << ... << parts);
        PutAnalog(os.str());
    };
    trace("CAnalysisTechniques::GenerateZJLDXFX() BEGIN");
    trace("nDayNum = ", n);
    FENXIDATA* rows = out = Acquire(n);
    if (rows == nullptr) return;

    FENXIDATA_PROPERTY* p = property;
    p->Flag355 = 0;
    std::memset(p->StartPos + 4, 0, 17 * sizeof(std::int32_t));
    std::memset(p->LineStyle + 16, 0, 5);
    p->Flag356 = 1;
    p->StartPos[0] = std::min(n, 1);
    p->EndPos[0] = n;
    p->LineStyle[0] = p->LineStyle[1] = p->LineStyle[2] = 0;
    p->LineStyle[3] = 12;
    for (int k = 1; k <= 3; ++k) {
        p->StartPos[k] = std::min(n, 65);
        p->EndPos[k] = n;
    }
    trace("pProperty->StartPos[LDX_OBV_DIF] = ", p->StartPos[3], " pProperty->EndPos[LDX_OBV_DIF] = ", p->EndPos[3]);
    p->LineColor[0] = 0xFFFF00;
    p->LineColor[1] = 0xFF0000;
    p->LineColor[2] = 0x403FFF;
    p->LineColor[3] = 0x00FFFF;
    p->LineStyle[4] = 4;
    rows[0].FenXi[4] = 0.0;
    p->LineColor[4] = 0xC0C0C0;
    p->ValueScale = 1;
    SetFormat(p, "%.2f");

    kernels::ZjRun(bars, n, LineOut::Rows(rows),
                   [&](int i, double ldx) { trace("pFenXiData[", i, "].FenXi[LDX_OBV_DIF] = ", ldx); },
                   [] { (void)std::rand(); });
    LeaveLock();
}

void CAnalysisTechniques::GenerateSHLDXFX(UNIKDATA* bars, int, FENXIDATA*& out, int n, FENXIDATA_PROPERTY* property) {
    if (n < 1 || bars == nullptr || property == nullptr) return;
    FENXIDATA* rows = AcquireReset(out, n, property);
    if (rows == nullptr) return;
    FENXIDATA_PROPERTY* p = property;
    p->StartPos[5] = std::min(n, 12);
    p->EndPos[7] = p->EndPos[9] = n;
    p->StartPos[6] = p->StartPos[7] = std::min(n, 28);
    p->LineStyle[8] = 12;
    p->LineStyle[10] = 4;
    p->StartPos[8] = p->StartPos[9] = std::min(n, 37);
    p->LineColor[8] = 0x00FF00;
    p->LineColor[0] = 0xFF00FF;
    p->StartPos[10] = 0;
    rows[0].FenXi[10] = 0.0;
    p->ValueScale = 1;
    SetFormat(p, "%.2f");

    RunKernel(kernels::SHLDXFX, bars, 0, rows, n, nullptr);
    LeaveLock();
}
