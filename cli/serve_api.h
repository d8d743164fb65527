// The answers of `fenxi serve`'s JSON API, built from the folder's bars: the
// list of securities, the names that can be drawn, bars and lines as columns
// over a range of bars, the systems' points, tactics and tips, the derived
// forms. docs/serve.md describes each.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>

#include "fenxi/formula.h"
#include "serve_folder.h"
#include "serve_lines.h"

namespace fenxi_cli {

// At most this many bars travel in one answer; a page asks for more as it
// scrolls.
constexpr std::int64_t kMaxRangeBars = 1'000'000;

// Bars [from, to) of n: negative values count from the end; clamped to the
// bars, and to the last kMaxRangeBars of the range.
struct Range {
    std::int64_t from = 0, to = 0;
};
Range ParseRange(const std::string& from, const std::string& to, std::int64_t n);
// A whole number of a query; HttpError 400 naming `what` otherwise.
std::int64_t ParseWhole(const std::string& text, const char* what);
// NAME=VALUE,NAME=VALUE: a screen's parameters.
fenxi::FormulaArgs ParseNamedParams(const std::string& text);

// Each file's bars, last date, close and change (or its error), as text.
std::string ListText(Folder& folder);
// The registry's operations and the library's entries with parameters and
// lines; entries of formulas/screens.fx are marked as screens.
std::string NamesText(const fenxi::FormulaLibrary& library);
// Bars of a range as columns: time (seconds, UTC), open, high, low, close,
// volume.
std::string BarsText(const Loaded& loaded, const Range& range);
// Lines over all bars, the range of them: {"item", "label", "from", "to",
// "lines": [{"name", "attributes", "values"}]}.
std::string LinesText(const Loaded& loaded, const LineSet& set, const Range& range);
// Both systems' D/K points, their tips for the last bar and the tactics
// records (bars index the whole series).
std::string MarksText(const Loaded& loaded);
// The line-break, brick and reversal forms.
std::string FormsText(const Loaded& loaded);

// JSON text; bytes that are not UTF-8 (a file's name) become U+FFFD.
std::string Dump(const nlohmann::json& v);

}  // namespace fenxi_cli
