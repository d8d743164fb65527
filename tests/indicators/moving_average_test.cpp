#include <gtest/gtest.h>

#include <cstring>

#include "bars.h"

using namespace testbars;
using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

namespace {

PROPERTY Dirty() {
    PROPERTY p;
    std::memset(&p, 0x5A, sizeof p);
    return p;
}

}  // namespace

TEST(MovingAverage, LinesStartAtFullWindowWithExactMean) {
    auto bars = Closes({10, 20, 30, 40, 50});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p = Dirty();
    e.GenerateMA2(bars.data(), 10000, rows, 5, 3, 5, &p);
    ASSERT_NE(rows, nullptr);
    const double ma3[] = {0, 0, 20, 30, 40}, ma5[] = {0, 0, 0, 0, 30};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(rows[i].FenXi[0], 10.0 * (i + 1));
        EXPECT_EQ(rows[i].FenXi[1], ma3[i]);
        EXPECT_EQ(rows[i].FenXi[2], ma5[i]);
    }
    EXPECT_EQ(p.StartPos[1], 3);
    EXPECT_EQ(p.StartPos[2], 5);
    EXPECT_EQ(p.EndPos[2], 5);
    EXPECT_EQ(p.EndPos[0], 0x5A5A5A5A);  // not written
    EXPECT_EQ(p.StartPos[3], 0x5A5A5A5A);  // the MA family never resets
    EXPECT_EQ(p.LineStyle[0], 0);
    EXPECT_EQ(p.LineStyle[2], 3);
    EXPECT_EQ(p.LineStyle[3], 0x5A);
    EXPECT_EQ(p.ValueScale, 10000);
    EXPECT_STREQ(p.Format, "%.2f");
    EXPECT_EQ(p.Format[5], 0x5A);  // a string copy, not an 8-byte store
    EXPECT_EQ(p.Flag352, 1);
}

TEST(MovingAverage, Ma1StartIsOneShortOfTheOthers) {
    auto bars = Closes({1, 2, 3, 4, 5});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p1{}, p2{};
    e.GenerateMA1(bars.data(), 100, rows, 5, 10, &p1);
    e.GenerateMA2(bars.data(), 100, rows, 5, 10, 10, &p2);
    EXPECT_EQ(p1.StartPos[1], 4);
    EXPECT_EQ(p2.StartPos[1], 5);
    e.GenerateMA1(bars.data(), 100, rows, 5, 2, &p1);
    EXPECT_EQ(p1.StartPos[1], 2);
}

TEST(MovingAverage, GuardsNullOutFirst) {
    auto bars = Closes({1});
    CAnalysisTechniques e;
    FENXIDATA* rows = reinterpret_cast<FENXIDATA*>(0x10);
    PROPERTY p = Dirty();
    e.GenerateMA3(bars.data(), 100, rows, 0, 1, 2, 3, &p);
    EXPECT_EQ(rows, nullptr);
    EXPECT_EQ(p.StartPos[0], 0x5A5A5A5A);
    rows = reinterpret_cast<FENXIDATA*>(0x10);
    e.GenerateEMA(nullptr, 100, rows, 1, 3, &p);
    EXPECT_EQ(rows, nullptr);
    e.GenerateMA1(bars.data(), 100, rows, 1, 1, nullptr);
    EXPECT_EQ(rows, nullptr);
}

TEST(MovingAverage, ChannelAveragesEachPrice) {
    std::vector<UNIKDATA> bars = {Bar(10, 30, 5, 20), Bar(20, 40, 10, 30), Bar(40, 50, 20, 30)};
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateMAChanel(bars.data(), 10000, rows, 3, 2, &p);
    const double want[3][8] = {{10, 30, 5, 20, 0, 0, 0, 0}, {20, 40, 10, 30, 15, 35, 7.5, 25},
                               {40, 50, 20, 30, 30, 45, 15, 30}};
    for (int i = 0; i < 3; ++i)
        for (int c = 0; c < 8; ++c) EXPECT_EQ(rows[i].FenXi[c], want[i][c]) << i << "," << c;
    EXPECT_EQ(p.StartPos[3], 0);
    EXPECT_EQ(p.StartPos[4], 2);
    EXPECT_EQ(p.LineStyle[3], 0);
    EXPECT_EQ(p.LineStyle[7], 3);
}

