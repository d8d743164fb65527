#include <gtest/gtest.h>

#include <cstring>

#include "bars.h"
#include "engine_probe.h"

using namespace testbars;
using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

namespace {

struct Chart {
    CAnalysisTechniques engine;
    FENXIDATA* rows = nullptr;
    UNIKDATA* blocks = nullptr;
    int count = -1;
    PROPERTY prop{};
    ATP_KLINE settings{};

    Chart(int type, int param) {
        settings.ChartType = type;
        settings.ChartParam = param;
    }
    ~Chart() { FreeKLineBars(&blocks); }
    void Build(std::vector<UNIKDATA>& bars, int unit, const char* symbol = "600000") {
        engine.GenerateKLINE(bars.data(), unit, static_cast<int>(bars.size()), blocks, count, rows, &prop, &settings,
                             symbol);
        EXPECT_EQ(FenxiEngineProbe::Lock(engine).DepthHeldByMe(), 0u);
    }
    // Open, high, low, close of block k, from the rows and from the synthetic bar.
    void Expect(int k, double o, double h, double l, double c, int unit = 10000) const {
        const double f = 10000.0 / unit;
        EXPECT_EQ(rows[k].FenXi[0], o * f) << k;
        EXPECT_EQ(rows[k].FenXi[1], h * f) << k;
        EXPECT_EQ(rows[k].FenXi[2], l * f) << k;
        EXPECT_EQ(rows[k].FenXi[3], c * f) << k;
        EXPECT_EQ(blocks[k].Open, o) << k;
        EXPECT_EQ(blocks[k].Close, c) << k;
    }
};

std::vector<UNIKDATA> Moves(std::initializer_list<std::pair<int, int>> openClose) {
    std::vector<UNIKDATA> bars;
    int k = 0;
    for (auto [o, c] : openClose) {
        UNIKDATA b = Bar(o, std::max(o, c), std::min(o, c), c, 100 + k);
        b.Date = 20200101 + k;
        b.Time = 900 + k;
        ++k;
        bars.push_back(b);
    }
    return bars;
}

}  // namespace

TEST(KLine, OrdinaryTypesCopyEveryBar) {
    auto bars = Moves({{100, 110}, {110, 105}});
    bars[1].Volume = 1ull << 63;
    Chart chart(2, 0);
    chart.Build(bars, 100);
    ASSERT_EQ(chart.count, 2);
    EXPECT_EQ(std::memcmp(chart.blocks, bars.data(), 2 * sizeof(UNIKDATA)), 0);
    EXPECT_EQ(chart.rows[1].FenXi[3], 10500.0);
    EXPECT_EQ(chart.rows[1].FenXi[4], 20200102.0);
    EXPECT_EQ(chart.rows[1].FenXi[6], 9223372036854775808.0);
    EXPECT_EQ(chart.prop.LineStyle[0], 2);
    EXPECT_EQ(chart.prop.Flag353, 1);

    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    p.Flag353 = 7;
    e.GenerateCmpKLINE(bars.data(), 100, rows, 2, &p, nullptr);
    EXPECT_EQ(rows[0].FenXi[5], 900.0);
    EXPECT_EQ(p.Flag353, 7);
}

TEST(KLine, LineBreakReversesOnlyAfterTheRunIsBroken) {
    auto bars = Moves({{100, 110}, {110, 120}, {120, 130}, {130, 140}, {140, 125}, {125, 105}, {105, 110}, {110, 140}});
    Chart chart(3, 1);  // clamped to 3 lines and written back
    chart.Build(bars, 10000);
    EXPECT_EQ(chart.settings.ChartParam, 3);
    ASSERT_EQ(chart.count, 6);
    chart.Expect(0, 100, 110, 100, 110);
    chart.Expect(3, 130, 140, 130, 140);
    chart.Expect(4, 130, 130, 105, 105);  // 125 did not break the three-block run; 105 did
    chart.Expect(5, 130, 140, 130, 140);  // 110 was inside the falling block
    EXPECT_EQ(chart.rows[4].FenXi[4], 20200106.0);
    EXPECT_EQ(chart.rows[4].FenXi[6], 105.0);
    EXPECT_EQ(chart.blocks[4].Volume, 0u);
}

TEST(KLine, LineBreakWithoutAnyBodyOrWithAFlatFirstBlock) {
    auto doji = Moves({{100, 100}, {120, 120}});
    Chart none(3, 3);
    none.Build(doji, 10000);
    EXPECT_EQ(none.count, 0);
    ASSERT_NE(none.blocks, nullptr);
    EXPECT_EQ(none.blocks[1].Close, 0);

    auto bars = Moves({{100, 110}, {110, 130}, {130, 90}});
    Chart flat(3, 3);
    flat.Build(bars, 0);  // unit 0: every converted price is infinite, the first block is flat
    EXPECT_EQ(flat.count, 1);
}

