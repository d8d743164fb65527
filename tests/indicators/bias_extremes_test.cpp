#include <gtest/gtest.h>

#include <cstring>

#include "bars.h"

using namespace testbars;
using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

TEST(Bias, ShortWindowIsDividedByTheFullPeriod) {
    auto bars = Closes({100, 100, 100, 100});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateBIAS(bars.data(), 100, rows, 4, 3, 1, 5, &p);
    // Row 0, p = 3: (100 - 100/3) / (100/3) * 100 * 100.
    EXPECT_EQ(rows[0].FenXi[0], (100 - 100.0 / 3) / (100.0 / 3) * 100.0 * 100.0);
    EXPECT_EQ(rows[1].FenXi[0], (100 - 200.0 / 3) / (200.0 / 3) * 100.0 * 100.0);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(rows[i].FenXi[1], 0.0);
    EXPECT_EQ(rows[2].FenXi[0], 0.0);
    EXPECT_EQ(rows[3].FenXi[2], (100 - 400.0 / 5) / (400.0 / 5) * 100.0 * 100.0);
    EXPECT_EQ(p.StartPos[0], 2);
    EXPECT_EQ(p.StartPos[1], 0);
    EXPECT_EQ(p.StartPos[2], 4);
    EXPECT_EQ(p.ValueScale, 100);
}

TEST(Bias, NonPositivePeriodLeavesItsLineAndUpdaterFollows) {
    auto bars = Closes({100, 120, 90});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateBuffer(bars.data(), 100, rows, 3);
    rows[2].FenXi[1] = 42.0;
    e.GenerateBIAS(bars.data(), 100, rows, 3, 2, 0, -4, &p);
    EXPECT_EQ(rows[2].FenXi[1], 42.0);
    EXPECT_EQ(p.StartPos[1], -1);
    EXPECT_EQ(p.StartPos[2], -5);
    const double want = rows[2].FenXi[0];
    rows[2].FenXi[0] = 0.0;
    e.UpdateBIAS(bars.data(), 100, rows, 3, 2, 0, -4);
    EXPECT_EQ(rows[2].FenXi[0], want);
    EXPECT_EQ(rows[2].FenXi[1], 42.0);
}

TEST(Extremes, WindowsFieldsAndTheRawLow) {
    std::vector<UNIKDATA> bars = {Bar(10, 50, 5, 20), Bar(30, 40, 8, 35), Bar(25, 45, 3, 22), Bar(5, 60, 4, 50)};
    struct Case { bool highest; int field, period; double want[4]; };
    const Case cases[] = {
        {true, 1, 1, {5000, 4000, 4500, 6000}},   // period 1: the field itself, converted
        {true, 3, 2, {2000, 3500, 3500, 5000}},
        {true, 0, 99, {1000, 3000, 3000, 3000}},  // longer than the series: bars 0..i
        {false, 2, 2, {5, 5, 3, 3}},              // LLV over the low stays raw
        {false, 3, 3, {2000, 2000, 2000, 2200}},
        {true, 2, 2, {500, 800, 800, 400}},       // HHV over the low converts
    };
    for (const Case& c : cases) {
        CAnalysisTechniques e;
        FENXIDATA* rows = nullptr;
        PROPERTY p{};
        auto field = static_cast<CAnalysisTechniques::KLINE_INDEX>(c.field);
        if (c.highest)
            e.GenerateHHV(bars.data(), 100, rows, 4, field, c.period, &p);
        else
            e.GenerateLLV(bars.data(), 100, rows, 4, field, c.period, &p);
        for (int i = 0; i < 4; ++i) EXPECT_EQ(rows[i].FenXi[0], c.want[i]) << c.field << "/" << c.period << "@" << i;
        EXPECT_EQ(p.StartPos[0], std::min(4, c.period - 1));
        EXPECT_EQ(p.LineStyle[0], 3);
        EXPECT_EQ(p.ValueScale, 100);
    }
}

TEST(Extremes, UnsupportedFieldZeroAndNegativePeriod) {
    auto bars = Closes({10, 20});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateBuffer(bars.data(), 100, rows, 2);
    rows[1].FenXi[0] = 7.0;
    e.GenerateHHV(bars.data(), 100, rows, 2, static_cast<CAnalysisTechniques::KLINE_INDEX>(4), 2, &p);
    EXPECT_EQ(rows[1].FenXi[0], 7.0);
    EXPECT_EQ(p.StartPos[0], 1);
    e.GenerateLLV(bars.data(), 100, rows, 2, CAnalysisTechniques::KI_CLOSE, 0, &p);
    EXPECT_EQ(rows[1].FenXi[0], 7.0);
    EXPECT_EQ(p.StartPos[0], -1);
    p.StartPos[0] = 99;
    FENXIDATA* untouched = nullptr;
    e.GenerateLLV(bars.data(), 100, untouched, 2, CAnalysisTechniques::KI_CLOSE, -1, &p);
    EXPECT_EQ(untouched, nullptr);
    EXPECT_EQ(p.StartPos[0], 99);
}
