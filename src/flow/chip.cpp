// Chip-distribution lines: one directional first stage, six smoothings.
#include <cmath>
#include <vector>

#include "core/registry.h"
#include "core/stepped.h"
#include "indicators/columns.h"

using namespace fenxi;

namespace {

enum ChipKind { kJG, kJGDelta, kDH, kDHDelta, kSH, kSHDelta };

bool IsDelta(int kind) { return kind == kJGDelta || kind == kDHDelta || kind == kSHDelta; }

void SetChipProperty(FENXIDATA_PROPERTY* p, int kind, int n, int N) {
    for (int k : {6, 7, 8, 10, 11}) p->EndPos[k] = n;
    p->StartPos[6] = p->StartPos[7] = p->StartPos[8] = std::min(n, N);
    p->StartPos[10] = p->StartPos[11] = MinPos(n, 2 * std::int64_t{N} - 1);
    p->ValueScale = 1;
    SetFormat(p, "%.2f");
    std::uint8_t* style = p->LineStyle;
    style[6] = style[7] = style[8] = style[10] = style[11] = 0;
    switch (kind) {
        case kJG:
            style[6] = 3;
            style[7] = 13;
            p->LineColor[6] = 0x3030FF;
            p->LineColor[7] = 0x00FF00;
            p->LineOption1[6] = 2;
            return;
        case kDH:
            style[6] = 3;
            style[7] = 13;
            p->LineColor[6] = 0xFF5050;
            return;
        case kSH:
            style[7] = 13;
            style[8] = 3;
            p->LineColor[8] = 0x00FFFF;
            return;
        default:
            break;
    }
    style[7] = 12;
    style[12] = 4;
    static constexpr std::uint32_t kColors[][2] = {{0x00FF00, 0xFF00FF}, {0xFFFF00, 0x00FFFF}, {0x3030FF, 0x00FF00}};
    const int c = kind == kJGDelta ? 0 : kind == kDHDelta ? 1 : 2;
    p->LineColor[0] = kColors[c][0];
    p->LineColor[7] = kColors[c][1];
    p->LineColor[12] = 0xC0C0C0;
}

// True range variant (close minus low, then the gaps) and the independent
// up and down moves of bar b after bar `prev`, differences formed in 32-bit
// integers.
void DirectionalRow(const UNIKDATA& b, const UNIKDATA& prev, double k, double* v) {
    const std::int64_t prevClose = prev.Close;
    double a = Int32Term(b.Close - std::int64_t{b.Low}) * k;
    const double gapHigh = std::fabs(Int32Term(b.High - prevClose)) * k;
    if (gapHigh > a) a = gapHigh;
    const double gapLow = std::fabs(Int32Term(b.Low - prevClose)) * k;
    if (gapLow > a) a = gapLow;
    v[0] = a;
    const double up = Int32Term(std::int64_t{b.High} - prev.High) * k;
    const double down = Int32Term(std::int64_t{prev.Low} - b.Low) * k;
    v[1] = up > 0 ? up : 0;
    v[2] = down > 0 ? down : 0;
}

void DirectionalFirst(const UNIKDATA& b, double k, double* v) {
    v[0] = Int32Term(std::int64_t{b.High} - b.Low) * k;
    v[1] = v[2] = 0;
}

// The kind's smoothed value of a bar from the window stage's percentages of
// that bar and the two before (index 2 the bar itself): the three-bar mean
// raised by 3, the two-bar mean raised by 2, or the blend of both.
double Smoothed(int kind, const double (&p6)[3], const double (&p8)[3]) {
    switch (kind) {
        case kJG: case kJGDelta: return (p6[0] + p6[1] + p6[2] + 9.0) / 3.0;
        case kSHDelta: return (p8[0] + p8[1] + p8[2] + 9.0) / 3.0;
        case kSH: return (p8[1] + p8[2] + 4.0) * 0.5;
        default: return (p8[2] * 0.5 + p6[2] * 0.5) * 0.5;  // DH and its delta
    }
}

}  // namespace

