// Every updater recomputes the newest row exactly as its generator wrote it,
// over real bars, for every operation the tool lists.
#include <gtest/gtest.h>

#include <set>

#include "bars.h"
#include "catalog.h"

TEST(Updaters, RebuildTheGeneratorsNewestRow) {
    auto all = testbars::Sample();
    UNIKDATA* b = all.data();
    const int n = 400;
    // Documented differences: no-op updaters, Bollinger's first update, the
    // stochastic updaters' scale mixing, UpdateWR's order, UpdateCCI's closes.
    const std::set<std::string> differ = {"VOL1", "VOL", "OBV", "VR", "BOLL", "KDJ", "KD", "WR", "CCI"};
    int checked = 0;
    for (int unit : {100, 3, 10000}) {
        for (const fenxi_cli::Operation& op : fenxi_cli::Catalog()) {
            if (!op.update || differ.count(op.name) || (op.name == "SMA" && unit != 10000)) continue;  // SMA: raw scale
            fenxi_cli::Params params;
            for (const auto& [name, value] : op.params) params.push_back(value);
            std::vector<int> columns;
            for (const fenxi_cli::Line& l : op.lines) columns.push_back(l.index);
            CAnalysisTechniques e;
            CAnalysisTechniques::FENXIDATA* r = nullptr;
            CAnalysisTechniques::FENXIDATA_PROPERTY p{};
            testbars::ExpectUpdateRebuilds(
                r, n, [&](int m) { op.generate(e, b, unit, r, m, params, &p); },
                [&](int m) { op.update(e, b, unit, r, m, params); }, columns, op.name + " unit " + std::to_string(unit));
            ++checked;
        }
    }
    EXPECT_GT(checked, 90);
}
