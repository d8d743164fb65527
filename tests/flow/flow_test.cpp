#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "bars.h"
#include "flow/reshape.h"

using namespace testbars;
using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

namespace {

std::vector<std::string> g_traces;
void Collect(const char* text) { g_traces.emplace_back(text); }

// Runs `call` with a concrete sink attached and returns what it traced.
template <class Call>
std::vector<std::string> Traced(CAnalysisTechniques& e, Call call) {
    CAnaLogForHVQ sink;
    e.SetAnalog(&sink);
    g_traces.clear();
    SetDebugOutputHook(Collect);
    call();
    SetDebugOutputHook(nullptr);
    e.ResetAnalog();
    return g_traces;
}

}  // namespace

TEST(CapitalFlow, ReshapingByTheLastTwoDigits) {
    struct Case { double v, m; };
    for (const Case c : {Case{123.7, 115}, Case{-47.2, 133}, Case{0.0, 100}, Case{-5.9, 115}, Case{88.0, 52},
                         Case{3e10, 64}}) {  // out of range: INT32_MIN, digits -8 and -4
        EXPECT_EQ(fenxi::ReshapeFlow(c.v), c.m * c.v / 100.0) << c.v;
    }
    EXPECT_EQ(fenxi::ReshapeFlow(123.7), 142.255);
}

TEST(CapitalFlow, TracesAndTheOnePriceRun) {
    // Closes fall to 80, then one-price bars at +5 % and +4.76 %, then a
    // normal bar, then a one-price bar at exactly +4 % (no trigger).
    std::vector<UNIKDATA> bars = {Bar(100, 100, 100, 100, 0), Bar(91, 92, 89, 90, 1000), Bar(81, 82, 79, 80, 1000),
                                  Bar(84, 84, 84, 84, 1000),  Bar(88, 88, 88, 88, 1000), Bar(88, 89, 86, 87, 1000),
                                  Bar(90, 90, 90, 90, 1000)};
    // 87 -> 90 is 3.4 %: pct 3, nothing.
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    auto traces = Traced(e, [&] { e.GenerateZJLDXFX(bars.data(), 100, rows, 7, &p); });
    // Cumulative volume / 100: 0, -10, -20, -10, 0, -10, 0; line 1 stays 0.
    EXPECT_EQ(rows[2].FenXi[3], -15.0);
    EXPECT_EQ(rows[3].FenXi[3], 7.5);          // -15 flipped and halved
    EXPECT_EQ(rows[4].FenXi[3], 10.0 / 3.0);   // -5 held at two thirds, up side
    EXPECT_EQ(rows[5].FenXi[3], -5.0);         // a normal bar ends the run
    EXPECT_EQ(rows[6].FenXi[3], -5.0);
    const std::vector<std::string> want = {
        "CAnalysisTechniques::GenerateZJLDXFX() BEGIN",
        "nDayNum = 7",
        "pProperty->StartPos[LDX_OBV_DIF] = 7 pProperty->EndPos[LDX_OBV_DIF] = 7",
        "pFenXiData[2].FenXi[LDX_OBV_DIF] = -15",
        "pFenXiData[3].FenXi[LDX_OBV_DIF] = -15",
        "pFenXiData[4].FenXi[LDX_OBV_DIF] = -5",
        "pFenXiData[5].FenXi[LDX_OBV_DIF] = -5",
        "pFenXiData[6].FenXi[LDX_OBV_DIF] = -5",
    };
    EXPECT_EQ(traces, want);
    EXPECT_EQ(p.LineStyle[3], 12);
    EXPECT_EQ(p.LineColor[2], 0x403FFFu);

    auto none = Traced(e, [&] { e.GenerateZJLDXFX(bars.data(), 100, rows, 0, &p); });
    EXPECT_EQ(none, std::vector<std::string>{"nDayNum <= 0, EXIT GenerateZJLDXFX"});
}

TEST(CapitalFlow, SlowMeanStartsAtRow65AndDoublesPrintWithSixDigits) {
    std::vector<UNIKDATA> bars;
    for (int i = 0; i < 66; ++i) bars.push_back(Bar(10, 10 + i, 9, 10 + i, 3));
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateBuffer(bars.data(), 100, rows, 66);
    rows[64].FenXi[1] = 42.0;
    auto traces = Traced(e, [&] { e.GenerateZJLDXFX(bars.data(), 100, rows, 66, &p); });
    EXPECT_EQ(rows[64].FenXi[1], 42.0);  // the loop starts at 65
    ASSERT_EQ(traces.size(), 3u + 64u);
    // Volume 3 per rising bar: line 0 is 0.03 i; (1.92 + 1.95) / 2 - 0.99.
    EXPECT_EQ(traces.back(), "pFenXiData[65].FenXi[LDX_OBV_DIF] = 0.945");
    EXPECT_EQ(traces[3], "pFenXiData[2].FenXi[LDX_OBV_DIF] = 0.045");  // line 1 as the buffer held it (0)
}

