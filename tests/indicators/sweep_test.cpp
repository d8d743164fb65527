// Every generator of the family over real bars, with the units and periods
// a caller may pass: odd units, periods from 1 to beyond the series, zero and
// negative periods. Under the sanitizers this catches any read or write
// outside the bars or the rows.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "bars.h"
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
            CAnalysisTechniques e;
            FENXIDATA* r = nullptr;
            PROPERTY p{};
            e.GenerateMA1(b, unit, r, n, q, &p);
            e.UpdateMA1(b, unit, r, n, q);
            e.GenerateMA7(b, unit, r, n, q, 1, q, 2, q, 3, q, &p);
            e.GenerateMAChanel(b, unit, r, n, q, &p);
            e.GenerateLifeLine(b, unit, r, n, &p);
            e.GenerateSMA(b, unit, r, n, q, q, 1, 2, 3, &p);
            e.UpdateSMA(b, unit, r, n, q, q, 1, 2, 3);
            e.GenerateEMA(b, unit, r, n, q, &p);
            e.UpdateEMA(b, unit, r, n, q);
            e.GenerateMACD(b, unit, r, n, q, 26, q, &p);
            e.UpdateMACD(b, unit, r, n, q, 26, q);
            e.GenerateRSI(b, unit, r, n, q, 24, &p);
            e.GenerateBIAS(b, unit, r, n, q, 6, -q, &p);
            e.UpdateBIAS(b, unit, r, n, q, 6, -q);
            for (int field = -1; field <= 5; ++field) {
                auto k = static_cast<CAnalysisTechniques::KLINE_INDEX>(field);
                e.GenerateHHV(b, unit, r, n, k, q, &p);
                e.GenerateLLV(b, unit, r, n, k, q, &p);
            }
            e.GenerateVOL1(b, unit, r, n, &p);
            e.GenerateVOL(b, unit, r, n, q, 10, &p);
            e.GenerateOBV(b, unit, r, n, q, &p);
            e.GenerateVR(b, unit, r, n, q, &p);
            e.GenerateWVAD(b, unit, r, n, q, &p);
            e.UpdateWVAD(b, unit, r, n, q);
            e.GenerateKDJ(b, unit, r, n, q, 3, 3, &p);
            e.UpdateKDJ(b, unit, r, n, q, 3, 3);
            e.GenerateKD(b, unit, r, n, 9, q, q, &p);
            e.UpdateKD(b, unit, r, n, 9, q, q);
            e.GenerateWR(b, unit, r, n, q, -q, q, &p);
            e.UpdateWR(b, unit, r, n, q, -q, q);
            e.GenerateBOLLIN(b, unit, r, n, q, 2, -2, q & 1, &p);
            e.UpdateBOLLIN(b, unit, r, n, q, 2, -2);
            e.GeneratePSY(b, unit, r, n, q, &p);
            e.UpdatePSY(b, unit, r, n, q);
            e.GenerateROC(b, unit, r, n, q, &p);
            e.UpdateROC(b, unit, r, n, q);
            e.GenerateMTM(b, unit, r, n, q, q, &p);
            e.UpdateMTM(b, unit, r, n, q, q);
            e.GenerateOSC(b, unit, r, n, q, 6, &p);
            e.UpdateOSC(b, unit, r, n, q, 6);
            e.GenerateCCI(b, unit, r, n, q, &p);
            e.UpdateCCI(b, unit, r, n, q);
            e.GenerateSAR(b, unit, r, n, q, &p);
            e.UpdateSAR(b, unit, r, n, q);
            e.GenerateEXPMA(b, unit, r, n, q, q, &p);
            e.UpdateEXPMA(b, unit, r, n, 12, q);
            e.GenerateJGCMX(b, unit, r, n, q, &p);
            e.GenerateJGCMXDelta(b, unit, r, n, q, &p);
            e.GenerateDHCMX(b, unit, r, n, q, &p);
            e.GenerateDHCMXDelta(b, unit, r, n, q, &p);
            e.GenerateSHCMX(b, unit, r, n, q, &p);
            e.GenerateSHCMXDelta(b, unit, r, n, q, &p);
            {
                CAnalysisTechniques classic;  // Mike keeps its engine's lock
                FENXIDATA* c = nullptr;
                classic.GenerateDMI(b, unit, c, n, q, q, &p);
                classic.UpdateDMI(b, unit, c, n, q, q);
                classic.GenerateADX(b, unit, c, n, q, &p);
                classic.UpdateADX(b, unit, c, n, q);
                classic.GenerateDMA(b, unit, c, n, q, 2 * q, &p);
                classic.GenerateBRAR(b, unit, c, n, q, &p);
                classic.GenerateCR(b, unit, c, n, q, q, 1, 40, n, &p);
                classic.UpdateCR(b, unit, c, n, q, q, 1, 40, n);
                classic.GenerateASI(b, unit, c, n, &p);
                classic.GenerateTRIX(b, unit, c, n, q, q, &p);
                classic.GenerateEMV(b, unit, c, n, q, q, &p);
                classic.GenerateChg(b, unit, c, n, q, &p);
                classic.UpdateChg(b, unit, c, n, q);
                classic.GenerateChaikin(b, unit, c, n, q, q, -1.0, &p);
                classic.GenerateTSF(b, unit, c, n, q, q, &p);
                classic.GenerateMASS(b, unit, c, n, q, q * 1.5, -q, 0, &p);
                classic.GenerateCSI(b, unit, c, n, q, 100, q, &p);
                classic.GenerateMAW(b, unit, c, n, q, &p);
                classic.UpdateMAW(b, unit, c, n, q);
                classic.GenerateMAE(b, unit, c, n, q, q, q, &p);
                classic.GeneratePC(b, unit, c, n, q, &p);
                classic.GenerateMike(b, unit, c, n, q, &p);
                classic.UpdateMike(b, unit, c, n, q);
            }
            if (q >= 1 && q <= n) e.GenerateZJLDXFX(b, unit, r, q, &p);
            if (q >= 1 && q <= n) e.GenerateSHLDXFX(b, unit, r, q, &p);
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
