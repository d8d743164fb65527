// Every generator of the family over real bars, with the units and periods
// a caller may pass: odd units, periods from 1 to beyond the series, zero and
// negative periods. Under the sanitizers this catches any read or write
// outside the bars or the rows.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "bars.h"
#include "fenxi/series.h"
#include "engine_probe.h"

using namespace testbars;
using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

TEST(Sweep, AllUnitsAndPeriods) {
    auto all = Sample();
    const int n = 120;
    UNIKDATA* b = all.data();
    for (int unit : {100, 1000, 10000, 3}) {
        for (int q : {1, 2, 5, 26, n - 1, n, n + 7, 0, -3}) {
            // Every operation twice: all parameters q, then q, k + 1, -q in turn.
            for (const fenxi::OperationSpec& op : fenxi::Operations()) {
                for (int shape = 0; shape < 2; ++shape) {
                    std::int32_t params[fenxi::kMaxParams] = {};
                    for (int k = 0; k < op.paramCount; ++k)
                        params[k] = shape == 0 || k % 3 == 0 ? q : k % 3 == 1 ? k + 1 : -q;
                    CAnalysisTechniques e;
                    FENXIDATA* r = nullptr;
                    PROPERTY p{};
                    op.generate(e, b, unit, r, n, params, &p, 0);
                    if (op.update) op.update(e, b, unit, r, n, params);
                    const unsigned kept = std::string(op.name) == "MIKE" && q >= 1 ? 1u : 0u;  // Mike keeps the lock
                    EXPECT_EQ(FenxiEngineProbe::Lock(e).DepthHeldByMe(), kept) << op.name << " " << unit << "/" << q;
                }
            }
            CAnalysisTechniques e;
            FENXIDATA* r = nullptr;
            PROPERTY p{};
            for (int type = -1; type <= 6; ++type) {
                ATP_KLINE settings{};
                settings.ChartType = type;
                settings.ChartParam = q * 100;
                UNIKDATA* blocks = nullptr;
                int count = 0;
                e.GenerateKLINE(b, unit, n, blocks, count, r, &p, &settings, "EURJPY");
                FreeKLineBars(&blocks);
            }
            e.GenerateCmpKLINE(b, unit, r, n, &p, nullptr);
            e.GenerateMASS(b, unit, r, n, q, q * 1.5, -q, 0, &p);
            e.GenerateChaikin(b, unit, r, n, q, q, -1.0, &p);
            EXPECT_EQ(FenxiEngineProbe::Lock(e).DepthHeldByMe(), 0u) << unit << "/" << q;
        }
    }
}

TEST(Sweep, SecondGeneratorLeavesTheFirstOnesOtherColumns) {
    auto all = Sample();
    const int n = 200;
    CAnalysisTechniques e;
    FENXIDATA* r = nullptr;
    PROPERTY p{};
    e.GenerateMACD(all.data(), 100, r, n, 12, 26, 9, &p);
    std::vector<FENXIDATA> macd(r, r + n);
    e.GenerateBIAS(all.data(), 100, r, n, 6, 12, 24, &p);
    for (int i = 0; i < n; ++i) {
        for (int c = 3; c < 43; ++c) ASSERT_EQ(r[i].FenXi[c], macd[i].FenXi[c]) << i << "," << c;
        EXPECT_NE(r[i].FenXi[0], macd[i].FenXi[0]);
    }
}

// Two threads generate different lines on one engine. Each checks its rows
// while it holds the engine, as a host does between generator calls.
TEST(Sweep, ThreadsOnOneEngineNeverSeeMixedRows) {
    auto all = Sample();
    const int n = 150;
    CAnalysisTechniques e, refA, refB;
    FENXIDATA* r = nullptr;
    PROPERTY p{};
    refA.GenerateMA2(all.data(), 100, r, n, 5, 20, &p);
    const std::vector<FENXIDATA> wantA(r, r + n);
    refB.GenerateMA2(all.data() + 500, 100, r, n, 5, 20, &p);
    const std::vector<FENXIDATA> wantB(r, r + n);

    std::atomic<int> mismatches{0};
    auto work = [&](UNIKDATA* bars, const std::vector<FENXIDATA>& want) {
        PROPERTY mine{};
        for (int k = 0; k < 200; ++k) {
            auto& lock = FenxiEngineProbe::Lock(e);
            lock.Enter();
            FENXIDATA* rows = nullptr;
            e.GenerateMA2(bars, 100, rows, n, 5, 20, &mine);
            for (int i = 0; i < n; ++i)
                for (int c = 0; c < 3; ++c) mismatches += rows[i].FenXi[c] != want[i].FenXi[c];
            lock.Leave();
        }
    };
    std::thread a(work, all.data(), std::cref(wantA)), b(work, all.data() + 500, std::cref(wantB));
    a.join();
    b.join();
    EXPECT_EQ(mismatches.load(), 0);
}

// Inputs the fuzzers turned up: huge periods must not claim gigabytes of
// spare rows, and INT32_MIN periods must not overflow a window bound.
TEST(Sweep, ExtremePeriodsFoundByFuzzing) {
    auto all = Sample();
    UNIKDATA* b = all.data();
    CAnalysisTechniques e;
    FENXIDATA* r = nullptr;
    PROPERTY p{};
    e.GenerateMACD(b, 100, r, 50, INT32_MAX / 4, INT32_MAX / 4, 9, &p);
    EXPECT_EQ(FenxiEngineProbe::Capacity(e), 50 + 65536);
    e.GenerateVOL(b, 100, r, 50, INT32_MIN, INT32_MIN, &p);
    EXPECT_EQ(r[49].FenXi[2], 0.0 / INT32_MIN);
    e.GenerateWR(b, 100, r, 50, 10, 6, 0, &p);
    e.UpdateWR(b, 100, r, 50, INT32_MIN, INT32_MIN, INT32_MIN);
    EXPECT_EQ(r[49].FenXi[3], 0.0);
}
