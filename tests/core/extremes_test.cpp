// Every entry point at the extremes a host can pass: each integer parameter in
// turn at INT_MIN, INT_MIN + 1, -1, 0, 1, the series length and INT_MAX (the
// others at their defaults), with counts 0, 1, 2 and a real series' length,
// and units 0, -1, 1 and INT_MAX. Every call must return: under the
// sanitizers any overflow, read or write outside the bars or the rows stops
// the suite. Bars are exact-size heap copies, so a read past the count is
// caught; rows past the count carry a pattern that must survive the call.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "bars.h"
#include "engine_probe.h"
#include "fenxi/fenxi_c.h"
#include "fenxi/series.h"
#include "systems/signal_records.h"

namespace {

using fenxi::OperationSpec;
using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

constexpr int kLength = 600;  // bars of the real series the sweep runs over
constexpr int kValues[] = {INT_MIN, INT_MIN + 1, -1, 0, 1, kLength, INT_MAX};
constexpr int kCounts[] = {INT_MIN, -1, 0, 1, 2, kLength};
constexpr int kUnits[] = {100, 0, -1, 1, INT_MAX};
constexpr int kGuardRows = 64;  // rows past the count checked for writes

// The first `count` bars of the sample in an allocation of exactly that size.
struct ExactBars {
    std::unique_ptr<UNIKDATA[]> bars;
    int count;
    ExactBars(const std::vector<UNIKDATA>& sample, int n)
        : bars(new UNIKDATA[static_cast<std::size_t>(std::max(n, 0))]), count(n) {
        for (int i = 0; i < n; ++i) bars[i] = sample[static_cast<std::size_t>(i)];
    }
    UNIKDATA* data() const { return bars.get(); }
};

const std::vector<UNIKDATA>& Sample() {
    static const std::vector<UNIKDATA> sample = testbars::Sample();
    return sample;
}

// The parameter sets of an operation: all defaults, then one parameter at a
// time at each extreme.
std::vector<std::vector<std::int32_t>> ParameterSets(const OperationSpec& op, int extra = 0) {
    std::vector<std::int32_t> defaults(fenxi::kMaxParams, 0);
    for (int k = 0; k < op.paramCount; ++k) defaults[static_cast<std::size_t>(k)] = op.params[k].defaultValue;
    std::vector<std::vector<std::int32_t>> sets{defaults};
    for (int k = 0; k < std::max(op.paramCount, extra); ++k)
        for (int v : kValues) {
            sets.push_back(defaults);
            sets.back()[static_cast<std::size_t>(k)] = v;
        }
    return sets;
}

// An engine whose rows past `count` hold a pattern; Intact() tells whether a
// call left them so.
class GuardedEngine {
public:
    FENXIDATA* rows = nullptr;
    CAnalysisTechniques engine;

    void Prepare(int count) {
        const int n = std::max(count, 0);
        FENXIDATA* block = nullptr;
        engine.GenerateBuffer(nullptr, 0, block, n + kGuardRows);
        std::memset(block + n, 0xA5, kGuardRows * sizeof(FENXIDATA));
        base_ = rows = block;  // the rows of an earlier call, as updaters find them
        count_ = n;
    }
    // The pattern is only promised where the rows did not move.
    bool Intact() const {
        if (FenxiEngineProbe::State(const_cast<CAnalysisTechniques&>(engine)).Buffer.Data != base_) return true;
        const auto* bytes = reinterpret_cast<const unsigned char*>(base_ + count_);
        for (std::size_t i = 0; i < kGuardRows * sizeof(FENXIDATA); ++i)
            if (bytes[i] != 0xA5) return false;
        return true;
    }
    std::uint64_t LockDepth() { return FenxiEngineProbe::Lock(engine).DepthHeldByMe(); }

private:
    FENXIDATA* base_ = nullptr;
    int count_ = 0;
};

// Generators that return with the lock held, as the engine always has: MACD
// for a count below 1, Mike on most paths.
bool KeepsLock(const OperationSpec& op, int count) {
    const std::string name = op.name;
    return name == "MIKE" || (name == "MACD" && count <= 0);
}

std::string Where(const OperationSpec& op, const std::vector<std::int32_t>& p, int count, int unit) {
    std::string s = std::string(op.name) + " count " + std::to_string(count) + " unit " + std::to_string(unit) + " p";
    for (int k = 0; k < std::max(op.paramCount, 1); ++k) s.append(" ").append(std::to_string(p[static_cast<std::size_t>(k)]));
    return s;
}

}  // namespace

