#include <gtest/gtest.h>

#include "bars.h"

using namespace testbars;
using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

namespace {

// Bars whose raw stochastic value over one bar is the close: range 0..100.
std::vector<UNIKDATA> RsvBars(std::initializer_list<std::int32_t> closes) {
    std::vector<UNIKDATA> bars;
    for (std::int32_t c : closes) bars.push_back(Bar(0, 100, 0, c));
    return bars;
}

}  // namespace

TEST(Stochastic, KdjConvergesOnRangelessBarsAndGuardsPeriods) {
    auto bars = Closes({5, 5, 5});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateKDJ(bars.data(), 100, rows, 3, 9, 3, 3, &p);
    for (int i = 0; i < 3; ++i)
        for (int c : {3, 4, 5}) EXPECT_EQ(rows[i].FenXi[c], 5000.0);
    EXPECT_EQ(rows[0].FenXi[1], 8000.0);
    EXPECT_EQ(p.LineStyle[5], 3);
    FENXIDATA* untouched = nullptr;
    e.GenerateKDJ(bars.data(), 100, untouched, 3, 9, 3, 0, &p);
    EXPECT_EQ(untouched, nullptr);
}

TEST(Stochastic, KdIsSeededFromThePreviousRsvAndScalesUnwrittenRows) {
    auto bars = RsvBars({20, 60, 80, 40});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    e.GenerateBuffer(bars.data(), 100, rows, 4);
    rows[0].FenXi[3] = 7.0;
    rows[1].FenXi[4] = -2.0;
    PROPERTY p{};
    e.GenerateKD(bars.data(), 100, rows, 4, 1, 3, 2, &p);
    const double k1 = (2 * 20.0 + 60) / 3, k2 = (2 * k1 + 80) / 3, d2 = (1 * k1 + k2) / 2;
    EXPECT_EQ(rows[0].FenXi[3], 700.0);
    EXPECT_EQ(rows[1].FenXi[4], -200.0);
    EXPECT_EQ(rows[1].FenXi[3], k1 * 100);
    EXPECT_EQ(rows[2].FenXi[3], k2 * 100);
    EXPECT_EQ(rows[2].FenXi[4], d2 * 100);
    EXPECT_EQ(p.StartPos[3], 1);

    // The updater smooths with the previous row's K already x100.
    const double k3 = (2 * (k2 * 100) + 40.0) / 3, d3 = (1 * (d2 * 100) + k3) / 2;
    e.UpdateKDJ(bars.data(), 100, rows, 4, 1, 3, 2);
    EXPECT_EQ(rows[3].FenXi[3], k3 * 100);
    EXPECT_EQ(rows[3].FenXi[4], d3 * 100);
    EXPECT_EQ(rows[3].FenXi[5], (3 * k3 - 2 * d3) * 100);
    e.UpdateKD(bars.data(), 100, rows, 3, 1, 3, 2);  // n == 3: D from row 1's scaled K
    EXPECT_EQ(rows[2].FenXi[4], (1 * (k1 * 100) + (2 * (k1 * 100) + 80.0) / 3) / 2 * 100);
}

TEST(Stochastic, WilliamsRAndItsUpdater) {
    std::vector<UNIKDATA> bars = {Bar(0, 110, 90, 100), Bar(0, 120, 100, 105), Bar(0, 106, 106, 106)};
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateWR(bars.data(), 100, rows, 3, 2, 1, 0, &p);
    EXPECT_EQ(rows[1].FenXi[3], 15.0 * 100.0 / 30.0 * 100);  // H 120, L 90, C 105
    EXPECT_EQ(rows[0].FenXi[3], 10.0 * 100.0 / 20.0 * 100);  // partial window
    EXPECT_EQ(rows[2].FenXi[4], 0.0);                        // high == low
    EXPECT_EQ(rows[0].FenXi[1], 5000.0);
    EXPECT_EQ(p.LineStyle[2], 4);
    EXPECT_EQ(p.LineStyle[5], 0);

    e.UpdateWR(bars.data(), 100, rows, 2, 2, 1, 0);  // n-1 < p1: 0, not the partial value
    EXPECT_EQ(rows[1].FenXi[3], 0.0);
    e.UpdateWR(bars.data(), 100, rows, 3, 2, 0, 2);  // bars 2 and 1, range started at the close
    EXPECT_EQ(rows[2].FenXi[3], (12000.0 - 10600.0) / (12000.0 - 10000.0) * 100.0 * 100);
    EXPECT_EQ(rows[2].FenXi[5], rows[2].FenXi[3]);
}

TEST(Stochastic, HighestStartsFromTheSmallestPositiveDouble) {
    std::vector<UNIKDATA> bars = {Bar(0, -5, -10, -7)};
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateWR(bars.data(), 100, rows, 1, 1, 1, 1, &p);
    EXPECT_EQ(rows[0].FenXi[6], 2.2250738585072014e-308);
    EXPECT_EQ(rows[0].FenXi[3], (2.2250738585072014e-308 + 700.0) * 100.0 / (2.2250738585072014e-308 + 1000.0) * 100);
}