namespace fenxi::kernels {
namespace {

// The three stages over the whole series: the directional terms (0-2), their
// N-bar sums from bar N (3-5, in vector lanes) with the two percentages (6,
// 8), then the kind's smoothing into 6, 7 and 8 from its first bar (1 for
// DH, else 2). With N beyond the series only the first stage runs.
template <int kind>
void Chip(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const int N = p[0];
    const double k = PriceFactor(unit);
    const std::size_t size = static_cast<std::size_t>(n);
    Scratch<double> terms(3 * size);
    for (int i = 0; i < n; ++i) {
        double v[3];
        if (i == 0)
            DirectionalFirst(b[0], k, v);
        else
            DirectionalRow(b[i], b[i - 1], k, v);
        for (int c = 0; c < 3; ++c) o(c, i) = terms[c * size + i] = v[c];
    }
    if (N < 0 || N > n) return;

    Scratch<double> sums(3 * size), pct6(size), pct8(size);
    for (int i = 0; i < std::min(N, n); ++i) {
        o(3, i) = o(4, i) = o(5, i) = o(6, i) = o(8, i) = 0;
        pct6[i] = pct8[i] = 0;
    }
    const int windows = N >= 1 ? n - N : 0;
    for (int c = 0; c < 3 && windows > 0; ++c)
        lanes::WindowSums(terms.data() + c * size + 1, windows, N, sums.data() + c * size);  // ending at N .. n-1
    for (int i = N; i < n; ++i) {
        double v[3];
        for (int c = 0; c < 3; ++c) o(3 + c, i) = v[c] = windows > 0 ? sums[c * size + (i - N)] : 0.0;
        pct6[i] = v[0] == 0.0 ? 0 : v[1] / v[0] * 100.0;
        pct8[i] = v[0] == 0.0 ? 0 : v[2] / v[0] * 100.0;
        o(6, i) = pct6[i];
        o(8, i) = pct8[i];
    }
    if (n < 2) return;

    auto smoothed = [&](int i) {
        const double p6[3] = {i >= 2 ? pct6[i - 2] : 0, i >= 1 ? pct6[i - 1] : 0, pct6[i]};
        const double p8[3] = {i >= 2 ? pct8[i - 2] : 0, i >= 1 ? pct8[i - 1] : 0, pct8[i]};
        return Smoothed(kind, p6, p8);
    };
    if (kind == kDH) {
        double previous = 0.0;
        for (int i = 0; i < n; ++i) {
            const double v6 = b[i].Volume == 0 ? 0 : smoothed(i);
            o(6, i) = v6;
            if (i >= 1) o(7, i) = b[i].Volume == 0 ? 0 : (v6 - previous) * 1.5;
            previous = v6;
        }
        return;
    }
    const int first = kind == kDHDelta ? 1 : 2;
    const double factor = (kind == kDHDelta || kind == kSHDelta) ? 3.0 : 1.5;
    double before = 0.0;  // t of the bar before, 0.0 before the first
    for (int i = first; i < n; ++i) {
        o.Ahead(6, i);
        const double t = smoothed(i);
        const bool idle = b[i].Volume == 0;
        o(7, i) = idle ? 0 : (t - before) * factor;
        if (kind == kJG) o(6, i) = idle ? 0 : t;
        if (kind == kJGDelta) o(6, i) = t;
        if (kind == kSH) o(8, i) = idle ? 0 : t;
        before = t;
    }
}

// One bar through the three stages: the window sums over the directional
// columns written before, the two earlier bars' percentages and the last
// smoothed value carried.
template <int kind>
struct ChipSteps {
    double k;
    int N;
    double p6[2] = {0, 0}, p8[2] = {0, 0};  // the percentages of bars i-2 and i-1
    double before = 0.0;                    // the smoothed value (DH: column 6) of bar i-1
    static std::int64_t History(const std::int32_t* p) { return std::int64_t{p[0]} + 4; }
    ChipSteps(int unit, const std::int32_t* p) : k(PriceFactor(unit)), N(p[0]) {}
    void First(const UNIKDATA* b, const LineOut& o) {
        double v[3];
        DirectionalFirst(b[0], k, v);
        Rest(b, 0, o, v);
    }
    void Next(const UNIKDATA* b, int i, const LineOut& o) {
        double v[3];
        DirectionalRow(b[i], b[i - 1], k, v);
        Rest(b, i, o, v);
    }
    void Rest(const UNIKDATA* b, int i, const LineOut& o, const double* v) {
        for (int c = 0; c < 3; ++c) o(c, i) = v[c];
        double pct6 = 0, pct8 = 0;
        if (i < N) {
            o(3, i) = o(4, i) = o(5, i) = 0;
        } else {
            double s[3];
            for (int c = 0; c < 3; ++c) o(3 + c, i) = s[c] = sum(o, i, N, c);
            pct6 = s[0] == 0.0 ? 0 : s[1] / s[0] * 100.0;
            pct8 = s[0] == 0.0 ? 0 : s[2] / s[0] * 100.0;
        }
        o(6, i) = pct6;
        o(8, i) = pct8;
        const double q6[3] = {p6[0], p6[1], pct6}, q8[3] = {p8[0], p8[1], pct8};
        p6[0] = p6[1], p6[1] = pct6;
        p8[0] = p8[1], p8[1] = pct8;
        const bool idle = b[i].Volume == 0;
        if (kind == kDH) {
            const double v6 = idle ? 0 : Smoothed(kind, q6, q8);
            o(6, i) = v6;
            if (i >= 1) o(7, i) = idle ? 0 : (v6 - before) * 1.5;
            before = v6;
            return;
        }
        const int first = kind == kDHDelta ? 1 : 2;
        if (i < first) return;
        const double t = Smoothed(kind, q6, q8);
        const double factor = (kind == kDHDelta || kind == kSHDelta) ? 3.0 : 1.5;
        o(7, i) = idle ? 0 : (t - before) * factor;
        if (kind == kJG) o(6, i) = idle ? 0 : t;
        if (kind == kJGDelta) o(6, i) = t;
        if (kind == kSH) o(8, i) = idle ? 0 : t;
        before = t;
    }
};

}  // namespace

using detail::Cols;
constexpr std::uint64_t kChipColumns = Cols({0, 1, 2, 3, 4, 5, 6, 7, 8}), kChange = Cols({7});
template <int kind>
constexpr detail::Kernel kChip = detail::WithSteps<ChipSteps<kind>>(&Chip<kind>, kChipColumns, kChange);
const detail::Kernel JGCMX = kChip<kJG>, JGCMXDELTA = kChip<kJGDelta>, DHCMX = kChip<kDH>,
                     DHCMXDELTA = kChip<kDHDelta>, SHCMX = kChip<kSH>, SHCMXDELTA = kChip<kSHDelta>;

}  // namespace fenxi::kernels