// The class API's generators and updaters, as the registry reaches them.
TEST(Extremes, GeneratorsAndUpdaters) {
    for (const OperationSpec& op : fenxi::Operations()) {
        const auto sets = ParameterSets(op);
        for (int count : kCounts) {
            const ExactBars bars(Sample(), count);
            for (int unit : kUnits) {
                for (const auto& p : sets) {
                    for (int market : {0, INT_MIN, INT_MAX}) {
                        if (market != 0 && (p != sets.front() || unit != 100)) continue;
                        GuardedEngine g;
                        g.Prepare(count);
                        PROPERTY prop{};
                        op.generate(g.engine, bars.data(), unit, g.rows, count, p.data(), &prop, market);
                        if (op.update) op.update(g.engine, bars.data(), unit, g.rows, count, p.data());
                        ASSERT_TRUE(g.Intact()) << Where(op, p, count, unit) << ": rows past the count written";
                        if (!KeepsLock(op, count)) {
                            ASSERT_EQ(g.LockDepth(), 0u) << Where(op, p, count, unit) << ": lock left held";
                        }
                    }
                }
            }
        }
    }
}

// The dispatcher of the signal systems, by indicator code, with all ten
// parameters swept (the codes carry them whether the operation reads them).
TEST(Extremes, DispatcherCodes) {
    const ExactBars bars(Sample(), kLength);
    for (const OperationSpec& op : fenxi::Operations()) {
        if (op.code < 0) continue;
        for (const auto& p : ParameterSets(op, fenxi::kMaxParams))
            for (int count : {0, 1, kLength})
                for (int unit : {100, 0, INT_MAX}) {
                    CAnalysisTechniques e;
                    FENXIDATA* rows = nullptr;
                    int rowCount = 0;
                    fenxi::EvaluateLine(bars.data(), count, unit, op.code, p.data(), "600000", 0, e, rows, rowCount);
                    if (!KeepsLock(op, count)) {
                        ASSERT_EQ(FenxiEngineProbe::Lock(e).DepthHeldByMe(), 0u) << Where(op, p, count, unit);
                    }
                }
    }
}

// The generators outside the registry, with their own integer and floating
// arguments: chart types and box sizes, price fields, the chip and volume
// lines' periods, MASS and Chaikin's fractional periods, CountThreeStatus.
TEST(Extremes, OtherGenerators) {
    const double reals[] = {-1.0, 0.0, -0.0, 0.5, 1e300, -1e300, HUGE_VAL, -HUGE_VAL, NAN, 4e9};
    std::int64_t blocksMade = 0;
    for (int count : kCounts) {
        const ExactBars bars(Sample(), count);
        UNIKDATA* b = bars.data();
        for (int unit : kUnits) {
            for (int v : kValues) {
                CAnalysisTechniques e;
                FENXIDATA* r = nullptr;
                PROPERTY prop{};
                const std::string where = "count " + std::to_string(count) + " unit " + std::to_string(unit) +
                                          " value " + std::to_string(v);
                for (int type : {v, 3, 4, 5}) {
                    ATP_KLINE settings{};
                    settings.ChartType = type;
                    settings.ChartParam = type == v ? 3 : v;
                    UNIKDATA* blocks = nullptr;
                    int blockCount = 0;
                    e.GenerateKLINE(b, unit, count, blocks, blockCount, r, &prop, &settings, "600000");
                    ASSERT_TRUE(blockCount >= 0 && (blockCount == 0 || blocks != nullptr)) << where;
                    blocksMade += blockCount;
                    FreeKLineBars(&blocks);
                }
                e.GenerateCmpKLINE(b, unit, r, count, &prop, nullptr);
                e.GenerateHHV(b, unit, r, count, static_cast<CAnalysisTechniques::KLINE_INDEX>(v), 5, &prop);
                e.GenerateLLV(b, unit, r, count, CAnalysisTechniques::KI_LOW, v, &prop);
                e.GenerateVOL1(b, unit, r, count, &prop);
                e.GenerateJGCMXDelta(b, unit, r, count, v, &prop);
                e.GenerateDHCMXDelta(b, unit, r, count, v, &prop);
                e.GenerateSHCMXDelta(b, unit, r, count, v, &prop);
                e.GenerateBuffer(b, unit, r, v);
                for (int i : {v, count / 2, 0})
                    for (int mode : {v, -1, 0, 1}) e.CountThreeStatus(b, unit, count, i, v, mode);
                if (v == 1 || v == INT_MIN || v == kLength) {
                    for (double x : reals) {
                        e.GenerateMASS(b, unit, r, count, v, x, x, x, &prop);
                        e.UpdateMASS(b, unit, r, count, v, x, -x, x);
                        e.GenerateChaikin(b, unit, r, count, v, x, 2.0, &prop);
                        e.UpdateChaikin(b, unit, r, count, v, 3.0, x);
                    }
                }
                ASSERT_EQ(FenxiEngineProbe::Lock(e).DepthHeldByMe(), 0u) << where;
            }
        }
    }
    EXPECT_GT(blocksMade, 0);  // the sweep reaches the chart builders
}

