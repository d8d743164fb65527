// Operation-line tips: the close at which the next bar would produce the
// next point of the mounted long/short system, as Chinese texts.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "core/engine_state.h"
#include "core/series.h"
#include "systems/signal_math.h"
#include "systems/signal_records.h"

using namespace fenxi;

namespace {

constexpr const char* kShortD = "%%d/%%02d/%%02d %%d:%%02d操作提示\n 下一K线收盘价格 > %%.0%df,\n 将出现D点\n";
constexpr const char* kShortK = "%%d/%%02d/%%02d %%d:%%02d操作提示\n 下一K线收盘价格 < %%.0%df,\n 将出现K点\n";
constexpr const char* kHold = "%ld/%02ld/%02ld明日操作提示 \n 继续持股,\n";
constexpr const char* kWait = "%ld/%02ld/%02ld明日操作提示 \n 持币观望,\n";
constexpr const char* kLongK = "%%d/%%02d/%%02d明日操作提示 \n 如果明日收盘价格 < %%.0%df,\n 将出现K点\n";
constexpr const char* kLongD = "%%d/%%02d/%%02d明日操作提示 \n 如果明日收盘价格 > %%.0%df, \n 将出现D点\n";
constexpr const char* kLongTwoRoutes =
    "%%d/%%02d/%%02d明日操作提示 \n 1.如果明日收盘价格 > %%.0%df\n   且明日成交量 > %%.1f, \n   将出现D点, \n 或者, \n "
    "2.如果明日收盘价格 > %%.0%df, \n   将出现D点\n";

struct Day {
    int year, month, day, hour, minute;
    explicit Day(const UNIKDATA& bar)
        : year(bar.Date / 10000), month(bar.Date / 100 % 100), day(bar.Date % 100), hour(bar.Time / 10000),
          minute(bar.Time / 100 % 100) {}
};

// First stage: the decimals into a format whose percent signs are doubled.
template <class... Decimals>
std::string Stage1(const char* format, Decimals... decimals) {
    char buffer[256];
    std::snprintf(buffer, sizeof buffer, format, decimals...);
    return buffer;
}

template <class... Args>
std::string Stage2(const std::string& format, Args... args) {
    char buffer[256];
    std::snprintf(buffer, sizeof buffer, format.c_str(), args...);
    return buffer;
}

std::string DateOnly(const char* format, const Day& d) {
    char buffer[256];
    std::snprintf(buffer, sizeof buffer, format, static_cast<long>(d.year), static_cast<long>(d.month),
                  static_cast<long>(d.day));
    return buffer;
}

// The printed threshold, nudged by 1e-12 away from zero.
double Nudged(double v) { return v > 0 ? v + 1e-12 : v - 1e-12; }

void LogExit(CAnalysisTechniques& engine, const char* function, int line) {
    char buffer[96];
    std::snprintf(buffer, sizeof buffer, "func %s Exit. line = @%d\r\n", function, line);
    engine.PutAnalog(buffer);
}

// The last signal at or before bar `index`, scanning from the end.
const _SIG_TABLE* LastSignal(const std::vector<_SIG_TABLE>& signals, int index) {
    for (auto it = signals.rbegin(); it != signals.rend(); ++it)
        if (it->BarIndex <= index) return &*it;
    return nullptr;
}

// Entry rules a, b and c of the long-term system evaluated for a next bar
// i = index + 1 with a given close (in ticks) and volume. The lines the
// rules read at bar i (the 65-bar average of the close, OBV and its 40-bar
// average) are recomputed for that bar exactly as the generators would.
class NextBarEntry {
public:
    NextBarEntry(const UNIKDATA* bars, int unit, int index, const Ticks& tick, const LineSet& ch1,
                 const LineSet& ma1, const LineSet* obv, bool limitRoute, double limitFactor)
        : unit_(unit), tick_(tick), limitRoute_(limitRoute) {
        const double p = Display(bars[index].Close, unit);
        channel_ = tick.Of(ch1.At(index, 5));
        up_ = tick.Of(p * 100.5 / 100);
        limit_ = tick.Of(p * limitFactor / 100);
        const int i = index + 1;
        maFull_ = i - 64 >= 0;
        for (int j = i - 64; maFull_ && j <= index; ++j) maPartial_ += ma1.At(j, 0);
        for (int j = 1; j <= index; ++j) {  // the cumulative volume, before its division by 100
            const double v = static_cast<double>(bars[j].Volume);
            cumulative_ = bars[j].Close > bars[j - 1].Close ? cumulative_ + v
                          : bars[j].Close < bars[j - 1].Close ? cumulative_ - v : cumulative_;
        }
        obvAverage_ = i >= 40;
        for (int j = i - 39; obvAverage_ && obv != nullptr && j <= index; ++j) obvPartial_ += obv->At(j, 0);
        hasObv_ = obv != nullptr;
    }