void CAnalysisTechniques::GenerateChip(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N,
                                       FENXIDATA_PROPERTY* property, int kind) {
    if (n < 1 || bars == nullptr || property == nullptr || N < 0) return;
    FENXIDATA* rows = AcquireReset(out, n, property);
    if (rows == nullptr) return;
    SetChipProperty(property, kind, n, N);
    if (IsDelta(kind)) rows[0].FenXi[12] = 0.0;
    static const detail::Kernel* const kKernels[] = {&kernels::JGCMX, &kernels::JGCMXDELTA, &kernels::DHCMX,
                                                     &kernels::DHCMXDELTA, &kernels::SHCMX, &kernels::SHCMXDELTA};
    const std::int32_t p[] = {N};
    RunKernel(*kKernels[kind], bars, unit, rows, n, p);
    if (N > n) ResetProperty(property);
    LeaveLock();
}

void CAnalysisTechniques::GenerateJGCMX(UNIKDATA* b, int u, FENXIDATA*& o, int n, int N, FENXIDATA_PROPERTY* p) {
    GenerateChip(b, u, o, n, N, p, kJG);
}
void CAnalysisTechniques::GenerateJGCMXDelta(UNIKDATA* b, int u, FENXIDATA*& o, int n, int N,
                                             FENXIDATA_PROPERTY* p) {
    GenerateChip(b, u, o, n, N, p, kJGDelta);
}
void CAnalysisTechniques::GenerateDHCMX(UNIKDATA* b, int u, FENXIDATA*& o, int n, int N, FENXIDATA_PROPERTY* p) {
    GenerateChip(b, u, o, n, N, p, kDH);
}
void CAnalysisTechniques::GenerateDHCMXDelta(UNIKDATA* b, int u, FENXIDATA*& o, int n, int N,
                                             FENXIDATA_PROPERTY* p) {
    GenerateChip(b, u, o, n, N, p, kDHDelta);
}
void CAnalysisTechniques::GenerateSHCMX(UNIKDATA* b, int u, FENXIDATA*& o, int n, int N, FENXIDATA_PROPERTY* p) {
    GenerateChip(b, u, o, n, N, p, kSH);
}
void CAnalysisTechniques::GenerateSHCMXDelta(UNIKDATA* b, int u, FENXIDATA*& o, int n, int N,
                                             FENXIDATA_PROPERTY* p) {
    GenerateChip(b, u, o, n, N, p, kSHDelta);
}
