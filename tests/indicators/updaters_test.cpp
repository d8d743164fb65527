// Every updater recomputes the newest row exactly as its generator wrote it,
// over real bars, for every operation the tool lists.
#include <gtest/gtest.h>

#include <set>

#include "bars.h"
#include "fenxi/series.h"

TEST(Updaters, RebuildTheGeneratorsNewestRow) {
    auto all = testbars::Sample();
    UNIKDATA* b = all.data();
    const int n = 400;
    // The registry marks the documented differences: no-op updaters,
    // Bollinger's first update, the stochastic updaters' scale mixing,
    // UpdateWR's order, UpdateCCI's closes, SMA's raw scale.
    int checked = 0;
    for (int unit : {100, 3, 10000}) {
        for (const fenxi::OperationSpec& op : fenxi::Operations()) {
            const bool smaAtItsScale = std::string(op.name) == "SMA" && unit == 10000;
            if (op.update == nullptr || !(op.updateRecomputes || smaAtItsScale)) continue;
            std::int32_t params[fenxi::kMaxParams];
            fenxi::ResolveParams(op, {}, params);
            std::vector<int> columns;
            for (int k = 0; k < op.lineCount; ++k) columns.push_back(op.lines[k].column);
            CAnalysisTechniques e;
            CAnalysisTechniques::FENXIDATA* r = nullptr;
            CAnalysisTechniques::FENXIDATA_PROPERTY p{};
            testbars::ExpectUpdateRebuilds(
                r, n, [&](int m) { op.generate(e, b, unit, r, m, params, &p, 0); },
                [&](int m) { op.update(e, b, unit, r, m, params); }, columns, std::string(op.name) + " unit " + std::to_string(unit));
            ++checked;
        }
    }
    EXPECT_GT(checked, 90);
}