TEST(CapitalFlow, ShldxfxFlatLineAndSeeds) {
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p;
    std::memset(&p, 0x5A, sizeof p);
    auto flat = std::vector<UNIKDATA>(40, Bar(5, 5, 5, 5, 100));
    e.GenerateSHLDXFX(flat.data(), 100, rows, 40, &p);
    for (int i = 0; i < 40; ++i) EXPECT_EQ(rows[i].FenXi[8], 0.0);
    EXPECT_EQ(p.EndPos[8], 0x5A5A5A5A);  // the drawn line gets no EndPos
    EXPECT_EQ(p.EndPos[9], 40);
    EXPECT_EQ(p.StartPos[8], 37);

    std::vector<UNIKDATA> rising;
    for (int i = 0; i < 40; ++i) rising.push_back(Bar(5, 5, 5, 5 + i, 100));  // cumulative volume / 100 = i
    e.GenerateSHLDXFX(rising.data(), 100, rows, 40, &p);
    EXPECT_EQ(rows[12].FenXi[5], 78.0 / 13.0);
    EXPECT_EQ(rows[13].FenXi[5], (13.0 + 13.0) / 14.0 + 6.0 * 12.0 / 14.0);
    EXPECT_EQ(rows[28].FenXi[6], 406.0 / 29.0);
    EXPECT_EQ(rows[11].FenXi[5], 0.0);
}

TEST(Chip, DirectionalStageAndEachSmoothing) {
    // unit 10000: prices are analysis values. Bar 2 has no volume.
    std::vector<UNIKDATA> bars = {Bar(0, 12, 8, 10, 1), Bar(0, 15, 9, 9, 1), Bar(0, 14, 7, 13, 0),
                                  Bar(0, 16, 10, 11, 1)};
    const double tr[] = {4, 5, 6, 3}, up[] = {0, 3, 0, 2}, down[] = {0, 0, 2, 0};
    const double pct6[] = {0, 3.0 / 5.0 * 100.0, 0.0 / 6.0 * 100.0, 2.0 / 3.0 * 100.0};
    const double pct8[] = {0, 0.0 / 5.0 * 100.0, 2.0 / 6.0 * 100.0, 0.0 / 3.0 * 100.0};
    const double t2 = (pct6[0] + pct6[1] + pct6[2] + 9.0) / 3.0, t3 = (pct6[1] + pct6[2] + pct6[3] + 9.0) / 3.0;
    const double s2 = (pct8[1] + pct8[2] + 4.0) * 0.5, s3 = (pct8[2] + pct8[3] + 4.0) * 0.5;
    const double q2 = (pct8[0] + pct8[1] + pct8[2] + 9.0) / 3.0, q3 = (pct8[1] + pct8[2] + pct8[3] + 9.0) / 3.0;
    auto blend = [&](int i) { return (pct8[i] * 0.5 + pct6[i] * 0.5) * 0.5; };
    using Gen = void (CAnalysisTechniques::*)(UNIKDATA*, int, FENXIDATA*&, int, int, PROPERTY*);
    struct Case { Gen gen; int line; double row2[2], row3[2]; };  // {line, 7} on rows 2 and 3
    const Case cases[] = {
        {&CAnalysisTechniques::GenerateJGCMX, 6, {0, 0}, {t3, (t3 - t2) * 1.5}},
        {&CAnalysisTechniques::GenerateJGCMXDelta, 6, {t2, 0}, {t3, (t3 - t2) * 1.5}},
        {&CAnalysisTechniques::GenerateDHCMX, 6, {0, 0}, {blend(3), (blend(3) - 0.0) * 1.5}},
        {&CAnalysisTechniques::GenerateDHCMXDelta, 6, {pct6[2], 0}, {pct6[3], (blend(3) - blend(2)) * 3.0}},
        {&CAnalysisTechniques::GenerateSHCMX, 8, {0, 0}, {s3, (s3 - s2) * 1.5}},
        {&CAnalysisTechniques::GenerateSHCMXDelta, 8, {pct8[2], 0}, {pct8[3], (q3 - q2) * 3.0}},
    };
    for (const Case& c : cases) {
        CAnalysisTechniques e;
        FENXIDATA* rows = nullptr;
        PROPERTY p{};
        (e.*c.gen)(bars.data(), 10000, rows, 4, 1, &p);
        const int k = static_cast<int>(&c - cases);
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(rows[i].FenXi[0], tr[i]) << k;
            EXPECT_EQ(rows[i].FenXi[1], up[i]) << k;
            EXPECT_EQ(rows[i].FenXi[2], down[i]) << k;
        }
        EXPECT_EQ(rows[2].FenXi[c.line], c.row2[0]) << k;
        EXPECT_EQ(rows[2].FenXi[7], c.row2[1]) << k;
        EXPECT_EQ(rows[3].FenXi[c.line], c.row3[0]) << k;
        EXPECT_EQ(rows[3].FenXi[7], c.row3[1]) << k;
        EXPECT_EQ(p.EndPos[11], 4);
        EXPECT_EQ(p.StartPos[10], 1);
        EXPECT_EQ(p.LineStyle[7], k % 2 ? 12 : 13) << k;
    }
}

TEST(Chip, WindowLongerThanTheSeriesResetsTwice) {
    auto bars = Closes({10, 11, 12});
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY p{};
    e.GenerateJGCMXDelta(bars.data(), 100, rows, 3, 5, &p);
    EXPECT_EQ(p.LineStyle[7], 0);
    EXPECT_EQ(p.StartPos[6], 0);
    EXPECT_EQ(p.EndPos[6], 3);
    EXPECT_EQ(p.LineColor[12], 0xC0C0C0u);
    EXPECT_EQ(rows[2].FenXi[0], 100.0);  // |12 - 11| x 100
}
