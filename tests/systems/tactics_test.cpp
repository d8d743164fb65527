// The tactics pools: hand-built series on which each tactic fires on a known
// bar, the boundaries of the comparisons, and properties over real bars.
#include <gtest/gtest.h>

#include <cstring>

#include "bars.h"
#include "fenxi/series.h"

using testbars::Bar;

namespace {

// Twenty level bars at 10.00, then three falling bars and a rebound that
// crosses K above D with the 6-bar BIAS of the bar before at -8.33 %: the
// short pool's oversold entry fires on bar 23, closing at 10.00.
std::vector<UNIKDATA> Oversold(std::initializer_list<UNIKDATA> after) {
    std::vector<UNIKDATA> bars(20, Bar(1000, 1000, 1000, 1000, 1000));
    for (const UNIKDATA& b : {Bar(1000, 1000, 960, 960, 1000), Bar(960, 960, 920, 920, 1000),
                              Bar(920, 920, 880, 880, 1000), Bar(880, 1000, 875, 1000, 1000)})
        bars.push_back(b);
    bars.insert(bars.end(), after);
    return bars;
}

// Twenty-five bars ranging 9.90-10.10 on volume 1000, then `last`.
std::vector<UNIKDATA> Range(const UNIKDATA& last) {
    std::vector<UNIKDATA> bars(25, Bar(1000, 1010, 990, 1000, 1000));
    bars.push_back(last);
    return bars;
}

struct Record {
    int tactic, kind, bar;
    bool operator==(const Record&) const = default;
};

std::vector<Record> Short(std::vector<UNIKDATA> bars) {
    std::vector<CE_LUE_SIGN> signs;
    CAnalysisTechniques e;
    EXPECT_TRUE(e.TacticsPoolsShort(signs, static_cast<int>(bars.size()), bars.data(), 100));
    std::vector<Record> out;
    for (const CE_LUE_SIGN& s : signs) out.push_back({s.Tactic, s.Kind, s.BarIndex});
    return out;
}

}  // namespace

TEST(Tactics, EachRuleFiresOnItsBar) {
    struct Case {
        const char* what;
        std::vector<UNIKDATA> bars;
        std::vector<Record> want;
    };
    const Case cases[] = {
        {"oversold entry, never closed", Oversold({Bar(1000, 1010, 1000, 1010), Bar(1010, 1010, 1000, 1005)}),
         {{1, 0, 23}}},
        {"stop exactly at -5 %", Oversold({Bar(1000, 1000, 950, 950)}), {{1, 0, 23}, {11, 2, 24}}},
        {"just above the stop", Oversold({Bar(1000, 1000, 951, 951)}), {{1, 0, 23}}},
        {"surge exactly +15 %", Oversold({Bar(1000, 1150, 1000, 1150)}), {{1, 0, 23}, {12, 2, 24}}},
        {"overheated bias on a falling bar",
         Oversold({Bar(1000, 1120, 1000, 1120), Bar(1130, 1130, 1100, 1110)}),
         {{1, 0, 23}, {12, 2, 25}}},
        {"trailing retreat exactly 6 % off the peak",
         Oversold({Bar(1000, 1100, 1000, 1100), Bar(1020, 1100, 1020, 1034)}),
         {{1, 0, 23}, {13, 2, 25}}},
        {"just above the trailing level", Oversold({Bar(1000, 1100, 1000, 1100), Bar(1020, 1100, 1020, 1035)}),
         {{1, 0, 23}}},
        {"stop and trailing on one bar: the stop", Oversold({Bar(1000, 1100, 1000, 1100), Bar(1100, 1100, 950, 950)}),
         {{1, 0, 23}, {11, 2, 25}}},
        {"breakout on twice the volume", Range(Bar(1000, 1011, 1000, 1011, 2000)), {{2, 0, 25}}},
        {"close at the window's high", Range(Bar(1000, 1010, 1000, 1010, 2000)), {}},
        {"volume just short", Range(Bar(1000, 1011, 1000, 1011, 1999)), {}},
        {"a bar that closes a position does not reopen it",
         [] {
             auto bars = Range(Bar(1000, 1011, 1000, 1011, 2000));
             bars.push_back(Bar(1011, 1163, 1011, 1163, 3000));  // +15.03 %, and a breakout again
             return bars;
         }(),
         {{2, 0, 25}, {12, 2, 26}}},
    };
    for (const Case& c : cases) EXPECT_EQ(Short(c.bars), c.want) << c.what;
}

