// The classic indicators beyond the detailed families: one row function per
// indicator computes every column of bar i from the bars and the columns of
// the bars before it, through a view of rows or columns. It is the kernel's
// per-bar step (streams), the updater's last row and the generator's route
// for fractional parameters; the whole-series kernels give the same bits.
#include <cmath>
#include <initializer_list>
#include <limits>
#include <utility>

#include "core/registry.h"
#include "core/lane_steps.h"
#include "core/stepped.h"
#include "core/window.h"
#include "indicators/columns.h"

namespace fenxi {

using RowFn = void (*)(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p);
using StartFn = std::int64_t (*)(const double* p, int line);

struct ClassicForm {
    RowFn row;
    int valueScale;
    int lineCount;
    int columns[6];
    StartFn start;
    int periods;  // leading parameters that are periods and must be >= 1
    bool keepLock;
    const detail::Kernel* kernel = nullptr;  // the whole series in one pass, where there is one
    int kernelParams = 0;                    // leading parameters it takes, all whole numbers
};

namespace {

int P(const double* p, int k) { return static_cast<int>(p[k]); }
double H(const UNIKDATA* b, double f, int i) { return b[i].High * f; }
double L(const UNIKDATA* b, double f, int i) { return b[i].Low * f; }
double C(const UNIKDATA* b, double f, int i) { return b[i].Close * f; }
double O(const UNIKDATA* b, double f, int i) { return b[i].Open * f; }
double Ratio(double a, double b) { return b == 0 ? 0.0 : a / b; }

// max(H-L, |H-C1|, |L-C1|); 0 on the first bar.
double TrueRange(const UNIKDATA* b, double f, int i) {
    if (i == 0) return 0.0;
    const double h = H(b, f, i), l = L(b, f, i), c1 = C(b, f, i - 1);
    return std::max(std::max(h - l, std::fabs(h - c1)), std::fabs(l - c1));
}

// Highest high and lowest low of bars max(0, i-N+1) .. i.
void Extremes(const UNIKDATA* b, double f, int i, int N, double& hv, double& lv) {
    hv = H(b, f, i);
    lv = L(b, f, i);
    for (std::int64_t j = i - 1; j >= 0 && j > std::int64_t{i} - N; --j) {
        hv = std::max(hv, H(b, f, static_cast<int>(j)));
        lv = std::min(lv, L(b, f, static_cast<int>(j)));
    }
}

// TR, +DM and -DM of bar i into x[0..2], all 0 on the first bar.
void WilderComponents(const UNIKDATA* b, double f, int i, double* x) {
    x[0] = x[1] = x[2] = 0.0;
    if (i == 0) return;
    x[0] = TrueRange(b, f, i);
    const double up = H(b, f, i) - H(b, f, i - 1), down = L(b, f, i - 1) - L(b, f, i);
    x[1] = up > down && up > 0 ? up : 0.0;
    x[2] = down > up && down > 0 ? down : 0.0;
}

void DmiRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    const int N = P(p, 0), M = P(p, 1);
    double x[3];
    WilderComponents(b, f, i, x);
    for (int k = 0; k < 3; ++k) o(10 + k, i) = x[k];
    const double tr = sum(o, i, N, 10);
    const double pdi = Ratio(sum(o, i, N, 11) * 100, tr), mdi = Ratio(sum(o, i, N, 12) * 100, tr);
    o(13, i) = Ratio(std::fabs(mdi - pdi), mdi + pdi) * 100;
    o(0, i) = pdi * 100;
    o(1, i) = mdi * 100;
    o(2, i) = ma(o, i, M, 13) * 100;
    o(3, i) = i >= M ? (o(2, i) + o(2, i - M)) / 2 : 0.0;
}

// Wilder's smoothing: components (14 TR, 15 +DM, 16 -DM) smoothed into 10-12
// from their N-bar sum by prev - prev/N + x; +DI (19), -DI (20), DX (13),
// ADX (17, mean of the first N DX, then (prev*(N-1) + DX)/N), ATR (18).
void WilderRow(const UNIKDATA* b, double f, const LineOut& o, int i, int N) {
    double x[3];
    WilderComponents(b, f, i, x);
    for (int k = 0; k < 3; ++k) o(14 + k, i) = x[k];
    for (int k = 0; k < 3; ++k) {
        if (i < N)
            o(10 + k, i) = 0.0;
        else if (i == N)
            o(10 + k, i) = sum(o, i, N, 14 + k);
        else
            o(10 + k, i) = o(10 + k, i - 1) - o(10 + k, i - 1) / N + o(14 + k, i);
    }
    o(19, i) = Ratio(100 * o(11, i), o(10, i));
    o(20, i) = Ratio(100 * o(12, i), o(10, i));
    o(13, i) = i < N ? 0.0 : Ratio(100 * std::fabs(o(19, i) - o(20, i)), o(19, i) + o(20, i));
    const std::int64_t first = 2 * std::int64_t{N} - 1;
    if (i < first)
        o(17, i) = 0.0;
    else if (i == first)
        o(17, i) = sum(o, i, N, 13) / N;
    else
        o(17, i) = (o(17, i - 1) * (N - 1) + o(13, i)) / N;
    if (i < N)
        o(18, i) = 0.0;
    else if (i == N)
        o(18, i) = sum(o, i, N, 14) / N;
    else
        o(18, i) = (o(18, i - 1) * (N - 1) + o(14, i)) / N;
}

void AdxRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    WilderRow(b, f, o, i, P(p, 0));
    o(0, i) = o(17, i) * 100;
    o(1, i) = o(19, i) * 100;
    o(2, i) = o(20, i) * 100;
}

void CsiRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    const int N = P(p, 0);
    WilderRow(b, f, o, i, N);
    const bool full = std::int64_t{i} - N >= 2 * std::int64_t{N} - 1;
    const double adxr = full ? (o(17, i) + o(17, i - N)) / 2 : 0.0;
    o(0, i) = full ? adxr * o(18, i) * (p[1] / std::sqrt(p[2])) / (150 + 25) * 100 : 0.0;
}

