#include <gtest/gtest.h>

#include <cstring>

#include "bars.h"
#include "fenxi/signals.h"
#include "systems/signal_records.h"

using namespace testbars;
using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

TEST(SignalRecords, PriceDecimalsAndWarrants) {
    struct Case { int market; const char* code; int decimals; };
    for (const Case c : {Case{0, "159915", 3}, Case{0, "000001", 2}, Case{0, "031005", 3}, Case{0, "038001", 3},
                         Case{1, "510050", 3}, Case{1, "600000", 2}, Case{1, "900901", 3}, Case{1, "580001", 3},
                         Case{0, "15991", 2}, Case{2, "510050", 2}, Case{0, nullptr, 2}}) {
        EXPECT_EQ(fenxi::PriceDecimals(c.market, c.code), c.decimals) << c.market << " " << (c.code ? c.code : "-");
    }
    EXPECT_TRUE(fenxi::IsWarrantCode(0, "030001"));
    EXPECT_FALSE(fenxi::IsWarrantCode(1, "038001"));
    EXPECT_FALSE(fenxi::IsWarrantCode(1, "5800011"));
}

TEST(SignalRecords, LineSetsAreUniqueByName) {
    auto bars = Sample();
    std::vector<fenxi::LineSet*> list;
    const std::int32_t params[10] = {10}, reference[6] = {};
    EXPECT_TRUE(fenxi::AddLineSet(list, "MACHANEL_1", 134, "002032", 0, params, reference, 0, 100, bars.data(), 100));
    EXPECT_FALSE(fenxi::AddLineSet(list, "MACHANEL_1", 134, "002032", 0, params, reference, 0, 100, bars.data(), 100));
    EXPECT_TRUE(fenxi::AddLineSet(list, "EMPTY", 142, "002032", 0, params, reference, 0, 0, bars.data(), 100));
    EXPECT_TRUE(fenxi::AddLineSet(list, "UNKNOWN", 999, "002032", 0, params, reference, 0, 10, bars.data(), 100));
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(fenxi::FindLineSet(list, "MACHANEL_1")->RowCount, 100);
    EXPECT_EQ(fenxi::FindLineSet(list, "MACHANEL_1")->Constant195959, 195959);
    EXPECT_EQ(fenxi::FindLineSet(list, "EMPTY")->Rows, nullptr);
    EXPECT_EQ(fenxi::FindLineSet(list, "UNKNOWN")->Rows, nullptr);
    EXPECT_EQ(fenxi::FindLineSet(list, "MACHANEL_"), nullptr);
    for (auto* set : list) delete set;
}

// The dispatcher passes each code's parameters in the generator's order.
TEST(Dispatcher, CodesRunTheirGenerators) {
    auto all = Sample();
    UNIKDATA* b = all.data();
    const int n = 150;
    const std::int32_t p[10] = {5, 12, 9, 2, 30, 40, 50};
    using Direct = std::function<void(CAnalysisTechniques&, FENXIDATA*&, PROPERTY*)>;
    struct Case { int code; Direct direct; };
    const Case cases[] = {
        {0, [&](auto& e, auto& r, auto* q) { e.GenerateMA1(b, 100, r, n, 5, q); }},
        {6, [&](auto& e, auto& r, auto* q) { e.GenerateMA7(b, 100, r, n, 5, 12, 9, 2, 30, 40, 50, q); }},
        {9, [&](auto& e, auto& r, auto* q) { e.GenerateBOLLIN(b, 100, r, n, 5, 12, 9, 0, q); }},
        {10, [&](auto& e, auto& r, auto* q) { e.GenerateEXPMA(b, 100, r, n, 5, 12, q); }},
        {102, [&](auto& e, auto& r, auto* q) { e.GenerateMACD(b, 100, r, n, 5, 12, 9, q); }},
        {105, [&](auto& e, auto& r, auto* q) { e.GenerateWR(b, 100, r, n, 5, 12, 9, q); }},
        {116, [&](auto& e, auto& r, auto* q) { e.GenerateMTM(b, 100, r, n, 5, 12, q); }},
        {121, [&](auto& e, auto& r, auto* q) { e.GenerateKD(b, 100, r, n, 5, 12, 9, q); }},
        {135, [&](auto& e, auto& r, auto* q) { e.GenerateLifeLine(b, 100, r, n, q); }},
        {138, [&](auto& e, auto& r, auto* q) { e.GenerateDHCMX(b, 100, r, n, 5, q); }},
        {158, [&](auto& e, auto& r, auto* q) { e.GenerateSHLDXFX(b, 100, r, n, q); }},
        {161, [&](auto& e, auto& r, auto* q) {
             e.GenerateLLV(b, 100, r, n, static_cast<CAnalysisTechniques::KLINE_INDEX>(5), 12, q);
         }},
    };
    for (const Case& c : cases) {
        CAnalysisTechniques viaCode, direct;
        FENXIDATA* r1 = nullptr;
        FENXIDATA* r2 = nullptr;
        int rows = -1;
        PROPERTY prop{};
        ASSERT_TRUE(fenxi::EvaluateLine(b, n, 100, c.code, p, "002032", 1, viaCode, r1, rows)) << c.code;
        c.direct(direct, r2, &prop);
        EXPECT_EQ(rows, n);
        EXPECT_EQ(std::memcmp(r1, r2, n * sizeof(FENXIDATA)), 0) << c.code;
    }
    CAnalysisTechniques e;
    FENXIDATA* r = nullptr;
    int rows = 0;
    const std::int32_t chart[10] = {4, 2000};
    EXPECT_TRUE(fenxi::EvaluateLine(b, n, 100, 100, chart, "002032", 0, e, r, rows));
    EXPECT_NE(rows, n);  // the brick count
    for (int unknown : {12, 131, 148, 163, -1}) EXPECT_FALSE(fenxi::EvaluateLine(b, n, 100, unknown, p, "", 0, e, r, rows));
}

