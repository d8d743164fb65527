// Threads: engines of their own, one engine shared through its lock, and
// concurrent flat C calls, formulas and panels. Built also under
// ThreadSanitizer in CI.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "bars.h"
#include "engine_probe.h"
#include "fenxi/formula.h"
#include "fenxi/panel.h"

using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

namespace {

constexpr int kThreads = 4;

// Every family once over the bars; the rows of the last call and the points.
struct Outcome {
    std::vector<FENXIDATA> rows;
    std::vector<_SIG_TABLE> points;
};

Outcome RunAll(CAnalysisTechniques& e, std::vector<UNIKDATA>& bars, int n) {
    FENXIDATA* r = nullptr;
    PROPERTY p{};
    e.GenerateMA5(bars.data(), 100, r, n, 5, 10, 20, 30, 60, &p);
    e.GenerateKDJ(bars.data(), 100, r, n, 9, 3, 3, &p);
    e.GenerateBOLLIN(bars.data(), 100, r, n, 20, 2, -2, 1, &p);
    e.GenerateDMI(bars.data(), 100, r, n, 14, 6, &p);
    e.GenerateSHLDXFX(bars.data(), 100, r, n, &p);
    Outcome o;
    o.rows.assign(r, r + n);
    e.MountAdvSys(o.points, 0, false, true, "002032", 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, n, bars.data(), 100, false, false,
                  false, true);
    return o;
}

std::atomic<int> g_traces{0};
void CountTrace(const char*) { g_traces.fetch_add(1, std::memory_order_relaxed); }

}  // namespace

TEST(Stress, EnginesOfTheirOwnAgree) {
    auto bars = testbars::Sample();
    const int n = 1500;
    CAnalysisTechniques reference;
    const Outcome want = RunAll(reference, bars, n);
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&] {
            auto mine = bars;  // each thread reads its own copy
            for (int round = 0; round < 3; ++round) {
                CAnalysisTechniques e;
                const Outcome got = RunAll(e, mine, n);
                mismatches += std::memcmp(got.rows.data(), want.rows.data(), n * sizeof(FENXIDATA)) != 0;
                mismatches += got.points.size() != want.points.size();
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(mismatches.load(), 0);
}

TEST(Stress, OneEngineSharedThroughItsLock) {
    auto bars = testbars::Sample();
    const int n = 800;
    CAnalysisTechniques shared;
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            CAnalysisTechniques own;
            FENXIDATA* mineRows = nullptr;
            PROPERTY p{};
            own.GenerateMA2(bars.data() + 100 * t, 100, mineRows, n, 5, 10 + t, &p);
            const std::vector<FENXIDATA> want(mineRows, mineRows + n);
            for (int round = 0; round < 40; ++round) {
                auto& lock = FenxiEngineProbe::Lock(shared);
                lock.Enter();  // hold the engine while reading its rows
                FENXIDATA* rows = nullptr;
                PROPERTY q{};
                shared.GenerateMA2(bars.data() + 100 * t, 100, rows, n, 5, 10 + t, &q);
                for (int i = 0; i < n; ++i) mismatches += rows[i].FenXi[2] != want[i].FenXi[2];
                lock.Leave();
                shared.GenerateRSI(bars.data(), 100, rows, n, 6, 12, &q);  // no reading: the lock alone serialises
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(mismatches.load(), 0);
}

TEST(Stress, FlatCallsInParallel) {
    auto bars = testbars::Sample();
    SetDebugOutputHook(CountTrace);
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < 3; ++round) {
                LineStruct* lines = nullptr;
                int count = 0;
                bool ok = t % 2 ? ComputeDKDataForC(1200, bars.data(), &lines, &count, "002032", 0, 1, false, false, 100)
                                : GenerateZJLDXFXForC(1200, bars.data(), &lines, &count, "002032", 0, 1, 100);
                failures += !ok || count != 1200;
                FreeLineStruct(reinterpret_cast<void**>(&lines));
                char* text = nullptr;
                ok = ComputeDKMsgForC(900, bars.data(), &text, &count, "002032", 0, 9, false, false, 100);
                failures += !ok;
                FreeCharBuffer(reinterpret_cast<void**>(&text));
            }
        });
    for (auto& t : threads) t.join();
    SetDebugOutputHook(nullptr);
    EXPECT_EQ(failures.load(), 0);
    EXPECT_GT(g_traces.load(), kThreads * 3 * 10);
}

// One compiled formula (with a library entry and a registry operation among
// its references) run and streamed from many threads at once.
TEST(Stress, OneFormulaFromManyThreads) {
    const auto sample = testbars::Sample();
    const std::vector<UNIKDATA> bars(sample.begin(), sample.begin() + 1200);
    fenxi::FormulaLibrary lib(fenxi::FormulaLibrary::Start::Empty);
    ASSERT_FALSE(lib.Load("FORMULA BBI\nPARAM M 3 1 100\nBBI:(MA(C,M)+MA(C,2*M))/2;\nEND\n", "lib.fxl"));
    const fenxi::Formula f("DIF:EMA(C,12)-EMA(C,26); DEA:EMA(DIF,9); S:STD(C,20); B:BBI.BBI(5); K:\"KDJ.K\";", &lib);
    ASSERT_TRUE(f.ok());
    const fenxi::FormulaResult want = f.Run(fenxi::Bars{bars, 100});
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            if (t % 2 == 0) {
                const fenxi::FormulaResult got = f.Run(fenxi::Bars{bars, 100}, {});
                for (std::size_t k = 0; k < want.lines.size(); ++k)
                    mismatches += std::memcmp(got.lines[k].values.data(), want.lines[k].values.data(),
                                              bars.size() * sizeof(double)) != 0;
                return;
            }
            fenxi::FormulaStream s = f.Stream(100);
            for (std::size_t i = 0; i < bars.size(); ++i) {
                const std::span<const double> last = s.Append(bars[i]);
                for (std::size_t k = 0; k < want.lines.size(); ++k)
                    mismatches += std::memcmp(&last[k], &want.lines[k].values[i], sizeof(double)) != 0;
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(mismatches.load(), 0);
}

// Panels share their securities among threads, and several panels run at
// once: every security's lines as one call for it gives them.
TEST(Stress, PanelsOnThreads) {
    const auto sample = testbars::Sample();
    std::vector<fenxi::Bars> market;
    for (int s = 0; s < 37; ++s)
        market.push_back(fenxi::Bars{std::vector<UNIKDATA>(sample.begin() + s * 17, sample.begin() + 400 + s * 23), 100});
    const fenxi::Formula f("DIF:EMA(C,12)-EMA(C,26); DEA:EMA(DIF,9);");
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            const char* op = t % 2 == 0 ? "MACD" : "ADX";
            const auto many = fenxi::ComputeMany(op, std::vector<int>{}, market, {3});
            const auto formulas = fenxi::RunMany(f, market, {}, {2});
            for (std::size_t s = 0; s < market.size(); ++s) {
                const fenxi::Lines one = fenxi::Compute(op, std::vector<int>{}, market[s]);
                for (std::size_t k = 0; k < one.values.size(); ++k)
                    mismatches += std::memcmp(many[s].values[k].data(), one.values[k].data(),
                                              one.values[k].size() * sizeof(double)) != 0;
                mismatches += formulas[s].lines.size() != 2;
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(mismatches.load(), 0);
}