TEST(MovingAverage, LifeLineUsesHighAndClose) {
    std::vector<UNIKDATA> bars(140);
    for (int i = 0; i < 140; ++i) bars[i] = Bar(0, 200 + i, 0, 100 + i);
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateLifeLine(bars.data(), 100, rows, 60, &p);
    EXPECT_EQ(rows[59].FenXi[0], (200 + 59 + 100 + 59) * 100.0 * 0.5);
    EXPECT_EQ(rows[59].FenXi[1], 0.0);
    EXPECT_EQ(p.StartPos[1], 60);
    EXPECT_EQ(p.StartPos[2], 60);
    EXPECT_EQ(p.LineOption2[1], 2);
    EXPECT_EQ(p.LineOption2[2], 2);
    e.GenerateLifeLine(bars.data(), 100, rows, 140, &p);
    // Mid prices are 15000 + 100 i; the 65-bar mean at i = 64 is 15000 + 3200.
    EXPECT_EQ(rows[64].FenXi[1], 18200.0);
    EXPECT_EQ(rows[128].FenXi[2], 0.0);
    EXPECT_EQ(rows[129].FenXi[2], 15000.0 + 6450.0);
    EXPECT_EQ(p.StartPos[2], 130);
}

TEST(MovingAverage, SmoothingsHaveNoWarmUp) {
    auto bars = Closes({10, 20});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p = Dirty();
    e.GenerateSMA(bars.data(), 10000, rows, 2, 3, 1, 2, 4, 5, &p);
    for (int j = 0; j <= 5; ++j) EXPECT_EQ(rows[0].FenXi[j], 10.0);
    EXPECT_EQ(rows[1].FenXi[1], (2 * 10.0 + 20) / 3);
    EXPECT_EQ(rows[1].FenXi[2], 20.0);
    EXPECT_EQ(rows[1].FenXi[3], 15.0);
    EXPECT_EQ(p.StartPos[1], 2);
    EXPECT_EQ(p.StartPos[6], 0);
    EXPECT_EQ(std::memcmp(p.Format, "%.2f\0\0\0\0", 8), 0);
    EXPECT_EQ(p.Format[8], 0x5A);
    EXPECT_EQ(p.EndPos[6], 0x5A5A5A5A);

    e.GenerateEMA(bars.data(), 10000, rows, 2, 3, &p);
    EXPECT_EQ(rows[0].FenXi[1], 10.0);
    EXPECT_EQ(rows[1].FenXi[1], (2 * 10.0 + 40) / 4);
    EXPECT_EQ(p.StartPos[1], 2);
    EXPECT_EQ(p.LineStyle[2], 0);
}

TEST(MovingAverage, UpdateSmaKeepsTheRawScale) {
    auto bars = Closes({1234, 1240});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateSMA(bars.data(), 100, rows, 2, 3, 3, 3, 3, 3, &p);
    e.UpdateSMA(bars.data(), 100, rows, 2, 3, 3, 3, 3, 3);
    EXPECT_EQ(rows[1].FenXi[0], 1240.0);  // the generator stored 124000.0
    EXPECT_EQ(rows[1].FenXi[1], (2 * 123400.0 + 1240.0) / 3);
    e.UpdateSMA(bars.data(), 100, rows, 1, 3, 3, 3, 3, 3);
    EXPECT_EQ(rows[0].FenXi[0], 1234.0);
    EXPECT_EQ(rows[0].FenXi[5], 123400.0);
}

TEST(MovingAverage, UpdatersRefuseRowsTheyDoNotHave) {
    auto bars = Closes({1, 2, 3, 4});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateMA1(bars.data(), 100, rows, 2, 2, &p);
    const double before = rows[1].FenXi[1];
    e.UpdateMA1(bars.data(), 100, rows, 4, 2);  // would write row 3 of a 2-row block
    EXPECT_EQ(rows[1].FenXi[1], before);
    FENXIDATA* none = nullptr;
    e.UpdateEMA(bars.data(), 100, none, 1, 2);
    e.UpdateSMA(nullptr, 100, rows, 1, 2, 2, 2, 2, 2);
    EXPECT_EQ(rows[0].FenXi[0], 100.0);
}