// Per-bar formulas the row functions (last row for the updaters, streams)
// and the kernels (whole series) share.

// BRAR's terms of bar i: H - C1, C1 - L (0 on bar 0, never negative), H - O,
// O - L.
void BrarTerms(const UNIKDATA* b, double f, int i, double* t) {
    const double c1 = i > 0 ? C(b, f, i - 1) : 0.0;
    t[0] = i > 0 ? std::max(0.0, H(b, f, i) - c1) : 0.0;
    t[1] = i > 0 ? std::max(0.0, c1 - L(b, f, i)) : 0.0;
    t[2] = H(b, f, i) - O(b, f, i);
    t[3] = O(b, f, i) - L(b, f, i);
}

// CR's terms of bar i against the previous bar's mid price, 0 on bar 0.
void CrTerms(const UNIKDATA* b, double f, int i, double* t) {
    t[0] = t[1] = 0.0;
    if (i == 0) return;
    const double mid = (H(b, f, i - 1) + L(b, f, i - 1)) / 2;
    t[0] = std::max(0.0, H(b, f, i) - mid);
    t[1] = std::max(0.0, mid - L(b, f, i));
}

// ASI's SI of bar i, 0 on bar 0.
double AsiTerm(const UNIKDATA* b, double f, int i) {
    if (i == 0) return 0.0;
    const double h = H(b, f, i), l = L(b, f, i), c = C(b, f, i), o = O(b, f, i);
    const double c1 = C(b, f, i - 1), o1 = O(b, f, i - 1), l1 = L(b, f, i - 1);
    const double aa = std::fabs(h - c1), bb = std::fabs(l - c1), cc = std::fabs(h - l1), dd = std::fabs(c1 - o1);
    const double range = (aa > bb && aa > cc)   ? aa + bb / 2 + dd / 4
                         : (bb > cc && bb > aa) ? bb + aa / 2 + dd / 4
                                                : cc + dd / 4;
    const double x = c - c1 + (c - o) / 2 + c1 - o1;
    return range == 0 ? 0.0 : 16 * x / range * std::max(aa, bb);
}

// MIKE's six lines from the typical price and the window's extremes.
double MikeTypical(const UNIKDATA& bar, double f) {
    return Int32Term(std::int64_t{bar.High} + bar.Low + bar.Close) * f / 3.0;
}
void MikeLines(double typ, double hv, double lv, double* v) {
    v[0] = 2 * typ - lv;
    v[1] = typ + hv - lv;
    v[2] = 2 * hv - lv;
    v[3] = 2 * typ - hv;
    v[4] = typ - (hv - lv);
    v[5] = 2 * lv - hv;
}

// EMV's term of bar i from the N-bar means of volume and range.
double EmvTerm(const UNIKDATA* b, double f, int i, double volumeMean, double rangeMean) {
    const double h = H(b, f, i), l = L(b, f, i);
    const double volume = Ratio(volumeMean, static_cast<double>(b[i].Volume));
    const double mid = i == 0 ? 0.0 : Ratio(100 * (h + l - (H(b, f, i - 1) + L(b, f, i - 1))), h + l);
    return Ratio(mid * volume * (h - l), rangeMean);
}

// CHG's two lines of bar i >= N.
void ChgLines(const UNIKDATA* b, double f, int i, int N, double* v) {
    const double c = C(b, f, i), cn = C(b, f, i - N);
    v[0] = Ratio(c - cn, cn) * 100 * 100;
    v[1] = (c - cn) / 100;
}

// CHAIKIN's money flow of bar i.
double ChaikinFlow(const UNIKDATA* b, double f, int i) {
    const double h = H(b, f, i), l = L(b, f, i), c = C(b, f, i);
    return h == l ? 0.0 : static_cast<double>(b[i].Volume) * ((c - l) - (h - c)) / (h - l);
}

// TSF's least-squares forecast of the window y(1) .. y(N), oldest first.
template <class Y>
double TsfForecast(int N, Y y) {
    double sy = 0.0, sxy = 0.0;
    for (int k = 1; k <= N; ++k) {
        const double v = y(k);
        sy += v;
        sxy += k * v;
    }
    const double dn = N, sx = dn * (dn + 1) / 2, sxx = dn * (dn + 1) * (2 * dn + 1) / 6;
    const double slope = Ratio(dn * sxy - sx * sy, dn * sxx - sx * sx);
    return (sy - slope * sx) / dn + slope * (dn + 1);
}

// MAW of the window ending at bar i >= N-1: weights 1 .. N, oldest first.
double MawValue(const UNIKDATA* b, double f, int i, int N) {
    double weighted = 0.0;
    for (int k = 1; k <= N; ++k) weighted += k * C(b, f, i - N + k);
    const double dn = N;
    return weighted / (dn * (dn + 1) / 2);
}

void DmaRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    o(10, i) = C(b, f, i);
    o(0, i) = ma(o, i, P(p, 0), 10) - ma(o, i, P(p, 1), 10);
    o(1, i) = ma(o, i, P(p, 0), 0);
}

void BrarRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    const int N = P(p, 0);
    double t[4];
    BrarTerms(b, f, i, t);
    for (int k = 0; k < 4; ++k) o(10 + k, i) = t[k];
    o(0, i) = Ratio(sum(o, i, N, 10), sum(o, i, N, 11)) * 100 * 100;
    o(1, i) = Ratio(sum(o, i, N, 12), sum(o, i, N, 13)) * 100 * 100;
}

int CrShift(int m) { return static_cast<int>(m / 2.5 + 1); }

void CrRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    double t[2];
    CrTerms(b, f, i, t);
    o(10, i) = t[0];
    o(11, i) = t[1];
    o(0, i) = Ratio(sum(o, i, P(p, 0), 10), sum(o, i, P(p, 0), 11)) * 100 * 100;
    for (int k = 1; k <= 4; ++k) {
        const std::int64_t j = std::int64_t{i} - CrShift(P(p, k));
        o(k, i) = j >= 0 ? ma(o, static_cast<int>(j), P(p, k), 0) : 0.0;
    }
}

void AsiRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double*) {
    o(10, i) = AsiTerm(b, f, i);
    o(0, i) = sum(o, i, 26, 10);
    o(1, i) = ma(o, i, 10, 0);
}

void MikeRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    double hv, lv;
    Extremes(b, f, i, P(p, 0), hv, lv);
    double v[6];
    MikeLines(MikeTypical(b[i], f), hv, lv, v);
    for (int k = 0; k < 6; ++k) o(k, i) = v[k];
}

void TrixRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    const int N = P(p, 0);
    o(10, i) = C(b, f, i);
    for (int k = 11; k <= 13; ++k) o(k, i) = i == 0 ? o(k - 1, i) : ema(o(k - 1, i), N, o(k, i - 1));
    o(0, i) = i == 0 ? 0.0 : Ratio(o(13, i) - o(13, i - 1), o(13, i - 1)) * 100 * 100;
    o(1, i) = ma(o, i, P(p, 1), 0);
}

void EmvRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    const int N = P(p, 0);
    o(10, i) = static_cast<double>(b[i].Volume);
    o(11, i) = H(b, f, i) - L(b, f, i);
    o(12, i) = EmvTerm(b, f, i, ma(o, i, N, 10), ma(o, i, N, 11));
    o(0, i) = ma(o, i, N, 12) * 100;
    o(1, i) = ma(o, i, P(p, 1), 0);
}

void ChgRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    const int N = P(p, 0);
    if (i < N) {
        o(0, i) = o(1, i) = 0.0;
        return;
    }
    double lines[2];
    ChgLines(b, f, i, N, lines);
    o(0, i) = lines[0];
    o(1, i) = lines[1];
}

void ChaikinRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    const double fast = p[1], slow = p[2];
    const double flow = ChaikinFlow(b, f, i);
    o(10, i) = i == 0 ? flow : o(10, i - 1) + flow;
    o(11, i) = i == 0 ? o(10, i) : ((fast - 1) * o(11, i - 1) + 2 * o(10, i)) / (fast + 1);
    o(12, i) = i == 0 ? o(10, i) : ((slow - 1) * o(12, i - 1) + 2 * o(10, i)) / (slow + 1);
    o(0, i) = o(11, i) - o(12, i);
    o(1, i) = ma(o, i, P(p, 0), 0);
}

void TsfRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    const int N = P(p, 0);
    o(10, i) = C(b, f, i);
    o(0, i) = 0.0;
    if (std::int64_t{i} >= std::int64_t{N} - 1) o(0, i) = TsfForecast(N, [&](int k) { return o(10, i - N + k); });
    o(1, i) = ma(o, i, P(p, 1), 0);
}

void MassRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    const int N1 = P(p, 0);
    o(10, i) = H(b, f, i) - L(b, f, i);
    o(11, i) = ma(o, i, N1, 10);
    o(12, i) = ma(o, i, N1, 11);
    o(13, i) = Ratio(o(11, i), o(12, i));
    o(0, i) = sum(o, i, P(p, 1), 13) * 100;
    o(1, i) = ma(o, i, P(p, 2), 0);
}

void MawRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    const int N = P(p, 0);
    o(0, i) = 0.0;
    if (std::int64_t{i} < std::int64_t{N} - 1) return;
    o(0, i) = MawValue(b, f, i, N);
}

void MaeRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    o(10, i) = C(b, f, i);
    const double mid = ma(o, i, P(p, 0), 10);
    o(0, i) = mid * (1 + P(p, 1) / 100.0);
    o(1, i) = mid;
    o(2, i) = mid * (1 - P(p, 2) / 100.0);
}

void PcRow(const UNIKDATA* b, double f, const LineOut& o, int i, const double* p) {
    double hv, lv;
    Extremes(b, f, i, P(p, 0), hv, lv);
    o(0, i) = hv;
    o(1, i) = (hv + lv) / 2;
    o(2, i) = lv;
}

}  // namespace

namespace kernels {
namespace {

// The classic second line: column 0 the line, column 1 its average over M
// (0 before a full window), and each (column, values) of `more`, written in
// one pass.
void WithMean(const LineOut& o, int n, const double* line, int M,
              std::initializer_list<std::pair<int, const double*>> more = {}) {
    Scratch<double> mean(static_cast<std::size_t>(n));
    AverageInto(line, n, M, mean.data());
    for (int i = 0; i < n; ++i) {
        o.Ahead(0, i);
        for (const auto& [c, v] : more) o(c, i) = v[i];
        o(0, i) = line[i];
        o(1, i) = mean[i];
    }
}

// DmiRow over the whole series. The three N-bar sums of TR, +DM and -DM run
// as exact int64 sums where every term is an integer (converted prices at a
// unit dividing 10000), else as ordered window sums; the DX average over M
// reads DX from a contiguous column.
void Dmi(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    const int N = p[0], M = p[1];
    const std::size_t size = static_cast<std::size_t>(n);
    Scratch<double> terms(3 * size), sums(3 * size), dx(size), adx(size);
    for (int i = 0; i < n; ++i) {
        double x[3];
        WilderComponents(b, f, i, x);
        for (int k = 0; k < 3; ++k) terms[k * size + i] = x[k];
    }
    for (int k = 0; k < 3; ++k) WindowSumsInto(terms.data() + k * size, n, N, sums.data() + k * size);
    for (int i = 0; i < n; ++i) {
        const double tr = sums[i];
        const double pdi = Ratio(sums[size + i] * 100, tr), mdi = Ratio(sums[2 * size + i] * 100, tr);
        dx[i] = Ratio(std::fabs(mdi - pdi), mdi + pdi) * 100;
        o(0, i) = pdi * 100;
        o(1, i) = mdi * 100;
    }
    AverageInto(dx.data(), n, M, adx.data());
    for (int i = 0; i < n; ++i) {
        o.Ahead(10, i);
        const double line = adx[i] * 100;
        o(2, i) = line;
        o(3, i) = i >= M ? (line + adx[i - M] * 100) / 2 : 0.0;
        for (int k = 0; k < 3; ++k) o(10 + k, i) = terms[k * size + i];
        o(13, i) = dx[i];
    }
}

// WilderRow and AdxRow over the whole series, the state in registers: the
// N-bar sums that seed the smoothings are the same left-to-right sums.
}  // namespace

// WilderRow's running state, one bar at a time, for one security (V =
// double) or one per vector lane; the branches on the bar are the same for
// every lane. External linkage: the lane routes instantiate it.
template <class V>
class WilderOf {
public:
    explicit WilderOf(int N) : N_(N), n_(N), keep_(N - 1), first_(2 * std::int64_t{N} - 1) {}

