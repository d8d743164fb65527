// The flat C functions. Each builds its own log sink and engine, traces its
// steps with fixed line numbers, and never lets an exception out.
#include <cstring>
#include <sstream>

#include "capi/capi_support.h"
#include "core/window.h"
#include "indicators/columns.h"

using namespace fenxi::capi;
using FENXIDATA = CAnalysisTechniques::FENXIDATA;

namespace {

// The life line (averages over 65 and 130 bars of the mid of high and close)
// into Value0 and Value1, as GenerateLifeLine computes lines 1 and 2.
void LifeLineInto(const BarsCopy& bars, int unit, LineStruct* lines) {
    const int n = static_cast<int>(bars.size());
    const double f = fenxi::PriceFactor(unit);
    fenxi::PooledColumn mid(bars.size()), average(bars.size());
    for (int i = 0; i < n; ++i) mid[i] = fenxi::LifeLineMid(bars[i], f);
    for (int slot = 0; slot < 2; ++slot) {
        fenxi::AverageInto(mid.data(), n, fenxi::kLifeLinePeriods[slot], average.data());
        for (int i = 0; i < n; ++i) (slot == 0 ? lines[i].Value0 : lines[i].Value1) = average[i];
    }
}

// The sink of one call, allocated with new and destroyed through its virtual
// destructor on every path.
class Trace {
public:
    Trace() : sink_(new CAnaLogForHVQ) {}
    ~Trace() { delete static_cast<IAnaLog*>(sink_); }
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

