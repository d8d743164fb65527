#include <gtest/gtest.h>

#include <cmath>

#include "bars.h"

using namespace testbars;
using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

TEST(Bollinger, PreviousMiddleCurrentWidthAndClearedWorkColumns) {
    auto bars = Closes({10, 20, 30});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateBOLLIN(bars.data(), 10000, rows, 3, 2, 2, -2, 0, &p);
    for (int c = 0; c < 9; ++c) EXPECT_EQ(rows[1].FenXi[c], 0.0) << c;  // n == p rows hold no band
    EXPECT_EQ(rows[2].FenXi[6], 15.0);
    EXPECT_EQ(rows[2].FenXi[7], 2 * 5.0 + 15.0);
    EXPECT_EQ(rows[2].FenXi[8], -2 * 5.0 + 15.0);
    EXPECT_EQ(p.StartPos[6], 2);
    EXPECT_EQ(p.StartPos[7], 3);
    EXPECT_EQ(p.LineStyle[0], 0);

    e.UpdateBOLLIN(bars.data(), 10000, rows, 3, 2, 2, -2);  // previous average was cleared
    EXPECT_EQ(rows[2].FenXi[4], 25.0);
    EXPECT_EQ(rows[2].FenXi[6], 0.0);
    EXPECT_EQ(rows[2].FenXi[7], 10.0);
    e.UpdateBOLLIN(bars.data(), 10000, rows, 2, 2, 2, -2);
    e.UpdateBOLLIN(bars.data(), 10000, rows, 3, 2, 2, -2);  // now row 1 has its average
    EXPECT_EQ(rows[2].FenXi[7], 25.0);

    e.GenerateBOLLIN(bars.data(), 100, rows, 3, 3, 2, -2, 1, &p);
    EXPECT_EQ(rows[2].FenXi[3], 3000.0);
    EXPECT_EQ(p.LineStyle[0], 2);
}

TEST(Momentum, PsyIsSinglePrecision) {
    std::vector<UNIKDATA> bars = {Bar(1, 2, 1, 2), Bar(2, 2, 1, 1), Bar(1, 1, 1, 1)};
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GeneratePSY(bars.data(), 100, rows, 3, 3, &p);
    EXPECT_EQ(rows[2].FenXi[3], 33.333335876464844);  // float 1/3*100, not 33.333333333333336
    EXPECT_NE(rows[2].FenXi[3], 1.0 / 3 * 100);
    EXPECT_EQ(rows[1].FenXi[3], 0.0);
    EXPECT_EQ(rows[0].FenXi[2], 80.0);
    EXPECT_EQ(p.StartPos[3], 2);
    rows[2].FenXi[4] = 0;
    e.UpdatePSY(bars.data(), 100, rows, 3, 3);
    EXPECT_EQ(rows[2].FenXi[4], 33.333335876464844);
}

TEST(Momentum, RatesAndDifferences) {
    auto bars = Closes({100, 150, 200, 200, 0});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateROC(bars.data(), 100, rows, 3, 2, &p);
    EXPECT_EQ(rows[1].FenXi[1], 0.0);
    EXPECT_EQ(rows[2].FenXi[1], 10000.0);  // doubled: 100 % x100
    EXPECT_EQ(p.ValueScale, 100);
    e.GenerateOSC(bars.data(), 100, rows, 5, 1, 2, &p);
    EXPECT_EQ(rows[3].FenXi[0], 10000.0);  // unchanged close
    EXPECT_EQ(rows[3].FenXi[1], (20000.0 * 100.0 / 15000.0 * 100.0 + 10000.0) / 2);  // converted closes
    EXPECT_EQ(rows[4].FenXi[0], 0.0);
    e.GenerateOSC(Closes({0, 5}).data(), 100, rows, 2, 1, 1, &p);
    EXPECT_TRUE(std::isinf(rows[1].FenXi[0]));  // unguarded division
    e.GenerateMTM(bars.data(), 100, rows, 4, 1, 2, &p);
    EXPECT_EQ(rows[1].FenXi[1], 5000.0);
    EXPECT_EQ(rows[2].FenXi[2], (5000.0 + 5000.0) / 2);
    EXPECT_EQ(p.StartPos[2], 2);
}

