// fenxi view: one self-contained HTML page of a file's bars, lines, D/K
// points, tactics, tips and derived charts.
#pragma once

#include <string>
#include <vector>

#include "bars_csv.h"
#include "fenxi/formula.h"

namespace fenxi_cli {

struct ViewOptions {
    std::vector<std::string> lines = {"MA"};            // overlays: NAME or NAME:p1:p2...
    std::vector<std::string> panes = {"MACD", "KDJ"};   // oscillator panes
    std::string assets;                                 // where the page's scripts are; empty finds them
    std::string output;                                 // the page; empty: <input stem>.html
    const fenxi::FormulaLibrary* library = nullptr;     // formula names; null: the shipped ones
};

// Writes the page; returns its path. Unknown line or pane names throw a
// usage error naming the valid ones.
std::string WriteView(BarFile& file, const std::string& input, const ViewOptions& options);

}  // namespace fenxi_cli
