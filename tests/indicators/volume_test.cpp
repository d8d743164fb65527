#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "bars.h"

using namespace testbars;
using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

TEST(Volume, VolumeLinesAndAverages) {
    std::vector<UNIKDATA> bars = {Bar(1, 1, 1, 1, 100), Bar(1, 1, 1, 1, 300), Bar(1, 1, 1, 1, (1ull << 63))};
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateVOL1(bars.data(), 100, rows, 3, &p);
    EXPECT_EQ(rows[2].FenXi[0], 9223372036854775808.0);
    EXPECT_EQ(p.LineStyle[0], 11);
    EXPECT_EQ(p.ValueScale, 1);
    EXPECT_STREQ(p.Format, "%.0f");

    rows[1].FenXi[1] = 5.0;
    e.GenerateVOL(bars.data(), 100, rows, 3, 2, 0, &p);
    EXPECT_EQ(rows[0].FenXi[2], 0.0);
    EXPECT_EQ(rows[1].FenXi[2], 200.0);
    EXPECT_TRUE(std::isnan(rows[1].FenXi[3]));  // period 0: 0/0
    EXPECT_EQ(rows[1].FenXi[1], 5.0);          // not written
    EXPECT_EQ(p.StartPos[2], 1);
    EXPECT_EQ(p.StartPos[3], -1);
    EXPECT_EQ(p.EndPos[3], 3);
}

TEST(Volume, ObvAccumulatesThenDivides) {
    std::vector<UNIKDATA> bars = {Bar(0, 0, 0, 10, 999), Bar(0, 0, 0, 11, 200), Bar(0, 0, 0, 9, 50),
                                  Bar(0, 0, 0, 9, 70), Bar(0, 0, 0, 12, 30)};
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateBuffer(bars.data(), 100, rows, 5);
    rows[1].FenXi[1] = -1.0;
    e.GenerateOBV(bars.data(), 100, rows, 5, 2, &p);
    const double obv[] = {0.0, 2.0, 1.5, 1.5, 1.8};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(rows[i].FenXi[0], obv[i]) << i;
    EXPECT_EQ(rows[1].FenXi[1], -1.0);  // before `period`: as the buffer held it
    EXPECT_EQ(rows[2].FenXi[1], (2.0 + 1.5) / 2);
    EXPECT_EQ(p.StartPos[0], 1);
    EXPECT_EQ(p.StartPos[1], 2);

    e.GenerateOBV(bars.data(), 100, rows, 5, 0, &p);
    EXPECT_TRUE(std::isnan(rows[0].FenXi[1]));
    rows[4].FenXi[1] = 3.0;
    e.GenerateOBV(bars.data(), 100, rows, 5, 5, &p);  // period >= count: no average
    EXPECT_EQ(rows[4].FenXi[1], 3.0);
}

TEST(Volume, VolumeRatioSpansThePreviousBars) {
    const auto up = Bar(10, 12, 9, 11, 100), down = Bar(11, 12, 9, 10, 100), doji = Bar(10, 12, 9, 10, 100);
    struct Case { std::vector<UNIKDATA> bars; int period; double want; };
    const Case cases[] = {
        {{up, up, up, up}, 2, 0.0},        // nothing down or flat
        {{doji, doji, doji}, 2, 100.0},
    };
    for (const Case& c : cases) {
        CAnalysisTechniques e;
        FENXIDATA* rows = nullptr;
        PROPERTY p{};
        const int n = static_cast<int>(c.bars.size());
        e.GenerateVR(const_cast<UNIKDATA*>(c.bars.data()), 100, rows, n, c.period, &p);
        EXPECT_EQ(rows[0].FenXi[0], 0.0);
        EXPECT_EQ(rows[1].FenXi[0], 0.0);
        EXPECT_EQ(rows[n - 1].FenXi[0], c.want);
        EXPECT_EQ(p.StartPos[0], std::min(n, c.period));
    }
    // Row 2 spans bars 1 and 0 only: the doji bar 2 does not count.
    std::vector<UNIKDATA> bars = {up, down, doji};
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateVR(bars.data(), 100, rows, 3, 2, &p);
    const double upMoney = 100.0 * 11 * 100, downMoney = 100.0 * 10 * 100;
    EXPECT_EQ(rows[2].FenXi[0], upMoney / downMoney * 100.0);
}

TEST(Volume, WvadWeighsBodyOverRangeByAmount) {
    std::vector<UNIKDATA> bars = {Bar(100, 120, 90, 110, 0, 5e6), Bar(100, 100, 100, 100, 0, 9e9),
                                  Bar(100, 130, 95, 97, 0, 3e6), Bar(100, 110, 90, 105, 0, -1.0)};
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateWVAD(bars.data(), 100, rows, 4, 1, &p);
    EXPECT_EQ(rows[0].FenXi[3], 1000.0 / 3000.0 * 5e6 / 100000.0);
    EXPECT_EQ(rows[1].FenXi[3], 0.0);  // no range
    EXPECT_EQ(rows[3].FenXi[3], 0.0);  // no amount
    e.GenerateWVAD(bars.data(), 100, rows, 4, 3, &p);
    EXPECT_EQ(rows[1].FenXi[3], 0.0);
    EXPECT_EQ(rows[2].FenXi[3], -300.0 / 3500.0 * 3e6 / 100000.0 + 0.0 + 1000.0 / 3000.0 * 5e6 / 100000.0);
    EXPECT_EQ(p.StartPos[3], 2);
    EXPECT_EQ(p.LineStyle[0], 4);

    const FENXIDATA want = rows[3];
    std::memset(rows[3].FenXi, 0, sizeof rows[3].FenXi);
    e.UpdateWVAD(bars.data(), 100, rows, 4, 3);
    for (int c = 1; c <= 3; ++c) EXPECT_EQ(rows[3].FenXi[c], want.FenXi[c]);
    e.UpdateWVAD(bars.data(), 100, rows, 4, 0);
    EXPECT_EQ(rows[3].FenXi[3], 0.0);
}

TEST(Volume, NoOpUpdatersAndEarlyReturns) {
    auto bars = Closes({1, 2, 3});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateVOL(bars.data(), 100, rows, 3, 2, 2, &p);
    const FENXIDATA before = rows[2];
    bars[2].Volume = 12345;
    e.UpdateVOL(bars.data(), 100, rows, 3, 2, 2);
    e.UpdateVOL1(bars.data(), 100, rows, 3);
    e.UpdateOBV(bars.data(), 100, rows, 3);
    e.UpdateVR(bars.data(), 100, rows, 3, 2);
    EXPECT_EQ(std::memcmp(&rows[2], &before, sizeof before), 0);

    FENXIDATA* untouched = nullptr;
    e.GenerateOBV(nullptr, 100, untouched, 3, 2, &p);
    e.GenerateVR(bars.data(), 100, untouched, 3, -1, &p);
    e.GenerateWVAD(bars.data(), 100, untouched, 3, 0, &p);
    EXPECT_EQ(untouched, nullptr);
}
