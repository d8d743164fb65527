// Window sums run one window per vector lane, with run-time route choice.
#include "core/lanes.h"

// 32-byte vectors appear only inside the AVX2 route, so the ABI note about
// passing them without AVX does not apply.
#pragma GCC diagnostic ignored "-Wpsabi"

#include <array>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace fenxi::lanes {
namespace {

// Lanes of doubles: two for the baseline route (SSE2 registers), four for
// the AVX2 route.
typedef double V2 __attribute__((vector_size(16)));
typedef double V4 __attribute__((vector_size(32)));

template <class V>
inline V Load(const double* at) {
    V v;
    __builtin_memcpy(&v, at, sizeof v);
    return v;
}

inline double Abs(const double& v) { return std::fabs(v); }

// fabs per lane: the sign bit cleared.
template <class V>
inline V Abs(const V& v) {
    typedef long long M __attribute__((vector_size(sizeof(V))));
    return std::bit_cast<V>(std::bit_cast<M>(v) & (M{} + 0x7fffffffffffffffLL));
}

// The j-th addend (j = 0 .. p-1) of window k for each kind of sum, for one
// window (V = double) or for the windows k, k+1, ... of one vector; c holds
// their centres.
struct Oldest {
    const double* x;
    int p;
    template <class V>
    V operator()(int k, int j, const V&) const { return Load<V>(x + k + j); }
};
struct Newest {
    const double* x;
    int p;
    template <class V>
    V operator()(int k, int j, const V&) const { return Load<V>(x + k + p - 1 - j); }
};
struct Squares {
    const double* x;
    int p;
    template <class V>
    V operator()(int k, int j, const V& c) const {
        const V d = Load<V>(x + k + p - 1 - j) - c;
        return d * d;
    }
};
struct Spreads {
    const double* x;
    int p;
    template <class V>
    V operator()(int k, int j, const V& c) const { return Abs(c - Load<V>(x + k + j)); }
};

// Eight accumulators per block: enough independent chains to keep both
// adders busy while each lane performs its additions in order.
constexpr int kChains = 8;

template <class V, class Term>
inline void Sums(int count, int p, double* out, Term term, const double* centre) {
    constexpr int w = sizeof(V) / sizeof(double);
    int k = 0;
    for (; k + kChains * w <= count; k += kChains * w) {
        V c[kChains] = {}, a[kChains] = {};
        if (centre != nullptr)
#pragma GCC unroll 8
            for (int m = 0; m < kChains; ++m) c[m] = Load<V>(centre + k + m * w);
        for (int j = 0; j < p; ++j)
#pragma GCC unroll 8
            for (int m = 0; m < kChains; ++m) a[m] += term(k + m * w, j, c[m]);
#pragma GCC unroll 8
        for (int m = 0; m < kChains; ++m) __builtin_memcpy(out + k + m * w, &a[m], sizeof(V));
    }
    for (; k < count; ++k) {
        const double c = centre != nullptr ? centre[k] : 0.0;
        double acc = 0.0;
        for (int j = 0; j < p; ++j) acc += term(k, j, c);
        out[k] = acc;
    }
}

template <class V>
inline void Quotients(double* v, int n, double d) {
    constexpr int w = sizeof(V) / sizeof(double);
    const V divisor = V{} + d;
    int k = 0;
    for (; k + w <= n; k += w) {
        const V q = Load<V>(v + k) / divisor;
        __builtin_memcpy(v + k, &q, sizeof q);
    }
    for (; k < n; ++k) v[k] /= d;
}

// Exactness of x[0 .. n-1] in arithmetic alone (integer lane masks cost a
// per-lane test on SSE2): with a' = min(a, 2^52), (a' + 2^52) - 2^52 - a' is
// 0 exactly when a' is an integer, and every double from 2^52 on is one;
// the sum of those deviations' magnitudes is 0 only when each is, in any
// order. a - a is NaN for NaN and inf, so their sum flags those. max is
// exact, so the lanes' maxima merge in any order. The flags leave out the
// 2^53 bound, which ExactnessCheck::Scale applies through the maximum.
template <class V>
inline void Exact(const double* x, int n, Exactness& e) {
    constexpr int w = sizeof(V) / sizeof(double);
    const V ulpOne = V{} + 4503599627370496.0;
    auto off = [&](const V& a) {
        const V c = a < ulpOne ? a : ulpOne;
        return Abs(((c + ulpOne) - ulpOne) - c);
    };
    constexpr int chains = 4;  // independent accumulators: the adds do not wait on one another
    V most[chains] = {}, ones[chains] = {}, halves[chains] = {}, bad[chains] = {};
    int k = 0;
    for (; k + chains * w <= n; k += chains * w)
#pragma GCC unroll 4
        for (int m = 0; m < chains; ++m) {
            const V a = Abs(Load<V>(x + k + m * w));
            ones[m] += off(a);
            halves[m] += off(a + a);
            bad[m] += a - a;
            most[m] = a > most[m] ? a : most[m];
        }
    double top = 0.0, offOnes = 0.0, offHalves = 0.0, offBad = 0.0;
    for (int m = 0; m < chains; ++m)
        for (int j = 0; j < w; ++j) {
            top = most[m][j] > top ? most[m][j] : top;
            offOnes += ones[m][j];
            offHalves += halves[m][j];
            offBad += bad[m][j];
        }
    for (; k < n; ++k) {
        const double a = std::fabs(x[k]);
        offOnes += off(V{} + a)[0];
        offHalves += off(V{} + (a + a))[0];
        offBad += a - a;
        top = a > top ? a : top;
    }
    e.whole = offOnes == 0.0 && offBad == 0.0;
    e.halves = offHalves == 0.0 && offBad == 0.0;
    e.most = top;
}

template <class V>
inline void BiasLanes(const double* total, const double* close, int n, double period, double* out) {
    constexpr int w = sizeof(V) / sizeof(double);
    const V p = V{} + period;
    int k = 0;
    for (; k + w <= n; k += w) {
        const V avg = Load<V>(total + k) / p;
        const V b = (Load<V>(close + k) - avg) / avg * 100.0 * 100.0;
        __builtin_memcpy(out + k, &b, sizeof b);
    }
    for (; k < n; ++k) {
        const double avg = total[k] / period;
        out[k] = (close[k] - avg) / avg * 100.0 * 100.0;
    }
}

struct Table {
    void (*windowSums)(const double*, int, int, double*);
    void (*newestFirst)(const double*, int, int, double*);
    void (*squares)(const double*, const double*, int, int, double*);
    void (*spreads)(const double*, const double*, int, int, double*);
    void (*divide)(double*, int, double);
    void (*exact)(const double*, int, Exactness&);
    void (*bias)(const double*, const double*, int, double, double*);
    const char* name;
};

// One table per route; `flatten` inlines the kernels so each route's copy
// is compiled for its own instruction set.
#define FENXI_LANES_ROUTE(ATTR, NAME, V)                                                                        \
    ATTR void NAME##WindowSums(const double* x, int count, int p, double* out) {                               \
        Sums<V>(count, p, out, Oldest{x, p}, nullptr);                                                          \
    }                                                                                                           \
    ATTR void NAME##NewestFirst(const double* x, int count, int p, double* out) {                              \
        Sums<V>(count, p, out, Newest{x, p}, nullptr);                                                          \
    }                                                                                                           \
    ATTR void NAME##Squares(const double* x, const double* c, int count, int p, double* out) {                 \
        Sums<V>(count, p, out, Squares{x, p}, c);                                                               \
    }                                                                                                           \
    ATTR void NAME##Spreads(const double* x, const double* c, int count, int p, double* out) {                 \
        Sums<V>(count, p, out, Spreads{x, p}, c);                                                               \
    }                                                                                                           \
    ATTR void NAME##Divide(double* v, int n, double d) { Quotients<V>(v, n, d); }                              \
    ATTR void NAME##Exact(const double* x, int n, Exactness& e) { Exact<V>(x, n, e); }                         \
    ATTR void NAME##Bias(const double* t, const double* c, int n, double p, double* out) {                     \
        BiasLanes<V>(t, c, n, p, out);                                                                          \
    }                                                                                                           \
    constexpr Table NAME##Table{NAME##WindowSums, NAME##NewestFirst, NAME##Squares, NAME##Spreads,             \
                                NAME##Divide, NAME##Exact, NAME##Bias, #NAME};

