#include "formula/evaluator.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <cstring>
#include <type_traits>

#include "core/lane_steps.h"
#include "core/window.h"
#include "fenxi/panel.h"
#include "formula/exact_sum.h"

namespace fenxi::formula {

namespace {

// Values of bars i - capacity + 1 .. i (at least), slot i & mask: the
// capacity is a power of two so that no step divides. A step writes the slot
// of its own bar and reads older ones only, so stepping the newest bar again
// needs no undo.
std::int64_t PowerOfTwoAtLeast(std::int64_t n) {
    std::int64_t c = 1;
    while (c < n) c <<= 1;
    return c;
}

template <class T>
class Slots {
public:
    explicit Slots(std::int64_t capacity = 1)
        : v_(static_cast<std::size_t>(PowerOfTwoAtLeast(capacity))), mask_(static_cast<std::int64_t>(v_.size()) - 1) {}
    T& operator[](std::int64_t i) { return v_[static_cast<std::size_t>(i & mask_)]; }

private:
    std::vector<T> v_;
    std::int64_t mask_;
};
using Ring = Slots<double>;

template <class H>
class Stateful : public Step {
    static_assert(std::is_trivially_copyable_v<H>, "a head is copied as bytes");

public:
    std::span<std::byte> Head() override { return {reinterpret_cast<std::byte*>(&h), sizeof h}; }

protected:
    H h{};
};

// ---- bar by bar ----

class Constant : public Step {
public:
    void Run(const Block&, const double* const*, double*) override {}  // filled once
};

bool RealDate(std::int32_t date, int& y, int& m, int& d) {
    y = date / 10000;
    m = date / 100 % 100;
    d = date % 100;
    if (y < 1 || m < 1 || m > 12 || d < 1) return false;
    static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
    return d <= kDays[m - 1] + (m == 2 && leap ? 1 : 0);
}

// 1 Monday .. 7 Sunday, proleptic Gregorian.
double Weekday(std::int32_t date) {
    int y, m, d;
    if (!RealDate(date, y, m, d)) return kNaN;
    // Days since 0001-01-01 (a Monday).
    const std::int64_t yy = y - 1;
    static const int kBefore[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    const bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
    const std::int64_t days = yy * 365 + yy / 4 - yy / 100 + yy / 400 + kBefore[m - 1] + (m > 2 && leap ? 1 : 0) + d - 1;
    return static_cast<double>(days % 7 + 1);
}

// The engine's integer price in true units: one IEEE division.
struct Price {
    double unit;
    double operator()(std::int32_t v) const { return v / unit; }
};

class InputStep : public Step {
public:
    explicit InputStep(Input input) : input_(input) {}
    void Run(const Block& b, const double* const*, double* out) override {
        const UNIKDATA* bars = b.bars;
        const double unit = b.unit;
        switch (input_) {
            case Input::Open: return MappedField(bars, b.count, &UNIKDATA::Open, Price{unit}, out);
            case Input::High: return MappedField(bars, b.count, &UNIKDATA::High, Price{unit}, out);
            case Input::Low: return MappedField(bars, b.count, &UNIKDATA::Low, Price{unit}, out);
            case Input::Close: return MappedField(bars, b.count, &UNIKDATA::Close, Price{unit}, out);
            case Input::Vol: for (int j = 0; j < b.count; ++j) out[j] = static_cast<double>(bars[j].Volume); break;
            case Input::Amount: for (int j = 0; j < b.count; ++j) out[j] = Finite(bars[j].Amount); break;
            case Input::Date: for (int j = 0; j < b.count; ++j) out[j] = bars[j].Date; break;
            case Input::Time: for (int j = 0; j < b.count; ++j) out[j] = bars[j].Time; break;
            case Input::Year: for (int j = 0; j < b.count; ++j) out[j] = bars[j].Date / 10000; break;
            case Input::Month: for (int j = 0; j < b.count; ++j) out[j] = bars[j].Date / 100 % 100; break;
            case Input::Day: for (int j = 0; j < b.count; ++j) out[j] = bars[j].Date % 100; break;
            case Input::Hour: for (int j = 0; j < b.count; ++j) out[j] = bars[j].Time / 10000; break;
            case Input::Minute: for (int j = 0; j < b.count; ++j) out[j] = bars[j].Time / 100 % 100; break;
            case Input::Weekday: for (int j = 0; j < b.count; ++j) out[j] = Weekday(bars[j].Date); break;
            case Input::Barpos:
                for (int j = 0; j < b.count; ++j) out[j] = static_cast<double>(b.first + j + 1);
                break;
        }
    }

private:
    Input input_;
};

class NegStep : public Step {
public:
    void Run(const Block& b, const double* const* in, double* out) override {
        for (int j = 0; j < b.count; ++j) out[j] = -in[0][j];
    }
};

template <Op op>
class BinaryStep : public Step {
public:
    void Run(const Block& b, const double* const* in, double* out) override {
        const double *x = in[0], *y = in[1];
        for (int j = 0; j < b.count; ++j) out[j] = Binary(op, x[j], y[j]);
    }
};

class PureStep : public Step {
public:
    explicit PureStep(Pure f) : f_(f) {}
    void Run(const Block& b, const double* const* in, double* out) override {
        for (int j = 0; j < b.count; ++j)
            out[j] = Apply(f_, in[0][j], in[1] ? in[1][j] : 0.0, in[2] ? in[2][j] : 0.0);
    }

private:
    Pure f_;
};

// ---- recurrences ----

struct Recurrence {
    double y;
    bool has;
};

// EMA and SMA are one linear recurrence Y = (m*X + a*Y') / d: EMA with
// m = 2, a = N-1, d = N+1; SMA with m = M, a = N-M, d = N (2*X and 2.0*X
// are one IEEE operation). The first number is the value and the state;
// later the recurrence, which leaves the state alone where it has no finite
// result.
struct Linear {
    double m, a, d;
    static Linear Of(const Node& n) {
        if (n.fn == Fn::Ema) return {2.0, static_cast<double>(n.n - 1), static_cast<double>(n.n + 1)};
        return {static_cast<double>(n.m), static_cast<double>(n.n - n.m), static_cast<double>(n.n)};  // SMA (MEMA too)
    }
    double Step(Recurrence& s, double v) const {
        if (!IsNum(v)) return kNaN;
        if (!s.has) {
            s = {v, true};
            return v;
        }
        const double t1 = m * v, t2 = a * s.y, y = (t1 + t2) / d;
        if (y - y == 0.0) s.y = y;
        return Finite(y);
    }
};

class LinearStep : public Stateful<Recurrence> {
public:
    explicit LinearStep(const Node& n) : f_(Linear::Of(n)) {}
    void Run(const Block& b, const double* const* in, double* out) override {
        const double* x = in[0];
        Recurrence s = h;
        for (int j = 0; j < b.count; ++j) out[j] = f_.Step(s, x[j]);
        h = s;
    }
    bool RunLanes(Step* const* peers, int lanes, int count, const double* const* const* in,
                  double* const* out) override;

private:
    Linear f_;
};

// Two linear recurrences of which neither reads the other (the EMAs of
// MACD) stepped in one loop, so that their division chains overlap. The
// second node's column is the next one; its own step is then Fused.
struct RecurrencePair {
    Recurrence first, second;
};

class LinearPairStep : public Stateful<RecurrencePair> {
public:
    LinearPairStep(const Node& n1, const Node& n2, const double* x2)
        : f1_(Linear::Of(n1)), f2_(Linear::Of(n2)), x2_(x2) {}
    void Run(const Block& b, const double* const* in, double* out) override {
        const double *x1 = in[0], *x2 = x2_;
        double* out2 = out + kBlock;
        RecurrencePair s = h;
        for (int j = 0; j < b.count; ++j) {
            out[j] = f1_.Step(s.first, x1[j]);
            out2[j] = f2_.Step(s.second, x2[j]);
        }
        h = s;
    }
    bool RunLanes(Step* const* peers, int lanes, int count, const double* const* const* in,
                  double* const* out) override;

private:
    Linear f1_, f2_;
    const double* x2_;
};

// The pair with an element-wise function of its two lines and a third
// recurrence over that (MACD's DIF and DEA), all in one loop: the third
// chain then overlaps the first two.
struct RecurrenceTrio {
    Recurrence first, second, third;
};

class LinearTrioStep : public Stateful<RecurrenceTrio> {
public:
    LinearTrioStep(const Node& n1, const Node& n2, const double* x2, const Node& combine, bool swapped, const Node& n3)
        : f1_(Linear::Of(n1)), f2_(Linear::Of(n2)), f3_(Linear::Of(n3)), x2_(x2), op_(combine.op), swapped_(swapped) {}
    void Run(const Block& b, const double* const* in, double* out) override {
        const double *x1 = in[0], *x2 = x2_;
        double *out2 = out + kBlock, *combined = out + 2 * kBlock, *out3 = out + 3 * kBlock;
        RecurrenceTrio s = h;
        for (int j = 0; j < b.count; ++j) {
            const double y1 = f1_.Step(s.first, x1[j]), y2 = f2_.Step(s.second, x2[j]);
            const double z = swapped_ ? Binary(op_, y2, y1) : Binary(op_, y1, y2);
            out[j] = y1;
            out2[j] = y2;
            combined[j] = z;
            out3[j] = f3_.Step(s.third, z);
        }
        h = s;
    }
    bool RunLanes(Step* const* peers, int lanes, int count, const double* const* const* in,
                  double* const* out) override;

private:
    Linear f1_, f2_, f3_;
    const double* x2_;
    Op op_;
    bool swapped_;
};

// ---- recurrences of several securities at once ----

constexpr int LaneGroupMax = 8;

// Linear::Step lane by lane: the same IEEE operations, each lane's branch
// taken as a choice between values computed in every lane.
template <class V>
struct LaneLinear {
    using M = decltype(V{} < V{});
    static bool Every(M mask) {
        long long lanes[sizeof(M) / sizeof(long long)];
        __builtin_memcpy(lanes, &mask, sizeof mask);
        long long all = -1;
        for (long long lane : lanes) all &= lane;
        return all != 0;
    }
    V m, a, d;
    explicit LaneLinear(const Linear& f)
        : m(lanes::Splat<V>(f.m)), a(lanes::Splat<V>(f.a)), d(lanes::Splat<V>(f.d)) {}
    V Step(V& y, M& has, V v) const {
        const V nan = lanes::Splat<V>(kNaN);
        const M num = v == v;
        const V t1 = m * v, t2 = a * y, next = (t1 + t2) / d;
        const M finite = next - next == V{};
        // The usual bar, a finite step in every lane, as a predicted branch:
        // the choices below then stay off the chain from one bar to the next.
        if (Every(num & has & finite)) {
            y = next;
            return next;
        }
        const M fresh = num & ~has;
        y = lanes::Select(fresh, v, lanes::Select(num & has & finite, next, y));
        has = has | num;
        return lanes::Select(num, lanes::Select(fresh, v, lanes::Select(finite, next, nan)), nan);
    }
};

// One recurrence's states of up to W lanes in vectors, and back.
template <class V>
struct LaneState {
    static constexpr int W = sizeof(V) / sizeof(double);
    using M = decltype(V{} < V{});
    V y{};
    M has{};
    LaneState(Recurrence* const* s, int w) {
        alignas(64) double ys[W] = {};
        alignas(64) long long hs[W] = {};
        for (int j = 0; j < w; ++j) ys[j] = s[j]->y, hs[j] = s[j]->has ? -1 : 0;
        __builtin_memcpy(&y, ys, sizeof y);
        __builtin_memcpy(&has, hs, sizeof has);
    }
    void Put(Recurrence* const* s, int w) const {
        alignas(64) double ys[W];
        alignas(64) long long hs[W];
        __builtin_memcpy(ys, &y, sizeof y);
        __builtin_memcpy(hs, &has, sizeof has);
        for (int j = 0; j < w; ++j) s[j]->y = ys[j], s[j]->has = hs[j] != 0;
    }
};

// The inputs of lane j: first[j] the first chain's, second[j] the second's.
struct LaneJob {
    int lanes, count;
    const double* const* first;
    const double* const* second;
    double* const* out;  // lane j's first column; the next ones follow kBlock apart
    const Linear* f[3];
    Recurrence* const* state[3];
    Op op;
    bool swapped;
    int chains;  // 1 linear, 2 a pair, 3 a trio
};

// The block's columns of every lane interleaved (bar t of lane j at t * W +
// j): each lane's column is read and written in one sequential run, and
// the chains step on whole vectors.
template <int W>
struct Interleaved {
    alignas(64) double v[kBlock * W];
    void From(const double* const* columns, int lanes, int count) {
        for (int j = 0; j < lanes; ++j)
            for (int t = 0; t < count; ++t) v[t * W + j] = columns[j][t];
        for (int j = lanes; j < W; ++j)
            for (int t = 0; t < count; ++t) v[t * W + j] = 0.0;
    }
    void To(double* const* columns, std::ptrdiff_t offset, int lanes, int count) const {
        for (int j = 0; j < lanes; ++j)
            for (int t = 0; t < count; ++t) columns[j][offset + t] = v[t * W + j];
    }
    template <class V>
    V At(int t) const {
        V x;
        __builtin_memcpy(&x, v + t * W, sizeof x);
        return x;
    }
    template <class V>
    void Set(int t, V x) {
        __builtin_memcpy(v + t * W, &x, sizeof x);
    }
};

template <class V>
void RunLaneJob(const LaneJob& job) {
    constexpr int W = sizeof(V) / sizeof(double);
    const int w = job.lanes, n = job.count, chains = job.chains;
    Interleaved<W> x1, x2, y1, y2, z, y3;
    x1.From(job.first, w, n);
    if (chains > 1) x2.From(job.second, w, n);
    LaneLinear<V> f1(*job.f[0]), f2(*job.f[chains > 1 ? 1 : 0]), f3(*job.f[chains > 2 ? 2 : 0]);
    LaneState<V> s1(job.state[0], w), s2(job.state[chains > 1 ? 1 : 0], w), s3(job.state[chains > 2 ? 2 : 0], w);
    const bool arithmetic = job.op == Op::Add || job.op == Op::Sub || job.op == Op::Mul || job.op == Op::Div;
    int n1 = 0;  // bars done by the usual route
    auto combine = [&](V p, V q) {
        return job.op == Op::Add ? p + q : job.op == Op::Sub ? p - q : job.op == Op::Mul ? p * q : p / q;
    };
    // The usual block first: every lane's chains already started and every
    // step finite, so each state is simply the step's value (what the exact
    // route below gives then) and no choice sits on the chains. A NaN or
    // infinite input or combination makes its step's value NaN or
    // infinite, so the steps' values alone tell whether that held: their
    // differences from themselves (0, else NaN) are summed on a chain of
    // their own and read once, at the block's end. Where it did not hold,
    // the block runs again by the exact route from the states it started
    // with. Lanes past `lanes` step on zeros.
    bool started = arithmetic || chains < 3;
    for (int c = 0; c < chains && started; ++c)
        for (int j = 0; j < w; ++j) started = started && job.state[c][j]->has;
    if (started) {
        V e1 = s1.y, e2 = s2.y, e3 = s3.y, off{};
        for (int t = 0; t < n; ++t) {
            e1 = (f1.m * x1.template At<V>(t) + f1.a * e1) / f1.d;
            y1.Set(t, e1);
            if (chains == 1) {
                off += e1 - e1;
                continue;
            }
            e2 = (f2.m * x2.template At<V>(t) + f2.a * e2) / f2.d;
            y2.Set(t, e2);
            if (chains == 2) {
                off += (e1 - e1) + (e2 - e2);
                continue;
            }
            const V r = job.swapped ? combine(e2, e1) : combine(e1, e2);
            e3 = (f3.m * r + f3.a * e3) / f3.d;
            z.Set(t, r);
            y3.Set(t, e3);
            // Every chain's value: r can be finite where one is not (x/inf).
            off += (e1 - e1) + (e2 - e2) + (e3 - e3);
        }
        double offs[W];
        __builtin_memcpy(offs, &off, sizeof offs);
        bool held = true;
        for (double o : offs) held = held && o == 0.0;
        if (held) {
            s1.y = e1, s2.y = e2, s3.y = e3;
            n1 = n;
        }
    }
    for (int t = n1; t < n; ++t) {
        const V a = f1.Step(s1.y, s1.has, x1.template At<V>(t));
        y1.Set(t, a);
        if (chains == 1) continue;
        const V b = f2.Step(s2.y, s2.has, x2.template At<V>(t));
        y2.Set(t, b);
        if (chains == 2) continue;
        // The element-wise step between the chains: arithmetic in lanes
        // (Binary's operation, then Finite), the rest lane by lane.
        const V p = job.swapped ? b : a, q = job.swapped ? a : b;
        V r;
        if (arithmetic) {
            r = lanes::Select(combine(p, q) - combine(p, q) == V{}, combine(p, q), lanes::Splat<V>(kNaN));
            z.Set(t, r);
        } else {
            for (int j = 0; j < W; ++j) z.v[t * W + j] = Binary(job.op, p[j], q[j]);
            r = z.template At<V>(t);
        }
        y3.Set(t, f3.Step(s3.y, s3.has, r));
    }
    y1.To(job.out, 0, w, n);
    if (chains > 1) y2.To(job.out, kBlock, w, n);
    if (chains > 2) z.To(job.out, 2 * kBlock, w, n), y3.To(job.out, 3 * kBlock, w, n);
    s1.Put(job.state[0], w);
    if (chains > 1) s2.Put(job.state[1], w);
    if (chains > 2) s3.Put(job.state[2], w);
}

__attribute__((flatten)) void RunLaneJob2(const LaneJob& job) { RunLaneJob<lanes::V2>(job); }
#ifdef FENXI_WIDE_LANES
__attribute__((target("avx2"), flatten)) void RunLaneJob4(const LaneJob& job) { RunLaneJob<lanes::V4>(job); }
__attribute__((target(FENXI_AVX512), flatten)) void RunLaneJob8(const LaneJob& job) { RunLaneJob<lanes::V8>(job); }
#endif

// The widest route for `lanes` securities on this machine.
bool RunLanesRoute(const LaneJob& job) {
    const int width = PanelLanes();
#ifdef FENXI_WIDE_LANES
    if (job.lanes > 4 && width >= 8) return RunLaneJob8(job), true;
    if (job.lanes > 2 && width >= 4) return RunLaneJob4(job), true;
#endif
    if (job.lanes <= 2 && width >= 2) return RunLaneJob2(job), true;
    return false;
}

bool LinearStep::RunLanes(Step* const* peers, int lanes, int count, const double* const* const* in,
                          double* const* out) {
    Recurrence* states[LaneGroupMax];
    const double* x[LaneGroupMax];
    for (int j = 0; j < lanes; ++j) {
        auto* p = static_cast<LinearStep*>(peers[j]);
        states[j] = &p->h, x[j] = in[j][0];
    }
    return RunLanesRoute({lanes, count, x, nullptr, out, {&f_, nullptr, nullptr}, {states, nullptr, nullptr}, Op::Add,
                          false, 1});
}

bool LinearPairStep::RunLanes(Step* const* peers, int lanes, int count, const double* const* const* in,
                              double* const* out) {
    Recurrence *first[LaneGroupMax], *second[LaneGroupMax];
    const double *x1[LaneGroupMax], *x2[LaneGroupMax];
    for (int j = 0; j < lanes; ++j) {
        auto* p = static_cast<LinearPairStep*>(peers[j]);
        first[j] = &p->h.first, second[j] = &p->h.second, x1[j] = in[j][0], x2[j] = p->x2_;
    }
    return RunLanesRoute({lanes, count, x1, x2, out, {&f1_, &f2_, nullptr}, {first, second, nullptr}, Op::Add, false, 2});
}

bool LinearTrioStep::RunLanes(Step* const* peers, int lanes, int count, const double* const* const* in,
                              double* const* out) {
    Recurrence *first[LaneGroupMax], *second[LaneGroupMax], *third[LaneGroupMax];
    const double *x1[LaneGroupMax], *x2[LaneGroupMax];
    for (int j = 0; j < lanes; ++j) {
        auto* p = static_cast<LinearTrioStep*>(peers[j]);
        first[j] = &p->h.first, second[j] = &p->h.second, third[j] = &p->h.third, x1[j] = in[j][0], x2[j] = p->x2_;
    }
    return RunLanesRoute({lanes, count, x1, x2, out, {&f1_, &f2_, &f3_}, {first, second, third}, op_, swapped_, 3});
}

class Fused : public Step {
public:
    void Run(const Block&, const double* const*, double*) override {}
};

class DmaStep : public Stateful<Recurrence> {
public:
    void Run(const Block& b, const double* const* in, double* out) override {
        const double *x = in[0], *a = in[1];
        for (int j = 0; j < b.count; ++j) {
            const double v = x[j], w = a[j];
            if (!IsNum(v)) {
                out[j] = kNaN;
                continue;
            }
            if (!h.has) {
                h = {v, true};
                out[j] = v;
                continue;
            }
            if (!(w >= 0.0 && w <= 1.0)) {
                out[j] = kNaN;
                continue;
            }
            const double t1 = w * v, t2 = (1.0 - w) * h.y, y = t1 + t2;
            if (y - y == 0.0) h.y = y;
            out[j] = Finite(y);
        }
    }
};

// ---- window sums ----

// MA, SUM, WMA, SLOPE and FORCAST over a fixed window of N: the plain sum S
// and the weighted sum W kept exactly, slot by slot, with a missing value
// (a NaN or a bar before the first) as 0:
//   WMA (weights 1..N):        W' = W - S + N*x
//   SLOPE (weights 2k-N+1):    W' = W - 2S + (N+1)*old + (N-1)*x
//   FORCAST (weights 3k-N+2):  W' = W - 3S + (N+1)*old + (2N-1)*x
struct WindowSums {
    ExactSum s, w;
    std::int64_t lastNaN;
};

// Bar i enters the window of n and bar i-n leaves it: the values that enter
// and leave the sums, a NaN (or a bar before the first) counting as 0.
struct Sliding {
    double entering, leaving;
};
Sliding Slide(WindowSums& h, Ring& ring, std::int64_t n, std::int64_t i, double x) {
    if (!IsNum(x)) {
        h.lastNaN = i;
        x = 0.0;
    }
    const double old = i >= n ? ring[i - n] : 0.0;
    ring[i] = x;
    return {x, old};
}
// The window of bar i is full and holds no NaN.
bool Full(const WindowSums& h, std::int64_t n, std::int64_t i) { return i >= n - 1 && h.lastNaN <= i - n; }

class WindowSumStep : public Stateful<WindowSums> {
public:
    WindowSumStep(Fn fn, std::int64_t n, std::int64_t slots) : fn_(fn), n_(n), ring_(slots) {
        h.lastNaN = -1;
        switch (fn) {
            case Fn::Ma: divisor_ = static_cast<std::uint64_t>(n); break;
            case Fn::Sum: divisor_ = 1; break;
            case Fn::Wma: divisor_ = static_cast<std::uint64_t>(n * (n + 1) / 2); break;
            case Fn::Slope: divisor_ = static_cast<std::uint64_t>(n * (n * n - 1) / 6); break;
            default: divisor_ = static_cast<std::uint64_t>(n * (n + 1) / 2); break;  // FORCAST
        }
    }
    void Run(const Block& b, const double* const* in, double* out) override {
        const double* x = in[0];
        for (int j = 0; j < b.count; ++j) {
            const std::int64_t i = b.first + j;
            const auto [v, old] = Slide(h, ring_, n_, i, x[j]);
            switch (fn_) {
                case Fn::Wma:
                    h.w.AddMultiple(-1, h.s);
                    h.w.AddMultiple(n_, v);
                    break;
                case Fn::Slope:
                    h.w.AddMultiple(-2, h.s);
                    h.w.AddMultiple(n_ + 1, old);
                    h.w.AddMultiple(n_ - 1, v);
                    break;
                case Fn::Forcast:
                    h.w.AddMultiple(-3, h.s);
                    h.w.AddMultiple(n_ + 1, old);
                    h.w.AddMultiple(2 * n_ - 1, v);
                    break;
                default: break;
            }
            h.s.Add(v);
            h.s.Sub(old);
            if (!Full(h, n_, i)) {
                out[j] = kNaN;
                continue;
            }
            out[j] = fn_ == Fn::Ma || fn_ == Fn::Sum ? h.s.Divided(divisor_) : h.w.Divided(divisor_);
        }
    }

private:
    Fn fn_;
    std::int64_t n_;
    std::uint64_t divisor_ = 1;
    Ring ring_;
};

// ---- the centred window functions ----

class CentredStep : public Stateful<WindowSums> {
public:
    CentredStep(Fn fn, std::int64_t n, std::int64_t slots)
        : fn_(fn), n_(n), ring_(slots), terms_(static_cast<std::size_t>(std::min(n, slots))) {
        h.lastNaN = -1;
    }
    void Run(const Block& b, const double* const* in, double* out) override {
        const double* x = in[0];
        for (int j = 0; j < b.count; ++j) {
            const std::int64_t i = b.first + j;
            const auto [v, old] = Slide(h, ring_, n_, i, x[j]);
            h.s.Add(v);
            h.s.Sub(old);
            out[j] = Full(h, n_, i) ? Value(i) : kNaN;
        }
    }

private:
    Fn fn_;
    std::int64_t n_;
    Ring ring_;
    std::vector<double> terms_;  // the window's squared (or absolute) deviations

    double Value(std::int64_t i) {
        const double m = h.s.Divided(static_cast<std::uint64_t>(n_));
        double* q = terms_.data();
        for (std::int64_t k = i - n_ + 1; k <= i; ++k) {
            const double d = ring_[k] - m;
            const double t = fn_ == Fn::Avedev ? std::fabs(d) : d * d;
            if (t - t != 0.0) return kNaN;
            *q++ = t;
        }
        const auto sum = [this](std::int64_t d) {
            return ExactSum::SumDivided(terms_.data(), static_cast<std::size_t>(n_), static_cast<std::uint64_t>(d));
        };
        switch (fn_) {
            case Fn::Devsq: return sum(1);
            case Fn::Varp: return sum(n_);
            case Fn::Var: return sum(n_ - 1);
            case Fn::Stdp: return std::sqrt(sum(n_));
            case Fn::Std: return std::sqrt(sum(n_ - 1));
            default: return sum(n_);  // AVEDEV
        }
    }
};

// ---- extremes ----

// HHV, LLV and their BARS over a fixed window: a monotonic queue of bar
// indices whose values only fall (HHV) from front to back; among equal values
// the latest stays. A NaN empties the queue: no window holding it has a value.
struct Queue {
    std::int64_t front, back;  // positions; the queue holds front .. back-1
    std::int64_t lastNaN;
    std::int64_t undoSlot;  // the position the last push overwrote, and what it held
    std::int64_t undoValue;
};

class ExtremeStep : public Stateful<Queue> {
public:
    ExtremeStep(Fn fn, std::int64_t n, std::int64_t slots)
        : highest_(fn == Fn::Hhv || fn == Fn::Hhvbars), bars_(fn == Fn::Hhvbars || fn == Fn::Llvbars), n_(n),
          ring_(slots), queue_(slots) {
        h.lastNaN = -1;
        h.undoSlot = -1;
    }
    void Run(const Block& b, const double* const* in, double* out) override {
        const double* x = in[0];
        for (int j = 0; j < b.count; ++j) {
            const std::int64_t i = b.first + j;
            const double v = x[j];
            ring_[i] = v;
            if (!IsNum(v)) {
                h.lastNaN = i;
                h.front = h.back;
                h.undoSlot = -1;
            } else {
                while (h.back > h.front) {
                    const double last = ring_[queue_[h.back - 1]];
                    if (highest_ ? last > v : last < v) break;
                    --h.back;
                }
                h.undoSlot = h.back;
                h.undoValue = queue_[h.back];
                queue_[h.back] = i;
                ++h.back;
            }
            while (h.back > h.front && queue_[h.front] <= i - n_) ++h.front;
            if (i < n_ - 1 || h.lastNaN > i - n_) {
                out[j] = kNaN;
                continue;
            }
            const std::int64_t at = queue_[h.front];
            out[j] = bars_ ? static_cast<double>(i - at) : ring_[at];
        }
    }
    void Undo() override {
        if (h.undoSlot >= 0) queue_[h.undoSlot] = h.undoValue;
    }

private:
    bool highest_, bars_;
    std::int64_t n_;
    Ring ring_;
    Slots<std::int64_t> queue_;  // bar indices by queue position
};

// ---- windows from the first value (N = 0) and windows of a series N ----

// Running since the first number f: the sum, the extreme and its bar, and
// whether a NaN has come since (which leaves every window from f without a
// value).
struct SinceFirst {
    ExactSum sum;
    double best;
    std::int64_t bestAt, first, lastNaN, count, trueCount;
};

class SinceFirstStep : public Stateful<SinceFirst> {
public:
    // A series N reads windows of up to kMaxWindow bars from its own ring.
    SinceFirstStep(Fn fn, bool seriesN, std::int64_t slots) : fn_(fn), seriesN_(seriesN), ring_(seriesN ? slots : 1) {
        h.first = h.lastNaN = h.bestAt = -1;
    }
    void Run(const Block& b, const double* const* in, double* out) override {
        const double* x = in[0];
        for (int j = 0; j < b.count; ++j) {
            const std::int64_t i = b.first + j;
            const double v = x[j];
            Update(i, v);
            if (!seriesN_) {
                out[j] = Cumulative(i);
                continue;
            }
            const double nv = in[1][j];
            const double t = std::trunc(nv);
            if (!(t >= 0.0 && t <= kMaxWindow)) {
                out[j] = kNaN;
                continue;
            }
            const auto n = static_cast<std::int64_t>(t);
            out[j] = n == 0 && fn_ != Fn::Ref ? Cumulative(i) : Window(i, n);
        }
    }

private:
    Fn fn_;
    bool seriesN_;
    Ring ring_;

    bool Highest() const { return fn_ == Fn::Hhv || fn_ == Fn::Hhvbars; }

    void Update(std::int64_t i, double v) {
        if (seriesN_) ring_[i] = fn_ == Fn::Count ? static_cast<double>(h.trueCount + (IsTrue(v) ? 1 : 0)) : v;
        if (fn_ == Fn::Count) {
            h.trueCount += IsTrue(v) ? 1 : 0;
            return;
        }
        if (!IsNum(v)) {
            h.lastNaN = i;
            return;
        }
        if (h.first < 0) h.first = i;
        if (fn_ == Fn::Sum) h.sum.Add(v);
        if (h.bestAt < 0 || (Highest() ? v >= h.best : v <= h.best)) {
            h.best = v;
            h.bestAt = i;
        }
    }

    double Cumulative(std::int64_t i) const {
        if (fn_ == Fn::Count) return static_cast<double>(h.trueCount);
        if (h.first < 0 || h.lastNaN > h.first) return kNaN;
        switch (fn_) {
            case Fn::Sum: return h.sum.Divided(1);
            case Fn::Hhv:
            case Fn::Llv: return h.best;
            default: return static_cast<double>(i - h.bestAt);
        }
    }

    // A window of n >= 1 bars (REF: the bar n back) read from the ring.
    double Window(std::int64_t i, std::int64_t n) {
        if (fn_ == Fn::Ref) return i - n >= 0 ? ring_[i - n] : kNaN;
        if (i < n - 1) return kNaN;
        if (fn_ == Fn::Count) return ring_[i] - (i - n >= 0 ? ring_[i - n] : 0.0);
        if (h.lastNaN > i - n) return kNaN;
        if (fn_ == Fn::Sum) {
            ExactSum acc;
            for (std::int64_t k = i - n + 1; k <= i; ++k) acc.Add(ring_[k]);
            return acc.Divided(1);
        }
        std::int64_t at = i;
        for (std::int64_t k = i - 1; k > i - n; --k)
            if (Highest() ? ring_[k] > ring_[at] : ring_[k] < ring_[at]) at = k;
        return fn_ == Fn::Hhv || fn_ == Fn::Llv ? ring_[at] : static_cast<double>(i - at);
    }
};

class RefStep : public Step {
public:
    RefStep(std::int64_t n, std::int64_t slots) : n_(n), ring_(slots) {}
    void Run(const Block& b, const double* const* in, double* out) override {
        for (int j = 0; j < b.count; ++j) {
            const std::int64_t i = b.first + j;
            ring_[i] = in[0][j];
            out[j] = i >= n_ ? ring_[i - n_] : kNaN;
        }
    }

private:
    std::int64_t n_;
    Ring ring_;
};

// ---- conditions and events ----

struct Pair {
    double a, b;
};

class CrossStep : public Stateful<Pair> {
public:
    CrossStep() { h = {kNaN, kNaN}; }
    void Run(const Block& b, const double* const* in, double* out) override {
        for (int j = 0; j < b.count; ++j) {
            const double a = in[0][j], c = in[1][j];
            if (!IsNum(a) || !IsNum(c) || !IsNum(h.a) || !IsNum(h.b))
                out[j] = kNaN;
            else
                out[j] = Bool(h.a <= h.b && a > c);
            h = {a, c};
        }
    }
};

struct Marks {
    std::int64_t lastNaN, lastOther, first, count;
    double value;
};

class LongCrossStep : public Stateful<Marks> {
public:
    explicit LongCrossStep(std::int64_t n) : n_(n) { h.lastNaN = h.lastOther = -1; }
    void Run(const Block& b, const double* const* in, double* out) override {
        for (int j = 0; j < b.count; ++j) {
            const std::int64_t i = b.first + j;
            const double a = in[0][j], c = in[1][j];
            if (i < n_ || !IsNum(a) || !IsNum(c) || h.lastNaN >= i - n_)
                out[j] = kNaN;
            else
                out[j] = Bool(h.lastOther < i - n_ && a > c);
            if (!IsNum(a) || !IsNum(c))
                h.lastNaN = i;
            else if (!(a < c))
                h.lastOther = i;
        }
    }

private:
    std::int64_t n_;
};

class CountStep : public Stateful<Marks> {
public:
    CountStep(std::int64_t n, std::int64_t slots) : n_(n), ring_(slots) {}
    void Run(const Block& b, const double* const* in, double* out) override {
        for (int j = 0; j < b.count; ++j) {
            const std::int64_t i = b.first + j;
            const double t = IsTrue(in[0][j]) ? 1.0 : 0.0;
            ring_[i] = t;
            h.count += static_cast<std::int64_t>(t);
            if (i >= n_) h.count -= static_cast<std::int64_t>(ring_[i - n_]);
            out[j] = i < n_ - 1 ? kNaN : static_cast<double>(h.count);
        }
    }

private:
    std::int64_t n_;
    Ring ring_;
};

// EVERY, EXIST, BARSLAST, BARSSINCE, BARSCOUNT, VALUEWHEN, FILTER: the bars
// where a condition last (or first) held.
class EventStep : public Stateful<Marks> {
public:
    EventStep(Fn fn, std::int64_t n) : fn_(fn), n_(n) { h.lastNaN = h.lastOther = h.first = -1; }
    void Run(const Block& b, const double* const* in, double* out) override {
        for (int j = 0; j < b.count; ++j) {
            const std::int64_t i = b.first + j;
            const double x = in[0][j];
            const bool t = IsTrue(x);
            switch (fn_) {
                case Fn::Every:  // lastOther: the last bar not true
                    if (!t) h.lastOther = i;
                    out[j] = i < n_ - 1 ? kNaN : Bool(h.lastOther <= i - n_);
                    break;
                case Fn::Exist:  // lastOther: the last true bar
                    if (t) h.lastOther = i;
                    out[j] = i < n_ - 1 ? kNaN : Bool(h.lastOther >= 0 && h.lastOther > i - n_);
                    break;
                case Fn::Barslast:
                    if (t) h.lastOther = i;
                    out[j] = h.lastOther < 0 ? kNaN : static_cast<double>(i - h.lastOther);
                    break;
                case Fn::Barssince:
                    if (t && h.first < 0) h.first = i;
                    out[j] = h.first < 0 ? kNaN : static_cast<double>(i - h.first);
                    break;
                case Fn::Barscount:
                    if (IsNum(x) && h.first < 0) h.first = i;
                    out[j] = h.first < 0 ? kNaN : static_cast<double>(i - h.first + 1);
                    break;
                case Fn::Valuewhen:
                    if (t) {
                        h.value = in[1][j];
                        h.first = i;
                    }
                    out[j] = h.first < 0 ? kNaN : h.value;
                    break;
                default:  // FILTER; lastOther: the last bar it gave 1
                    if (h.lastOther >= 0 && i - h.lastOther <= n_)
                        out[j] = 0.0;
                    else if (!IsNum(x))
                        out[j] = kNaN;
                    else if (t) {
                        out[j] = 1.0;
                        h.lastOther = i;
                    } else {
                        out[j] = 0.0;
                    }
                    break;
            }
        }
    }

private:
    Fn fn_;
    std::int64_t n_;
};

// LAST(X,A,B): X true at every bar from i-A (bar 0 for A = 0) to i-B. The
// last bar not true, as it stood at each of the last B+1 bars.
class LastStep : public Stateful<Marks> {
public:
    LastStep(std::int64_t a, std::int64_t b, std::int64_t slots) : a_(a), b_(b), ring_(slots) { h.lastOther = -1; }
    void Run(const Block& b, const double* const* in, double* out) override {
        for (int j = 0; j < b.count; ++j) {
            const std::int64_t i = b.first + j;
            if (!IsTrue(in[0][j])) h.lastOther = i;
            ring_[i] = static_cast<double>(h.lastOther);
            if ((a_ > 0 && i - a_ < 0) || i - b_ < 0) {
                out[j] = kNaN;
                continue;
            }
            const std::int64_t lo = a_ == 0 ? 0 : i - a_;
            out[j] = Bool(ring_[i - b_] < static_cast<double>(lo));
        }
    }

private:
    std::int64_t a_, b_;
    Ring ring_;
};

// ---- registry operations ----

// A batch run reads the operation's column over the whole series; a stream
// runs the operation's own stream.
class OperationStep : public Step {
public:
    OperationStep(const Node& node, const Bars* series, int unit) : line_(node.line) {
        std::vector<int> params(node.params, node.params + node.operation->paramCount);
        if (series != nullptr) {
            Lines lines = Compute(node.operation->name, params, *series);
            if (lines.ok()) column_ = std::move(lines.values[static_cast<std::size_t>(line_)]);
        } else {
            stream_ = std::make_unique<fenxi::Stream>(node.operation->name, params, unit);
        }
    }
    void Run(const Block& b, const double* const*, double* out) override {
        if (stream_) {
            const std::span<const double> v = b.replacing ? stream_->ReplaceLast(b.bars[0]) : stream_->Append(b.bars[0]);
            out[0] = v[static_cast<std::size_t>(line_)];
            return;
        }
        for (int j = 0; j < b.count; ++j) {
            const auto i = static_cast<std::size_t>(b.first + j);
            out[j] = i < column_.size() ? column_[i] : kNaN;
        }
    }

private:
    int line_;
    std::vector<double> column_;
    std::unique_ptr<fenxi::Stream> stream_;
};

}  // namespace

std::int64_t HistorySpan(const Node& n) {
    if (n.kind != NodeKind::Series) return 0;
    if (n.seriesN) return kMaxWindow + 1;  // REF, SUM, HHV ... with a series N read back from their own history
    switch (n.fn) {
        case Fn::Ref:
        case Fn::Ma:
        case Fn::Sum:
        case Fn::Wma:
        case Fn::Slope:
        case Fn::Forcast:
        case Fn::Count:
        case Fn::Std:
        case Fn::Stdp:
        case Fn::Var:
        case Fn::Varp:
        case Fn::Devsq:
        case Fn::Avedev:
        case Fn::Hhv:
        case Fn::Llv:
        case Fn::Hhvbars:
        case Fn::Llvbars: return n.n == 0 ? 0 : n.n + 1;
        case Fn::Last: return n.m + 1;
        default: return 0;
    }
}

std::int64_t HistorySlots(const Node& n) {
    const std::int64_t span = HistorySpan(n);
    if (span == 0) return 0;
    const std::int64_t slots = PowerOfTwoAtLeast(span);
    const bool extremes = !n.seriesN && (n.fn == Fn::Hhv || n.fn == Fn::Llv || n.fn == Fn::Hhvbars || n.fn == Fn::Llvbars);
    if (extremes) return 2 * slots;  // values, and the queue of bars
    return WindowReads(n) > 0 && !n.seriesN ? slots + n.n : slots;  // the centred functions' terms
}

std::int64_t WindowReads(const Node& n) {
    if (n.kind != NodeKind::Series) return 0;
    switch (n.fn) {
        case Fn::Std:
        case Fn::Stdp:
        case Fn::Var:
        case Fn::Varp:
        case Fn::Devsq:
        case Fn::Avedev: return n.n;
        case Fn::Sum:
        case Fn::Hhv:
        case Fn::Llv:
        case Fn::Hhvbars:
        case Fn::Llvbars: return n.seriesN ? kMaxWindow : 0;
        default: return 0;
    }
}

namespace {

// `limit`: the most bars a run will see, so that no ring holds more slots
// than there will be bars.
std::unique_ptr<Step> MakeStep(const Node& n, const Bars* series, int unit, std::int64_t limit) {
    const std::int64_t slots = std::min(HistorySpan(n), limit);
    switch (n.kind) {
        case NodeKind::Const: return std::make_unique<Constant>();
        case NodeKind::Input: return std::make_unique<InputStep>(n.input);
        case NodeKind::Neg: return std::make_unique<NegStep>();
        case NodeKind::Binary:
            switch (n.op) {
                case Op::Add: return std::make_unique<BinaryStep<Op::Add>>();
                case Op::Sub: return std::make_unique<BinaryStep<Op::Sub>>();
                case Op::Mul: return std::make_unique<BinaryStep<Op::Mul>>();
                case Op::Div: return std::make_unique<BinaryStep<Op::Div>>();
                case Op::Eq: return std::make_unique<BinaryStep<Op::Eq>>();
                case Op::Ne: return std::make_unique<BinaryStep<Op::Ne>>();
                case Op::Lt: return std::make_unique<BinaryStep<Op::Lt>>();
                case Op::Le: return std::make_unique<BinaryStep<Op::Le>>();
                case Op::Gt: return std::make_unique<BinaryStep<Op::Gt>>();
                case Op::Ge: return std::make_unique<BinaryStep<Op::Ge>>();
                case Op::And: return std::make_unique<BinaryStep<Op::And>>();
                default: return std::make_unique<BinaryStep<Op::Or>>();
            }
        case NodeKind::Pure: return std::make_unique<PureStep>(PureOf(n.fn));
        case NodeKind::Operation: return std::make_unique<OperationStep>(n, series, unit);
        case NodeKind::Series: break;
    }
    switch (n.fn) {
        case Fn::Ema:
        case Fn::Sma: return std::make_unique<LinearStep>(n);
        case Fn::Dma: return std::make_unique<DmaStep>();
        case Fn::Ref:
            if (n.seriesN) return std::make_unique<SinceFirstStep>(n.fn, true, slots);
            return std::make_unique<RefStep>(n.n, slots);
        case Fn::Ma:
        case Fn::Wma:
        case Fn::Slope:
        case Fn::Forcast: return std::make_unique<WindowSumStep>(n.fn, n.n, slots);
        case Fn::Sum:
        case Fn::Hhv:
        case Fn::Llv:
        case Fn::Hhvbars:
        case Fn::Llvbars:
        case Fn::Count:
            if (n.seriesN || n.n == 0) return std::make_unique<SinceFirstStep>(n.fn, n.seriesN, slots);
            if (n.fn == Fn::Sum) return std::make_unique<WindowSumStep>(n.fn, n.n, slots);
            if (n.fn == Fn::Count) return std::make_unique<CountStep>(n.n, slots);
            return std::make_unique<ExtremeStep>(n.fn, n.n, slots);
        case Fn::Std:
        case Fn::Stdp:
        case Fn::Var:
        case Fn::Varp:
        case Fn::Devsq:
        case Fn::Avedev: return std::make_unique<CentredStep>(n.fn, n.n, slots);
        case Fn::Cross: return std::make_unique<CrossStep>();
        case Fn::Longcross: return std::make_unique<LongCrossStep>(n.n);
        case Fn::Last: return std::make_unique<LastStep>(n.n, n.m, slots);
        default: return std::make_unique<EventStep>(n.fn, n.n);
    }
}

}  // namespace

Evaluator::Evaluator(const Program& program, const Bars* series, int unit)
    : program_(program), columns_(program.nodes.size() * kBlock), inputs_(program.nodes.size() * 3, nullptr) {
    auto linear = [](const Node& n) {
        return n.kind == NodeKind::Series && (n.fn == Fn::Ema || n.fn == Fn::Sma);
    };
    for (std::size_t k = 0; k < program.nodes.size(); ++k) {
        const Node& n = program.nodes[k];
        for (int a = 0; a < n.inputs; ++a) inputs_[k * 3 + static_cast<std::size_t>(a)] = Column(n.in[a]);
        if (n.kind == NodeKind::Const) std::fill_n(columns_.begin() + static_cast<std::ptrdiff_t>(k * kBlock), kBlock, n.value);
        if (k + 1 < program.nodes.size() && linear(n) && linear(program.nodes[k + 1]) &&
            program.nodes[k + 1].in[0] != static_cast<int>(k)) {
            const Node& next = program.nodes[k + 1];
            const auto first = static_cast<int>(k), second = first + 1;
            if (k + 3 < program.nodes.size()) {
                const Node &combine = program.nodes[k + 2], &third = program.nodes[k + 3];
                const bool pairInputs = combine.kind == NodeKind::Binary &&
                                        ((combine.in[0] == first && combine.in[1] == second) ||
                                         (combine.in[0] == second && combine.in[1] == first));
                if (pairInputs && linear(third) && third.in[0] == first + 2) {
                    steps_.push_back(std::make_unique<LinearTrioStep>(n, next, Column(next.in[0]), combine,
                                                                      combine.in[0] == second, third));
                    for (std::size_t f = k + 1; f <= k + 3; ++f) {
                        steps_.push_back(std::make_unique<Fused>());
                        for (int a = 0; a < program.nodes[f].inputs; ++a)
                            inputs_[f * 3 + static_cast<std::size_t>(a)] = Column(program.nodes[f].in[a]);
                    }
                    k += 3;
                    continue;
                }
            }
            steps_.push_back(std::make_unique<LinearPairStep>(n, next, Column(next.in[0])));
            steps_.push_back(std::make_unique<Fused>());
            inputs_[(k + 1) * 3] = Column(next.in[0]);
            ++k;
            continue;
        }
        steps_.push_back(MakeStep(n, series, unit, series ? static_cast<std::int64_t>(series->bars.size()) + 1 : kMaxHistory));
    }
}

Evaluator::~Evaluator() = default;

void Evaluator::Run(const Block& b) {
    for (std::size_t k = 0; k < steps_.size(); ++k)
        steps_[k]->Run(b, inputs_.data() + k * 3, columns_.data() + k * kBlock);
}

void Evaluator::SaveHeads() {
    std::size_t at = 0;
    for (auto& s : steps_) {
        const std::span<std::byte> h = s->Head();
        if (h.empty()) continue;
        if (heads_.size() < at + h.size()) heads_.resize(at + h.size());
        std::memcpy(heads_.data() + at, h.data(), h.size());
        at += h.size();
    }
}

void Evaluator::RestoreHeads() {
    std::size_t at = 0;
    for (auto& s : steps_) {
        s->Undo();
        const std::span<std::byte> h = s->Head();
        if (h.empty()) continue;
        std::memcpy(h.data(), heads_.data() + at, h.size());
        at += h.size();
    }
}

namespace {

// Runs the whole series through `e` a block at a time; after each block,
// `take(block)` reads its columns.
template <class Take>
void RunBlocks(Evaluator& e, const Bars& bars, Take&& take) {
    const auto n = static_cast<std::int64_t>(bars.bars.size());
    for (std::int64_t first = 0; first < n; first += kBlock) {
        Block b;
        b.bars = bars.bars.data() + first;
        b.count = static_cast<int>(std::min<std::int64_t>(kBlock, n - first));
        b.first = first;
        b.unit = bars.unit;
        e.Run(b);
        take(b);
    }
}

}  // namespace

std::vector<double> Evaluator::RunLast(const Program& program, const Bars& bars) {
    const auto n = static_cast<std::int64_t>(bars.bars.size());
    std::vector<double> last(program.outputs.size(), std::numeric_limits<double>::quiet_NaN());
    if (n == 0) return last;
    Evaluator e(program, &bars, bars.unit);
    RunBlocks(e, bars, [&](const Block& b) {
        if (b.first + b.count < n) return;
        for (std::size_t k = 0; k < program.outputs.size(); ++k) last[k] = e.Column(program.outputs[k])[b.count - 1];
    });
    return last;
}

std::vector<std::vector<double>> Evaluator::RunAll(const Program& program, const Bars& bars) {
    const auto n = static_cast<std::size_t>(bars.bars.size());
    std::vector<std::vector<double>> lines(program.outputs.size(), std::vector<double>(n));
    Evaluator e(program, &bars, bars.unit);
    RunBlocks(e, bars, [&](const Block& b) {
        for (std::size_t k = 0; k < program.outputs.size(); ++k)
            std::copy_n(e.Column(program.outputs[k]), b.count, lines[k].begin() + b.first);
    });
    return lines;
}

void Evaluator::RunAllMany(const Program& program, std::span<const Bars* const> group, std::span<double* const> lines) {
    const std::size_t w = group.size(), outputs = program.outputs.size();
    std::vector<std::unique_ptr<Evaluator>> e;
    std::int64_t most = 0;
    for (const Bars* bars : group) {
        e.push_back(std::make_unique<Evaluator>(program, bars, bars->unit));
        most = std::max<std::int64_t>(most, static_cast<std::int64_t>(bars->bars.size()));
    }
    std::vector<Block> blocks(w);
    std::vector<Step*> peers(w);
    std::vector<const double* const*> in(w);
    std::vector<double*> out(w);
    std::vector<std::size_t> active;
    for (std::int64_t first = 0; first < most; first += kBlock) {
        active.clear();
        int count = 0;
        for (std::size_t j = 0; j < w; ++j) {
            const auto n = static_cast<std::int64_t>(group[j]->bars.size());
            Block& b = blocks[j];
            b.count = static_cast<int>(std::clamp<std::int64_t>(n - first, 0, kBlock));
            if (b.count == 0) continue;  // ended: nothing of it is read again
            b.bars = group[j]->bars.data() + first;
            b.first = first;
            b.unit = group[j]->unit;
            active.push_back(j);
            count = std::max(count, b.count);
        }
        for (std::size_t k = 0; k < e[0]->steps_.size(); ++k) {
            for (std::size_t a = 0; a < active.size(); ++a) {
                Evaluator& ev = *e[active[a]];
                peers[a] = ev.steps_[k].get();
                in[a] = ev.inputs_.data() + k * 3;
                out[a] = ev.columns_.data() + k * kBlock;
            }
            // A lane whose bars end inside the block steps on its column's
            // older values past them; its values there are never read.
            if (active.size() > 1 &&
                peers[0]->RunLanes(peers.data(), static_cast<int>(active.size()), count, in.data(), out.data()))
                continue;
            for (std::size_t a = 0; a < active.size(); ++a) peers[a]->Run(blocks[active[a]], in[a], out[a]);
        }
        for (std::size_t j : active)
            for (std::size_t k = 0; k < outputs; ++k)
                std::copy_n(e[j]->Column(program.outputs[k]), blocks[j].count, lines[j * outputs + k] + first);
    }
}

}  // namespace fenxi::formula