    // False for prices beyond any market (2^40 ticks), where tick arithmetic
    // could overflow.
    bool Sane() const {
        constexpr std::int64_t kFar = std::int64_t{1} << 40;
        return std::llabs(channel_) < kFar && std::llabs(up_) < kFar && std::llabs(limit_) < kFar;
    }
    // The lowest tick above both the channel and the 0.5 % rise: no rule
    // can fire below it.
    std::int64_t Floor() const { return std::max(channel_, up_) + 1; }
    // Rules a or b: a close alone gives the D point.
    bool Unconditional(std::int64_t t) const {
        const bool above = t > channel_;
        return (limitRoute_ && above && t > limit_) || (above && t > MovingAverage(t) && t > up_);
    }
    // Rule c's price part: between the channel and the average.
    bool VolumeRoute(std::int64_t t) const { return t > channel_ && t <= MovingAverage(t) && t > up_; }
    // Rule c's volume part at a close above the previous one.
    bool VolumeEnough(double volume) const {
        if (!hasObv_) return false;
        const double obv = (cumulative_ + volume) / 100.0;
        const double average = obvAverage_ ? (obvPartial_ + obv) / 40 : 0.0;
        return obv > average;
    }
    double Price(std::int64_t t) const { return static_cast<double>(t) / (tick_.decimals == 3 ? 1000 : 100); }

private:
    std::int64_t MovingAverage(std::int64_t t) const {
        if (!maFull_) return tick_.Of(0.0);
        // The next bar's raw close for tick t (exact for real prices).
        const double raw = std::trunc(static_cast<double>(t) * unit_ / (tick_.decimals == 3 ? 1000 : 100));
        return tick_.Of((maPartial_ + raw * PriceFactor(unit_)) / 65);
    }

    int unit_;
    Ticks tick_;
    bool limitRoute_;
    std::int64_t channel_ = 0, up_ = 0, limit_ = 0;
    bool maFull_ = false, obvAverage_ = false, hasObv_ = false;
    double maPartial_ = 0.0, cumulative_ = 0.0, obvPartial_ = 0.0;
};

// Smallest t >= from with pred(t), for a predicate that stays true once true.
template <class Pred>
std::int64_t FirstTick(std::int64_t from, Pred pred) {
    std::int64_t step = 1, hi = from;
    while (!pred(hi) && step < (std::int64_t{1} << 40)) hi = from + (step *= 2);
    std::int64_t lo = from;
    while (lo < hi) {
        const std::int64_t mid = lo + (hi - lo) / 2;
        if (pred(mid)) hi = mid; else lo = mid + 1;
    }
    return lo;
}

}  // namespace

const MountedSystem* CAnalysisTechniques::MatchingSystem(int market, const char* code, bool longTerm, int i3) const {
    const MountedSystem* s = State->Mounted;
    if (s == nullptr || s->LongTerm != longTerm || s->Market != market || s->Third != i3) return nullptr;
    return std::strcmp(s->Code, code != nullptr ? code : "") == 0 ? s : nullptr;
}