TEST(Momentum, CciOnFlatBarsAndTheCloseAveragingUpdater) {
    auto flat = Closes({7, 7, 7, 7});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateCCI(flat.data(), 100, rows, 4, 2, &p);
    EXPECT_EQ(rows[0].FenXi[5], 0.0);
    for (int i = 1; i < 4; ++i) EXPECT_EQ(rows[i].FenXi[5], 66.66666666666667);
    EXPECT_EQ(rows[0].FenXi[1], -100.0);

    std::vector<UNIKDATA> bars = {Bar(0, 30, 10, 20), Bar(0, 40, 10, 40), Bar(0, 50, 20, 20)};
    e.GenerateCCI(bars.data(), 10000, rows, 3, 2, &p);
    // Typical prices 20, 30, 30 (unit 10000): row 2 has no deviation and
    // repeats row 1's CCI, (30 - 25) / 5 / 0.015.
    EXPECT_EQ(rows[1].FenXi[5], (30.0 - 25.0) / 5.0 / 0.015);
    EXPECT_EQ(rows[2].FenXi[4], 0.0);
    EXPECT_EQ(rows[2].FenXi[5], rows[1].FenXi[5]);
    e.UpdateCCI(bars.data(), 10000, rows, 3, 2);
    EXPECT_EQ(rows[2].FenXi[3], (40.0 + 20.0) / 2);  // closes, not typical prices
    EXPECT_EQ(rows[2].FenXi[4], 10.0);
    EXPECT_EQ(rows[2].FenXi[5], (30.0 - 30.0) / 10.0 / 0.015);
}

TEST(Sar, WindowExtremesAndCloseReversal) {
    // Rising then a close below the SAR on bar 4.
    std::vector<UNIKDATA> bars = {Bar(0, 12, 8, 10), Bar(0, 14, 9, 13), Bar(0, 16, 11, 15), Bar(0, 18, 13, 17),
                                  Bar(0, 17, 5, 6),  Bar(0, 9, 4, 5)};
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateSAR(bars.data(), 10000, rows, 6, 2, &p);
    EXPECT_EQ(rows[1].FenXi[4], 0.0);
    EXPECT_EQ(rows[2].FenXi[4], 8.0);  // lowest low of bars 0-1
    EXPECT_EQ(rows[2].FenXi[5], 1.0);
    const double s3 = (16.0 - 8.0) * 0.02 + 8.0, s4 = (18.0 - s3) * 0.04 + s3;
    EXPECT_EQ(rows[3].FenXi[4], s3);
    EXPECT_EQ(rows[4].FenXi[4], s4);  // close 6 < s4: reverses after this bar
    EXPECT_EQ(rows[4].FenXi[5], 1.0);
    EXPECT_EQ(rows[5].FenXi[4], 18.0);  // highest high of bars 3-4
    EXPECT_EQ(rows[5].FenXi[5], -1.0);
    EXPECT_EQ(p.LineStyle[4], 5);

    e.GenerateSAR(bars.data(), 10000, rows, 6, 6, &p);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(rows[i].FenXi[4], 0.0);
    FENXIDATA* untouched = nullptr;
    e.GenerateSAR(bars.data(), 10000, untouched, 6, 0, &p);
    EXPECT_EQ(untouched, nullptr);
}

TEST(Sar, AccelerationNeverExceedsPointTwo) {
    std::vector<UNIKDATA> bars;
    for (int i = 0; i < 40; ++i) bars.push_back(Bar(0, 100 + 10 * i, 90 + 10 * i, 99 + 10 * i));
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateSAR(bars.data(), 10000, rows, 40, 1, &p);
    for (int i = 20; i < 40; ++i) {
        const double hh = 100.0 + 10 * (i - 1), prev = rows[i - 1].FenXi[4];
        EXPECT_EQ(rows[i].FenXi[4], (hh - prev) * 0.2 + prev) << i;
    }
}

TEST(Expma, ShiftedInputAndBarZeroSeed) {
    auto bars = Closes({10, 20, 30, 40});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    e.GenerateBuffer(bars.data(), 10000, rows, 4);
    rows[2].FenXi[0] = 9.0;
    PROPERTY p{};
    e.GenerateEXPMA(bars.data(), 10000, rows, 4, 3, 2, &p);
    EXPECT_EQ(rows[0].FenXi[0], 10.0);
    EXPECT_EQ(rows[1].FenXi[0], 25.0);
    EXPECT_EQ(rows[2].FenXi[0], 9.0);  // not written
    EXPECT_EQ(rows[3].FenXi[3], 40.0);
    EXPECT_EQ(p.EndPos[0], 2);
    EXPECT_EQ(p.StartPos[0], 1);
    e.GenerateEXPMA(bars.data(), 10000, rows, 1, 3, 4, &p);
    EXPECT_EQ(p.EndPos[0], -3);
    FENXIDATA* untouched = nullptr;
    e.GenerateEXPMA(bars.data(), 10000, untouched, 4, 3, -1, &p);
    EXPECT_EQ(untouched, nullptr);
}
