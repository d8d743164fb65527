// Generator throughput over the shipped daily sample (2,813 bars, unit 100).
// Figures are per call over all bars; items/s counts bars.
#include <benchmark/benchmark.h>

#include "bars.h"

namespace {

using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

const std::vector<UNIKDATA>& Bars() {
    static const std::vector<UNIKDATA> bars = testbars::Sample();
    return bars;
}

template <class Call>
void Run(benchmark::State& state, Call call) {
    std::vector<UNIKDATA> bars = Bars();
    const int n = static_cast<int>(bars.size());
    CAnalysisTechniques engine;
    FENXIDATA* rows = nullptr;
    PROPERTY prop{};
    for (auto _ : state) {
        call(engine, bars.data(), rows, n, prop);
        benchmark::DoNotOptimize(rows);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_MA5(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateMA5(b, 100, r, n, 5, 10, 20, 30, 60, &p); });
}
void BM_LifeLine(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateLifeLine(b, 100, r, n, &p); });
}
void BM_MACD(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateMACD(b, 100, r, n, 12, 26, 9, &p); });
}
void BM_RSI(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateRSI(b, 100, r, n, 6, 24, &p); });
}
void BM_BIAS(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateBIAS(b, 100, r, n, 6, 12, 24, &p); });
}
void BM_HHV(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) {
        e.GenerateHHV(b, 100, r, n, CAnalysisTechniques::KI_HIGH, 20, &p);
    });
}
void BM_VOL(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateVOL(b, 100, r, n, 5, 10, &p); });
}
void BM_OBV(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateOBV(b, 100, r, n, 30, &p); });
}
void BM_VR(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateVR(b, 100, r, n, 26, &p); });
}
void BM_WVAD(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateWVAD(b, 100, r, n, 24, &p); });
}

void BM_KDJ(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateKDJ(b, 100, r, n, 9, 3, 3, &p); });
}
void BM_WR(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateWR(b, 100, r, n, 10, 6, 0, &p); });
}
void BM_BOLLIN(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateBOLLIN(b, 100, r, n, 20, 2, -2, 1, &p); });
}
void BM_PSY(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GeneratePSY(b, 100, r, n, 12, &p); });
}
void BM_CCI(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateCCI(b, 100, r, n, 14, &p); });
}
void BM_SAR(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateSAR(b, 100, r, n, 10, &p); });
}
void BM_EXPMA(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateEXPMA(b, 100, r, n, 12, 0, &p); });
}

void BM_JGCMX(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateJGCMX(b, 100, r, n, 14, &p); });
}
void BM_ZJLDXFX(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateZJLDXFX(b, 100, r, n, &p); });
}
void BM_SHLDXFX(benchmark::State& s) {
    Run(s, [](auto& e, UNIKDATA* b, FENXIDATA*& r, int n, PROPERTY& p) { e.GenerateSHLDXFX(b, 100, r, n, &p); });
}

}  // namespace

BENCHMARK(BM_JGCMX);
BENCHMARK(BM_ZJLDXFX);
BENCHMARK(BM_SHLDXFX);
BENCHMARK(BM_KDJ);
BENCHMARK(BM_WR);
BENCHMARK(BM_BOLLIN);
BENCHMARK(BM_PSY);
BENCHMARK(BM_CCI);
BENCHMARK(BM_SAR);
BENCHMARK(BM_EXPMA);
BENCHMARK(BM_MA5);
BENCHMARK(BM_LifeLine);
BENCHMARK(BM_MACD);
BENCHMARK(BM_RSI);
BENCHMARK(BM_BIAS);
BENCHMARK(BM_HHV);
BENCHMARK(BM_VOL);
BENCHMARK(BM_OBV);
BENCHMARK(BM_VR);
BENCHMARK(BM_WVAD);
