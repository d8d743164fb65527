// Formulas: compiling a 20-statement text, a stream append of the MACD
// formula, and whole runs beside the built-in MACD's columns.
#include <benchmark/benchmark.h>

#include <string>

#include "bars.h"
#include "fenxi/formula.h"

namespace {

const char* const kMacd = "DIF:EMA(CLOSE,12)-EMA(CLOSE,26); DEA:EMA(DIF,9); MACD:(DIF-DEA)*2;";

std::string TwentyStatements() {
    std::string text;
    for (int k = 0; k < 20; ++k)
        text += "L" + std::to_string(k) + ":MA(CLOSE," + std::to_string(k + 2) + ")+HHV(HIGH," + std::to_string(k + 3) +
                ")*0.5-REF(C,1)/(V+1);";
    return text;
}

void FormulaCompile(benchmark::State& state) {
    const std::string text = TwentyStatements();
    for (auto _ : state) {
        fenxi::Formula f(text);
        benchmark::DoNotOptimize(f.ok());
    }
}
BENCHMARK(FormulaCompile);

void FormulaStreamAppend(benchmark::State& state) {
    const auto bars = testbars::Sample();
    const fenxi::Formula f(kMacd);
    fenxi::FormulaStream s = f.Stream(100);
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(s.Append(bars[i]).data());
        if (++i == bars.size()) i = 0;
    }
}
BENCHMARK(FormulaStreamAppend);

void FormulaRun(benchmark::State& state, const char* text) {
    const fenxi::Bars bars{testbars::Sample(), 100};
    const fenxi::Formula f(text);
    for (auto _ : state) benchmark::DoNotOptimize(f.Run(bars).lines.data());
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(bars.bars.size()));
}
BENCHMARK_CAPTURE(FormulaRun, MACD, kMacd);
BENCHMARK_CAPTURE(FormulaRun, MA5, "MA(C,5)");
BENCHMARK_CAPTURE(FormulaRun, MA250, "MA(C,250)");
BENCHMARK_CAPTURE(FormulaRun, STD20, "STD(C,20)");

void BuiltinMacdColumns(benchmark::State& state) {
    const fenxi::Bars bars{testbars::Sample(), 100};
    for (auto _ : state) benchmark::DoNotOptimize(fenxi::Compute("MACD", {12, 26, 9}, bars).values.data());
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(bars.bars.size()));
}
BENCHMARK(BuiltinMacdColumns);

}  // namespace
