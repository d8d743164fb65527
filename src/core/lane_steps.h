// Step types written once over a lane type: one security (V = double) or
// several side by side, one per vector lane (V = 2, 4 or 8 doubles).
//
// A lane step type L<V> holds an operation's running state in V and takes
//   L(V f, const std::int32_t* p)       f = PriceFactor(unit), per lane
//   void In(const UNIKDATA* b, int i, double* in) const
//                                       bar i's kInputs inputs, exact
//                                       (integer work stays per security)
//   void First(const V* in, const Out& o)          bar 0
//   void Next(const V* in, int i, const Out& o)    bar i > 0
//   static std::int64_t History(const std::int32_t*), kAhead[], kInputs
// Its steps use only +, -, *, /, comparisons, Select and Abs: correctly
// rounded or exact in every lane width, so each lane gives the scalar
// code's bits. Steps write their columns through o(c, i) and never read
// them back. LaneSteps<L> is the scalar step type of the operation's kernel
// and stream; the panel runs L<V> for a group of securities at once.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

#include "core/kernel.h"
#include "core/stepped.h"
#include "fenxi/series.h"

// Vectors wider than 16 bytes live only inside their routes' functions.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace fenxi::lanes {

typedef double V2 __attribute__((vector_size(16)));
typedef double V4 __attribute__((vector_size(32)));
typedef double V8 __attribute__((vector_size(64)));

// Per-lane choice: where `take` holds, a, else b. Both are computed, so an
// unchosen lane may hold inf or NaN; nothing traps.
inline double Select(bool take, double a, double b) { return take ? a : b; }
template <class M, class V>
inline V Select(M take, V a, V b) {
    return std::bit_cast<V>((take & std::bit_cast<M>(a)) | (~take & std::bit_cast<M>(b)));
}
// |x|, the sign bit cleared.
inline double Abs(double x) { return std::fabs(x); }
template <class V>
inline V Abs(V x) {
    typedef long long M __attribute__((vector_size(sizeof(V))));
    return std::bit_cast<V>(std::bit_cast<M>(x) & (M{} + 0x7fffffffffffffffLL));
}
// Lane j of v.
inline double Lane(double v, int) { return v; }
template <class V>
inline double Lane(const V& v, int j) {
    return v[j];
}
// V with every lane x.
template <class V>
inline V Splat(double x) {
    if constexpr (sizeof(V) == sizeof(double))
        return x;
    else
        return V{} + x;
}

}  // namespace fenxi::lanes

