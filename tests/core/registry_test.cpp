// Properties of every registry operation: the columnar API equals the rows
// divided by the true scale, true values do not depend on the unit, the
// registry's first valid bar is the row form's start, and streams equal a
// full recompute after every append and replacement.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <tuple>

#include "bars.h"
#include "core/kernel.h"
#include "fenxi/series.h"

namespace {

using fenxi::OperationSpec;

// The sample's bars with every price multiplied so the unit is 100 * mul.
fenxi::Bars AtUnit(const std::vector<UNIKDATA>& bars, int mul) {
    fenxi::Bars out{bars, 100 * mul};
    for (UNIKDATA& b : out.bars) {
        b.Open *= mul;
        b.High *= mul;
        b.Low *= mul;
        b.Close *= mul;
    }
    return out;
}

bool SameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b); }

std::string Name(const OperationSpec& op, int line) { return std::string(op.name) + "." + op.lines[line].name; }

}  // namespace

TEST(Registry, ColumnarEqualsRowsOverTheTrueScale) {
    const auto sample = testbars::Sample();
    for (int mul : {1, 10, 100}) {
        const fenxi::Bars bars = AtUnit(sample, mul);
        const int n = static_cast<int>(bars.bars.size());
        for (const OperationSpec& op : fenxi::Operations()) {
            std::int32_t p[fenxi::kMaxParams];
            ASSERT_FALSE(fenxi::ResolveParams(op, {}, p)) << op.name;
            const fenxi::Lines lines = fenxi::Compute(op.name, {}, bars);
            ASSERT_TRUE(lines.ok()) << lines.error.message;
            CAnalysisTechniques e;
            CAnalysisTechniques::FENXIDATA* rows = nullptr;
            CAnalysisTechniques::FENXIDATA_PROPERTY prop{};
            op.generate(e, const_cast<UNIKDATA*>(bars.bars.data()), bars.unit, rows, n, p, &prop, 0);
            for (int k = 0; k < op.lineCount; ++k) {
                std::int64_t first = 0, end = 0;
                fenxi::ValidRange(op, p, k, n, first, end);
                const double scale = fenxi::TrueScale(op, k, p, bars.unit);
                for (int i = 0; i < n; ++i) {
                    const double want = i >= first && i < end ? rows[i].FenXi[op.lines[k].column] / scale : NAN;
                    ASSERT_TRUE(SameBits(lines.values[k][i], want)) << Name(op, k) << " unit " << bars.unit << " bar " << i;
                }
            }
        }
    }
}

// A wrong true scale shows as a value that moves with the unit.
TEST(Registry, TrueValuesDoNotDependOnTheUnit) {
    const auto sample = testbars::Sample();
    const std::vector<UNIKDATA> head(sample.begin(), sample.begin() + 700);
    for (const OperationSpec& op : fenxi::Operations()) {
        const fenxi::Lines a = fenxi::Compute(op.name, {}, AtUnit(head, 1));
        const fenxi::Lines b = fenxi::Compute(op.name, {}, AtUnit(head, 100));
        for (int k = 0; k < op.lineCount; ++k) {
            for (int i = 600; i < 700; ++i) {
                const double x = a.values[k][i], y = b.values[k][i];
                EXPECT_NEAR(x, y, 1e-6 * std::max(1.0, std::fabs(x))) << Name(op, k) << " bar " << i;
            }
        }
    }
}

// Where a generator marks where its line starts, the registry says the same;
// where it leaves the start at 0, the rows before the registry's start hold
// only the 0.0 placeholder.
TEST(Registry, FirstValidBarIsTheRowFormsStart) {
    auto sample = testbars::Sample();
    for (const OperationSpec& op : fenxi::Operations()) {
        std::int32_t p[fenxi::kMaxParams];
        fenxi::ResolveParams(op, {}, p);
        CAnalysisTechniques e;
        CAnalysisTechniques::FENXIDATA* rows = nullptr;
        CAnalysisTechniques::FENXIDATA_PROPERTY prop{};
        op.generate(e, sample.data(), 100, rows, 400, p, &prop, 0);
        for (int k = 0; k < op.lineCount; ++k) {
            std::int64_t first = 0, end = 0;
            fenxi::ValidRange(op, p, k, 400, first, end);
            const int column = op.lines[k].column;
            if (prop.StartPos[column] == 0) {
                for (std::int64_t i = 0; i < first; ++i) EXPECT_EQ(rows[i].FenXi[column], 0.0) << Name(op, k) << " " << i;
            } else {
                EXPECT_EQ(first, prop.StartPos[column]) << Name(op, k);
            }
        }
    }
}

