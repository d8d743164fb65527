// The advanced long/short system: mounting its lines and marking D and K
// points over the bars.
#include <algorithm>
#include <cstring>
#include <optional>
#include <span>

#include "core/engine_state.h"
#include "core/pool.h"
#include "systems/signal_math.h"
#include "systems/signal_records.h"

using namespace fenxi;

namespace {

struct Mount {
    const char* name;
    int code;
    std::int32_t params[3];
    std::uint32_t kept;  // the columns the systems and their tips read
};

// Columns 5 and 6 of a channel are its averages of highs and lows; the
// long-term set's fast channel is read by neither system.
constexpr std::uint32_t kHighs = 1u << 5, kLows = 1u << 6, kFirstTwo = 1u << 0 | 1u << 1;
constexpr Mount kLongTermLines[] = {
    {"MACHANEL_1", 134, {10}, kHighs | kLows}, {"MACHANEL_2", 134, {20}, kLows},
    {"MACHANEL_3", 134, {5}, 0},               {"MA1", 0, {65}, kFirstTwo},
    {"VOL_1", 101, {20, 40}, 0},               {"OBV", 119, {40}, kFirstTwo},
    {"BIAS", 106, {20, 30, 20}, kFirstTwo},
};
constexpr Mount kShortTermLines[] = {{"MACHANEL_3", 134, {30}, kHighs | kLows}, {"MACHANEL_4", 134, {60}, kLows}};

void Append(std::vector<_SIG_TABLE>& signals, int kind, double price, const UNIKDATA& bar, int link, int index) {
    _SIG_TABLE row{};
    row.Sequence = static_cast<std::int32_t>(signals.size()) + 1;
    row.Kind = kind;
    row.Price = price;
    row.Date = bar.Date;
    row.Time = bar.Time;
    row.Link = link;
    row.BarIndex = index;
    signals.push_back(row);
}

// A line set that holds a row for every bar, or null.
const LineSet* Line(const MountedSystem& system, const char* name, int count) {
    const LineSet* set = FindLineSet(system.LineSets, name);
    return set != nullptr && set->Covers(count) ? set : nullptr;
}

}  // namespace

bool CAnalysisTechniques::MountAdvSys(std::vector<_SIG_TABLE>& signals, int, bool, bool longTerm, const char* code,
                                      int market, int i2, int i3, int i4, int i5, int i6, int i7, int, int i9, int,
                                      int count, UNIKDATA* bars, int unit, bool shortSystem, bool drawdownExit,
                                      bool narrowLimit, bool limitRules) {
    ClearTechData();
    auto* system = new MountedSystem;
    State->Mounted = system;
    system->LongTerm = longTerm;
    if (code != nullptr) std::strncpy(system->Code, code, sizeof system->Code - 1);
    system->Market = market;
    system->Third = i3;

    const std::int32_t reference[6] = {i2, i3, i4, i5, i6, i7};
    std::optional<BarFields> fields;
    if (bars != nullptr && count > 0) fields.emplace(bars, count);
    for (const Mount& m : longTerm ? std::span<const Mount>(kLongTermLines) : std::span<const Mount>(kShortTermLines)) {
        LineDefinition definition{};
        std::strncpy(definition.Name, m.name, sizeof definition.Name - 1);
        definition.Code = m.code;
        std::copy(std::begin(m.params), std::end(m.params), definition.Params);
        system->Definitions.push_back(definition);
        AddLineSet(system->LineSets, definition.Name, definition.Code, system->Code, market, definition.Params,
                   reference, i9, count, bars, unit, m.kept, fields ? &*fields : nullptr);
    }
    if (bars == nullptr || count < 1) return false;
    if (shortSystem)
        RunShortTermSystem(signals, count, bars, unit, narrowLimit);
    else
        RunLongTermSystem(signals, count, bars, unit, drawdownExit, narrowLimit, limitRules);
    return false;
}

void CAnalysisTechniques::RunShortTermSystem(std::vector<_SIG_TABLE>& signals, int count, UNIKDATA* bars, int unit,
                                             bool narrowLimit) {
    MountedSystem& s = *State->Mounted;
    const LineSet* ch3 = Line(s, "MACHANEL_3", count);
    const LineSet* ch4 = Line(s, "MACHANEL_4", count);
    if (ch3 == nullptr || ch4 == nullptr || count < 60) return;
    const double factor = narrowLimit ? 1.002 : 1.01;
    const int start = std::max(s.NextBar, 60);
    for (int i = start; i < count; ++i) {
        const double p = Display(bars[i].Close, unit);
        if (s.Position == 0) {
            const double threshold = ch3->At(i, 5) * factor;  // the channel of highs
            if (p > threshold) {
                Append(signals, 0, threshold, bars[i], -1, i);
                s.Position = 1;
                s.LastSequence = signals.back().Sequence;
            }
        } else {
            const double a = ch4->At(i, 6), b = ch3->At(i, 6);  // the channels of lows
            if (a > p && b > p) {
                Append(signals, 2, std::min(a, b), bars[i], s.LastSequence, i);
                s.Position = 0;
                s.LastSequence = signals.back().Sequence;
            }
        }
    }
    s.NextBar = count - 1;
}