namespace fenxi::detail {

// The scalar step type of lane step type L: inputs from the bars, outputs
// through the kernel's view.
template <template <class> class L>
struct LaneSteps : L<double> {
    using Base = L<double>;
    static constexpr auto& kAhead = Base::kAhead;
    static std::int64_t History(const std::int32_t* p) { return Base::History(p); }
    LaneSteps(int unit, const std::int32_t* p) : Base(PriceFactor(unit), p) {}
    void First(const UNIKDATA* b, const LineOut& o) {
        double in[Base::kInputs];
        Base::In(b, 0, in);
        Base::First(in, o);
    }
    void Next(const UNIKDATA* b, int i, const LineOut& o) {
        double in[Base::kInputs];
        Base::In(b, i, in);
        Base::Next(in, i, o);
    }
};

// Up to 8 securities run side by side. Lines come out in true units (the
// row value divided by scale, as the columnar API does), every bar of each
// security written; the caller puts NaN outside the valid bars.
struct LaneGroup {
    static constexpr int kMax = 8;
    int count = 0;  // securities in use
    const UNIKDATA* bars[kMax] = {};
    int n[kMax] = {};
    int unit[kMax] = {};
    double* lines[kMax][kMaxLines] = {};
    double scale[kMax][kMaxLines] = {};
    int lineCount = 0;
    int lineColumn[kMaxLines] = {};
    const std::int32_t* p = nullptr;
};

// The lane form of a kernel: one run per lane width (1, 2, 4, 8), null
// where this build has no such route.
struct LaneForm {
    void (*run[4])(const LaneGroup& g);
};

// L<V> over a group: the bars a block at a time, each block's inputs
// gathered lane by lane, stepped, divided by each lane's scale and
// scattered to its security. Lanes whose security has ended (or has no
// bars) step on zeros and are not written.
template <template <class> class L, class V>
inline void RunLaneGroup(const LaneGroup& g) {
    constexpr int w = sizeof(V) / sizeof(double);
    constexpr int kBlock = 64;
    constexpr int k = L<double>::kInputs;
    int most = 0;
    double f[w];
    for (int j = 0; j < w; ++j) {
        f[j] = j < g.count ? PriceFactor(g.unit[j]) : 1.0;
        most = j < g.count && g.n[j] > most ? g.n[j] : most;
    }
    V fv;
    __builtin_memcpy(&fv, f, sizeof fv);
    L<V> state(fv, g.p);
    const L<double> reader(1.0, g.p);

    // Column c of the rows to its line's slot; other columns to a sink.
    struct Out {
        V* slot[kColumns];
        int base;
        V& operator()(int c, std::int64_t i) const { return slot[c][i - base]; }
    };
    alignas(64) V block[kMaxLines + 1][kBlock];
    Out out;
    for (int c = 0; c < kColumns; ++c) out.slot[c] = block[kMaxLines];
    for (int q = 0; q < g.lineCount; ++q) out.slot[g.lineColumn[q]] = block[q];
    V scale[kMaxLines];
    for (int q = 0; q < g.lineCount; ++q) {
        double s[w];
        for (int j = 0; j < w; ++j) s[j] = j < g.count ? g.scale[j][q] : 1.0;
        __builtin_memcpy(&scale[q], s, sizeof(V));
    }

    alignas(64) V in[kBlock][k];
    for (int from = 0; from < most; from += kBlock) {
        const int m = most - from < kBlock ? most - from : kBlock;
        for (int j = 0; j < w; ++j) {
            double* lane = reinterpret_cast<double*>(in) + j;
            const int have = j < g.count ? g.n[j] - from : 0;
            for (int t = 0; t < m; ++t) {
                double x[k] = {};
                if (t < have) reader.In(g.bars[j], from + t, x);
                for (int e = 0; e < k; ++e) lane[(t * k + e) * w] = x[e];
            }
        }
        out.base = from;
        int t = 0;
        if (from == 0) state.First(in[t++], out);
        for (; t < m; ++t) state.Next(in[t], from + t, out);
        for (int q = 0; q < g.lineCount; ++q)
            for (int t2 = 0; t2 < m; ++t2) block[q][t2] = block[q][t2] / scale[q];
        for (int j = 0; j < g.count; ++j) {
            const int have = g.n[j] - from < m ? g.n[j] - from : m;
            for (int q = 0; q < g.lineCount; ++q) {
                double* to = g.lines[j][q] + from;
                for (int t2 = 0; t2 < have; ++t2) to[t2] = lanes::Lane(block[q][t2], j);
            }
        }
    }
}

// The run of width 1, built everywhere.
template <template <class> class L>
void RunLaneGroup1(const LaneGroup& g) {
    RunLaneGroup<L, double>(g);
}
template <template <class> class L>
__attribute__((flatten)) void RunLaneGroup2(const LaneGroup& g) {
    RunLaneGroup<L, lanes::V2>(g);
}
// 32- and 64-byte vectors on x86-64 outside Windows: its ABI keeps the
// stack 16-byte aligned, and spilled wide registers would fault there.
#if defined(__x86_64__) && !defined(_WIN32) && (defined(__GNUC__) || defined(__clang__))
#define FENXI_WIDE_LANES 1
template <template <class> class L>
__attribute__((flatten, target("avx2"))) void RunLaneGroup4(const LaneGroup& g) {
    RunLaneGroup<L, lanes::V4>(g);
}
template <template <class> class L>
__attribute__((flatten, target("avx512f"))) void RunLaneGroup8(const LaneGroup& g) {
    RunLaneGroup<L, lanes::V8>(g);
}
#endif

template <template <class> class L>
struct LaneFormOf {
#ifdef FENXI_WIDE_LANES
    static constexpr LaneForm kValue{{&RunLaneGroup1<L>, &RunLaneGroup2<L>, &RunLaneGroup4<L>, &RunLaneGroup8<L>}};
#else
    static constexpr LaneForm kValue{{&RunLaneGroup1<L>, &RunLaneGroup2<L>, nullptr, nullptr}};
#endif
};

// The kernel of lane step type L: its pass is the scalar steps in a loop,
// and a panel runs it in lanes.
template <template <class> class L>
constexpr Kernel LanedKernel(std::uint64_t writes, std::uint64_t leaves = 0) {
    Kernel k = SteppedKernel<LaneSteps<L>>(writes, leaves);
    k.lanes = &LaneFormOf<L>::kValue;
    return k;
}

// The same where the kernel's pass takes whole-column routes of its own
// (the steps being their plain arithmetic).
template <template <class> class L>
constexpr Kernel WithLaneSteps(decltype(Kernel::run) run, std::uint64_t writes, std::uint64_t leaves = 0) {
    Kernel k = WithSteps<LaneSteps<L>>(run, writes, leaves);
    k.lanes = &LaneFormOf<L>::kValue;
    return k;
}

}  // namespace fenxi::detail