TEST(Registry, OneNamedFunctionPerOperation) {
#define NAME(op) #op,
    const std::vector<std::string> typed = {FENXI_OPERATIONS(NAME)};
#undef NAME
    ASSERT_EQ(typed.size(), fenxi::Operations().size());
    for (std::size_t k = 0; k < typed.size(); ++k) EXPECT_EQ(typed[k], fenxi::Operations()[k].name);
    const auto sample = testbars::Sample();
    const fenxi::Bars bars{std::vector<UNIKDATA>(sample.begin(), sample.begin() + 300), 100};
    EXPECT_EQ(fenxi::MACD(bars, 12, 26, 9).values, fenxi::Compute("MACD", {}, bars).values);
    EXPECT_EQ(fenxi::KDJ(bars, 0).error.code, fenxi::Errc::ParameterRange);
}

TEST(Registry, EveryDispatcherCodeAndNameFindsItsEntry) {
    for (const OperationSpec& op : fenxi::Operations()) {
        EXPECT_EQ(fenxi::FindOperation(op.name), &op);
        ASSERT_NE(op.kernel, nullptr) << op.name;
        EXPECT_NE(op.kernel->stepper, nullptr) << op.name;
        if (op.code >= 0) {
            EXPECT_EQ(fenxi::FindOperation(std::to_string(op.code)), &op);
        }
        for (int k = 0; k < op.paramCount; ++k) {
            const fenxi::ParamSpec& s = op.params[k];
            EXPECT_TRUE(s.min <= s.defaultValue && s.defaultValue <= s.max) << op.name << " " << s.name;
        }
    }
    EXPECT_EQ(fenxi::FindOperation("bollin"), fenxi::FindOperation("BOLL"));
    EXPECT_EQ(fenxi::FindOperation("MACDX"), nullptr);
    EXPECT_EQ(fenxi::FindOperation("-1"), nullptr);
}