FENXI_LANES_ROUTE(__attribute__((flatten)), baseline, V2)
#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
FENXI_LANES_ROUTE(__attribute__((flatten, target("avx2"))), avx2, V4)
#define FENXI_LANES_HAVE_AVX2 1
#endif
#undef FENXI_LANES_ROUTE

#ifdef FENXI_LANES_HAVE_AVX2
bool BaselineAsked() {
    const char* v = std::getenv("FENXI_LANES");
    return v != nullptr && std::strcmp(v, "baseline") == 0;
}
#endif

const Table& Detected() {
#ifdef FENXI_LANES_HAVE_AVX2
    // FENXI_LANES=baseline keeps the baseline route (every route gives the
    // same bits; this lets anyone check that on their machine).
    static const bool avx2 = __builtin_cpu_supports("avx2") && !BaselineAsked();
    if (avx2) return avx2Table;
#endif
    return baselineTable;
}

std::atomic<bool> forceBaseline{false};

const Table& Use() { return forceBaseline.load(std::memory_order_relaxed) ? baselineTable : Detected(); }

}  // namespace

void WindowSums(const double* x, int count, int p, double* out) { Use().windowSums(x, count, p, out); }
void WindowSumsNewestFirst(const double* x, int count, int p, double* out) { Use().newestFirst(x, count, p, out); }
void SquaredDeviations(const double* x, const double* centre, int count, int p, double* out) {
    Use().squares(x, centre, count, p, out);
}
void AbsoluteDeviations(const double* x, const double* centre, int count, int p, double* out) {
    Use().spreads(x, centre, count, p, out);
}
void Divide(double* v, int n, double d) { Use().divide(v, n, d); }
void Bias(const double* total, const double* close, int n, double period, double* out) {
    Use().bias(total, close, n, period, out);
}
Exactness Exact(const double* x, int n) {
    Exactness e;
    Use().exact(x, n, e);
    return e;
}
const char* Route() { return Use().name; }
void ForceBaseline(bool on) { forceBaseline.store(on, std::memory_order_relaxed); }

}  // namespace fenxi::lanes