    // Bar i with its components x: columns 10-20 of the row form into o.
    template <class Out>
    void Step(int i, const V* x, const Out& o) {
        const int N = N_;
        for (int k = 0; k < 3; ++k) {
            if (i > 0 && i <= N) seed_[k] += x[k];  // bars 1 .. N, in order
            if (i < N)
                smooth_[k] = V{};
            else if (i == N)
                smooth_[k] = seed_[k];
            else
                smooth_[k] = smooth_[k] - smooth_[k] / n_ + x[k];
            o(10 + k, i) = smooth_[k];
            o(14 + k, i) = x[k];
        }
        pdi = Ratio(100.0 * smooth_[1], smooth_[0]), mdi = Ratio(100.0 * smooth_[2], smooth_[0]);
        const V dx = i < N ? V{} : Ratio(100.0 * lanes::Abs(pdi - mdi), pdi + mdi);
        if (i >= N && i <= first_) dxSeed_ += dx;  // bars N .. 2N-1, in order
        if (i < first_)
            adx = V{};
        else if (i == first_)
            adx = dxSeed_ / n_;
        else
            adx = (adx * keep_ + dx) / n_;
        if (i < N)
            atr = V{};
        else if (i == N)
            atr = seed_[0] / n_;
        else
            atr = (atr * keep_ + x[0]) / n_;
        o(13, i) = dx;
        o(17, i) = adx;
        o(18, i) = atr;
        o(19, i) = pdi;
        o(20, i) = mdi;
    }

