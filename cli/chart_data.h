// What a chart shows of a bar file, as JSON: bar times, lines of an
// operation or formula, D/K points with tips, tactics records and the
// derived forms. `fenxi view` embeds them in its page; `fenxi serve` answers
// them over HTTP.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "bars_csv.h"
#include "catalog.h"
#include "fenxi/formula.h"

namespace fenxi_cli {

// Seconds since 1970 of a bar's date and time, as UTC: the chart's time axis.
std::int64_t Seconds(std::int32_t date, std::int32_t time);

// Appends values as a JSON array: shortest exact decimals, null for NaN.
void AppendNumbers(std::string& out, const double* values, std::size_t count);

// Bars [from, to) of a file as columns, the compact form both pages load:
// {"time": [seconds, UTC], "open": [...], "high", "low", "close", "volume"}.
std::string BarColumns(const BarFile& f, std::size_t from, std::size_t to);
// Whether any bar has a time of day.
bool Intraday(const BarFile& f);

// A value as a page shows it: eight significant digits, null for NaN.
nlohmann::json Shown(double v);

// "MA" (the four usual averages) or an operation's or formula's name, with
// ":"-separated parameters: MA, BOLL:20:2:-2, ENE:25.
struct ChartItem {
    Named named;
    std::vector<double> params;
};
ChartItem ParseItem(const std::string& item, const fenxi::FormulaLibrary& library);

// A formula line is drawn unless it is NODRAW.
bool Drawn(const std::vector<std::string>& attributes);
// How a chart draws line k of a built-in operation, in the formulas'
// attributes: MACD's MACD line is a histogram, red above 0 and green below.
std::vector<std::string> BuiltinAttributes(const fenxi::OperationSpec& op, int k);

// Whole-number parameters of a registry operation; a usage error otherwise.
std::vector<int> WholeParams(const fenxi::OperationSpec& op, const std::vector<double>& params);

// One operation's or formula's lines over the bars, aligned with them:
// {"name", "lines": [{"name", "attributes"?, "values"}]}.
nlohmann::json LinesOf(const std::string& item, const fenxi::Bars& bars, const fenxi::FormulaLibrary& library);

// Both systems' points and their tips for the last bar.
void Systems(const fenxi::Bars& bars, const BarFile& f, nlohmann::json& points, nlohmann::json& tips);

// The records of the three tactics pools.
nlohmann::json TacticsJson(const fenxi::Bars& bars);

// The line-break (3 lines), brick and reversal charts as [date, o, h, l, c]
// bars, at most kMaxDerivedBars of each.
constexpr int kMaxDerivedBars = 100000;
nlohmann::json Charts(BarFile& f);

// Where a page's script `script` and the chart library are: `given`, beside
// an installed tool, or the source tree; throws when neither has them.
std::filesystem::path FindAssets(const std::string& given, const char* script);
// The chart library's text from an assets directory.
std::string ChartLibrary(const std::filesystem::path& assets);
std::string Slurp(const std::filesystem::path& path);

}  // namespace fenxi_cli