namespace {

std::vector<_SIG_TABLE> RunSystem(std::vector<UNIKDATA>& bars, int count, bool shortSystem, bool narrow = false,
                            bool drawdown = false, bool limits = false) {
    CAnalysisTechniques e;
    std::vector<_SIG_TABLE> signals;
    e.MountAdvSys(signals, 0, false, !shortSystem, "002032", 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, count, bars.data(), 100,
                  shortSystem, drawdown, narrow, limits);
    return signals;
}

}  // namespace

TEST(AdvSystem, PointsAlternateAndLinkTheirEntries) {
    auto bars = Sample();
    const int n = static_cast<int>(bars.size());
    for (int mode = 0; mode < 5; ++mode) {
        auto s = RunSystem(bars, n, mode == 0, mode == 1, mode >= 3, mode >= 2);
        ASSERT_GT(s.size(), 20u) << mode;
        for (std::size_t k = 0; k < s.size(); ++k) {
            EXPECT_EQ(s[k].Sequence, static_cast<int>(k) + 1);
            EXPECT_EQ(s[k].Kind, k % 2 ? 2 : 0);
            EXPECT_EQ(s[k].Link, k % 2 ? s[k - 1].Sequence : -1);
            EXPECT_EQ(s[k].Date, bars[s[k].BarIndex].Date);
            if (k) {
                EXPECT_GT(s[k].BarIndex, s[k - 1].BarIndex);
            }
        }
    }
}

TEST(AdvSystem, ShortSystemNeedsSixtyOneBarsAndItsOwnLines) {
    auto bars = Sample();
    EXPECT_TRUE(RunSystem(bars, 59, true).empty());
    EXPECT_TRUE(RunSystem(bars, 60, true).empty());
    CAnalysisTechniques e;
    std::vector<_SIG_TABLE> s;
    e.MountAdvSys(s, 0, false, true, "002032", 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 500, bars.data(), 100, true, false,
                  false, false);  // long-term lines: the short system finds no MACHANEL_4
    EXPECT_TRUE(s.empty());
}

TEST(AdvSystem, ShortSystemThresholdsFromTheChannels) {
    auto bars = Sample();
    auto s = RunSystem(bars, 800, true);
    ASSERT_GE(s.size(), 2u);
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    std::vector<FENXIDATA> ch30, ch60;
    e.GenerateMAChanel(bars.data(), 100, rows, 800, 30, &p);
    ch30.assign(rows, rows + 800);
    e.GenerateMAChanel(bars.data(), 100, rows, 800, 60, &p);
    ch60.assign(rows, rows + 800);
    const int d = s[0].BarIndex, k = s[1].BarIndex;
    EXPECT_EQ(s[0].Price, ch30[d].FenXi[5] * 1.01);
    EXPECT_EQ(s[1].Price, std::min(ch60[k].FenXi[6], ch30[k].FenXi[6]));
    for (int i = 60; i < d; ++i) EXPECT_LE(bars[i].Close * 100.0, ch30[i].FenXi[5] * 1.01) << i;
}