    V pdi{}, mdi{}, adx{}, atr{};

private:
    static V Ratio(V a, V b) { return lanes::Select(b == 0.0, V{}, a / b); }
    int N_;
    double n_, keep_;
    std::int64_t first_;
    V smooth_[3] = {}, seed_[3] = {}, dxSeed_{};
};

// ADX with +DI and -DI: Wilder's columns, then the lines x100. Its input is
// bar i's TR, +DM and -DM.
template <class V>
struct AdxLanes {
    WilderOf<V> w;
    static constexpr int kInputs = 3;
    static constexpr int kAhead[] = {0, 20};
    // The steps compare the bar with 2N - 1; a stream's bar numbers start
    // over when it slides, never below the history.
    static std::int64_t History(const std::int32_t* p) { return 2 * std::int64_t{p[0]} + 1; }
    AdxLanes(V, const std::int32_t* p) : w(p[0]) {}
    void In(const UNIKDATA* b, int i, double f, double* in) const { WilderComponents(b, f, i, in); }
    template <class Out>
    void First(const V* in, const Out& o) {
        Next(in, 0, o);
    }
    template <class Out>
    void Next(const V* in, int i, const Out& o) {
        w.Step(i, in, o);
        o(0, i) = w.adx * 100.0;
        o(1, i) = w.pdi * 100.0;
        o(2, i) = w.mdi * 100.0;
    }
};

namespace {

using Wilder = WilderOf<double>;

constexpr std::uint64_t kWilderColumns = detail::Cols({10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20});

// Wilder's columns of every bar into o, then line(i, state) for the bar's
// own lines.
template <class Line>
void WilderSeries(const UNIKDATA* b, int unit, int n, int N, const LineOut& o, Line line) {
    const double f = PriceFactor(unit);
    Wilder w(N);
    for (int i = 0; i < n; ++i) {
        o.Ahead(0, i);
        o.Ahead(20, i);
        double x[3];
        WilderComponents(b, f, i, x);
        w.Step(i, x, o);
        line(i, w);
    }
}

// AdxRow over the whole series.
void Adx(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    WilderSeries(b, unit, n, p[0], o, [&](int i, const Wilder& w) {
        o(0, i) = w.adx * 100;
        o(1, i) = w.pdi * 100;
        o(2, i) = w.mdi * 100;
    });
}

// CsiRow over the whole series: ADXR from ADX N bars back once it is full.
void Csi(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const int N = p[0];
    const double factor = p[1] / std::sqrt(static_cast<double>(p[2]));
    Scratch<double> adx(static_cast<std::size_t>(n));
    WilderSeries(b, unit, n, N, o, [&](int i, const Wilder& w) {
        adx[i] = w.adx;
        const bool full = std::int64_t{i} - N >= 2 * std::int64_t{N} - 1;
        const double adxr = full ? (w.adx + adx[i - N]) / 2 : 0.0;
        o(0, i) = full ? adxr * w.atr * factor / (150 + 25) * 100 : 0.0;
    });
}

// TrixRow over the whole series: column 10 the close, 11-13 its three
// averages, TRIX (0) the rate of change of the third x100 x100, MATRIX (1)
// TRIX's average over M from its contiguous column.
void Trix(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    const int N = p[0], M = p[1];
    Scratch<double> trix(static_cast<std::size_t>(n));
    double e1 = 0.0, e2 = 0.0, e3 = 0.0;
    for (int i = 0; i < n; ++i) {
        const double c = C(b, f, i), previous = e3;
        e1 = i == 0 ? c : ema(c, N, e1);
        e2 = i == 0 ? e1 : ema(e1, N, e2);
        e3 = i == 0 ? e2 : ema(e2, N, e3);
        trix[i] = i == 0 ? 0.0 : Ratio(e3 - previous, previous) * 100 * 100;
        o(10, i) = c;
        o(11, i) = e1;
        o(12, i) = e2;
        o(13, i) = e3;
    }
    WithMean(o, n, trix.data(), M);
}

// Highest high and lowest low of bars max(0, i-N+1) .. i, converted, as
// Extremes walks them: with a positive finite factor the converted extremes
// of the raw integers, by sliding windows.
template <class Put>
void ExtremesOf(const UNIKDATA* b, double f, int n, int N, Put put) {
    if (!(f > 0 && f < 1.7976931348623157e308) || N < 1) {
        for (int i = 0; i < n; ++i) {
            double hv, lv;
            Extremes(b, f, i, N, hv, lv);
            put(i, hv, lv);
        }
        return;
    }
    const IntColumn h = FieldColumn(b, n, &UNIKDATA::High), l = FieldColumn(b, n, &UNIKDATA::Low);
    IntColumn highest(static_cast<std::size_t>(n)), lowest(static_cast<std::size_t>(n));
    WindowExtremes(h.data(), n, N, true, highest.data());
    WindowExtremes(l.data(), n, N, false, lowest.data());
    for (int i = 0; i < n; ++i) put(i, highest[i] * f, lowest[i] * f);
}

// MikeRow over the whole series.
void Mike(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    ExtremesOf(b, f, n, p[0], [&](int i, double hv, double lv) {
        o.Ahead(0, i);
        double v[6];
        MikeLines(MikeTypical(b[i], f), hv, lv, v);
        for (int k = 0; k < 6; ++k) o(k, i) = v[k];
    });
}

// PcRow over the whole series.
void Pc(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    ExtremesOf(b, PriceFactor(unit), n, p[0], [&](int i, double hv, double lv) {
        o.Ahead(0, i);
        o(0, i) = hv;
        o(1, i) = (hv + lv) / 2;
        o(2, i) = lv;
    });
}

// ChgRow over the whole series.
void Chg(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    const int N = p[0];
    for (int i = 0; i < n; ++i) {
        o.Ahead(0, i);
        if (i < N) {
            o(0, i) = o(1, i) = 0.0;
            continue;
        }
        double v[2];
        ChgLines(b, f, i, N, v);
        o(0, i) = v[0];
        o(1, i) = v[1];
    }
}

// MaeRow over the whole series: the close into column 10, its average over
// N (0 before a full window) as the middle, the envelope M1 % above and M2 %
// below.
void Mae(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    Scratch<double> close(static_cast<std::size_t>(n)), mid(static_cast<std::size_t>(n));
    ConvertedField(b, n, &UNIKDATA::Close, f, close.data());
    AverageInto(close.data(), n, p[0], mid.data());
    for (int i = 0; i < n; ++i) {
        o.Ahead(0, i);
        o(10, i) = close[i];
        o(0, i) = mid[i] * (1 + p[1] / 100.0);
        o(1, i) = mid[i];
        o(2, i) = mid[i] * (1 - p[2] / 100.0);
    }
}

// DmaRow over the whole series: DDD = MA(C, N1) - MA(C, N2), AMA =
// MA(DDD, N1), the close in column 10.
void Dma(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    const std::size_t size = static_cast<std::size_t>(n);
    Scratch<double> close(size), fast(size), slow(size);
    ConvertedField(b, n, &UNIKDATA::Close, f, close.data());
    AverageInto(close.data(), n, p[0], fast.data());
    AverageInto(close.data(), n, p[1], slow.data());
    for (int i = 0; i < n; ++i) fast[i] = fast[i] - slow[i];  // DDD
    WithMean(o, n, fast.data(), p[0], {{10, close.data()}});
}

// BrarRow over the whole series: the four terms (columns 10-13) and their
// N-bar sums, exact running sums where the terms allow.
void Brar(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    const std::size_t size = static_cast<std::size_t>(n);
    Scratch<double> terms(4 * size), sums(4 * size);
    for (int i = 0; i < n; ++i) {
        double t[4];
        BrarTerms(b, f, i, t);
        for (int k = 0; k < 4; ++k) terms[k * size + i] = t[k];
    }
    for (int k = 0; k < 4; ++k) WindowSumsInto(terms.data() + k * size, n, p[0], sums.data() + k * size);
    for (int i = 0; i < n; ++i) {
        o.Ahead(0, i);
        o.Ahead(13, i);
        for (int k = 0; k < 4; ++k) o(10 + k, i) = terms[k * size + i];
        o(0, i) = Ratio(sums[i], sums[size + i]) * 100 * 100;
        o(1, i) = Ratio(sums[2 * size + i], sums[3 * size + i]) * 100 * 100;
    }
}

// CrRow over the whole series: the terms against the previous bar's mid
// price (columns 10-11), CR from their N-bar sums, and CR's averages over
// Mk read back CrShift(Mk) bars.
void Cr(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    const std::size_t size = static_cast<std::size_t>(n);
    Scratch<double> terms(2 * size), sums(2 * size), cr(size), mean(size);
    for (int i = 0; i < n; ++i) {
        double t[2];
        CrTerms(b, f, i, t);
        terms[i] = t[0];
        terms[size + i] = t[1];
    }
    for (int k = 0; k < 2; ++k) WindowSumsInto(terms.data() + k * size, n, p[0], sums.data() + k * size);
    for (int i = 0; i < n; ++i) {
        o.Ahead(0, i);
        o(10, i) = terms[i];
        o(11, i) = terms[size + i];
        o(0, i) = cr[i] = Ratio(sums[i], sums[size + i]) * 100 * 100;
    }
    for (int k = 1; k <= 4; ++k) {
        AverageInto(cr.data(), n, p[k], mean.data());
        const int shift = CrShift(p[k]);
        for (int i = 0; i < n; ++i) o(k, i) = std::int64_t{i} - shift >= 0 ? mean[i - shift] : 0.0;
    }
}

// AsiRow over the whole series: SI into column 10, ASI its 26-bar sum,
// ASIT ASI's 10-bar average.
void Asi(const UNIKDATA* b, int unit, int n, const std::int32_t*, const LineOut& o) {
    const double f = PriceFactor(unit);
    const std::size_t size = static_cast<std::size_t>(n);
    Scratch<double> si(size), asi(size);
    for (int i = 0; i < n; ++i) si[i] = AsiTerm(b, f, i);
    WindowSumsInto(si.data(), n, 26, asi.data());
    WithMean(o, n, asi.data(), 10, {{10, si.data()}});
}

// EmvRow over the whole series: volume (10) and range (11), their N-bar
// averages, the EMV term (12), EMV its average x100, MAEMV EMV's average
// over M.
void Emv(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    const int N = p[0];
    const std::size_t size = static_cast<std::size_t>(n);
    Scratch<double> volume(size), range(size), volumeMean(size), rangeMean(size), term(size), emv(size);
    for (int i = 0; i < n; ++i) {
        volume[i] = static_cast<double>(b[i].Volume);
        range[i] = H(b, f, i) - L(b, f, i);
    }
    AverageInto(volume.data(), n, N, volumeMean.data());
    AverageInto(range.data(), n, N, rangeMean.data());
    for (int i = 0; i < n; ++i) term[i] = EmvTerm(b, f, i, volumeMean[i], rangeMean[i]);
    AverageInto(term.data(), n, N, emv.data());
    for (int i = 0; i < n; ++i) emv[i] = emv[i] * 100;
    WithMean(o, n, emv.data(), p[1], {{10, volume.data()}, {11, range.data()}, {12, term.data()}});
}

// TsfRow over the whole series: the close in column 10, the least-squares
// forecast over N bars (O(N) per bar, the sums in the row function's
// order), its average over M.
void Tsf(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    const int N = p[0];
    const std::size_t size = static_cast<std::size_t>(n);
    Scratch<double> close(size), tsf(size);
    ConvertedField(b, n, &UNIKDATA::Close, f, close.data());
    for (int i = 0; i < n; ++i)
        tsf[i] = std::int64_t{i} < std::int64_t{N} - 1 ? 0.0 : TsfForecast(N, [&](int k) { return close[i - N + k]; });
    WithMean(o, n, tsf.data(), p[1], {{10, close.data()}});
}

// MawRow over the whole series: the weights 1 .. N on the window's closes,
// oldest first, over N(N+1)/2; 0 before a full window.
void Maw(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    const int N = p[0];
    for (int i = 0; i < n; ++i) {
        o.Ahead(0, i);
        o(0, i) = std::int64_t{i} < std::int64_t{N} - 1 ? 0.0 : MawValue(b, f, i, N);
    }
}

// ChaikinRow over the whole series (FAST and SLOW whole numbers): the
// accumulation (10), its two averages (11, 12), CO their difference, MACO
// CO's average over M.
void Chaikin(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit), fast = p[1], slow = p[2];
    const std::size_t size = static_cast<std::size_t>(n);
    Scratch<double> co(size);
    double ad = 0.0, e1 = 0.0, e2 = 0.0;
    for (int i = 0; i < n; ++i) {
        const double flow = ChaikinFlow(b, f, i);
        ad = i == 0 ? flow : ad + flow;
        e1 = i == 0 ? ad : ((fast - 1) * e1 + 2 * ad) / (fast + 1);
        e2 = i == 0 ? ad : ((slow - 1) * e2 + 2 * ad) / (slow + 1);
        o(10, i) = ad;
        o(11, i) = e1;
        o(12, i) = e2;
        co[i] = e1 - e2;
    }
    WithMean(o, n, co.data(), p[0]);
}

// MassRow over the whole series: the range (10), its average (11) and the
// average of that (12) over N1, their ratio (13), MASS its N2-bar sum x100,
// MAMASS MASS's average over M.
void Mass(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    const double f = PriceFactor(unit);
    const std::size_t size = static_cast<std::size_t>(n);
    Scratch<double> range(size), single(size), twice(size), ratio(size), mass(size);
    for (int i = 0; i < n; ++i) range[i] = H(b, f, i) - L(b, f, i);
    AverageInto(range.data(), n, p[0], single.data());
    AverageInto(single.data(), n, p[0], twice.data());
    for (int i = 0; i < n; ++i) ratio[i] = Ratio(single[i], twice[i]);
    WindowSumsInto(ratio.data(), n, p[1], mass.data());
    for (int i = 0; i < n; ++i) mass[i] = mass[i] * 100;
    WithMean(o, n, mass.data(), p[2], {{10, range.data()}, {11, single.data()}, {12, twice.data()}, {13, ratio.data()}});
}

}  // namespace

