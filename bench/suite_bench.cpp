// The benchmark suite: every operation over real bars extended to 36,500 and
// 1,000,000 bars, beside the floor of writing k columns into n rows.
// Run: bash scripts/bench.sh (medians of repeated runs); per-bar figures are
// the reported time divided by the bar count (items/s is bars/s).
#include <benchmark/benchmark.h>

#include <bit>
#include <cmath>
#include <map>
#include <memory>

#include "bars.h"
#include "extended_bars.h"
#include "core/kernel.h"
#include "core/lanes.h"
#include "fenxi/series.h"

namespace {

using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

using benchbars::Extended;

constexpr int kSizes[] = {36500, 1000000};
constexpr int kFloorColumns = 12;

// The floor of writing k columns into n rows, with the kernels' write
// prefetch.
void Floor(benchmark::State& state, int columns, int n) {
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    e.GenerateBuffer(nullptr, 100, rows, n);
    const fenxi::LineOut out = fenxi::LineOut::Rows(rows);
    for (auto _ : state) {
        for (int i = 0; i < n; ++i) {
            out.Ahead(0, i);
            for (int c = 0; c < columns; ++c) out(c, i) = i * 0.5 + c;
        }
        benchmark::DoNotOptimize(rows);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void Defaults(const fenxi::OperationSpec& op, std::int32_t (&p)[fenxi::kMaxParams]) {
    fenxi::ResolveParams(op, {}, p);
}

void Generator(benchmark::State& state, const fenxi::OperationSpec* op, int n, bool update) {
    std::vector<UNIKDATA> bars = Extended(n);
    CAnalysisTechniques e;
    FENXIDATA* rows = nullptr;
    PROPERTY prop{};
    std::int32_t params[fenxi::kMaxParams];
    Defaults(*op, params);
    // Warm calls: the rows and the pooled scratch are faulted in over the
    // first few (a fault costs tens of microseconds on this virtual machine).
    for (int warm = 0; warm < 4; ++warm) op->generate(e, bars.data(), 100, rows, n, params, &prop, 0);
    for (auto _ : state) {
        if (update)
            op->update(e, bars.data(), 100, rows, n, params);
        else
            op->generate(e, bars.data(), 100, rows, n, params, &prop, 0);
        benchmark::DoNotOptimize(rows);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * (update ? 1 : n));
    // The columns the kernel writes: the floor the report sets it beside.
    state.counters["columns"] = std::popcount(op->kernel->writes);
}

// The columnar API over n bars at the defaults.
void Columnar(benchmark::State& state, const fenxi::OperationSpec* op, int n) {
    fenxi::Bars bars{Extended(n), 100};
    for (auto _ : state) {
        fenxi::Lines lines = fenxi::Compute(op->name, {}, bars);
        benchmark::DoNotOptimize(lines.values.data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// One stream call per bar: appends over the series, each followed by one
// replacement of the forming bar.
void Streamed(benchmark::State& state, const fenxi::OperationSpec* op, int n) {
    std::vector<UNIKDATA> bars = Extended(n);
    for (auto _ : state) {
        fenxi::Stream stream(op->name, {}, 100);
        for (const UNIKDATA& b : bars) benchmark::DoNotOptimize(stream.Append(b).data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void Chart(benchmark::State& state, int type, int param, int n) {
    std::vector<UNIKDATA> bars = Extended(n);
    CAnalysisTechniques e;
    for (auto _ : state) {
        FENXIDATA* rows = nullptr;
        UNIKDATA* blocks = nullptr;
        int count = 0;
        PROPERTY prop{};
        ATP_KLINE settings{};
        settings.ChartType = type;
        settings.ChartParam = param;
        e.GenerateKLINE(bars.data(), 10000, n, blocks, count, rows, &prop, &settings, "600000");
        FreeKLineBars(&blocks);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void System(benchmark::State& state, bool shortSystem, int n) {
    std::vector<UNIKDATA> bars = Extended(n);
    CAnalysisTechniques e;
    for (auto _ : state) {
        std::vector<_SIG_TABLE> signals;
        e.MountAdvSys(signals, 0, false, !shortSystem, "002032", 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, n, bars.data(), 100,
                      shortSystem, false, false, true);
        benchmark::DoNotOptimize(signals.data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// One tactics pool over n bars: 0 short, 1 mid, 2 long.
void Tactics(benchmark::State& state, int pool, int n) {
    std::vector<UNIKDATA> bars = Extended(n);
    CAnalysisTechniques e;
    for (auto _ : state) {
        std::vector<CE_LUE_SIGN> signs;
        std::vector<_SIG_TABLE> points;
        if (pool == 0) e.TacticsPoolsShort(signs, n, bars.data(), 100);
        if (pool == 1) e.TacticsPoolsMid(signs, n, bars.data(), 100);
        if (pool == 2) e.TacticsPools(points, n, bars.data(), 100);
        benchmark::DoNotOptimize(signs.data());
        benchmark::DoNotOptimize(points.data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void Tip(benchmark::State& state, bool shortSystem, int n) {
    std::vector<UNIKDATA> bars = Extended(n);
    CAnalysisTechniques e;
    std::vector<_SIG_TABLE> signals;
    e.MountAdvSys(signals, 0, false, !shortSystem, "002032", 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, n, bars.data(), 100,
                  shortSystem, false, false, true);
    for (auto _ : state) {
        std::string text;
        double price = 0;
        int near = 0;
        if (shortSystem)
            e.GetShortTermCPXTips(0, "002032", false, 0, bars.data(), 100, n, signals, n - 1, text, price, 0, near,
                                  false, false);
        else
            e.GetLongTermCPXTips(0, "002032", true, 0, bars.data(), 100, n, signals, n - 1, text, price, 0, near,
                                 false, false);
        benchmark::DoNotOptimize(text.data());
    }
}

void FlatCall(benchmark::State& state, int which, int n) {
    std::vector<UNIKDATA> bars = Extended(n);
    for (auto _ : state) {
        LineStruct* lines = nullptr;
        int count = 0;
        if (which == 0) ComputeDKDataForC(n, bars.data(), &lines, &count, "002032", 0, 9, false, false, 100);
        if (which == 1) GenerateZJLDXFXForC(n, bars.data(), &lines, &count, "002032", 0, 1, 100);
        if (which == 2) GenerateSHLDXFXForC(n, bars.data(), &lines, &count, "002032", 0, 1, 100);
        FreeLineStruct(reinterpret_cast<void**>(&lines));
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// One kind of ordered window sum over the 1,000,000-bar close column at
// period 20: the plain per-window loop, or the lanes on a forced route.
enum class Route { Plain, Baseline, Detected };

void WindowKernel(benchmark::State& state, int kind, Route route) {
    const int n = 1000000, p = 20, windows = n - p + 1;
    const std::vector<UNIKDATA>& bars = Extended(n);
    std::vector<double> x(n), centre(windows), out(windows);
    for (int i = 0; i < n; ++i) x[i] = bars[i].Close * 100.0;
    for (int k = 0; k < windows; ++k) centre[k] = x[k + p / 2];
    fenxi::lanes::ForceBaseline(route == Route::Baseline);
    for (auto _ : state) {
        if (route != Route::Plain) {
            if (kind == 0) fenxi::lanes::WindowSums(x.data(), windows, p, out.data());
            if (kind == 1) fenxi::lanes::SquaredDeviations(x.data(), centre.data(), windows, p, out.data());
            if (kind == 2) fenxi::lanes::AbsoluteDeviations(x.data(), centre.data(), windows, p, out.data());
        } else {
            for (int k = 0; k < windows; ++k) {
                double t = 0.0;
                for (int j = 0; j < p; ++j) {
                    const double d = x[k + j] - centre[k];
                    t += kind == 0 ? x[k + j] : kind == 1 ? d * d : std::fabs(centre[k] - x[k + j]);
                }
                out[k] = t;
            }
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    fenxi::lanes::ForceBaseline(false);
    state.SetItemsProcessed(state.iterations() * windows);
}

int Register() {
    static const char* const kKinds[] = {"sums", "squares", "spreads"};
    for (int kind = 0; kind < 3; ++kind) {
        const std::string name = std::string("Window/") + kKinds[kind] + "/20/";
        benchmark::RegisterBenchmark((name + "plain").c_str(), WindowKernel, kind, Route::Plain);
        benchmark::RegisterBenchmark((name + "baseline").c_str(), WindowKernel, kind, Route::Baseline);
        benchmark::RegisterBenchmark((name + fenxi::lanes::Route()).c_str(), WindowKernel, kind, Route::Detected);
    }
    for (int n : kSizes) {
        const std::string size = "/" + std::to_string(n);
        for (int k = 1; k <= kFloorColumns; ++k)
            benchmark::RegisterBenchmark(("Floor/" + std::to_string(k) + size).c_str(), Floor, k, n);
        for (const fenxi::OperationSpec& op : fenxi::Operations()) {
            const std::string name = op.name;
            benchmark::RegisterBenchmark(("Columnar/" + name + size).c_str(), Columnar, &op, n);
            if (n < 100000)
                benchmark::RegisterBenchmark(("Stream/" + name + size).c_str(), Streamed, &op, n);
            if (name == "MIKE") continue;  // keeps its engine's lock; measured once below
            benchmark::RegisterBenchmark(("Generate/" + name + size).c_str(), Generator, &op, n, false);
            if (op.update)
                benchmark::RegisterBenchmark(("Update/" + name + size).c_str(), Generator, &op, n, true);
        }
        for (int type = 0; type <= 5; ++type)
            benchmark::RegisterBenchmark(("KLINE/" + std::to_string(type) + size).c_str(), Chart, type,
                                         type == 4 ? 5000 : 3, n);
    }
    const int n = 36500;
    const std::string size = "/36500";
    benchmark::RegisterBenchmark(("MountAdvSys/long" + size).c_str(), System, false, n);
    benchmark::RegisterBenchmark(("MountAdvSys/short" + size).c_str(), System, true, n);
    benchmark::RegisterBenchmark(("Tactics/short" + size).c_str(), Tactics, 0, n);
    benchmark::RegisterBenchmark(("Tactics/mid" + size).c_str(), Tactics, 1, n);
    benchmark::RegisterBenchmark(("Tactics/long" + size).c_str(), Tactics, 2, n);
    benchmark::RegisterBenchmark(("Tip/short" + size).c_str(), Tip, true, n);
    benchmark::RegisterBenchmark(("Tip/long" + size).c_str(), Tip, false, n);
    benchmark::RegisterBenchmark(("ComputeDKDataForC" + size).c_str(), FlatCall, 0, n);
    benchmark::RegisterBenchmark(("GenerateZJLDXFXForC" + size).c_str(), FlatCall, 1, n);
    benchmark::RegisterBenchmark(("GenerateSHLDXFXForC" + size).c_str(), FlatCall, 2, n);
    return 0;
}

const int kRegistered = Register();

}  // namespace