    // "[<this source's path>] LINE <n>" and an end of line.
    void Line(int n) {
        std::ostringstream os;
        os << "[" << __FILE__ << "] LINE " << n << std::endl;
        sink_->Output(os.str());
    }
    void Text(const std::string& text) { sink_->Output(text); }
    IAnaLog* Sink() const { return sink_; }

private:
    CAnaLogForHVQ* sink_;
};

// Mounts the long/short system as the long/short data call does.
std::vector<_SIG_TABLE> MountForDK(CAnalysisTechniques& engine, BarsCopy& bars, const Period& period,
                                   int param, int periodCode, bool flagA, bool flagB, int scale) {
    std::vector<_SIG_TABLE> signals;
    const bool L = period.longPeriod;
    engine.MountAdvSys(signals, 0, true, L, period.code.c_str(), param, 8 + (periodCode > 6 ? 1 : 0),
                       period.barLength, 2, 1, 10, 0, 0, 0, 0, static_cast<int>(bars.size()), bars.data(), scale, !L,
                       flagA, flagB, periodCode == 7);
    return signals;
}

// Shared body of the two flow functions; `lines` lists the trace numbers
// from the step after the copy on, `refused` those of a refused copy.
template <class Generate>
bool FlowForC(int count, UNIKDATA* pBars, LineStruct** ppLines, int* pLineCount, const char* code, int periodCode,
              int scale, int column, std::initializer_list<int> opening, std::initializer_list<int> refused,
              std::initializer_list<int> middle, std::initializer_list<int> closing, Generate generate) {
    try {
        Trace trace;
        for (int n : opening) trace.Line(n);
        BarsCopy bars;
        if (!CopyBars(count, pBars, bars) || ppLines == nullptr || pLineCount == nullptr) {
            for (int n : refused) trace.Line(n);
            return false;
        }
        auto it = middle.begin();
        trace.Line(*it++);
        trace.Line(*it++);
        ConvertPeriod(code, periodCode);  // computed, not used here
        CAnalysisTechniques engine;
        engine.SetAnalog(trace.Sink());
        trace.Line(*it++);
        FENXIDATA* rows = nullptr;
        CAnalysisTechniques::FENXIDATA_PROPERTY property{};
        generate(engine, bars.data(), scale, rows, count, &property);
        for (; it != middle.end(); ++it) trace.Line(*it);
        auto closingIt = closing.begin();
        const std::map<int, int> columns{{column, 0}};
        trace.Line(*closingIt++);
        Buffer lines = CopyLines(count, rows, columns);
        for (; closingIt != closing.end(); ++closingIt) trace.Line(*closingIt);
        *ppLines = static_cast<LineStruct*>(lines.release());
        *pLineCount = count;
        return true;
    } catch (...) {
        return false;
    }
}

// The demonstration stubs: one trace text through a sink of their own.
bool DemoExit(const char* text) {
    try {
        Trace trace;
        trace.Text(text);
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace

extern "C" {

FENXI_API bool FENXI_CALL ComputeDKDataForC(int32_t nCount, UNIKDATA* pBars, LineStruct** ppLines,
                                           int32_t* pLineCount, const char* szCode, int32_t nParam,
                                           int32_t nPeriodCode, bool bFlagA, bool bFlagB, int32_t nScale) {
    try {
        Trace trace;
        trace.Line(321);
        BarsCopy bars;
        if (!CopyBars(nCount, pBars, bars) || ppLines == nullptr || pLineCount == nullptr) {
            trace.Line(327);
            return false;
        }
        trace.Line(336);
        trace.Line(340);
        const Period period = ConvertPeriod(szCode, nPeriodCode);
        trace.Line(385);
        CAnalysisTechniques engine;
        engine.SetAnalog(trace.Sink());
        const auto signals = MountForDK(engine, bars, period, nParam, nPeriodCode, bFlagA, bFlagB, nScale);
        trace.Line(392);
        if (signals.empty()) {
            trace.Text("no dk info");
            trace.Line(396);
        }
        trace.Line(400);
        // The life line's two averages go straight into the lines, with the
        // generator's arithmetic and without its rows.
        Buffer buffer = NewBuffer(bars.size() * sizeof(LineStruct));
        LifeLineInto(bars, nScale, static_cast<LineStruct*>(buffer.get()));
        trace.Line(404);
        trace.Line(410);
        trace.Line(412);
        trace.Text("nLen = " + std::to_string(nCount));
        // One signal consumed per bar, in order: a signal that is not on the
        // current bar waits, and blocks the ones after it.
        auto* lines = static_cast<LineStruct*>(buffer.get());
        std::size_t cursor = 0;
        for (int i = 0; i < nCount; ++i) {
            lines[i].Mark = 0.0;
            if (cursor < signals.size() && signals[cursor].BarIndex == i) {
                const bool buy = signals[cursor].Kind == 0;
                lines[i].Mark = buy ? 1.0 : 2.0;
                trace.Line(buy ? 429 : 432);
                ++cursor;
            }
        }
        trace.Line(438);
        trace.Text("ComputeDKDataForC exit.");
        engine.ResetAnalog();
        engine.ClearTechData();
        *ppLines = static_cast<LineStruct*>(buffer.release());
        *pLineCount = nCount;
        return true;
    } catch (...) {
        return false;
    }
}

FENXI_API bool FENXI_CALL ComputeDKDataForCDemo(void) { return DemoExit("ComputeDKDataForCDemo exit."); }

FENXI_API bool FENXI_CALL GenerateZJLDXFXForC(int32_t nCount, UNIKDATA* pBars, LineStruct** ppLines,
                                             int32_t* pLineCount, const char* szCode, int32_t, int32_t nPeriodCode,
                                             int32_t nScale) {
    return FlowForC(nCount, pBars, ppLines, pLineCount, szCode, nPeriodCode, nScale, 3, {462}, {468},
                    {475, 481, 499, 501}, {508, 510},
                    [](CAnalysisTechniques& e, UNIKDATA* b, int unit, FENXIDATA*& r, int n, auto* p) {
                        e.GenerateZJLDXFX(b, unit, r, n, p);
                    });
}

FENXI_API bool FENXI_CALL GenerateSHLDXFXForC(int32_t nCount, UNIKDATA* pBars, LineStruct** ppLines,
                                             int32_t* pLineCount, const char* szCode, int32_t, int32_t nPeriodCode,
                                             int32_t nScale) {
    return FlowForC(nCount, pBars, ppLines, pLineCount, szCode, nPeriodCode, nScale, 8, {533, 537}, {540},
                    {547, 553, 564, 572, 574}, {579, 581},
                    [](CAnalysisTechniques& e, UNIKDATA* b, int unit, FENXIDATA*& r, int n, auto* p) {
                        e.GenerateSHLDXFX(b, unit, r, n, p);
                    });
}

FENXI_API bool FENXI_CALL ComputeDKMsgForC(int32_t nCount, UNIKDATA* pBars, char** ppText, int32_t* pTextLength,
                                          const char* szCode, int32_t nParam, int32_t nPeriodCode, bool bFlagA,
                                          bool bFlagB, int32_t nScale) {
    try {
        Trace trace;
        trace.Line(601);
        BarsCopy bars;
        if (!CopyBars(nCount, pBars, bars) || ppText == nullptr || pTextLength == nullptr) {
            trace.Line(607);
            return false;
        }
        trace.Line(612);
        const Period period = ConvertPeriod(szCode, nPeriodCode);
        CAnalysisTechniques engine;
        engine.SetAnalog(trace.Sink());
        auto signals = MountForDK(engine, bars, period, nParam, nPeriodCode, bFlagA, bFlagB, nScale);
        trace.Line(618);
        std::string text;
        double price = 0;
        int near = 0;
        const int last = nCount - 1;
        const char* code = period.code.c_str();
        if (period.longPeriod)
            engine.GetLongTermCPXTips(nParam, code, true, period.barLength, bars.data(), nScale, nCount, signals, last,
                                      text, price, 0.0, near, bFlagA, bFlagB);
        else
            engine.GetShortTermCPXTips(nParam, code, false, period.barLength, bars.data(), nScale, nCount, signals,
                                       last, text, price, 0.0, near, bFlagA, bFlagB);
        trace.Line(624);
        Buffer buffer = NewBuffer(text.size() + 1);
        std::memcpy(buffer.get(), text.data(), text.size());
        trace.Text("ComputeDKMsgForC exit.");
        engine.ResetAnalog();
        *ppText = static_cast<char*>(buffer.release());
        *pTextLength = static_cast<int32_t>(text.size());
        return true;
    } catch (...) {
        return false;
    }
}

FENXI_API bool FENXI_CALL ComputeDKMsgForCDemo(void) { return DemoExit("ComputeDKMsgForCDemo exit."); }

FENXI_API void FENXI_CALL FreeLineStruct(void** ppBuffer) {
    if (ppBuffer == nullptr || *ppBuffer == nullptr) return;
    BufferDelete{}(*ppBuffer);
    *ppBuffer = nullptr;
}

FENXI_API void FENXI_CALL FreeCharBuffer(void** ppBuffer) { FreeLineStruct(ppBuffer); }

}  // extern "C"