// One bar of a classic indicator: its row function over the columns the
// steps wrote before, with the parameters as the class API's doubles. The
// first `periods` parameters are windows; the history covers three times
// their sum (CSI reads ADX N bars back from bar 3N - 1 on) and the fixed
// windows (ASI's 26 and 10).
template <RowFn row, int periods>
struct ClassicSteps {
    double f, p[kMaxParams];
    static std::int64_t History(const std::int32_t* p) {
        std::int64_t total = 0;
        for (int k = 0; k < periods; ++k) total += p[k];
        return 3 * total + 140;
    }
    ClassicSteps(int unit, const std::int32_t* q) : f(PriceFactor(unit)) {
        for (int k = 0; k < kMaxParams; ++k) p[k] = q[k];
    }
    void First(const UNIKDATA* b, const LineOut& o) const { row(b, f, o, 0, p); }
    void Next(const UNIKDATA* b, int i, const LineOut& o) const { row(b, f, o, i, p); }
};

using detail::Cols;
template <RowFn row, int periods>
constexpr detail::Kernel Classic(decltype(detail::Kernel::run) run, std::uint64_t writes) {
    return detail::WithSteps<ClassicSteps<row, periods>>(run, writes);
}
const detail::Kernel CHAIKIN = Classic<ChaikinRow, 1>(&Chaikin, Cols({0, 1, 10, 11, 12})),
                     MASS = Classic<MassRow, 3>(&Mass, Cols({0, 1, 10, 11, 12, 13}));
const detail::Kernel CR = Classic<CrRow, 5>(&Cr, Cols({0, 1, 2, 3, 4, 10, 11})),
                     ASI = Classic<AsiRow, 0>(&Asi, Cols({0, 1, 10})),
                     EMV = Classic<EmvRow, 2>(&Emv, Cols({0, 1, 10, 11, 12})),
                     TSF = Classic<TsfRow, 2>(&Tsf, Cols({0, 1, 10})), MAW = Classic<MawRow, 1>(&Maw, Cols({0}));