void CAnalysisTechniques::RunLongTermSystem(std::vector<_SIG_TABLE>& signals, int count, UNIKDATA* bars, int unit,
                                            bool drawdownExit, bool narrowLimit, bool limitRules) {
    MountedSystem& s = *State->Mounted;
    const LineSet* ch1 = Line(s, "MACHANEL_1", count);
    const LineSet* ch2 = Line(s, "MACHANEL_2", count);
    const LineSet* ma1 = Line(s, "MA1", count);
    const LineSet* vol = Line(s, "VOL_1", count);
    const LineSet* bias = Line(s, "BIAS", count);
    const LineSet* obv = Line(s, "OBV", count);
    if (!ch1 || !ch2 || !ma1 || !vol || !bias || count < 21) return;
    const int start = std::max(s.NextBar, 21);
    const Ticks tick{PriceDecimals(s.Market, s.Code), unit};
    // Separate literals: 100 + 4.98 is not the double nearest 104.98.
    const double limitPct = narrowLimit ? 4.98 : 9.08;
    const double limitFactor = narrowLimit ? 104.98 : 109.08;
    // Each bar's high and low in display units, converted once: the windows
    // below read them up to 20 bars back.
    const int from = start - 20;
    Scratch<double> highs(static_cast<std::size_t>(std::max(count - from, 0)));
    Scratch<double> lows(static_cast<std::size_t>(std::max(count - from, 0)));
    for (int j = from; j < count; ++j) {
        highs[j - from] = Display(bars[j].High, unit);
        lows[j - from] = Display(bars[j].Low, unit);
    }
    // MeanOf over the converted column: the same values in the same order.
    auto mean = [&](const Scratch<double>& v, int first, int last) {
        double total = 0.0;
        for (int j = first; j <= last; ++j) total += v[j - from];
        return total / (last - first + 1);
    };
    double entry = 0.0;
    for (int i = start; i < count; ++i) {
        const UNIKDATA& bar = bars[i];
        const double prev = Display(bars[i - 1].Close, unit);
        const double rise =
            static_cast<double>((std::int64_t{bar.Close} - bars[i - 1].Close) * 100) / bars[i - 1].Close;
        const double up = prev * 100.5 / 100;
        const double limit = prev * limitFactor / 100;
        double hh10 = highs[i - 10 - from];
        for (int j = i - 9; j < i; ++j) hh10 = std::max(hh10, highs[j - from]);
        const double avgH10 = mean(highs, i - 10, i - 1);
        const std::int64_t c = tick.OfRaw(bar.Close);
        bool hit = false;
        double price = 0.0;
        if (s.Position == 0) {
            if (bias->At(i - 1, 1) / 100 >= 18) {  // overheated
                if (c > tick.Of(std::max(up, hh10)) && rise > 0.5) hit = true, price = hh10;
            } else {
                const bool aboveChannel = c > tick.Of(ch1->At(i - 1, 5));
                if (limitRules && c > tick.Of(limit) && aboveChannel) hit = true, price = prev + prev * limitPct / 100;
                if (aboveChannel && c > tick.Of(ma1->At(i, 1)) && c > tick.Of(up))
                    hit = true, price = std::max(up, avgH10);
                if (aboveChannel && c <= tick.Of(ma1->At(i, 1)) && obv != nullptr && obv->At(i, 0) > obv->At(i, 1) &&
                    c > tick.Of(up))
                    hit = true, price = std::max(up, avgH10);
            }
            if (hit) {
                Append(signals, 0, price, bar, -1, i);
                s.Position = 1;
                s.LastSequence = signals.back().Sequence;
                entry = price;
            }
            continue;
        }
        if (drawdownExit && limitRules && c < tick.Of(DeclinePeak(bars, unit, i) * 91 / 100))
            hit = true, price = Display(bar.Close, unit);
        if (bias->At(i - 1, 0) / 100 > 24) {
            double low3 = 9999999;
            for (int j = i - 3; j < i; ++j) low3 = std::min(low3, lows[j - from]);
            if (c < tick.Of(low3)) hit = true, price = low3;
        }
        if (c < tick.Of(ch2->At(i - 1, 6)) && c < tick.Of(ch1->At(i - 1, 6)))
            hit = true, price = std::min(mean(lows, i - 10, i - 1), mean(lows, i - 20, i - 1));
        const double stop = entry - entry * 8 / 100;
        if (c < tick.Of(stop)) hit = true, price = stop;
        if (hit) {
            Append(signals, 2, price, bar, s.LastSequence, i);
            s.Position = 0;
            s.LastSequence = signals.back().Sequence;
        }
    }
    s.NextBar = count - 1;
}
