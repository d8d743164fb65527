// The input options every command takes: the file, its unit, code, market
// and whether suspended rows stay.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

#include "bars_csv.h"

namespace fenxi_cli {

struct Input {
    std::string path;
    int unit = 0;
    std::string code;
    int market = -1;
    bool keepSuspended = false;

    // Reads the file; notes on skipped rows and rounded prices go to stderr.
    BarFile Load() const;
};

void AddInput(CLI::App* app, Input& in, bool required = true);

}  // namespace fenxi_cli
