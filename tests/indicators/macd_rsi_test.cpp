#include <gtest/gtest.h>

#include <cstring>

#include "bars.h"
#include "engine_probe.h"

using namespace testbars;
using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

TEST(Macd, HandWorkedRowsAndProperty) {
    auto bars = Closes({10, 20});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p;
    std::memset(&p, 0x5A, sizeof p);
    e.GenerateMACD(bars.data(), 10000, rows, 2, 3, 5, 2, &p);
    const double ema3 = (2 * 10.0 + 40.0) / 4, ema5 = (4 * 10.0 + 40.0) / 6;
    const double dif = ema3 - ema5, dea = (1 * 0.0 + (dif + dif)) / 3;
    for (int c : {5, 6, 7}) EXPECT_EQ(rows[0].FenXi[c], 0.0);
    EXPECT_EQ(rows[1].FenXi[5], dif);
    EXPECT_EQ(rows[1].FenXi[6], dea);
    EXPECT_EQ(rows[1].FenXi[7], (dif - dea) * 2.0);
    EXPECT_EQ(FenxiEngineProbe::Capacity(e), 2 + 2 * (3 + 5 + 2));
    EXPECT_EQ(p.LineStyle[0], 4);
    EXPECT_EQ(p.LineStyle[7], 6);
    EXPECT_EQ(p.LineStyle[8], 0);
    EXPECT_EQ(p.EndPos[6], 2);
    EXPECT_EQ(p.EndPos[7], 0x5A5A5A5A);
    EXPECT_EQ(p.StartPos[5], 0);
    EXPECT_EQ(p.ValueScale, 10000);
    EXPECT_EQ(FenxiEngineProbe::Lock(e).DepthHeldByMe(), 0u);
}

TEST(Macd, EmptyCountKeepsTheLockHeld) {
    CAnalysisTechniques e;
    FENXIDATA* rows = reinterpret_cast<FENXIDATA*>(0x10);
    e.GenerateMACD(nullptr, 100, rows, 0, 12, 26, 9, nullptr);
    EXPECT_EQ(rows, FenxiEngineProbe::State(e).Buffer.Data);
    EXPECT_EQ(FenxiEngineProbe::Lock(e).DepthHeldByMe(), 1u);
    auto bars = Closes({1, 2, 3});
    PROPERTY p{};
    e.GenerateMACD(bars.data(), 100, rows, 3, 12, 26, 9, &p);  // same thread still works
    EXPECT_EQ(FenxiEngineProbe::Lock(e).DepthHeldByMe(), 1u);
}

TEST(Macd, NegativePeriodsNeverShrinkTheRows) {
    auto bars = Closes({5, 6, 7, 8});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateMACD(bars.data(), 100, rows, 4, -50, 1, 1, &p);
    EXPECT_GE(FenxiEngineProbe::Capacity(e), 4);
}

TEST(Rsi, FlatRisingAndHandWorked) {
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    auto flat = Closes({50, 50, 50, 50});
    e.GenerateRSI(flat.data(), 100, rows, 4, 6, 12, &p);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(rows[i].FenXi[6] + rows[i].FenXi[7], 0.0);
    e.GenerateMACD(flat.data(), 100, rows, 4, 12, 26, 9, &p);
    for (int i = 0; i < 4; ++i)
        for (int c : {5, 6, 7}) EXPECT_EQ(rows[i].FenXi[c], 0.0);

    auto rising = Closes({1, 2, 4, 8, 9});
    e.GenerateRSI(rising.data(), 100, rows, 5, 6, 12, &p);
    EXPECT_EQ(rows[0].FenXi[6], 0.0);
    for (int i = 1; i < 5; ++i) EXPECT_EQ(rows[i].FenXi[6], 10000.0);
    EXPECT_EQ(rows[0].FenXi[0], 3000.0);
    EXPECT_EQ(rows[0].FenXi[1], 7000.0);
    EXPECT_EQ(p.StartPos[6], 1);
    EXPECT_EQ(p.ValueScale, 100);
    CAnalysisTechniques fresh;
    fresh.GenerateRSI(rising.data(), 100, rows, 5, 6, 12, &p);
    EXPECT_EQ(FenxiEngineProbe::Capacity(fresh), 5 + 2 * (6 + 12));

    // Up 10 then down 30 (unit 10000): with p = 2 the smoothings are
    // up (0 + 10)/2 = 5 then (5 + 0)/2 = 2.5, abs (0 + 10)/2 = 5 then (5 + 30)/2.
    auto mixed = Closes({100, 110, 80});
    e.GenerateRSI(mixed.data(), 10000, rows, 3, 2, 1, &p);
    EXPECT_EQ(rows[1].FenXi[6], 5.0 / 5.0 * 100.0 * 100.0);
    EXPECT_EQ(rows[2].FenXi[6], 2.5 / 17.5 * 100.0 * 100.0);
    EXPECT_EQ(rows[2].FenXi[7], 0.0);
    EXPECT_EQ(rows[2].FenXi[4], 0.0);  // the work columns hold the p2 smoothings
    EXPECT_EQ(rows[2].FenXi[5], 30.0);
}

TEST(MacdRsi, UpdatersRerunTheGeneratorWithoutTouchingTheProperty) {
    auto all = Sample();
    const int n = 300;
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{}, seen{};
    e.GenerateMACD(all.data(), 100, rows, n, 12, 26, 9, &p);
    const FENXIDATA macd = rows[n - 1];
    e.GenerateRSI(all.data(), 100, rows, n, 6, 24, &p);
    const FENXIDATA rsi = rows[n - 1];
    seen = p;
    e.UpdateMACD(all.data(), 100, rows, n, 12, 26, 9);
    for (int c : {5, 6, 7}) EXPECT_EQ(rows[n - 1].FenXi[c], macd.FenXi[c]);
    e.UpdateRSI(all.data(), 100, rows, n, 6, 24);
    for (int c : {6, 7}) EXPECT_EQ(rows[n - 1].FenXi[c], rsi.FenXi[c]);
    EXPECT_EQ(std::memcmp(&p, &seen, sizeof p), 0);
}