TEST(Tactics, RecordsCarryTheirFields) {
    std::vector<UNIKDATA> bars = Oversold({Bar(1000, 1000, 950, 950)});
    for (std::size_t i = 0; i < bars.size(); ++i) bars[i].Date = 20240101 + static_cast<int>(i);
    std::vector<CE_LUE_SIGN> signs(1);  // appended to, never cleared
    CAnalysisTechniques e;
    ASSERT_TRUE(e.TacticsPoolsMid(signs, static_cast<int>(bars.size()), bars.data(), 1000));
    ASSERT_TRUE(e.TacticsPoolsShort(signs, static_cast<int>(bars.size()), bars.data(), 1000));
    ASSERT_EQ(signs.size(), 4u);  // mid: an entry its 8 % stop keeps open; short: entry and exit
    EXPECT_EQ(signs[1].Pool, 2);
    const CE_LUE_SIGN& entry = signs[2];
    const CE_LUE_SIGN& exit = signs[3];
    EXPECT_EQ(entry.Sequence, 3);
    EXPECT_EQ(entry.Pool, 1);
    EXPECT_EQ(entry.Link, -1);
    EXPECT_EQ(entry.Date, 20240124);
    EXPECT_EQ(entry.Price, 1000.0 * 10000.0 / 1000);
    EXPECT_DOUBLE_EQ(entry.Measure, (880.0 - 960.0) / 960.0 * 100.0);
    EXPECT_STREQ(entry.Name, "超跌反弹");
    EXPECT_EQ(exit.Link, 3);
    EXPECT_EQ(exit.Measure, -5.0);
    EXPECT_STREQ(exit.Name, "保护性止损");
    char tail[48] = {};
    const std::size_t used = std::strlen(exit.Name);
    EXPECT_EQ(std::memcmp(exit.Name + used, tail, sizeof tail - used), 0);

    std::vector<_SIG_TABLE> points;
    EXPECT_FALSE(e.TacticsPools(points, 0, bars.data(), 100));
    EXPECT_FALSE(e.TacticsPools(points, 10, nullptr, 100));
    EXPECT_FALSE(e.TacticsPoolsShort(signs, 10, bars.data(), 0));
    EXPECT_TRUE(points.empty());
    EXPECT_EQ(signs.size(), 4u);
}

// Over real bars: no exit rule holds between an entry and its exit, each
// exit closes the open entry of its own position, and the long pool's D and
// K points alternate.
TEST(Tactics, PositionsOverRealBars) {
    struct Horizon {
        int pool, N, S, G, B, W;
    };
    auto bars = testbars::Sample();
    const int n = static_cast<int>(bars.size());
    for (const Horizon h : {Horizon{1, 6, 5, 15, 8, 6}, Horizon{2, 12, 8, 30, 15, 10}}) {
        CAnalysisTechniques e;
        std::vector<CE_LUE_SIGN> signs;
        ASSERT_TRUE(h.pool == 1 ? e.TacticsPoolsShort(signs, n, bars.data(), 100)
                                : e.TacticsPoolsMid(signs, n, bars.data(), 100));
        const auto bias = fenxi::Compute("BIAS", {h.N, h.N, h.N}, fenxi::Bars{bars, 100}).values[0];
        ASSERT_GT(signs.size(), 10u);
        for (int position : {1, 2}) {
            const CE_LUE_SIGN* open = nullptr;
            for (const CE_LUE_SIGN& s : signs) {
                if (s.Kind == 0 && s.Tactic != position) continue;
                if (s.Kind == 2 && (open == nullptr || s.Link != open->Sequence)) continue;  // the other position's
                EXPECT_EQ(s.Pool, h.pool);
                if (s.Kind == 0) {
                    ASSERT_EQ(open, nullptr) << "entry while holding at bar " << s.BarIndex;
                    open = &s;
                    continue;
                }
                const std::int32_t e0 = bars[open->BarIndex].Close;
                std::int32_t peak = e0;
                for (int i = open->BarIndex + 1; i <= s.BarIndex; ++i) {
                    const double gain = static_cast<double>(std::int64_t{bars[i].Close} - e0) * 100.0 / e0;
                    const bool fires = gain <= -h.S || gain >= h.G ||
                                       (bias[i] >= h.B && gain > 0 && bars[i].Close < bars[i].Open) ||
                                       (peak > e0 && bars[i].Close * 100.0 <= peak * (100.0 - h.W));
                    EXPECT_EQ(fires, i == s.BarIndex) << "pool " << h.pool << " bar " << i;
                    peak = std::max(peak, bars[i].Close);
                }
                open = nullptr;
            }
        }
    }
    CAnalysisTechniques e;
    std::vector<_SIG_TABLE> points;
    ASSERT_TRUE(e.TacticsPools(points, n, bars.data(), 100));
    ASSERT_GT(points.size(), 2u);
    for (std::size_t k = 0; k < points.size(); ++k) {
        EXPECT_EQ(points[k].Kind, k % 2 == 0 ? 0 : 2);
        EXPECT_EQ(points[k].Link, k % 2 == 0 ? -1 : points[k - 1].Sequence);
        if (k > 0) {
            EXPECT_GT(points[k].BarIndex, points[k - 1].BarIndex);
        }
    }
}
