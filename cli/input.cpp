#include "input.h"

#include <cstdio>

namespace fenxi_cli {

BarFile Input::Load() const {
    BarFile f = ReadBars(path, ReadOptions{unit, keepSuspended});
    if (!code.empty()) {
        f.code = code;
        f.marketFrom = "--code";
    }
    if (market >= 0) {
        f.market = market;
        f.marketFrom = "--market";
    }
    if (f.suspended > 0)
        std::fprintf(stderr, "fenxi: %s: %d suspended rows (all prices 0) skipped; --keep-suspended keeps them\n",
                     path.c_str(), f.suspended);
    if (f.rounded > 0)
        std::fprintf(stderr, "fenxi: %s: %d prices rounded to unit %d, by at most %.10g\n", path.c_str(), f.rounded,
                     f.unit, f.roundedBy);
    return f;
}

void AddInput(CLI::App* app, Input& in, bool required) {
    auto* opt = app->add_option("-i,--input", in.path, "CSV file of bars ('-' reads standard input)");
    if (required) opt->required();
    app->add_option("--unit", in.unit,
                    "price unit of the scaled integers (default: the largest power of ten up to the prices' decimals "
                    "that keeps them within 32 bits)")
        ->check(CLI::Range(1, 1000000000));
    app->add_option("--code", in.code, "six-digit security code (default: from the file name)");
    app->add_option("--market", in.market, "market: 0 Shenzhen, 1 Shanghai (default: from the code)")
        ->check(CLI::Range(0, 1));
    app->add_flag("--keep-suspended", in.keepSuspended, "keep rows whose prices are all 0 (skipped by default)");
}

}  // namespace fenxi_cli