// The columns the systems keep equal the generators' rows bit for bit.
TEST(SignalRecords, KeptColumnsEqualTheGeneratorRows) {
    auto bars = Sample();
    struct Case { int code; std::int32_t params[10]; std::uint32_t kept; };
    const Case cases[] = {{134, {10}, 3u << 5}, {134, {60}, 3u << 5}, {0, {65}, 3u},       {0, {5}, 3u},
                          {119, {40}, 3u},      {119, {1}, 3u},       {106, {20, 30, 20}, 7u}, {101, {20, 40}, 0u}};
    for (const Case& c : cases)
        for (int unit : {1, 3, 100, 10000})
            for (int count : {1, 39, 40, 41, 700, static_cast<int>(bars.size())}) {
                fenxi::LineSet kept, full;
                ASSERT_TRUE(fenxi::EvaluateKept(bars.data(), count, unit, c.code, c.params, c.kept, kept));
                int rows = 0;
                fenxi::EvaluateLine(bars.data(), count, unit, c.code, c.params, "002032", 0, full.Engine, full.Rows,
                                    rows);
                full.RowCount = rows;
                ASSERT_TRUE(kept.Covers(count) && full.Covers(count) && !kept.Covers(count + 1));
                for (int k = 0; k < fenxi::kKeptColumns; ++k) {
                    if ((c.kept >> k & 1u) == 0) continue;
                    for (int j = 0; j < count; ++j) {
                        const double a = kept.At(j, k), b = full.At(j, k);
                        ASSERT_EQ(std::memcmp(&a, &b, sizeof a), 0)
                            << "code " << c.code << " unit " << unit << " count " << count << " column " << k
                            << " bar " << j;
                    }
                }
            }
    // A line asked for again over the same fields is shared only when code,
    // parameters and columns match; each set equals its own evaluation.
    const fenxi::BarFields fields(bars.data(), 700);
    std::vector<fenxi::LineSet*> list;
    const std::int32_t reference[6] = {};
    const Case mounts[] = {{134, {10}, 1u << 6}, {134, {10}, 3u << 5}, {134, {20}, 1u << 6}, {134, {10}, 1u << 5},
                           {0, {10}, 3u}};
    for (const Case& c : mounts) {
        const std::string name = "SET" + std::to_string(list.size());
        ASSERT_TRUE(fenxi::AddLineSet(list, name.c_str(), c.code, "002032", 0, c.params, reference, 0, 700,
                                      bars.data(), 100, c.kept, &fields));
        fenxi::LineSet alone;
        ASSERT_TRUE(fenxi::EvaluateKept(bars.data(), 700, 100, c.code, c.params, c.kept, alone));
        for (int k = 0; k < fenxi::kKeptColumns; ++k) {
            if ((c.kept >> k & 1u) == 0) continue;
            EXPECT_TRUE(list.back()->Kept[k] == alone.Kept[k]) << name << " column " << k;
        }
    }
    for (auto* s : list) delete s;

    // Codes, columns and periods it does not know are left to the rows.
    fenxi::LineSet set;
    const std::int32_t zero[10] = {0}, ten[10] = {10};
    EXPECT_FALSE(fenxi::EvaluateKept(bars.data(), 100, 100, 102, ten, 1u, set));
    EXPECT_FALSE(fenxi::EvaluateKept(bars.data(), 100, 100, 134, ten, 1u << 4, set));
    EXPECT_FALSE(fenxi::EvaluateKept(bars.data(), 100, 100, 119, zero, 1u, set));
    EXPECT_FALSE(fenxi::EvaluateKept(bars.data(), 0, 100, 134, ten, 1u << 5, set));
}

// The long-term entry on an overheated bar (the previous bar's 20-bar BIAS at
// 18 % or more) is at the highest high of the ten bars before, not at the
// channel: closes at 10 under highs of 20 (22 on bar 21) keep the ordinary
// entry shut, a jump to 12.50 on bar 30 overheats, and bar 31 closes above
// the ten-bar high.
TEST(AdvSystem, OverheatedEntryAtTheTenBarHigh) {
    std::vector<UNIKDATA> bars;
    for (int i = 0; i < 30; ++i) bars.push_back(testbars::Bar(1000, i == 21 ? 2200 : 2000, 1000, 1000, 1000));
    bars.push_back(testbars::Bar(1000, 2000, 1000, 1250, 1000));
    bars.push_back(testbars::Bar(1250, 2300, 1250, 2300, 1000));
    const fenxi::SystemRun run = fenxi::RunSystem(fenxi::Bars{bars, 100}, fenxi::System::Long, {"002032", 0});
    ASSERT_EQ(run.points.size(), 1u);
    EXPECT_EQ(run.points[0].BarIndex, 31);
    EXPECT_EQ(run.points[0].Kind, 0);
    EXPECT_EQ(run.points[0].Price, 2200 * 10000.0 / 100);
}
