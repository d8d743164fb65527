// The tactics pools: two entry tactics and three exit tactics walked over a
// security's bars with the parameters of one horizon.
#include <algorithm>
#include <cstring>
#include <vector>

#include "core/pool.h"
#include "core/window.h"
#include "indicators/columns.h"
#include "indicators/stochastic.h"

namespace fenxi {
namespace {

struct Horizon {
    int N;     // bias period
    int T;     // oversold level, percent
    int H;     // breakout window, bars
    double R;  // volume ratio
    int S;     // stop, percent
    int G;     // surge gain, percent
    int B;     // overheat bias, percent
    int W;     // trailing retreat, percent
};
constexpr Horizon kShort{6, -6, 20, 2.0, 5, 15, 8, 6};
constexpr Horizon kMid{12, -10, 60, 1.8, 8, 30, 15, 10};
constexpr Horizon kLong{24, -15, 120, 1.5, 12, 50, 25, 15};

enum Tactic { kOversoldRebound = 1, kVolumeBreakout = 2, kProtectiveStop = 11, kRunawaySurge = 12, kTrailingProfit = 13 };

const char* TacticName(int id) {
    switch (id) {
        case kOversoldRebound: return "超跌反弹";
        case kVolumeBreakout: return "放量突破";
        case kProtectiveStop: return "保护性止损";
        case kRunawaySurge: return "逃逸性暴涨止盈";
        default: return "移动止盈";
    }
}

// What the rules read, per bar: BIAS(N) in percent, K and D of KDJ(9, 3, 3)
// as the row form holds them (x100), and the highest high of the H bars
// ending at each bar.
struct Lines {
    PooledColumn bias, k, d, highest;
};

void ComputeLines(UNIKDATA* bars, int count, int unit, const Horizon& h, Lines& out) {
    const auto n = static_cast<std::size_t>(count);
    out.bias.resize(n);
    out.k.resize(n);
    out.d.resize(n);
    out.highest.resize(n);
    // The kernels of GenerateBIAS and GenerateKDJ: their rows' values.
    BiasValues(bars, unit, count, h.N, [&](int i, double v) { out.bias[i] = v / 100.0; });
    KdjValues(bars, count, 9, 3, 3, [&](int i, double, double k, double d) {
        out.k[i] = k * 100;
        out.d[i] = d * 100;
    });
    SlidingExtreme(count, h.H, true, [&](int j) { return bars[j].High; },
                   [&](int i, std::int32_t v) { out.highest[i] = v; });
}

// A rule's verdict on one bar, with the figure that fired it.
struct Hit {
    bool fired = false;
    double measure = 0.0;
};

Hit OversoldRebound(const UNIKDATA* b, const Lines& l, const Horizon& h, int i) {
    if (i < std::max(h.N, 10)) return {};
    const bool fired = l.bias[i - 1] <= h.T && b[i].Close > b[i].Open && b[i].Close > b[i - 1].Close &&
                       l.k[i] > l.d[i] && l.k[i - 1] <= l.d[i - 1];
    return {fired, l.bias[i - 1]};
}

Hit VolumeBreakout(const UNIKDATA* b, const Lines& l, const Horizon& h, int i) {
    if (i < h.H || !(b[i].Close > l.highest[i - 1])) return {};
    double total = 0.0;
    for (int j = i - 5; j < i; ++j) total += static_cast<double>(b[j].Volume);
    const double average = total / 5.0;
    const double volume = static_cast<double>(b[i].Volume);
    if (!(average > 0 && volume >= h.R * average)) return {};
    return {true, volume / average};
}

// One position: flat or holding since `entryBar`.
struct Position {
    bool holding = false;
    int entryBar = -1;
    int closedBar = -1;
    std::int32_t entryClose = 0;
    std::int32_t peak = 0;  // highest close from the entry bar to the previous bar
    int sequence = 0;
};

// The first exit that fires at bar i, tested in the order 11, 12, 13.
int ExitAt(const UNIKDATA* b, const Lines& l, const Horizon& h, const Position& p, int i, double& gain) {
    const std::int32_t e = p.entryClose, c = b[i].Close;
    gain = static_cast<double>(std::int64_t{c} - e) * 100.0 / static_cast<double>(e);
    if (gain <= -h.S) return kProtectiveStop;
    if (gain >= h.G || (l.bias[i] >= h.B && gain > 0 && c < b[i].Open)) return kRunawaySurge;
    if (p.peak > e && static_cast<double>(c) * 100.0 <= static_cast<double>(p.peak) * (100 - h.W))
        return kTrailingProfit;
    return 0;
}

double DisplayPrice(std::int32_t close, int unit) { return static_cast<double>(close) * 10000.0 / unit; }

// Walks the bars for each position, handing every opening and closing to
// `record(position, tactic, kind, bar, measure, link)` in bar order, the
// first position first on a bar; `record` returns the record's sequence.
// `entry(position, i)` tests a flat position's entry tactics.
template <class Entry, class Record>
void Walk(const UNIKDATA* b, int count, const Lines& l, const Horizon& h, int positions, Entry entry, Record record) {
    Position pos[2];
    for (int i = 0; i < count; ++i) {
        for (int k = 0; k < positions; ++k) {
            Position& p = pos[k];
            if (p.holding && i > p.entryBar) {
                double gain = 0.0;
                if (const int exit = ExitAt(b, l, h, p, i, gain)) {
                    record(k, exit, 2, i, gain, p.sequence);
                    p.holding = false;
                    p.closedBar = i;
                } else {
                    p.peak = std::max(p.peak, b[i].Close);
                }
            } else if (!p.holding && i != p.closedBar) {
                int tactic = 0;
                const Hit hit = entry(k, i, tactic);
                if (hit.fired) {
                    p = Position{true, i, -1, b[i].Close, b[i].Close, record(k, tactic, 0, i, hit.measure, -1)};
                }
            }
        }
    }
}

bool Valid(const UNIKDATA* bars, int count, int unit) { return bars != nullptr && count >= 1 && unit >= 1; }

bool SignPool(std::vector<CE_LUE_SIGN>& signs, int count, UNIKDATA* bars, int unit, const Horizon& h, int pool) {
    if (!Valid(bars, count, unit)) return false;
    Lines lines;
    ComputeLines(bars, count, unit, h, lines);
    auto entry = [&](int position, int i, int& tactic) {
        tactic = position == 0 ? kOversoldRebound : kVolumeBreakout;
        return position == 0 ? OversoldRebound(bars, lines, h, i) : VolumeBreakout(bars, lines, h, i);
    };
    auto record = [&](int, int tactic, int kind, int i, double measure, int link) {
        CE_LUE_SIGN s{};
        s.Sequence = static_cast<std::int32_t>(signs.size()) + 1;
        s.Tactic = tactic;
        s.Kind = kind;
        s.BarIndex = i;
        s.Date = bars[i].Date;
        s.Time = bars[i].Time;
        s.Price = DisplayPrice(bars[i].Close, unit);
        s.Measure = measure;
        s.Link = link;
        s.Pool = pool;
        std::strncpy(s.Name, TacticName(tactic), sizeof s.Name - 1);
        signs.push_back(s);
        return s.Sequence;
    };
    Walk(bars, count, lines, h, 2, entry, record);
    return true;
}

}  // namespace
}  // namespace fenxi