// The columnar API and streams take any integers: out-of-range parameters
// and units come back as typed errors, everything else computes.
TEST(Extremes, ColumnarAndStreams) {
    const ExactBars exact(Sample(), kLength);
    for (const OperationSpec& op : fenxi::Operations()) {
        for (const auto& p : ParameterSets(op)) {
            const std::span<const int> given(p.data(), static_cast<std::size_t>(op.paramCount));
            for (int unit : kUnits) {
                const std::string where = Where(op, p, kLength, unit);
                fenxi::Bars bars{std::vector<UNIKDATA>(exact.data(), exact.data() + kLength), unit};
                const fenxi::Lines lines = fenxi::Compute(op.name, given, bars);
                std::int32_t resolved[fenxi::kMaxParams];
                const bool paramsOk = !fenxi::ResolveParams(op, given, resolved);
                EXPECT_EQ(lines.ok(), paramsOk && unit > 0) << where << ": " << lines.error.message;
                if (!lines.ok()) {
                    EXPECT_FALSE(lines.error.message.empty()) << where;
                }

                std::vector<std::vector<double>> store(static_cast<std::size_t>(op.lineCount),
                                                       std::vector<double>(kLength));
                std::vector<std::span<double>> spans(store.begin(), store.end());
                EXPECT_EQ(!fenxi::ComputeInto(op.name, given, bars, spans), lines.ok()) << where;

                fenxi::Stream stream(op.name, given, unit);
                EXPECT_EQ(!stream.error(), lines.ok()) << where;
                std::span<const double> last;
                for (int i = 0; i < 40; ++i) last = stream.Append(bars.bars[static_cast<std::size_t>(i)]);
                last = stream.ReplaceLast(bars.bars[100]);
                ASSERT_EQ(last.size(), static_cast<std::size_t>(op.lineCount)) << where;
                if (stream.error()) {
                    for (double x : last) EXPECT_TRUE(std::isnan(x)) << where;
                }
            }
        }
    }
    // Double prices: any requested unit outside 1..10^6 is an error, never a crash.
    std::vector<double> close(kLength);
    for (int i = 0; i < kLength; ++i) close[static_cast<std::size_t>(i)] = exact.data()[i].Close / 100.0;
    for (int unit : {0, -1, 1, 7, INT_MAX, INT_MIN}) {
        fenxi::PriceColumns columns{close, close, close, close};
        columns.unit = unit;
        const fenxi::Lines lines = fenxi::Compute("MACD", {}, columns);
        EXPECT_EQ(lines.ok(), unit == 0 || unit == 1) << unit;  // 0 chooses one
    }
}

