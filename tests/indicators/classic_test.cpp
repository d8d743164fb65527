#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "bars.h"
#include "engine_probe.h"

using namespace testbars;
using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

namespace {

// Bars with high, low, close (open = close) at unit 10000, volume v.
std::vector<UNIKDATA> Hlc(std::initializer_list<std::array<int, 3>> hlc, std::uint64_t volume = 100) {
    std::vector<UNIKDATA> bars;
    for (auto [h, l, c] : hlc) bars.push_back(Bar(c, h, l, c, volume));
    return bars;
}

}  // namespace

// Wilder's ADX with N = 2, worked by hand from the textbook definitions.
TEST(Classic, WilderAdxByHand) {
    auto bars = Hlc({{10, 8, 9}, {12, 9, 11}, {13, 10, 12}, {12, 9, 10}, {11, 7, 8}});
    CAnalysisTechniques e;
    FENXIDATA* r = nullptr;
    PROPERTY p{};
    e.GenerateADX(bars.data(), 10000, r, 5, 2, &p);
    // TR 3, 3, 3, 4; +DM 2, 1, 0, 0; -DM 0, 0, 1, 2 on bars 1-4.
    // Bar 2: TR 6, +DM 3, -DM 0: +DI 50, -DI 0, DX 100.
    EXPECT_EQ(r[2].FenXi[1], 50.0 * 100);
    EXPECT_EQ(r[2].FenXi[2], 0.0);
    // Bar 3: TR 6 - 3 + 3, +DM 3 - 1.5 + 0, -DM 0 - 0 + 1: +DI 25, -DI 16.67, DX 20; ADX = (100 + 20) / 2.
    const double pdi3 = 100 * 1.5 / 6, mdi3 = 100 * 1.0 / 6, dx3 = 100 * std::fabs(pdi3 - mdi3) / (pdi3 + mdi3);
    EXPECT_EQ(r[3].FenXi[0], (100.0 + dx3) / 2 * 100);
    EXPECT_NEAR(dx3, 20.0, 1e-12);
    // Bar 4: TR 7, +DM 0.75, -DM 2.5.
    const double pdi4 = 100 * 0.75 / 7, mdi4 = 100 * 2.5 / 7, dx4 = 100 * std::fabs(pdi4 - mdi4) / (pdi4 + mdi4);
    EXPECT_EQ(r[4].FenXi[0], ((100.0 + dx3) / 2 * (2 - 1) + dx4) / 2 * 100);
    EXPECT_EQ(p.StartPos[0], 3);
    EXPECT_EQ(p.StartPos[1], 2);
    EXPECT_EQ(p.ValueScale, 100);
}

TEST(Classic, WeightedAverageForecastAndChannel) {
    auto line = Closes({12, 14, 16, 18, 20});
    CAnalysisTechniques e;
    FENXIDATA* r = nullptr;
    PROPERTY p{};
    e.GenerateMAW(line.data(), 10000, r, 5, 3, &p);
    EXPECT_EQ(r[1].FenXi[0], 0.0);
    EXPECT_EQ(r[4].FenXi[0], (1 * 16.0 + 2 * 18.0 + 3 * 20.0) / 6);
    e.GenerateTSF(line.data(), 10000, r, 5, 4, 2, &p);  // a straight line forecasts its next point
    EXPECT_EQ(r[3].FenXi[0], 20.0);
    EXPECT_EQ(r[4].FenXi[0], 22.0);
    EXPECT_EQ(r[4].FenXi[1], 21.0);
    e.GenerateTSF(line.data(), 10000, r, 5, 1, 1, &p);  // one point: no slope
    EXPECT_EQ(r[2].FenXi[0], 16.0);

    auto bars = Hlc({{10, 5, 8}, {12, 7, 9}, {11, 4, 6}, {9, 6, 7}});
    e.GeneratePC(bars.data(), 10000, r, 4, 2, &p);
    const double upper[] = {10, 12, 12, 11}, lower[] = {5, 5, 4, 4};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(r[i].FenXi[0], upper[i]);
        EXPECT_EQ(r[i].FenXi[2], lower[i]);
        EXPECT_EQ(r[i].FenXi[1], (upper[i] + lower[i]) / 2);
    }
    e.GenerateMAE(line.data(), 10000, r, 5, 2, 6, 10, &p);
    EXPECT_EQ(r[4].FenXi[1], 19.0);
    EXPECT_EQ(r[4].FenXi[0], 19.0 * (1 + 6 / 100.0));
    EXPECT_EQ(r[4].FenXi[2], 19.0 * (1 - 10 / 100.0));
}

TEST(Classic, ChaikinAccumulationByHand) {
    // Money flow V*((C-L)-(H-C))/(H-L): bar 0 +50, bar 1 -100, bar 2 (no range) 0.
    std::vector<UNIKDATA> bars = {Bar(0, 10, 6, 9, 100), Bar(0, 12, 8, 8, 100), Bar(0, 9, 9, 9, 100)};
    CAnalysisTechniques e;
    FENXIDATA* r = nullptr;
    PROPERTY p{};
    e.GenerateChaikin(bars.data(), 10000, r, 3, 2, 3.0, 10.0, &p);
    const double ad0 = 100 * ((9.0 - 6) - (10 - 9.0)) / 4, ad1 = ad0 + 100 * ((8.0 - 8) - (12 - 8.0)) / 4;
    EXPECT_EQ(r[0].FenXi[0], 0.0);
    EXPECT_EQ(r[1].FenXi[0], (2 * ad0 + 2 * ad1) / 4 - (9 * ad0 + 2 * ad1) / 11);
    EXPECT_EQ(r[2].FenXi[1], (r[1].FenXi[0] + r[2].FenXi[0]) / 2);
    EXPECT_EQ(p.ValueScale, 1);
}

