// The quirks of the row forms that only a hand computation proves, one row
// each: operation (through the registry's generator), parameters, a tiny bar
// series, the unit, the cell and its value. Everything else a generator
// writes, at the defaults and at odd parameters, is pinned by the output
// hash (tests/hash) and by the registry properties.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "bars.h"
#include "engine_probe.h"
#include "fenxi/series.h"

using testbars::Bar;
using testbars::Closes;

namespace {

struct Quirk {
    const char* op;
    std::vector<std::int32_t> params;
    std::vector<UNIKDATA> bars;
    int unit, row, column;
    double want;
    const char* pins;
};

// Bars whose highs and lows are 100 and 0: the RSV is the close.
std::vector<UNIKDATA> Ranged(std::initializer_list<std::int32_t> closes) {
    std::vector<UNIKDATA> bars;
    for (std::int32_t c : closes) bars.push_back(Bar(0, 100, 0, c));
    return bars;
}

const std::vector<UNIKDATA> kSar = {Bar(0, 12, 8, 10),  Bar(0, 14, 9, 13), Bar(0, 16, 11, 15),
                                    Bar(0, 18, 13, 17), Bar(0, 17, 5, 6),  Bar(0, 9, 4, 5)};
const std::vector<UNIKDATA> kPrices = {Bar(10, 50, 5, 20), Bar(30, 40, 8, 35), Bar(25, 45, 3, 22),
                                       Bar(5, 60, 4, 50)};
const double kEma3 = (2 * 10.0 + 40.0) / 4, kEma5 = (4 * 10.0 + 40.0) / 6, kDif = kEma3 - kEma5;

const Quirk kQuirks[] = {
    {"MA2", {3, 5}, Closes({10, 20, 30, 40, 50}), 10000, 1, 1, 0.0, "0 before the full window"},
    {"MA2", {3, 5}, Closes({10, 20, 30, 40, 50}), 10000, 4, 2, 30.0, "the exact mean of the full window"},
    {"MACHANEL", {2}, {Bar(10, 30, 5, 20), Bar(20, 40, 10, 30)}, 10000, 1, 6, 7.5, "each price averaged alone"},
    {"LIFELINE", {}, {Bar(0, 201, 0, 100)}, 100, 0, 0, 301 * 100.0 * 0.5, "the source is (H + C) / 2"},
    {"SMA", {3, 1, 2, 4, 5}, Closes({10, 20}), 10000, 1, 1, (2 * 10.0 + 20) / 3, "seeded with the first close"},
    {"EMA", {3}, Closes({10, 20}), 10000, 1, 1, kEma3, "factor 2/(N+1), seeded with the first close"},
    {"MACD", {3, 5, 2}, Closes({10, 20}), 10000, 1, 6, (1 * 0.0 + (kDif + kDif)) / 3, "DEA seeded with DIF 0"},
    {"MACD", {3, 5, 2}, Closes({10, 20}), 10000, 1, 7, (kDif - (kDif + kDif) / 3) * 2.0, "MACD is 2 (DIF - DEA)"},
    {"RSI", {2, 3}, Closes({5, 5, 5}), 100, 2, 6, 0.0, "no move gives 0, not a division by 0"},
    {"RSI", {2, 3}, Closes({5, 6, 7}), 100, 2, 7, 10000.0, "percent x100"},
    {"KDJ", {9, 3, 3}, Closes({5, 5, 5}), 100, 2, 3, 5000.0, "a range of 0 gives RSV 50"},
    {"WR", {2, 1, 0}, {Bar(0, 110, 90, 100), Bar(0, 120, 100, 105)}, 100, 0, 3, 10.0 * 100.0 / 20.0 * 100,
     "a partial window at the start"},
    {"WR", {2, 1, 0}, {Bar(0, 0, 0, 0)}, 100, 0, 3, 10000.0, "the highest starts from the smallest normal"},
    {"WR", {1, 1, 0}, {Bar(0, 106, 106, 106)}, 100, 0, 3, 0.0, "an empty range gives 0"},
    {"BOLL", {2, 2, -2}, Closes({10, 20, 30}), 10000, 2, 6, 15.0, "the middle is the previous bar's mean"},
    {"BOLL", {2, 2, -2}, Closes({10, 20, 30}), 10000, 2, 7, 2 * 5.0 + 15.0, "the width is this bar's deviation"},
    {"BOLL", {2, 2, -2}, Closes({10, 20, 30}), 10000, 2, 4, 0.0, "work columns cleared"},
    {"PSY", {3}, {Bar(1, 2, 1, 2), Bar(2, 2, 1, 1), Bar(1, 1, 1, 1)}, 100, 2, 3, 33.333335876464844,
     "single precision"},
    {"ROC", {2}, Closes({100, 150, 200}), 100, 2, 1, 10000.0, "raw closes, x100"},
    {"OSC", {1, 1}, Closes({0, 5}), 100, 1, 0, INFINITY, "an unguarded division"},
    {"MTM", {1, 2}, Closes({100, 150, 200}), 100, 1, 1, 5000.0, "converted prices"},
    {"CCI", {2}, Closes({7, 7, 7, 7}), 100, 2, 5, 66.66666666666667, "no deviation gives 200/3"},
    {"SAR", {2}, kSar, 10000, 2, 4, 8.0, "starts at the lowest low of the N bars before"},
    {"SAR", {2}, kSar, 10000, 5, 4, 18.0, "a close through the SAR restarts at the other extreme"},
    {"SAR", {2}, kSar, 10000, 5, 5, -1.0, "and turns the direction"},
    {"EXPMA", {3, 2}, Closes({10, 20, 30, 40}), 10000, 1, 0, 25.0, "the close SHIFT bars on, seeded with bar 0"},
    {"BIAS", {3, 1, 5}, Closes({100, 100, 100, 100}), 100, 0, 0, (100 - 100.0 / 3) / (100.0 / 3) * 100.0 * 100.0,
     "a short window divided by the full period"},
    {"HHV", {1, 2}, kPrices, 100, 1, 0, 5000.0, "converted"},
    {"LLV", {2, 3}, kPrices, 100, 2, 0, 3.0, "the low stays a raw integer"},
    {"LLV", {3, 3}, kPrices, 100, 2, 0, 2000.0, "other fields are converted"},
    {"OBV", {1}, {Bar(0, 0, 0, 10, 100), Bar(0, 0, 0, 11, 150), Bar(0, 0, 0, 9, 70)}, 100, 2, 0, 0.8,
     "accumulated, then divided by 100"},
    {"VOL", {2, 3}, {Bar(0, 0, 0, 1, 10), Bar(0, 0, 0, 1, 20)}, 100, 1, 2, 15.0, "volumes averaged as they are"},
};

}  // namespace

