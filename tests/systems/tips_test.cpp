// A tip is right when it predicts the system: a next bar one tick beyond the
// printed threshold produces the point, one tick short of it does not.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "bars.h"

using namespace testbars;

namespace {

constexpr const char* kCode = "002032";

struct SystemRun {
    std::vector<UNIKDATA> bars = Sample();
    bool shortSystem;

    std::vector<_SIG_TABLE> Signals(CAnalysisTechniques& e, int count) {
        std::vector<_SIG_TABLE> s;
        e.MountAdvSys(s, 0, false, !shortSystem, kCode, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, count, bars.data(), 100,
                      shortSystem, false, false, true);
        return s;
    }
    // Replaces bar index + 1 and tells whether the system marks it `kind`.
    bool PointOnNextBar(int index, std::int32_t close, std::int32_t high, std::uint64_t volume, int kind) {
        UNIKDATA& next = bars[index + 1];
        next.Open = next.Low = next.Close = close;
        next.High = high;
        next.Volume = volume;
        CAnalysisTechniques e;
        for (const _SIG_TABLE& p : Signals(e, index + 2))
            if (p.BarIndex == index + 1) return p.Kind == kind;
        return false;
    }
};

std::int32_t Cents(double price) { return static_cast<std::int32_t>(std::lround(price * 100)); }

}  // namespace

TEST(Tips, ShortTermTipPredictsTheNextPoint) {
    SystemRun run{.shortSystem = true};
    int checked = 0;
    for (int index = 100; index < 2700; index += 41) {
        CAnalysisTechniques e;
        auto signals = run.Signals(e, index + 1);
        std::string text;
        double price = 0;
        int unused = 0;
        if (e.GetShortTermCPXTips(0, kCode, false, 0, run.bars.data(), 100, index + 1, signals, index, text, price, 0,
                                  unused, false, false) != 1)
            continue;
        const bool buy = text.find("D点") != std::string::npos;
        const std::int32_t printed = Cents(price), step = buy ? 1 : -1;
        // For a buy the new bar's high is the 29-bar mean, so the 30-bar
        // channel the system reads is the mean the tip uses.
        double highs = 0;
        for (int j = index - 28; j <= index; ++j) highs += run.bars[j].High;
        const auto saved = run.bars[index + 1];
        for (int delta : {1, -1}) {
            const std::int32_t close = printed + step * delta;
            const std::int32_t high = buy ? static_cast<std::int32_t>(std::lround(highs / 29)) : close;
            EXPECT_EQ(run.PointOnNextBar(index, close, high, 0, buy ? 0 : 2), delta == 1)
                << "bar " << index << (buy ? " D " : " K ") << close;
        }
        run.bars[index + 1] = saved;
        ++checked;
    }
    EXPECT_GT(checked, 40);
}

TEST(Tips, LongTermTipsPredictTheNextPoint) {
    SystemRun run{.shortSystem = false};
    int exits = 0, entries = 0, twoRoutes = 0;
    for (int index = 100; index < 2790; index += 13) {
        CAnalysisTechniques e;
        auto signals = run.Signals(e, index + 1);
        std::string text;
        double price = 0;
        int near = 0;
        if (e.GetLongTermCPXTips(0, kCode, true, 0, run.bars.data(), 100, index + 1, signals, index, text, price, 0.0,
                                 near, false, false) != 1 ||
            price == 0)
            continue;  // hold or wait: no threshold
        const auto saved = run.bars[index + 1];
        const std::int32_t printed = Cents(price);
        if (text.find("K点") != std::string::npos) {
            for (int delta : {1, -1})
                EXPECT_EQ(run.PointOnNextBar(index, printed - delta, printed - delta, 0, 2), delta == 1)
                    << "exit at bar " << index;
            ++exits;
        } else {
            for (int delta : {1, -1})
                EXPECT_EQ(run.PointOnNextBar(index, printed + delta, printed + delta, 0, 0), delta == 1)
                    << "entry at bar " << index << " " << text;
            ++entries;
            const auto route = text.find("1.如果");
            if (route != std::string::npos) {
                // "> P1 且明日成交量 > V": close P1 + 1 tick, with V + 1 and V.
                double p1 = 0, v = 0;
                ASSERT_EQ(std::sscanf(text.c_str() + text.find("> ", route) + 2, "%lf", &p1), 1);
                ASSERT_EQ(std::sscanf(text.c_str() + text.find("成交量 > ") + std::strlen("成交量 > "), "%lf", &v), 1) << text;
                const std::int32_t c = Cents(p1) + 1;
                EXPECT_TRUE(run.PointOnNextBar(index, c, c, static_cast<std::uint64_t>(v) + 1, 0)) << index;
                EXPECT_FALSE(run.PointOnNextBar(index, c, c, static_cast<std::uint64_t>(v), 0)) << index;
                ++twoRoutes;
            }
        }
        run.bars[index + 1] = saved;
    }
    EXPECT_GT(exits, 10);
    EXPECT_GT(entries, 10);
    EXPECT_GT(twoRoutes, 5);
}