// Appends over real bars, with the forming bar replaced now and then by a
// different one and back; after every call the stream's values equal a
// recompute over the same bars. Short windows with replacements, then long
// ones over the whole sample: both make every buffer slide, the long ones
// past the bars where a line first reads far back (CSI's ADX 150 bars back
// from bar 449 on).
TEST(Registry, StreamsEqualARecompute) {
    const auto sample = testbars::Sample();
    std::mt19937 rng(20261123);
    auto check = [&](const fenxi::Bars& bars, int period, bool replace, int mul) {
        const int n = static_cast<int>(bars.bars.size());
        for (const OperationSpec& op : fenxi::Operations()) {
            std::vector<int> params;
            for (int k = 0; k < op.paramCount; ++k) {
                const fenxi::ParamSpec& s = op.params[k];
                // A shifted line reads bars ahead: a stream never holds it.
                params.push_back(k == op.tailParam ? 0
                                 : replace         ? std::min(s.defaultValue, std::max(s.min, period))
                                                   : std::clamp(period, s.min, s.max));
            }
            const fenxi::Lines want = fenxi::Compute(op.name, params, bars);
            ASSERT_TRUE(want.ok()) << want.error.message;
            fenxi::Stream stream(op.name, params, bars.unit);
            ASSERT_FALSE(stream.error()) << stream.error().message;
            fenxi::Bars prefix{{}, bars.unit};
            for (int i = 0; i < n; ++i) {
                const UNIKDATA& bar = bars.bars[i];
                auto got = stream.Append(bar);
                for (int k = 0; k < op.lineCount; ++k)
                    ASSERT_TRUE(SameBits(got[k], want.values[k][i])) << Name(op, k) << " append " << i;
                if (!replace) continue;
                prefix.bars.push_back(bar);
                if (rng() % 40 != 0) continue;
                UNIKDATA forming = bar;
                forming.Close = forming.Low + static_cast<std::int32_t>(rng() % (forming.High - forming.Low + 1));
                forming.High += static_cast<std::int32_t>(rng() % (5 * mul));
                forming.Volume += rng() % 100000;
                prefix.bars.back() = forming;
                const fenxi::Lines now = fenxi::Compute(op.name, params, prefix);
                got = stream.ReplaceLast(forming);
                for (int k = 0; k < op.lineCount; ++k)
                    ASSERT_TRUE(SameBits(got[k], now.values[k][i])) << Name(op, k) << " replace " << i;
                prefix.bars.back() = bar;
                got = stream.ReplaceLast(bar);
                for (int k = 0; k < op.lineCount; ++k)
                    ASSERT_TRUE(SameBits(got[k], want.values[k][i])) << Name(op, k) << " restore " << i;
            }
            EXPECT_EQ(stream.size(), n);
        }
    };
    const std::vector<UNIKDATA> head(sample.begin() + 1000, sample.begin() + 1600);
    // Unit 300 makes the converted prices fractional: the ordered sums' route.
    for (const auto& [mul, unit] : {std::pair{1, 100}, {10, 1000}, {1, 300}}) {
        fenxi::Bars bars = AtUnit(head, mul);
        bars.unit = unit;
        check(bars, 7, true, mul);
    }
    check(fenxi::Bars{sample, 100}, 150, false, 1);
    // Over any prefix the newest SHIFT bars of a shifted line hold no value.
    fenxi::Stream shifted("EXPMA", {12, 3}, 100);
    for (int i = 0; i < 50; ++i) ASSERT_TRUE(std::isnan(shifted.Append(sample[i])[0])) << i;
}

TEST(Columnar, ErrorsNameTheOffender) {
    const std::vector<double> o = {10.0, 10.5, 11.0}, h = {10.5, 11.0, 11.5}, l = {9.5, 10.0, 10.5},
                              c = {10.2, 10.8, 11.2};
    const std::vector<double> nanC = {10.2, NAN, 11.2}, lowH = {10.5, 9.0, 11.5}, negO = {10.0, 10.5, -1.0},
                              huge = {10.5, 3e9, 11.5};
    struct Case {
        const char* name;
        std::vector<int> params;
        fenxi::PriceColumns columns;
        fenxi::Errc code;
        int index;
    };
    const Case cases[] = {
        {"NOPE", {}, {o, h, l, c}, fenxi::Errc::UnknownOperation, -1},
        {"MA1", {0}, {o, h, l, c}, fenxi::Errc::ParameterRange, 0},
        {"BOLL", {20, 2, -2, 1}, {o, h, l, c}, fenxi::Errc::ParameterCount, -1},
        {"KDJ", {9, 3, -3}, {o, h, l, c}, fenxi::Errc::ParameterRange, 2},
        {"HHV", {4}, {o, h, l, c}, fenxi::Errc::ParameterRange, 0},
        {"MA1", {}, {o, h, l, nanC}, fenxi::Errc::PriceNotFinite, 1},
        {"MA1", {}, {o, lowH, l, c}, fenxi::Errc::HighBelowLow, 1},
        {"MA1", {}, {negO, h, l, c}, fenxi::Errc::PriceNegative, 2},
        {"MA1", {}, {o, huge, l, c}, fenxi::Errc::PriceTooLarge, 1},
        {"MA1", {}, {o, h, l, std::span<const double>(c).first(2)}, fenxi::Errc::LengthMismatch, -1},
    };
    for (const Case& t : cases) {
        const fenxi::Lines r = fenxi::Compute(t.name, t.params, t.columns);
        EXPECT_EQ(r.error.code, t.code) << t.name << ": " << r.error.message;
        EXPECT_EQ(r.error.index, t.index) << r.error.message;
        EXPECT_TRUE(r.values.empty());
    }
    fenxi::Stream bad("MA1", {0}, 100);
    EXPECT_EQ(bad.error().code, fenxi::Errc::ParameterRange);
    EXPECT_TRUE(std::isnan(bad.Append(testbars::Bar(1, 1, 1, 1))[0]));
}

