#include "formula/evaluator.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <cstring>
#include <type_traits>

#include "core/window.h"
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

private:
    Linear f1_, f2_, f3_;
    const double* x2_;
    Op op_;
    bool swapped_;
};

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

}  // namespace fenxi::formula