TEST(Tips, RefusalsAreLoggedWithTheirCodes) {
    static std::vector<std::string> seen;
    seen.clear();
    struct Sink : IAnaLog {
        void Output(const std::string& t) override { seen.push_back(t); }
    } sink;
    auto bars = Sample();
    CAnalysisTechniques e;
    e.SetAnalog(&sink);
    std::vector<_SIG_TABLE> signals;
    std::string text = "kept";
    double price = 7;
    int n = 0;
    e.GetShortTermCPXTips(0, kCode, false, 0, bars.data(), 100, 100, signals, 99, text, price, 0, n, false, false);
    e.MountAdvSys(signals, 0, false, false, kCode, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 300, bars.data(), 100, true, false,
                  false, false);
    e.GetShortTermCPXTips(1, kCode, false, 0, bars.data(), 100, 300, signals, 99, text, price, 0, n, false, false);
    e.GetShortTermCPXTips(0, kCode, false, 0, bars.data(), 100, 300, signals, 59, text, price, 0, n, false, false);
    e.GetLongTermCPXTips(0, kCode, true, 0, bars.data(), 100, 300, signals, 99, text, price, 0, n, false, false);
    e.ClearTechData();
    e.GetLongTermCPXTips(0, kCode, true, 0, bars.data(), 100, 300, signals, 99, text, price, 0, n, false, false);
    const std::vector<std::string> want = {
        "func GetShortTermCPXTips Exit. line = @9760\r\n", "func GetShortTermCPXTips Exit. line = @9766\r\n",
        "func GetShortTermCPXTips Exit. line = @9791\r\n", "func GetLongTermCPXTips Exit. line = @9975\r\n",
        "func GetLongTermCPXTips Exit. line = @9969\r\n"};
    EXPECT_EQ(seen, want);
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(price, 0.0);  // the short-term refusal after its step 1

    // The long-term routine's own refusals clear the price; the matching
    // step's leave it as the caller had it.
    signals.clear();
    e.MountAdvSys(signals, 0, false, true, kCode, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 300, bars.data(), 100, false, false,
                  false, false);
    for (int index : {10, 300}) {
        price = 7;
        EXPECT_EQ(e.GetLongTermCPXTips(0, kCode, true, 0, bars.data(), 100, 300, signals, index, text, price, 0, n,
                                       false, false), 0);
        EXPECT_EQ(price, 0.0) << index;
    }
    price = 7;
    e.GetLongTermCPXTips(1, kCode, true, 0, bars.data(), 100, 300, signals, 100, text, price, 0, n, false, false);
    EXPECT_EQ(price, 7.0);
}

TEST(Tips, TextsAndDecimals) {
    auto bars = Sample();
    bars[200].Date = 20180605;
    bars[200].Time = 93000;
    for (const char* code : {kCode, "159915"}) {
        CAnalysisTechniques e;
        std::vector<_SIG_TABLE> signals;
        e.MountAdvSys(signals, 0, false, false, code, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 201, bars.data(), 100, true,
                      false, false, false);
        std::string text;
        double price = 0;
        int n = 0;
        ASSERT_EQ(e.GetShortTermCPXTips(0, code, false, 0, bars.data(), 100, 201, signals, 200, text, price, 0, n,
                                        false, false), 1);
        char want[256];
        const bool three = code[0] == '1';
        std::snprintf(want, sizeof want, three ? "%.3f" : "%.2f", price);
        EXPECT_EQ(text.rfind("2018/06/05 9:30操作提示\n 下一K线收盘价格 ", 0), 0u) << text;
        EXPECT_NE(text.find(want), std::string::npos) << text;
    }
}