int CAnalysisTechniques::GetShortTermCPXTips(int market, const char* code, bool longTerm, int i3, UNIKDATA* bars,
                                             int unit, int count, std::vector<_SIG_TABLE>& signals, int index,
                                             std::string& message, double& price, double, int&, bool,
                                             bool narrowLimit) {
    auto refuse = [this](int line) {
        LogExit(*this, "GetShortTermCPXTips", line);
        return 0;
    };
    if (State->Mounted == nullptr) return refuse(9760);
    const MountedSystem* s = MatchingSystem(market, code, longTerm, i3);
    if (s == nullptr) return refuse(9766);
    price = 0;
    if (bars == nullptr || index >= count || index < 0) return refuse(9785);
    if (index < 60) return refuse(9791);
    if (signals.empty()) return refuse(9797);
    if (FindLineSet(s->LineSets, "MACHANEL_3") == nullptr) return refuse(9814);
    if (FindLineSet(s->LineSets, "MACHANEL_4") == nullptr) return refuse(9820);

    const int decimals = PriceDecimals(market, code);
    const _SIG_TABLE* last = LastSignal(signals, index);
    double threshold;
    const char* format;
    if (last != nullptr && last->Kind == 0) {
        const double low29 = MeanOf(bars, unit, index - 28, index, &UNIKDATA::Low) / 10000;
        const double low59 = MeanOf(bars, unit, index - 58, index, &UNIKDATA::Low) / 10000;
        threshold = std::min(low29, low59);
        format = kShortK;
    } else {
        threshold = MeanOf(bars, unit, index - 28, index, &UNIKDATA::High) / 10000 * (narrowLimit ? 1.002 : 1.01);
        format = kShortD;
    }
    const Day d(bars[index]);
    message = Stage2(Stage1(format, decimals), d.year, d.month, d.day, d.hour, d.minute, threshold);
    price = threshold;
    return 1;
}