// The flat C functions with every integer argument at the extremes.
TEST(Extremes, FlatFunctions) {
    const ExactBars bars(Sample(), kLength);
    for (int which = 0; which < 4; ++which) {
        for (int arg = 0; arg < 4; ++arg) {
            for (int v : kValues) {
                std::int32_t a[4] = {kLength, 0, 1, 100};  // count, param, period code, scale
                a[arg] = v;
                if (arg != 0 && v == kLength) continue;
                LineStruct* lines = nullptr;
                char* text = nullptr;
                std::int32_t length = -1;
                bool ok = false;
                switch (which) {
                    case 0: ok = ComputeDKDataForC(a[0], bars.data(), &lines, &length, "600000", a[1], a[2], v & 1, v & 2, a[3]); break;
                    case 1: ok = ComputeDKMsgForC(a[0], bars.data(), &text, &length, "600000", a[1], a[2], v & 1, v & 2, a[3]); break;
                    case 2: ok = GenerateZJLDXFXForC(a[0], bars.data(), &lines, &length, "600000", a[1], a[2], a[3]); break;
                    case 3: ok = GenerateSHLDXFXForC(a[0], bars.data(), &lines, &length, "600000", a[1], a[2], a[3]); break;
                }
                const std::string where = std::to_string(which) + " arg " + std::to_string(arg) + " = " + std::to_string(v);
                if (a[0] < 0 || a[0] > 36500) {
                    EXPECT_FALSE(ok) << where;
                }
                if (arg != 0 && v == 1) {
                    EXPECT_TRUE(ok) << where;
                }
                if (ok && which != 1) {
                    EXPECT_EQ(length, a[0]) << where;
                }
                if (!ok) {
                    EXPECT_TRUE(lines == nullptr && text == nullptr) << where;
                }
                FreeLineStruct(reinterpret_cast<void**>(&lines));
                FreeCharBuffer(reinterpret_cast<void**>(&text));
            }
        }
    }
}

// The systems, the tips and the tactics pools with every integer argument at
// the extremes: market, the nine indicator integers, count, unit and index.
TEST(Extremes, SystemsTipsAndTactics) {
    const ExactBars full(Sample(), kLength);
    for (int arg = 0; arg < 13; ++arg) {
        for (int v : kValues) {
            // market, i2..i10, count, unit, index
            int a[13] = {0, 0, 7, 0, 0, 0, 0, 0, 0, 0, kLength, 100, kLength - 1};
            // A count beyond the bars would be the caller's own overrun.
            if (arg == 10 && v > kLength) continue;
            a[arg] = v;
            const int count = a[10];
            const ExactBars bars(Sample(), std::min(std::max(count, 0), kLength));
            UNIKDATA* b = bars.data();
            for (int longTerm = 0; longTerm < 2; ++longTerm) {
                CAnalysisTechniques e;
                std::vector<_SIG_TABLE> signals;
                e.MountAdvSys(signals, v, false, longTerm, "600000", a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7],
                              a[8], a[9], count, b, a[11], !longTerm, v & 1, v & 2, true);
                std::string text;
                double price = 0;
                int near = v;
                e.GetShortTermCPXTips(a[0], "600000", longTerm, a[2], b, a[11], count, signals, a[12], text, price, 0,
                                      near, false, v & 1);
                e.GetLongTermCPXTips(a[0], "600000", longTerm, a[2], b, a[11], count, signals, a[12], text, price, 0.1,
                                     near, v & 1, false);
                std::vector<CE_LUE_SIGN> signs;
                e.TacticsPoolsShort(signs, count, b, a[11]);
                e.TacticsPoolsMid(signs, count, b, a[11]);
                e.TacticsPools(signals, count, b, a[11]);
                for (const _SIG_TABLE& s : signals)
                    ASSERT_TRUE(s.BarIndex >= 0 && s.BarIndex < std::max(count, 0)) << arg << " = " << v;
                ASSERT_EQ(FenxiEngineProbe::Lock(e).DepthHeldByMe(), 0u) << arg << " = " << v;
            }
        }
    }
}