TEST(Quirks, HandComputedCells) {
    for (const Quirk& q : kQuirks) {
        const fenxi::OperationSpec* op = fenxi::FindOperation(q.op);
        ASSERT_NE(op, nullptr) << q.op;
        std::int32_t p[fenxi::kMaxParams] = {};
        std::copy(q.params.begin(), q.params.end(), p);
        std::vector<UNIKDATA> bars = q.bars;
        CAnalysisTechniques e;
        fenxi::Row* rows = nullptr;
        fenxi::RowProperty property{};
        op->generate(e, bars.data(), q.unit, rows, static_cast<int>(bars.size()), p, &property, 0);
        ASSERT_NE(rows, nullptr) << q.op;
        EXPECT_EQ(rows[q.row].FenXi[q.column], q.want) << q.op << " row " << q.row << " column " << q.column << ": "
                                                       << q.pins;
    }
}

// KD seeds K from the previous RSV on bar 1 and D from K on bar 2; the rows
// before keep what the buffer held, scaled x100.
TEST(Quirks, KdSeedsAndScalesWhatItLeaves) {
    auto bars = Ranged({20, 60, 80});
    CAnalysisTechniques e;
    fenxi::Row* rows = nullptr;
    e.GenerateBuffer(bars.data(), 100, rows, 3);
    rows[0].FenXi[3] = 7.0;
    fenxi::RowProperty p{};
    e.GenerateKD(bars.data(), 100, rows, 3, 1, 3, 2, &p);
    const double k1 = (2 * 20.0 + 60.0) / 3, k2 = (2 * k1 + 80.0) / 3;
    EXPECT_EQ(rows[0].FenXi[3], 700.0);
    EXPECT_EQ(rows[1].FenXi[3], k1 * 100);
    EXPECT_EQ(rows[2].FenXi[4], (1 * k1 + k2) / 2 * 100);
}

// Every generator's guards: no bars, no rows, no property or an empty series
// give no rows and leave the lock free, except MACD, which holds it for an
// empty series as the engine always did.
TEST(Quirks, GuardsLeaveTheLockFree) {
    auto bars = Closes({1, 2, 3});
    for (const fenxi::OperationSpec& op : fenxi::Operations()) {
        std::int32_t p[fenxi::kMaxParams];
        fenxi::ResolveParams(op, {}, p);
        for (int n : {0, -2}) {
            CAnalysisTechniques e;
            fenxi::Row* rows = nullptr;
            fenxi::RowProperty property{};
            op.generate(e, bars.data(), 100, rows, n, p, &property, 0);
            const unsigned held = std::string(op.name) == "MACD" ? 1u : 0u;
            EXPECT_EQ(FenxiEngineProbe::Lock(e).DepthHeldByMe(), held) << op.name << " n " << n;
        }
        CAnalysisTechniques e;
        fenxi::Row* rows = nullptr;
        op.generate(e, bars.data(), 100, rows, 3, p, nullptr, 0);
        EXPECT_EQ(FenxiEngineProbe::Lock(e).DepthHeldByMe(), 0u) << op.name << " without a property";
    }
}
