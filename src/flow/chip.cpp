// Chip-distribution lines: one directional first stage, six smoothings.
#include <cmath>
#include <vector>

#include "core/registry.h"
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

void DirectionalStage(const UNIKDATA* bars, double k, FENXIDATA* rows, int n) {
    DirectionalFirst(bars[0], k, rows[0].FenXi);
    for (int i = 1; i < n; ++i) DirectionalRow(bars[i], bars[i - 1], k, rows[i].FenXi);
}

void WindowStage(FENXIDATA* rows, int n, int N) {
    for (int i = 0; i < std::min(N, n); ++i) {
        double* v = rows[i].FenXi;
        v[3] = v[4] = v[5] = v[6] = v[8] = 0;
    }
    // The three window sums of every bar from N on, the windows in vector lanes.
    PooledColumn column(static_cast<std::size_t>(n)), sums[3];
    const int windows = N >= 1 ? n - N : 0;
    for (int c = 0; c < 3 && windows > 0; ++c) {
        for (int i = 0; i < n; ++i) column[i] = rows[i].FenXi[c];
        sums[c].resize(static_cast<std::size_t>(windows));
        lanes::WindowSums(column.data() + 1, windows, N, sums[c].data());  // windows ending at N .. n-1
    }
    for (int i = N; i < n; ++i) {
        double* v = rows[i].FenXi;
        for (int c = 0; c < 3; ++c) v[3 + c] = windows > 0 ? sums[c][i - N] : sum(rows, n, i, N, c);
        if (v[3] == 0.0) {
            v[6] = v[8] = 0;
        } else {
            v[6] = v[4] / v[3] * 100.0;
            v[8] = v[5] / v[3] * 100.0;
        }
    }
}

// Three-bar mean of column c raised by 3; two-bar mean of column 8 raised by 2.
double Mean3(const FENXIDATA* rows, int i, int c) {
    return (rows[i - 2].FenXi[c] + rows[i - 1].FenXi[c] + rows[i].FenXi[c] + 9.0) / 3.0;
}
double Mean2(const FENXIDATA* rows, int i) { return (rows[i - 1].FenXi[8] + rows[i].FenXi[8] + 4.0) * 0.5; }
double Blend(const FENXIDATA& row) { return (row.FenXi[8] * 0.5 + row.FenXi[6] * 0.5) * 0.5; }

void SmoothingStage(const UNIKDATA* bars, FENXIDATA* rows, int n, int kind) {
    // t starts zeroed, so the first change is taken against 0.0.
    std::vector<double> t(static_cast<std::size_t>(n), 0.0);
    const int first = (kind == kDH || kind == kDHDelta) ? 1 : 2;
    for (int i = first; i < n; ++i) {
        switch (kind) {
            case kJG: case kJGDelta: t[i] = Mean3(rows, i, 6); break;
            case kSHDelta: t[i] = Mean3(rows, i, 8); break;
            case kSH: t[i] = Mean2(rows, i); break;
            default: t[i] = Blend(rows[i]); break;
        }
    }
    if (kind == kDH) {  // rewritten from the percentages, t unused
        for (int i = 0; i < n; ++i) rows[i].FenXi[6] = bars[i].Volume == 0 ? 0 : Blend(rows[i]);
        for (int i = 1; i < n; ++i)
            rows[i].FenXi[7] = bars[i].Volume == 0 ? 0 : (rows[i].FenXi[6] - rows[i - 1].FenXi[6]) * 1.5;
        return;
    }
    const double factor = (kind == kDHDelta || kind == kSHDelta) ? 3.0 : 1.5;
    for (int i = first; i < n; ++i) {
        double* v = rows[i].FenXi;
        const bool idle = bars[i].Volume == 0;
        v[7] = idle ? 0 : (t[i] - t[i - 1]) * factor;
        if (kind == kJG) v[6] = idle ? 0 : t[i];
        if (kind == kJGDelta) v[6] = t[i];
        if (kind == kSH) v[8] = idle ? 0 : t[i];
    }
}

}  // namespace