TEST(KLine, BricksOnTheGridGrowPastTheBarCount) {
    auto bars = Moves({{10050, 10050}, {10050, 16050}});
    Chart three(4, 500);
    three.Build(bars, 10000);
    EXPECT_EQ(three.settings.ChartParam, 2000);
    ASSERT_EQ(three.count, 3);  // grid base 10000
    for (int k = 0; k < 3; ++k) {
        three.Expect(k, 10000 + 2000 * k, 12000 + 2000 * k, 10000 + 2000 * k, 12000 + 2000 * k);
        EXPECT_EQ(three.blocks[k].Time, 901 + k);
    }

    auto far = Moves({{10000, 10000}, {10000, 510000}, {510000, 506000}});
    Chart grown(4, 2000);
    grown.Build(far, 10000);
    ASSERT_EQ(grown.count, 251);  // 250 rising from two bars, then one falling
    grown.Expect(249, 508000, 510000, 508000, 510000);
    grown.Expect(250, 508000, 508000, 506000, 506000);
    EXPECT_EQ(grown.blocks[250].Time, 902);
}

TEST(KLine, FallingBricksUseConvertedValuesUnlessUnitIs10000) {
    auto bars = Moves({{10000, 10000}, {10000, 7000}, {7000, 7000}});
    Chart chart(4, 2000);
    chart.Build(bars, 100);
    // Bar 1 adds [8000, 10000]; bar 2 starts from its stored close 800000.
    ASSERT_EQ(chart.count, 1 + (800000 - 7000) / 2000);
    EXPECT_EQ(chart.rows[1].FenXi[0], 800000.0 * 100);
    EXPECT_EQ(chart.rows[chart.count - 1].FenXi[3], (800000.0 - 396 * 2000) * 100);

    Chart same(4, 2000);
    same.Build(bars, 10000);
    EXPECT_EQ(same.count, 1);
}

TEST(KLine, BrickChartStopsAtTheBlockLimit) {
    // At unit 1 each falling bar restarts from 10000 times its raw close.
    std::vector<std::pair<int, int>> moves = {{2000000, 2000000}};
    for (int i = 0; i < 150; ++i) moves.push_back({3000, 3000});
    std::vector<UNIKDATA> bars;
    for (auto [o, c] : moves) bars.push_back(Bar(o, o, c, c));
    Chart chart(4, 2000);
    chart.Build(bars, 1);
    EXPECT_EQ(chart.count, CAnalysisTechniques::kMaxChartBlocks);
}

TEST(KLine, ReversalExtendsAndIgnoresSmallSwings) {
    auto bars = Moves({{10000, 10500}, {10500, 12500}, {12500, 13000}, {13000, 11500}, {11500, 10000},
                       {10000, 9000}, {9000, 10500}});
    Chart chart(5, 20);
    chart.Build(bars, 10000, "USDJPY");  // R = 20 x 100 raw units for this call
    EXPECT_EQ(chart.settings.ChartParam, 20);
    EXPECT_EQ(chart.prop.LineStyle[0], 10);
    ASSERT_EQ(chart.count, 2);
    chart.Expect(0, 10000, 13000, 10000, 13000);
    EXPECT_EQ(chart.blocks[0].Date, 20200103);  // extended by bar 2
    chart.Expect(1, 13000, 13000, 9000, 9000);
    EXPECT_EQ(chart.rows[1].FenXi[5], 905.0);

    Chart plain(5, 200);  // clamped to 100: the same bars now swing often
    plain.Build(bars, 10000, "600000");
    EXPECT_EQ(plain.settings.ChartParam, 100);
    EXPECT_GT(plain.count, 2);
}

TEST(KLine, UnknownTypeAndGuards) {
    auto bars = Moves({{1, 2}});
    Chart chart(6, 0);
    chart.Build(bars, 100);
    EXPECT_EQ(chart.count, -1);
    EXPECT_EQ(chart.blocks, nullptr);
    EXPECT_NE(chart.rows, nullptr);
    Chart none(0, 0);
    none.engine.GenerateKLINE(nullptr, 100, 1, none.blocks, none.count, none.rows, &none.prop, &none.settings, "");
    EXPECT_EQ(none.rows, nullptr);
    EXPECT_EQ(none.blocks, nullptr);
}