// Into the caller's arrays: every cell is written, whatever they held, and
// the arrays and integer bars are checked.
TEST(Columnar, IntoArraysEqualsCompute) {
    const fenxi::Bars bars{testbars::Sample(), 100};
    const std::size_t n = bars.bars.size();
    for (const OperationSpec& op : fenxi::Operations()) {
        const fenxi::Lines want = fenxi::Compute(op.name, {}, bars);
        std::vector<std::vector<double>> got(static_cast<std::size_t>(op.lineCount), std::vector<double>(n, -7.25));
        std::vector<std::span<double>> views(got.begin(), got.end());
        ASSERT_FALSE(fenxi::ComputeInto(op.name, {}, bars, views)) << op.name;
        for (int k = 0; k < op.lineCount; ++k)
            for (std::size_t i = 0; i < n; ++i)
                ASSERT_TRUE(SameBits(got[k][i], want.values[k][i])) << Name(op, k) << " bar " << i;
    }
    std::vector<double> a(n), b(n), shortLine(n - 1);
    const std::span<double> one[] = {a}, two[] = {a, b}, shortTwo[] = {a, shortLine};
    EXPECT_EQ(fenxi::ComputeInto("MA2", {}, bars, one).code, fenxi::Errc::LengthMismatch);
    EXPECT_EQ(fenxi::ComputeInto("MA2", {}, bars, shortTwo).code, fenxi::Errc::LengthMismatch);
    EXPECT_FALSE(fenxi::ComputeInto("MA2", {}, bars, two));
    for (auto [bar, high, low, code] : {std::tuple{7, 100, 120, fenxi::Errc::HighBelowLow},
                                        std::tuple{9, 100, -1, fenxi::Errc::PriceNegative},
                                        std::tuple{3, 2147483647, -2147483647, fenxi::Errc::PriceNegative}}) {
        fenxi::Bars bad = bars;
        bad.bars[bar].High = high;
        bad.bars[bar].Low = low;
        const fenxi::Error e = fenxi::ComputeInto("MA2", {}, bad, two);
        EXPECT_EQ(e.code, code) << e.message;
        EXPECT_EQ(e.index, bar) << e.message;
    }
}

TEST(Columnar, UnitFromTheDecimalsWithinThirtyTwoBits) {
    struct Case {
        std::vector<double> prices;
        int unit;
    };
    const Case cases[] = {
        {{12.0, 13.0}, 1},
        {{12.21, 13.5}, 100},
        {{1.2177084, 1.3}, 1000000},
        {{3244.669922, 3250.0}, 100000},  // six decimals, but 10^6 would pass 32 bits
        {{2000000000.0, 1.0}, 1},
    };
    for (const Case& t : cases) {
        fenxi::Bars bars;
        const fenxi::Error e = fenxi::MakeBars({t.prices, t.prices, t.prices, t.prices}, bars);
        ASSERT_FALSE(e) << e.message;
        EXPECT_EQ(bars.unit, t.unit) << t.prices[0];
        EXPECT_EQ(bars.bars[0].Close, static_cast<std::int32_t>(std::nearbyint(t.prices[0] * t.unit)));
    }
    const std::vector<double> x = {43.09, 44.0};
    const fenxi::Lines hhv = fenxi::Compute("HHV", {1, 1}, fenxi::PriceColumns{x, x, x, x});
    ASSERT_TRUE(hhv.ok());
    EXPECT_EQ(hhv.unit, 100);
    EXPECT_DOUBLE_EQ(hhv.values[0][0], 43.09);
}