using namespace fenxi;

bool CAnalysisTechniques::TacticsPoolsShort(std::vector<CE_LUE_SIGN>& signs, int count, UNIKDATA* bars, int unit) {
    return SignPool(signs, count, bars, unit, kShort, 1);
}

bool CAnalysisTechniques::TacticsPoolsMid(std::vector<CE_LUE_SIGN>& signs, int count, UNIKDATA* bars, int unit) {
    return SignPool(signs, count, bars, unit, kMid, 2);
}

bool CAnalysisTechniques::TacticsPools(std::vector<_SIG_TABLE>& signals, int count, UNIKDATA* bars, int unit) {
    if (!Valid(bars, count, unit)) return false;
    Lines lines;
    ComputeLines(bars, count, unit, kLong, lines);
    // Tactic 1 first; tactic 2 only when it does not fire.
    auto entry = [&](int, int i, int& tactic) {
        tactic = kOversoldRebound;
        const Hit first = OversoldRebound(bars, lines, kLong, i);
        if (first.fired) return first;
        tactic = kVolumeBreakout;
        return VolumeBreakout(bars, lines, kLong, i);
    };
    auto record = [&](int, int, int kind, int i, double, int link) {
        _SIG_TABLE s{};
        s.Sequence = static_cast<std::int32_t>(signals.size()) + 1;
        s.Kind = kind;
        s.Price = DisplayPrice(bars[i].Close, unit);
        s.Date = bars[i].Date;
        s.Time = bars[i].Time;
        s.Link = link;
        s.BarIndex = i;
        signals.push_back(s);
        return s.Sequence;
    };
    Walk(bars, count, lines, kLong, 1, entry, record);
    return true;
}
