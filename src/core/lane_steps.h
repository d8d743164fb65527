// Step types written once over a lane type: one security (V = double) or
// several side by side, one per vector lane (V = 2, 4 or 8 doubles).
//
// A lane step type L<V> holds an operation's running state in V and takes
//   L(V f, const std::int32_t* p)       f = PriceFactor(unit), per lane
//   void In(const UNIKDATA* b, int i, double f, double* in) const
//                                       bar i's kInputs inputs (work that
//                                       is per security, such as integer
//                                       differences and extremes)
//   static void Prepare(b, n, p, f, double* in)    optional: every bar's
//                                       inputs at once (bar-major), as In
//                                       gives them, by a whole-column route
//   void First(const V* in, const Out& o)          bar 0
//   void Next(const V* in, int i, const Out& o)    bar i > 0
//   static std::int64_t History(const std::int32_t*), kAhead[], kInputs
//                                       History: the bars before i that In
//                                       reads, and at least the largest bar
//                                       number a step compares i with (a
//                                       stream numbers its bars afresh when
//                                       it slides, never below History)
// Its steps use only +, -, *, /, comparisons, Select and Abs: correctly
// rounded or exact in every lane width, so each lane gives the scalar
// code's bits. Steps write their columns through o(c, i) and never read
// them back. LaneSteps<L> is the scalar step type of the operation's kernel
// and stream; the panel runs L<V> for a group of securities at once.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

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
    double factor;
    LaneSteps(int unit, const std::int32_t* p) : Base(PriceFactor(unit), p), factor(PriceFactor(unit)) {}
    void First(const UNIKDATA* b, const LineOut& o) {
        double in[Base::kInputs];
        Base::In(b, 0, factor, in);
        Base::First(in, o);
    }
    void Next(const UNIKDATA* b, int i, const LineOut& o) {
        double in[Base::kInputs];
        Base::In(b, i, factor, in);
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

// Input e of every lane as one V, built in registers.
template <class V, int w, int k, int... j>
inline V Gather(const double (&x)[w][k], int e, std::integer_sequence<int, j...>) {
    if constexpr (w == 1)
        return x[0][e];
    else
        return V{x[j][e]...};
}

// L<V> over a group a block of bars at a time: per bar, the lanes' inputs
// gathered (beside the step's chain, which they do not wait on), one step,
// each line divided by its lane's scale; per block, each security's lines
// stored. A lane whose security has ended (or has no bars) steps again on
// its last bar (or a zero bar) and is not written.
template <template <class> class L, class V>
inline void RunLaneGroup(const LaneGroup& g) {
    constexpr int w = sizeof(V) / sizeof(double);
    constexpr int k = L<double>::kInputs;
    static constexpr UNIKDATA kNone{};
    int most = 0;
    double f[w];
    const UNIKDATA* bars[w];
    int last[w];
    for (int j = 0; j < w; ++j) {
        const bool used = j < g.count && g.n[j] > 0;
        f[j] = j < g.count ? PriceFactor(g.unit[j]) : 1.0;
        bars[j] = used ? g.bars[j] : &kNone;
        last[j] = used ? g.n[j] - 1 : 0;
        most = used && g.n[j] > most ? g.n[j] : most;
    }
    V fv;
    __builtin_memcpy(&fv, f, sizeof fv);
    L<V> state(fv, g.p);
    const L<double> reader(1.0, g.p);
    // A step type whose inputs have a whole-column route of their own
    // (Prepare, with In's bits) takes them from each security's column.
    constexpr bool prepared = requires(const UNIKDATA* b, double* c) { L<double>::Prepare(b, 0, g.p, 1.0, c); };
    thread_local std::vector<double> columns;
    const double* column[w] = {};
    if constexpr (prepared) {
        static constexpr double kZero[k] = {};
        std::size_t at[w], total = 0;
        for (int j = 0; j < w; ++j) {
            at[j] = total;
            total += static_cast<std::size_t>(last[j] + 1) * k;
        }
        if (columns.size() < total) columns.resize(total);
        for (int j = 0; j < w; ++j) {
            const bool used = j < g.count && g.n[j] > 0;
            if (used) L<double>::Prepare(bars[j], g.n[j], g.p, f[j], columns.data() + at[j]);
            column[j] = used ? columns.data() + at[j] : kZero;
        }
    }

    // Column c of the rows to its line's slot in the block; others to a sink.
    constexpr int kBlock = 32;
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

    for (int from = 0; from < most; from += kBlock) {
        const int m = most - from < kBlock ? most - from : kBlock;
        out.base = from;
        for (int t = 0; t < m; ++t) {
            const int i = from + t;
            double x[w][k];
#pragma GCC unroll 8
            for (int j = 0; j < w; ++j) {
                const int at = i < last[j] ? i : last[j];
                if constexpr (prepared)
                    for (int e = 0; e < k; ++e) x[j][e] = column[j][static_cast<std::size_t>(at) * k + e];
                else
                    reader.In(bars[j], at, f[j], x[j]);
            }
            V in[k];
            for (int e = 0; e < k; ++e) in[e] = Gather<V>(x, e, std::make_integer_sequence<int, w>{});
            if (i == 0)
                state.First(in, out);
            else
                state.Next(in, i, out);
            for (int q = 0; q < g.lineCount; ++q) block[q][t] = block[q][t] / scale[q];
        }
        // Each security's lines written in runs: a few streams at a time
        // keep the stores from waiting on one another's lines.
        for (int j = 0; j < g.count; ++j) {
            const int have = g.n[j] - from < m ? g.n[j] - from : m;
            if (have <= 0) continue;  // ended: its lines (null when it has no bars) are full
            for (int q = 0; q < g.lineCount; ++q) {
                const double* lane = reinterpret_cast<const double*>(block[q]) + j;
                double* to = g.lines[j][q] + from;
                for (int t = 0; t < have; ++t) to[t] = lane[t * w];
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
// The 8-lane route: AVX-512 with the DQ, VL and BW extensions, which turn a
// comparison's mask into a vector in one instruction (without them the
// compiler builds it lane by lane).
#define FENXI_AVX512 "avx512f,avx512dq,avx512vl,avx512bw"
template <template <class> class L>
__attribute__((flatten, target("avx2"))) void RunLaneGroup4(const LaneGroup& g) {
    RunLaneGroup<L, lanes::V4>(g);
}
template <template <class> class L>
__attribute__((flatten, target(FENXI_AVX512))) void RunLaneGroup8(const LaneGroup& g) {
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
