#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <vector>

#include "fenxi/fenxi.h"

namespace {

std::vector<std::string> g_seen;
void Capture(const char* text) { g_seen.emplace_back(text); }

struct Recorder : IAnaLog {
    std::vector<std::string> texts;
    void Output(const std::string& text) override { texts.push_back(text); }
};

}  // namespace

TEST(Log, PutAnalogPassesTextUnchangedUntilReset) {
    CAnalysisTechniques e;
    e.PutAnalog("dropped");  // no sink
    Recorder r;
    e.SetAnalog(&r);
    e.PutAnalog("");
    e.PutAnalog("a\r\n");
    e.ResetAnalog();
    e.PutAnalog("gone");
    EXPECT_EQ(r.texts, (std::vector<std::string>{"", "a\r\n"}));
}

TEST(Log, ConcreteSinkGoesToTheHook) {
    g_seen.clear();
    CAnaLogForHVQ sink;
    sink.Output("before");  // no hook: dropped
    EXPECT_EQ(SetDebugOutputHook(Capture), nullptr);
    CAnalysisTechniques e;
    e.SetAnalog(&sink);
    e.PutAnalog("[x] LINE 7\n");
    EXPECT_EQ(SetDebugOutputHook(nullptr), Capture);
    e.PutAnalog("after");
    EXPECT_EQ(g_seen, (std::vector<std::string>{"[x] LINE 7\n"}));
}

TEST(Log, DebugInfoAndGetters) {
    CAnalysisTechniques e;
    std::ostringstream captured;
    auto* old = std::cout.rdbuf(captured.rdbuf());
    e.DebugInfo();
    std::cout.rdbuf(old);
    EXPECT_EQ(captured.str(),
              "--- DEBUG INFO OF CAnalysisTechniques\n"
              "sizeof(UNIKDATA) = 48\n"
              "sizeof(FENXIDATA) = 424\n"
              "--- END OF DEBUG INFO OF CAnalysisTechniques\n");
    std::string s = "junk";
    e.GetFormulaVersion(s);
    EXPECT_EQ(s, "1.1");
    e.GetChineseString(s);
    EXPECT_EQ(s.size(), 27u);
    EXPECT_EQ(s, "\xe4\xb8\xad\xe6\x96\x87\xe5\xad\x97\xe7\xac\xa6\xe4\xb8\xb2\xe6\xb5\x8b\xe8\xaf\x95\xe5\x87\xbd\xe6\x95\xb0");
}
