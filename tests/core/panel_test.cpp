// Panels against one security at a time: every operation and a formula
// corpus over ragged panels at several units, on every lane route.
#include <cstring>
#include <limits>

#include <gtest/gtest.h>

#include "bars.h"
#include "core/panel_lanes.h"
#include "fenxi/panel.h"

namespace {

// Bitwise: NaN equals NaN, 0.0 differs from -0.0.
bool Same(const std::vector<double>& a, const std::vector<double>& b) {
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

// Securities of lengths 0, 1, 2, a window's length, hundreds and the whole
// sample, at units 100, 1000 and 10000 with shifted prices, plus flat bars
// and bars at the edges of 32 bits (their changes wrap).
std::vector<fenxi::Bars> Ragged() {
    const auto sample = testbars::Sample();
    std::vector<fenxi::Bars> panel;
    const int lengths[] = {2813, 0, 1, 26, 2, 9, 700, 1500, 33, 2813, 120};
    int k = 0;
    for (int n : lengths) {
        const int scale = k % 3 == 0 ? 1 : k % 3 == 1 ? 10 : 100;
        fenxi::Bars b{{}, 100 * scale};
        for (int i = 0; i < n && i < static_cast<int>(sample.size()); ++i) {
            UNIKDATA bar = sample[static_cast<std::size_t>(i)];
            for (std::int32_t* f : {&bar.Open, &bar.High, &bar.Low, &bar.Close}) *f = (*f + 7 * k) * scale;
            b.bars.push_back(bar);
        }
        panel.push_back(std::move(b));
        ++k;
    }
    fenxi::Bars flat{{}, 100}, edges{{}, 1};
    for (int i = 0; i < 60; ++i) {
        flat.bars.push_back(testbars::Bar(500, 500, 500, 500, 10));
        const std::int32_t top = std::numeric_limits<std::int32_t>::max();
        const std::int32_t c = i % 3 == 0 ? 0 : i % 3 == 1 ? top : top / 2;
        edges.bars.push_back(testbars::Bar(c, top, 0, c, std::uint64_t{1} << 40));
    }
    panel.push_back(flat);
    panel.push_back(edges);
    return panel;
}

struct PanelRoutes : ::testing::TestWithParam<int> {
    void SetUp() override { fenxi::detail::ForcePanelLanes(GetParam()); }
    void TearDown() override { fenxi::detail::ForcePanelLanes(0); }
};

TEST_P(PanelRoutes, EveryOperationEqualsOneSecurityAtATime) {
    // The ragged panel, and a long series beside an empty one and a bar, so
    // that lanes end, or hold nothing, while their group runs on.
    const std::vector<fenxi::Bars> ragged = Ragged();
    const std::vector<fenxi::Bars> ending{ragged[0], fenxi::Bars{{}, 100}, fenxi::Bars{{ragged[0].bars[0]}, 1000}};
    for (const std::vector<fenxi::Bars>& panel : {ragged, ending}) {
        for (const fenxi::OperationSpec& op : fenxi::Operations()) {
            SCOPED_TRACE(op.name);
            // The defaults, and short windows that the shortest securities fill.
            std::vector<int> shortWindows;
            for (int k = 0; k < op.paramCount; ++k)
                shortWindows.push_back(std::clamp(op.params[k].defaultValue / 3, op.params[k].min, op.params[k].max));
            for (const std::vector<int>& params : {std::vector<int>{}, shortWindows}) {
                const auto many = fenxi::ComputeMany(op.name, params, panel, {GetParam() == 4 ? 2 : 1});
                ASSERT_EQ(many.size(), panel.size());
                for (std::size_t s = 0; s < panel.size(); ++s) {
                    const fenxi::Lines one = fenxi::Compute(op.name, params, panel[s]);
                    ASSERT_TRUE(one.ok()) << one.error.message;
                    ASSERT_TRUE(many[s].ok()) << many[s].error.message;
                    ASSERT_EQ(many[s].names, one.names);
                    for (std::size_t k = 0; k < one.values.size(); ++k)
                        ASSERT_TRUE(Same(many[s].values[k], one.values[k])) << "security " << s << " line " << one.names[k];
                }
            }
        }
    }
}

TEST_P(PanelRoutes, FormulasEqualOneSecurityAtATime) {
    const std::vector<fenxi::Bars> ragged = Ragged();
    const std::vector<fenxi::Bars> ending{ragged[0], fenxi::Bars{{}, 100}, fenxi::Bars{{ragged[0].bars[0]}, 1000}};
    for (const char* text : {"DIF:EMA(C,12)-EMA(C,26); DEA:EMA(DIF,9); MACD:(DIF-DEA)*2;",
                             "CROSS(MA(C,5),MA(C,20)) AND V>2*MA(V,5);", "STD(C,20); SLOPE(C,9); SMA(C,6,1);",
                             "ATR.ATR(14); KDJ.J;",
                             // NaN inputs mid-series (x/0 has no value): the lanes' exact route
                             "E:EMA(C/(C-REF(C,1)),3); S:SMA(E,4,1); D:EMA(E,5)-EMA(S,7); F:EMA(D,2);",
                             // a step past the largest double, and x / inf, which is finite
                             "X:C*1E307; B:EMA(C,5); A:EMA(X,3); D:B/A; E:EMA(D,4);"}) {
        SCOPED_TRACE(text);
        const fenxi::Formula f(text);
        ASSERT_TRUE(f.ok()) << f.error().message;
        for (const std::vector<fenxi::Bars>& panel : {ragged, ending}) {
            const auto many = fenxi::RunMany(f, panel, {}, {2});
            for (std::size_t s = 0; s < panel.size(); ++s) {
                const fenxi::FormulaResult one = f.Run(panel[s]);
                ASSERT_EQ(many[s].lines.size(), one.lines.size());
                for (std::size_t k = 0; k < one.lines.size(); ++k)
                    ASSERT_TRUE(Same(many[s].lines[k].values, one.lines[k].values)) << "security " << s;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Lanes, PanelRoutes, ::testing::Values(1, 2, 4, 8));

TEST(Panel, ErrorsNameTheSecurity) {
    auto panel = Ragged();
    panel[3].bars[5].High = panel[3].bars[5].Low - 1;
    const auto many = fenxi::ComputeMany("EMA", std::vector<int>{12}, panel);
    EXPECT_TRUE(many[0].ok());
    EXPECT_EQ(many[3].error.code, fenxi::Errc::HighBelowLow);
    EXPECT_EQ(many[3].error.security, 3);
    EXPECT_EQ(many[3].error.index, 5);
    EXPECT_EQ(many[3].error.message.rfind("security 3: bar 5: high", 0), 0u) << many[3].error.message;
    // The others are still computed, exactly.
    EXPECT_TRUE(Same(many[4].values[0], fenxi::Compute("EMA", {12}, panel[4]).values[0]));

    std::vector<std::vector<double>> storage(panel.size());
    std::vector<std::span<double>> views;
    for (std::size_t s = 0; s < panel.size(); ++s) {
        storage[s].resize(panel[s].bars.size());
        views.emplace_back(storage[s]);
    }
    const fenxi::Error into = fenxi::ComputeManyInto("EMA", std::vector<int>{12}, panel, views);
    EXPECT_EQ(into.security, 3);
    views.pop_back();
    EXPECT_EQ(fenxi::ComputeManyInto("EMA", std::vector<int>{12}, panel, views).code, fenxi::Errc::LengthMismatch);

    const auto refused = fenxi::ComputeMany("EMA", std::vector<int>{0}, panel);
    for (const auto& l : refused) EXPECT_EQ(l.error.code, fenxi::Errc::ParameterRange);
    EXPECT_EQ(fenxi::ComputeMany("NOPE", std::vector<int>{}, panel)[0].error.code, fenxi::Errc::UnknownOperation);
    EXPECT_EQ(fenxi::ComputeMany("EMA", std::vector<int>{}, panel, {-1})[0].error.code, fenxi::Errc::ParameterRange);
}

TEST(Panel, FormulasIntoArraysAndTheirRefusals) {
    auto panel = Ragged();
    const fenxi::Formula* atr = fenxi::FormulaLibrary::Shipped().Find("ATR");
    ASSERT_NE(atr, nullptr);
    const std::size_t K = atr->outputs().size();
    std::vector<std::vector<double>> storage;
    for (const auto& b : panel)
        for (std::size_t k = 0; k < K; ++k) storage.emplace_back(b.bars.size());
    std::vector<std::span<double>> views(storage.begin(), storage.end());
    ASSERT_FALSE(fenxi::RunManyInto(*atr, panel, views, {{"N", 10}}));
    for (std::size_t s = 0; s < panel.size(); ++s) {
        const fenxi::FormulaResult one = atr->Run(panel[s], {{"N", 10}});
        for (std::size_t k = 0; k < K; ++k) EXPECT_TRUE(Same(storage[s * K + k], one.lines[k].values)) << s;
    }
    // A parameter out of range is every security's; bad bars only their own.
    EXPECT_TRUE(fenxi::RunManyInto(*atr, panel, views, {{"N", 0}}).formulaError);
    const auto refused = fenxi::RunMany(*atr, panel, {{"N", 0}});
    for (const auto& r : refused) EXPECT_TRUE(r.formulaError && r.lines.empty());
    panel[5].bars[1].Low = -3;
    const fenxi::FormulaPanelError e = fenxi::RunManyInto(*atr, panel, views);
    EXPECT_EQ(e.error.security, 5);
    const auto many = fenxi::RunMany(*atr, panel);
    EXPECT_EQ(many[5].error.code, fenxi::Errc::PriceNegative);
    EXPECT_TRUE(many[4].ok() && many[6].ok());
    views.pop_back();
    EXPECT_EQ(fenxi::RunManyInto(*atr, panel, views).error.code, fenxi::Errc::LengthMismatch);
}

TEST(Panel, PriceColumnsTakeEachSecuritysOwnUnit) {
    const std::vector<double> cents{10.01, 10.02, 10.5, 10.2}, whole{3000, 3010, 2990, 3020}, bad{1, -1, 2, 3};
    std::vector<fenxi::PriceColumns> columns{{cents, cents, cents, cents}, {whole, whole, whole, whole},
                                             {bad, bad, bad, bad}};
    const auto many = fenxi::ComputeMany("MACD", std::vector<int>{}, columns);
    EXPECT_EQ(many[0].unit, 100);
    EXPECT_EQ(many[1].unit, 1);
    EXPECT_EQ(many[2].error.code, fenxi::Errc::PriceNegative);
    EXPECT_EQ(many[2].error.security, 2);
    EXPECT_TRUE(Same(many[1].values[0], fenxi::Compute("MACD", {}, columns[1]).values[0]));
}

}  // namespace