TEST(Classic, SmallTables) {
    auto bars = Hlc({{10, 8, 9}, {12, 9, 11}, {13, 10, 12}, {12, 9, 10}, {11, 7, 8}, {14, 10, 13}});
    CAnalysisTechniques e;
    FENXIDATA* r = nullptr;
    PROPERTY p{};
    e.GenerateDMI(bars.data(), 10000, r, 6, 2, 2, &p);
    // Bars 1-2: TR 3 + 3, +DM 2 + 1, -DM 0: PDI 50, MDI 0.
    EXPECT_EQ(r[2].FenXi[0], 3 * 100.0 / 6 * 100);
    EXPECT_EQ(r[2].FenXi[1], 0.0);
    EXPECT_EQ(p.StartPos[3], 2 + 2 * 2 - 1);

    e.GenerateBRAR(bars.data(), 10000, r, 6, 2, &p);
    // Bars 1-2: max(0, H-C1) = 3, 2; max(0, C1-L) = 0, 1: BR = 5/1*100.
    EXPECT_EQ(r[2].FenXi[0], 5.0 / 1 * 100 * 100);
    EXPECT_EQ(r[1].FenXi[1], (1.0 + 1) / (1 + 2) * 100 * 100);  // AR over bars 0-1: (H-O)/(O-L)

    e.GenerateChg(bars.data(), 10000, r, 6, 2, &p);
    EXPECT_EQ(r[1].FenXi[0], 0.0);
    EXPECT_EQ(r[2].FenXi[0], (12.0 - 9) / 9 * 100 * 100);
    EXPECT_EQ(r[2].FenXi[1], (12.0 - 9) / 100);

    e.GenerateDMA(bars.data(), 10000, r, 6, 1, 2, &p);
    EXPECT_EQ(r[1].FenXi[0], 11 - 10.0);
    EXPECT_EQ(p.StartPos[1], 1);

    e.GenerateCR(bars.data(), 10000, r, 6, 1, 1, 1, 1, 1, &p);
    // Bar 2: MID = (12+9)/2 = 10.5: up 13-10.5, down 10.5-10. MA1 taken int(1/2.5+1) = 1 bar back.
    EXPECT_EQ(r[2].FenXi[0], 2.5 / 0.5 * 100 * 100);
    EXPECT_EQ(r[3].FenXi[1], r[2].FenXi[0]);

    e.GenerateTRIX(bars.data(), 10000, r, 6, 1, 2, &p);  // N = 1: the EMA is the close itself
    EXPECT_EQ(r[1].FenXi[0], (11.0 - 9) / 9 * 100 * 100);
    EXPECT_EQ(r[2].FenXi[1], (r[1].FenXi[0] + r[2].FenXi[0]) / 2);
}

TEST(Classic, ZeroDivisionsGiveZero) {
    auto flat = std::vector<UNIKDATA>(40, Bar(5, 5, 5, 5, 0));
    CAnalysisTechniques e;
    FENXIDATA* r = nullptr;
    PROPERTY p{};
    for (int code = 0; code < 6; ++code) {
        switch (code) {
            case 0: e.GenerateEMV(flat.data(), 100, r, 40, 3, 2, &p); break;
            case 1: e.GenerateMASS(flat.data(), 100, r, 40, 3, 4, 2, 0, &p); break;
            case 2: e.GenerateASI(flat.data(), 100, r, 40, &p); break;
            case 3: e.GenerateDMI(flat.data(), 100, r, 40, 5, 3, &p); break;
            case 4: e.GenerateCSI(flat.data(), 100, r, 40, 5, 100, 2500, &p); break;
            default: e.GenerateChaikin(flat.data(), 100, r, 40, 3, 3, 10, &p); break;
        }
        for (int i = 0; i < 40; ++i) EXPECT_EQ(r[i].FenXi[0], 0.0) << code << "@" << i;
    }
}

TEST(Classic, MikeKeepsTheLockAndPeriodsGuard) {
    auto bars = Hlc({{10, 8, 9}, {12, 9, 11}});
    CAnalysisTechniques e;
    FENXIDATA* r = nullptr;
    PROPERTY p{};
    e.GenerateMike(bars.data(), 10000, r, 2, 2, &p);
    EXPECT_EQ(FenxiEngineProbe::Lock(e).DepthHeldByMe(), 1u);
    const double typ = (12 + 9 + 11) / 3.0;
    EXPECT_EQ(r[1].FenXi[0], 2 * typ - 8);
    EXPECT_EQ(r[1].FenXi[5], 2 * 8.0 - 12);
    FENXIDATA* untouched = nullptr;
    e.GeneratePC(bars.data(), 10000, untouched, 2, 0, &p);
    e.GenerateMASS(bars.data(), 10000, untouched, 2, 3, 1e300, 2, 0, &p);
    e.GenerateCR(bars.data(), 10000, untouched, 2, 26, 10, -1, 40, 62, &p);
    EXPECT_EQ(untouched, nullptr);
}