void CAnalysisTechniques::GenerateChip(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N,
                                       FENXIDATA_PROPERTY* property, int kind) {
    if (n < 1 || bars == nullptr || property == nullptr || N < 0) return;
    FENXIDATA* rows = AcquireReset(out, n, property);
    if (rows == nullptr) return;
    SetChipProperty(property, kind, n, N);
    if (IsDelta(kind)) rows[0].FenXi[12] = 0.0;
    DirectionalStage(bars, PriceFactor(unit), rows, n);
    if (N > n) {
        ResetProperty(property);
    } else {
        WindowStage(rows, n, N);
        if (n >= 2) SmoothingStage(bars, rows, n, kind);
    }
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

// Streams: one row per bar through the three stages. The window stage's
// percentages stay in columns 21 (from 6) and 22 (from 8) of the stream's
// private rows, where the smoothing of later bars reads them, and the
// smoothed value t in column 20.
namespace fenxi::steps {
namespace {

template <int kind>
void ChipStep(const UNIKDATA* bars, int unit, FENXIDATA* r, int n, int i, const std::int32_t* p) {
    const int N = p[0];
    double* v = r[i].FenXi;
    const double k = PriceFactor(unit);
    if (i == 0)
        DirectionalFirst(bars[0], k, v);
    else
        DirectionalRow(bars[i], bars[i - 1], k, v);
    if (i < N) {
        v[3] = v[4] = v[5] = v[6] = v[8] = 0;
    } else {
        for (int c = 0; c < 3; ++c) v[3 + c] = sum(r, n, i, N, c);
        v[6] = v[3] == 0.0 ? 0 : v[4] / v[3] * 100.0;
        v[8] = v[3] == 0.0 ? 0 : v[5] / v[3] * 100.0;
    }
    v[21] = v[6];
    v[22] = v[8];
    const bool idle = bars[i].Volume == 0;
    auto stage = [&](int j, int c) { return r[j].FenXi[c == 6 ? 21 : 22]; };
    if (kind == kDH) {
        v[6] = idle ? 0 : (v[22] * 0.5 + v[21] * 0.5) * 0.5;
        if (i >= 1) v[7] = idle ? 0 : (v[6] - r[i - 1].FenXi[6]) * 1.5;
        return;
    }
    const int first = kind == kDHDelta ? 1 : 2;
    if (i < first) return;
    double t = 0;
    switch (kind) {
        case kJG: case kJGDelta: t = (stage(i - 2, 6) + stage(i - 1, 6) + stage(i, 6) + 9.0) / 3.0; break;
        case kSHDelta: t = (stage(i - 2, 8) + stage(i - 1, 8) + stage(i, 8) + 9.0) / 3.0; break;
        case kSH: t = (stage(i - 1, 8) + stage(i, 8) + 4.0) * 0.5; break;
        default: t = (v[22] * 0.5 + v[21] * 0.5) * 0.5; break;
    }
    v[20] = t;
    const double factor = (kind == kDHDelta || kind == kSHDelta) ? 3.0 : 1.5;
    const double before = i == first ? 0.0 : r[i - 1].FenXi[20];
    v[7] = idle ? 0 : (t - before) * factor;
    if (kind == kJG) v[6] = idle ? 0 : t;
    if (kind == kJGDelta) v[6] = t;
    if (kind == kSH) v[8] = idle ? 0 : t;
}

std::int64_t ChipWindow(const std::int32_t* p) { return std::int64_t{p[0]} + 4; }

}  // namespace

const detail::StreamForm JGCMX{detail::StreamForm::Stepped, &ChipStep<kJG>, &ChipWindow};
const detail::StreamForm JGCMXDELTA{detail::StreamForm::Stepped, &ChipStep<kJGDelta>, &ChipWindow};
const detail::StreamForm DHCMX{detail::StreamForm::Stepped, &ChipStep<kDH>, &ChipWindow};
const detail::StreamForm DHCMXDELTA{detail::StreamForm::Stepped, &ChipStep<kDHDelta>, &ChipWindow};
const detail::StreamForm SHCMX{detail::StreamForm::Stepped, &ChipStep<kSH>, &ChipWindow};
const detail::StreamForm SHCMXDELTA{detail::StreamForm::Stepped, &ChipStep<kSHDelta>, &ChipWindow};

}  // namespace fenxi::steps