int CAnalysisTechniques::GetLongTermCPXTips(int market, const char* code, bool longTerm, int i3, UNIKDATA* bars,
                                            int unit, int count, std::vector<_SIG_TABLE>& signals, int index,
                                            std::string& message, double& price, double tolerance, int& near,
                                            bool drawdownExit, bool narrowLimit) {
    if (State->Mounted == nullptr) {
        LogExit(*this, "GetLongTermCPXTips", 9969);
        return 0;
    }
    const MountedSystem* s = MatchingSystem(market, code, longTerm, i3);
    if (s == nullptr) {
        LogExit(*this, "GetLongTermCPXTips", 9975);
        return 0;
    }
    // The long-term routine.
    auto refuse = [this](int line) {
        LogExit(*this, "GetLongTermTips", line);
        return 0;
    };
    // The routine clears both outputs first, so a refusal gives price 0.
    near = 0;
    price = 0;
    if (bars == nullptr || index >= count || index < 0) return refuse(10001);
    if (index < 20) return refuse(10002);
    if (signals.empty()) return refuse(10003);
    const LineSet* lines[5];
    const char* names[5] = {"MACHANEL_1", "MACHANEL_2", "MA1", "VOL_1", "BIAS"};
    for (int k = 0; k < 5; ++k) {
        lines[k] = FindLineSet(s->LineSets, names[k]);
        if (lines[k] == nullptr || !lines[k]->Covers(index + 1)) return refuse(10004 + k);
    }
    const LineSet& ch1 = *lines[0];
    const LineSet& bias = *lines[4];
    const LineSet* obv = FindLineSet(s->LineSets, "OBV");
    if (obv != nullptr && !obv->Covers(index + 1)) obv = nullptr;

    const int decimals = PriceDecimals(market, code);
    const bool warrant = IsWarrantCode(market, code);
    const Day d(bars[index]);
    const double p = Display(bars[index].Close, unit) / 10000;
    const _SIG_TABLE* last = LastSignal(signals, index);

    if (last != nullptr && last->Kind == 0) {
        // Exit: the highest close below which any K rule fires next bar.
        double t = std::min(MeanOf(bars, unit, index - 9, index, &UNIKDATA::Low),
                            MeanOf(bars, unit, index - 19, index, &UNIKDATA::Low)) / 10000;
        if (drawdownExit && bars[index].Close <= bars[index - 1].Close && longTerm)
            t = std::max(t, std::min(p, DeclinePeak(bars, unit, index) / 10000 * 91 / 100));
        if (bias.At(index, 0) / 100 > 24) {
            double low = 9999999;
            for (int j = index - 2; j <= index; ++j) low = std::min(low, Display(bars[j].Low, unit) / 10000);
            t = std::max(t, low);
        }
        const double entry = last->Price / 10000;
        const double threshold = std::max(t, entry - entry * 8 / 100);
        const double distance = (p - threshold) * 100 / p;
        if ((drawdownExit && distance > 5.25) || (!drawdownExit && !warrant && distance > 10.5)) {
            message = DateOnly(kHold, d);
            return 1;
        }
        message = Stage2(Stage1(kLongK, decimals), d.year, d.month, d.day, Nudged(threshold));
        price = threshold;
        const double ratio = std::fabs(p - threshold) / p;
        near = ratio >= 1 - tolerance && ratio <= 1 + tolerance ? 1 : 0;
        return 1;
    }

    auto waitOrEnter = [&](double threshold, auto printEntry) {
        const double distance = (p - threshold) * 100 / p;
        if ((drawdownExit && distance < -5.25) || (!drawdownExit && !warrant && distance < -10.5)) {
            message = DateOnly(kWait, d);
            return 1;
        }
        printEntry();
        return 1;
    };
    if (bias.At(index, 1) / 100 >= 18) {  // overheated: the breakout of the 10-bar high
        double hh10 = Display(bars[index - 9].High, unit) / 10000;
        for (int j = index - 8; j <= index; ++j) hh10 = std::max(hh10, Display(bars[j].High, unit) / 10000);
        const double threshold = std::max(hh10, p * 100.5 / 100);
        return waitOrEnter(threshold, [&] {
            message = Stage2(Stage1(kLongD, decimals), d.year, d.month, d.day, Nudged(threshold));
            price = threshold;
        });
    }

    // Normal case: entry rules a, b and c of the system solved for the next
    // bar. Rule b (close above the 10-bar channel of highs, above the 65-bar
    // average that includes the new close, and 0.5 % above today) and, with
    // the long-term flag, rule a (close above the channel and the limit
    // price) need only a close: tS is the lowest tick at which either fires;
    // both conditions stay true for every higher close. Rule c (close above
    // the channel and the 0.5 % rise but not above the average, with OBV
    // above its 40-bar average) also needs a volume: from the lowest tick
    // above the channel and the rise, tC, when that close is still not above
    // the average, the volume V must lift OBV, cumulative volume / 100, above
    // its average: V is the smallest whole volume for which the recomputed
    // OBV row exceeds its recomputed average. When no volume is needed rule c
    // fires from tC alone; otherwise the two routes are given.
    const Ticks tick{decimals, unit};
    const NextBarEntry next(bars, unit, index, tick, ch1, *lines[2], obv, longTerm,
                            narrowLimit ? 104.98 : 109.08);
    if (!next.Sane()) return refuse(10010);
    const std::int64_t floor = next.Floor();
    const std::int64_t tS = FirstTick(floor, [&](std::int64_t t) { return next.Unconditional(t); });
    std::int64_t tC = tS;
    double volume = -1;  // the largest volume that is still not enough
    if (floor < tS && next.VolumeRoute(floor)) {
        if (next.VolumeEnough(0)) {
            tC = floor;
        } else {
            constexpr std::int64_t kMostVolume = std::int64_t{1} << 62;
            std::int64_t v = 1;
            while (!next.VolumeEnough(static_cast<double>(v)) && v < kMostVolume) v *= 2;
            std::int64_t lo = v / 2, hi = v;
            while (lo < hi) {
                const std::int64_t mid = lo + (hi - lo) / 2;
                if (next.VolumeEnough(static_cast<double>(mid))) hi = mid; else lo = mid + 1;
            }
            if (next.VolumeEnough(static_cast<double>(lo))) volume = static_cast<double>(lo - 1), tC = floor;
        }
    }
    const double single = next.Price((volume < 0 ? std::min(tS, tC) : tS) - 1);
    return waitOrEnter(volume < 0 ? single : next.Price(tC - 1), [&] {
        if (volume < 0) {
            message = Stage2(Stage1(kLongD, decimals), d.year, d.month, d.day, Nudged(single));
        } else {
            message = Stage2(Stage1(kLongTwoRoutes, decimals, decimals), d.year, d.month, d.day,
                             Nudged(next.Price(tC - 1)), volume, Nudged(single));
        }
        price = single;
    });
}