const detail::Kernel DMA = Classic<DmaRow, 2>(&Dma, Cols({0, 1, 10})),
                     BRAR = Classic<BrarRow, 1>(&Brar, Cols({0, 1, 10, 11, 12, 13}));
const detail::Kernel MIKE = Classic<MikeRow, 1>(&Mike, Cols({0, 1, 2, 3, 4, 5})),
                     PC = Classic<PcRow, 1>(&Pc, Cols({0, 1, 2})), CHG = Classic<ChgRow, 1>(&Chg, Cols({0, 1})),
                     MAE = Classic<MaeRow, 1>(&Mae, Cols({0, 1, 2, 10}));
const detail::Kernel DMI = Classic<DmiRow, 2>(&Dmi, Cols({0, 1, 2, 3, 10, 11, 12, 13}));
const detail::Kernel ADX = detail::WithLaneSteps<AdxLanes>(&Adx, Cols({0, 1, 2}) | kWilderColumns);
const detail::Kernel CSI = Classic<CsiRow, 1>(&Csi, Cols({0}) | kWilderColumns),
                     TRIX = Classic<TrixRow, 2>(&Trix, Cols({0, 1, 10, 11, 12, 13}));

}  // namespace kernels

namespace {

std::int64_t I(const double* p, int k) { return static_cast<std::int64_t>(p[k]); }

constexpr ClassicForm kDMI{DmiRow, 100, 4, {0, 1, 2, 3}, [](const double* p, int k) -> std::int64_t {
    return k < 2 ? I(p, 0) : k == 2 ? I(p, 0) + I(p, 1) - 1 : I(p, 0) + 2 * I(p, 1) - 1;
}, 2, false, &kernels::DMI, 2};
constexpr ClassicForm kADX{AdxRow, 100, 3, {0, 1, 2}, [](const double* p, int k) -> std::int64_t {
    return k == 0 ? 2 * I(p, 0) - 1 : I(p, 0);
}, 1, false, &kernels::ADX, 1};
constexpr ClassicForm kCSI{CsiRow, 10000, 1, {0}, [](const double* p, int) -> std::int64_t { return 3 * I(p, 0) - 1; },
                           1, false, &kernels::CSI, 3};
constexpr ClassicForm kDMA{DmaRow, 10000, 2, {0, 1}, [](const double* p, int k) -> std::int64_t {
    return std::max(I(p, 0), I(p, 1)) - 1 + (k == 1 ? I(p, 0) - 1 : 0);
}, 2, false, &kernels::DMA, 2};
constexpr ClassicForm kBRAR{BrarRow, 100, 2, {0, 1}, [](const double* p, int k) -> std::int64_t {
    return k == 0 ? I(p, 0) : I(p, 0) - 1;
}, 1, false, &kernels::BRAR, 1};
constexpr ClassicForm kCR{CrRow, 100, 5, {0, 1, 2, 3, 4}, [](const double* p, int k) -> std::int64_t {
    return k == 0 ? I(p, 0) : I(p, 0) + I(p, k) - 1 + CrShift(P(p, k));
}, 5, false, &kernels::CR, 5};
constexpr ClassicForm kASI{AsiRow, 10000, 2, {0, 1}, [](const double*, int k) -> std::int64_t { return k == 0 ? 26 : 35; },
                           0, false, &kernels::ASI, 0};
constexpr ClassicForm kMike{MikeRow, 10000, 6, {0, 1, 2, 3, 4, 5},
                            [](const double* p, int) -> std::int64_t { return I(p, 0) - 1; }, 1, true, &kernels::MIKE,
                            1};
constexpr ClassicForm kTRIX{TrixRow, 100, 2, {0, 1}, [](const double* p, int k) -> std::int64_t {
    return k == 0 ? 1 : I(p, 1);
}, 2, false, &kernels::TRIX, 2};
constexpr ClassicForm kEMV{EmvRow, 100, 2, {0, 1}, [](const double* p, int k) -> std::int64_t {
    const std::int64_t first = std::max<std::int64_t>(I(p, 0) - 1, 1) + I(p, 0) - 1;
    return k == 0 ? first : first + I(p, 1) - 1;
}, 2, false, &kernels::EMV, 2};
constexpr ClassicForm kChg{ChgRow, 100, 2, {0, 1}, [](const double* p, int) -> std::int64_t { return I(p, 0); }, 1,
                           false, &kernels::CHG, 1};
constexpr ClassicForm kChaikin{ChaikinRow, 1, 2, {0, 1}, [](const double* p, int k) -> std::int64_t {
    return k == 0 ? 0 : I(p, 0) - 1;
}, 1, false, &kernels::CHAIKIN, 3};
constexpr ClassicForm kTSF{TsfRow, 10000, 2, {0, 1}, [](const double* p, int k) -> std::int64_t {
    return I(p, 0) - 1 + (k == 1 ? I(p, 1) - 1 : 0);
}, 2, false, &kernels::TSF, 2};
constexpr ClassicForm kMASS{MassRow, 100, 2, {0, 1}, [](const double* p, int k) -> std::int64_t {
    return 2 * I(p, 0) - 2 + I(p, 1) - 1 + (k == 1 ? I(p, 2) - 1 : 0);
}, 3, false, &kernels::MASS, 3};
constexpr ClassicForm kMAW{MawRow, 10000, 1, {0}, [](const double* p, int) -> std::int64_t { return I(p, 0) - 1; }, 1,
                           false, &kernels::MAW, 1};
constexpr ClassicForm kMAE{MaeRow, 10000, 3, {0, 1, 2}, [](const double* p, int) -> std::int64_t { return I(p, 0) - 1; },
                           1, false, &kernels::MAE, 3};
constexpr ClassicForm kPC{PcRow, 10000, 3, {0, 1, 2}, [](const double* p, int) -> std::int64_t { return I(p, 0) - 1; },
                          1, false, &kernels::PC, 1};

// MASS takes its window lengths as doubles: whole numbers 1..INT32_MAX.
bool WholePeriod(double v) { return v >= 1 && v <= std::numeric_limits<std::int32_t>::max(); }

}  // namespace
}  // namespace fenxi

