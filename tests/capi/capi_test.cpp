#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bars.h"
#include "capi/capi_support.h"

using namespace testbars;

namespace {

std::vector<std::string> g_seen;
void Collect(const char* text) { g_seen.emplace_back(text); }

// Trace texts of one call: "LINE n" for the line traces, the text otherwise.
template <class Call>
std::vector<std::string> Traces(Call call) {
    g_seen.clear();
    SetDebugOutputHook(Collect);
    call();
    SetDebugOutputHook(nullptr);
    std::vector<std::string> out;
    for (const std::string& t : g_seen) {
        const auto at = t.find("] LINE ");
        if (t.rfind("[", 0) == 0 && at != std::string::npos && t.find("capi.cpp") != std::string::npos)
            out.push_back(t.substr(at + 2, t.size() - at - 3));  // drop the newline
        else
            out.push_back(t);
    }
    return out;
}

std::vector<std::string> Lines(std::initializer_list<int> numbers) {
    std::vector<std::string> out;
    for (int n : numbers) out.push_back("LINE " + std::to_string(n));
    return out;
}

}  // namespace

TEST(CApi, PeriodCodes) {
    struct Case { int code, length; bool longPeriod; };
    for (const Case c : {Case{2, 5, false}, Case{6, 120, false}, Case{8, 2, true}, Case{12, 5, true},
                         Case{7, 1, true}, Case{1, 1, false}, Case{11, 1, true}, Case{-3, 1, false}}) {
        const auto p = fenxi::capi::ConvertPeriod("600000", c.code);
        EXPECT_EQ(p.barLength, c.length) << c.code;
        EXPECT_EQ(p.longPeriod, c.longPeriod) << c.code;
    }
}

TEST(CApi, FlowTracesAndLimits) {
    auto bars = Sample();
    LineStruct* lines = nullptr;
    int count = -1;
    auto zj = Traces([&] { EXPECT_TRUE(GenerateZJLDXFXForC(3, bars.data(), &lines, &count, "002032", 0, 1, 100)); });
    auto want = Lines({462, 475, 481, 499});
    want.push_back("CAnalysisTechniques::GenerateZJLDXFX() BEGIN");  // the generator logs through the same sink
    EXPECT_EQ(std::vector<std::string>(zj.begin(), zj.begin() + 5), want);
    EXPECT_EQ(std::vector<std::string>(zj.end() - 3, zj.end()), Lines({501, 508, 510}));
    FreeLineStruct(reinterpret_cast<void**>(&lines));

    auto sh = Traces([&] { GenerateSHLDXFXForC(100, bars.data(), &lines, &count, "002032", 0, 1, 100); });
    EXPECT_EQ(sh, Lines({533, 537, 547, 553, 564, 572, 574, 579, 581}));
    CAnalysisTechniques e;
    CAnalysisTechniques::FENXIDATA* rows = nullptr;
    CAnalysisTechniques::FENXIDATA_PROPERTY p{};
    e.GenerateSHLDXFX(bars.data(), 100, rows, 100, &p);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(lines[i].Value0, rows[i].FenXi[8]);
        EXPECT_EQ(lines[i].Value1 + lines[i].Mark, 0.0);
    }
    FreeLineStruct(reinterpret_cast<void**>(&lines));

    std::vector<UNIKDATA> many(36501, bars[0]);
    EXPECT_EQ(Traces([&] { EXPECT_FALSE(GenerateSHLDXFXForC(36501, many.data(), &lines, &count, "", 0, 1, 100)); }),
              Lines({533, 537, 540}));
    EXPECT_EQ(Traces([&] { EXPECT_FALSE(GenerateZJLDXFXForC(-1, many.data(), &lines, &count, "", 0, 1, 100)); }),
              Lines({462, 468}));
    EXPECT_EQ(lines, nullptr);
    auto empty = Traces([&] { EXPECT_TRUE(GenerateZJLDXFXForC(0, nullptr, &lines, &count, "", 0, 1, 100)); });
    EXPECT_NE(std::find(empty.begin(), empty.end(), "nDayNum <= 0, EXIT GenerateZJLDXFX"), empty.end());
    EXPECT_NE(lines, nullptr);
    EXPECT_EQ(count, 0);
    FreeCharBuffer(reinterpret_cast<void**>(&lines));
}

TEST(CApi, LongShortMarksFollowTheSystem) {
    auto bars = Sample();
    const int n = 1200;
    for (int periodCode : {1, 7, 9}) {
        LineStruct* lines = nullptr;
        int count = 0;
        auto traces = Traces([&] {
            EXPECT_TRUE(ComputeDKDataForC(n, bars.data(), &lines, &count, "002032", 0, periodCode, false, false, 100));
        });
        const auto period = fenxi::capi::ConvertPeriod("002032", periodCode);
        CAnalysisTechniques e;
        std::vector<_SIG_TABLE> signals;
        e.MountAdvSys(signals, 0, true, period.longPeriod, "002032", 0, 8 + (periodCode > 6), period.barLength, 2, 1,
                      10, 0, 0, 0, 0, n, bars.data(), 100, !period.longPeriod, false, false, periodCode == 7);
        ASSERT_FALSE(signals.empty());
        std::vector<double> marks(n, 0.0);
        for (const auto& s : signals) marks[s.BarIndex] = s.Kind == 0 ? 1.0 : 2.0;
        CAnalysisTechniques::FENXIDATA* rows = nullptr;
        CAnalysisTechniques::FENXIDATA_PROPERTY p{};
        e.GenerateLifeLine(bars.data(), 100, rows, n, &p);
        for (int i = 0; i < n; ++i) {
            ASSERT_EQ(lines[i].Mark, marks[i]) << i;
            ASSERT_EQ(lines[i].Value0, rows[i].FenXi[1]);
            ASSERT_EQ(lines[i].Value1, rows[i].FenXi[2]);
        }
        auto want = Lines({321, 336, 340, 385, 392, 400, 404, 410, 412});
        want.push_back("nLen = 1200");
        for (const auto& s : signals) want.push_back("LINE " + std::to_string(s.Kind == 0 ? 429 : 432));
        for (const auto& t : Lines({438})) want.push_back(t);
        want.push_back("ComputeDKDataForC exit.");
        EXPECT_EQ(traces, want);
        FreeLineStruct(reinterpret_cast<void**>(&lines));
    }
}

TEST(CApi, NoSignalsAndTheRefusedCopy) {
    auto bars = Sample();
    LineStruct* lines = nullptr;
    int count = 0;
    auto traces = Traces([&] { ComputeDKDataForC(30, bars.data(), &lines, &count, "002032", 0, 1, false, false, 100); });
    EXPECT_EQ(std::vector<std::string>(traces.begin() + 5, traces.begin() + 8),
              (std::vector<std::string>{"no dk info", "LINE 396", "LINE 400"}));
    for (int i = 0; i < 30; ++i) EXPECT_EQ(lines[i].Mark, 0.0);
    FreeLineStruct(reinterpret_cast<void**>(&lines));
    std::vector<UNIKDATA> many(36501);
    EXPECT_EQ(Traces([&] { ComputeDKDataForC(36501, many.data(), &lines, &count, "", 0, 1, false, false, 100); }),
              Lines({321, 327}));
    EXPECT_EQ(Traces([] { ComputeDKDataForCDemo(); }), std::vector<std::string>{"ComputeDKDataForCDemo exit."});
}

TEST(CApi, MessageIsTheTipForTheLastBar) {
    auto bars = Sample();
    const int n = 900;
    char* text = nullptr;
    int length = 0;
    ASSERT_TRUE(ComputeDKMsgForC(n, bars.data(), &text, &length, "002032", 0, 9, false, false, 100));
    CAnalysisTechniques e;
    std::vector<_SIG_TABLE> signals;
    e.MountAdvSys(signals, 0, true, true, "002032", 0, 9, 3, 2, 1, 10, 0, 0, 0, 0, n, bars.data(), 100, false, false,
                  false, false);
    std::string want;
    double price = 0;
    int near = 0;
    ASSERT_EQ(e.GetLongTermCPXTips(0, "002032", true, 3, bars.data(), 100, n, signals, n - 1, want, price, 0.0, near,
                                   false, false), 1);
    EXPECT_EQ(std::string(text, length), want);
    FreeCharBuffer(reinterpret_cast<void**>(&text));
}