using namespace fenxi;

namespace {

bool PeriodsValid(const ClassicForm& form, const double* p) {
    for (int k = 0; k < form.periods; ++k)
        if (!WholePeriod(p[k])) return false;
    return true;
}

}  // namespace

void CAnalysisTechniques::GenerateClassic(UNIKDATA* bars, int unit, FENXIDATA*& out, int n,
                                          FENXIDATA_PROPERTY* property, const ClassicForm& form, const double* p) {
    if (n < 1 || bars == nullptr || property == nullptr || !PeriodsValid(form, p)) return;
    FENXIDATA* rows = AcquireReset(out, n, property);
    if (rows == nullptr) return;
    for (int k = 0; k < form.lineCount; ++k) {
        const int line = form.columns[k];
        property->StartPos[line] = static_cast<std::int32_t>(std::min<std::int64_t>(n, form.start(p, k)));
        property->EndPos[line] = n;
        property->LineStyle[line] = 3;
    }
    property->ValueScale = form.valueScale;
    SetFormat(property, "%.2f");
    // The kernels take whole parameters; fractional ones (CHAIKIN's and
    // MASS's averages may be) stay on the row function.
    bool whole = form.kernel != nullptr;
    for (int k = 0; whole && k < form.kernelParams; ++k) whole = p[k] == std::trunc(p[k]) && std::fabs(p[k]) < 2147483647.0;
    if (whole) {
        std::int32_t q[kMaxParams] = {};
        for (int k = 0; k < form.kernelParams; ++k) q[k] = static_cast<std::int32_t>(p[k]);
        RunKernel(*form.kernel, bars, unit, rows, n, q);
    } else {
        const double f = PriceFactor(unit);
        const LineOut o = LineOut::Rows(rows);
        for (int i = 0; i < n; ++i) form.row(bars, f, o, i, p);
    }
    if (!form.keepLock) LeaveLock();
}

void CAnalysisTechniques::UpdateClassic(UNIKDATA* bars, int unit, FENXIDATA* rows, int n, const ClassicForm& form,
                                        const double* p) {
    if (!CanUpdate(bars, rows, n) || !PeriodsValid(form, p)) return;
    form.row(bars, PriceFactor(unit), LineOut::Rows(rows), n - 1, p);
}

#define FENXI_CLASSIC(Name, form, Sig, Args, ...)                                                               \
    void CAnalysisTechniques::Generate##Name(UNIKDATA* bars, int unit, FENXIDATA*& out, int n Sig,             \
                                             FENXIDATA_PROPERTY* property) {                                   \
        const double p[] = {__VA_ARGS__};                                                                       \
        GenerateClassic(bars, unit, out, n, property, form, p);                                                 \
    }                                                                                                           \
    void CAnalysisTechniques::Update##Name(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n Sig) {            \
        const double p[] = {__VA_ARGS__};                                                                       \
        UpdateClassic(bars, unit, rows, n, form, p);                                                            \
    }

#define COMMA ,
FENXI_CLASSIC(DMI, kDMI, COMMA int N COMMA int M, , double(N), double(M))
FENXI_CLASSIC(ADX, kADX, COMMA int N, , double(N))
FENXI_CLASSIC(DMA, kDMA, COMMA int N1 COMMA int N2, , double(N1), double(N2))
FENXI_CLASSIC(BRAR, kBRAR, COMMA int N, , double(N))
FENXI_CLASSIC(CR, kCR, COMMA int N COMMA int M1 COMMA int M2 COMMA int M3 COMMA int M4, , double(N), double(M1),
              double(M2), double(M3), double(M4))
FENXI_CLASSIC(ASI, kASI, , , 0.0)
FENXI_CLASSIC(Mike, kMike, COMMA int N, , double(N))
FENXI_CLASSIC(TRIX, kTRIX, COMMA int N COMMA int M, , double(N), double(M))
FENXI_CLASSIC(EMV, kEMV, COMMA int N COMMA int M, , double(N), double(M))
FENXI_CLASSIC(Chg, kChg, COMMA int N, , double(N))
FENXI_CLASSIC(Chaikin, kChaikin, COMMA int M COMMA double fast COMMA double slow, , double(M), fast, slow)
FENXI_CLASSIC(TSF, kTSF, COMMA int N COMMA int M, , double(N), double(M))
FENXI_CLASSIC(CSI, kCSI, COMMA int N COMMA int V COMMA int M, , double(N), double(V), double(M))
FENXI_CLASSIC(MAW, kMAW, COMMA int N, , double(N))
FENXI_CLASSIC(MAE, kMAE, COMMA int N COMMA int M1 COMMA int M2, , double(N), double(M1), double(M2))
FENXI_CLASSIC(PC, kPC, COMMA int N, , double(N))
FENXI_CLASSIC(MASS, kMASS, COMMA int N1 COMMA double N2 COMMA double M COMMA double, , double(N1), N2, M)
#undef COMMA
#undef FENXI_CLASSIC

// The first valid bars of the classic lines.
namespace fenxi::classic {
namespace {

constexpr const ClassicForm* kForms[] = {&kDMI, &kADX, &kDMA, &kBRAR, &kCR,   &kASI,  &kMike, &kTRIX, &kEMV,
                                         &kChg, &kChaikin, &kTSF, &kMASS, &kCSI, &kMAW, &kMAE, &kPC};

const ClassicForm& Form(Classic which) { return *kForms[static_cast<int>(which)]; }

// The generators' double parameters, converted as the class API converts them.
void AsDoubles(const std::int32_t* p, double* d) {
    for (int k = 0; k < kMaxParams; ++k) d[k] = p[k];
}

}  // namespace

std::int64_t ClassicFirstValid(Classic which, const std::int32_t* p, int line) {
    double d[kMaxParams];
    AsDoubles(p, d);
    return Form(which).start(d, line);
}

}  // namespace fenxi::classic
