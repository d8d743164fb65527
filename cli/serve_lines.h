// A chart's line set for `fenxi serve`: a registry operation or a formula
// entry with parameters, or a formula text, resolved once, then computed
// over all bars or kept running over a growing series through the exact
// streams (fenxi::Stream, fenxi::FormulaStream).
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "fenxi/formula.h"
#include "fenxi/series.h"

namespace fenxi_cli {

// A formula text runs only while its length times the bars stays within
// this (a 4 KiB text over a million bars): its time grows with both.
constexpr std::uint64_t kMaxFormulaWork = std::uint64_t{1} << 32;
// The language's bound on a formula text.
constexpr std::size_t kMaxFormulaBytes = 65536;

struct LineSet {
    std::string item;   // as requested: MA:5:10:20:60, ENE:25, "formula"
    std::string label;  // as the legend shows it: MA, MACD(12,26,9), ENE(N=25)
    const fenxi::OperationSpec* op = nullptr;
    std::vector<int> whole;  // the operation's parameters
    std::shared_ptr<const fenxi::Formula> formula;
    fenxi::FormulaArgs args;
    std::size_t textBytes = 0;  // of a formula text, for kMaxFormulaWork
    std::vector<std::string> names;                    // drawn lines: MA5, MA10 ... or the outputs
    std::vector<std::vector<std::string>> attributes;  // of each drawn line (COLORSTICK ...)
    std::vector<int> drawn;                            // their indices among all lines
};

// An item "NAME:p1:p2..." (MA alone: the four usual averages); HttpError 400
// for an unknown name or parameters out of range.
LineSet ResolveItem(const std::string& item, const fenxi::FormulaLibrary& library);
// A formula text; HttpError 413 above kMaxFormulaBytes, 422 with the line and
// column where it does not compile.
LineSet CompileText(const std::string& text, const fenxi::FormulaLibrary& library);

// The drawn lines over all bars (NaN where no value); HttpError 413 when the
// text's work bound is exceeded, 400 for a parameter the formula refuses.
std::vector<std::vector<double>> ComputeLines(const LineSet& set, const fenxi::Bars& bars);

// The drawn lines' last values as bars are appended or the last replaced.
class LineStream {
public:
    LineStream(const LineSet& set, int unit);
    std::vector<double> Append(const UNIKDATA& bar);
    std::vector<double> ReplaceLast(const UNIKDATA& bar);

private:
    std::vector<double> Drawn(std::span<const double> all) const;
    std::vector<int> drawn_;
    std::unique_ptr<fenxi::Stream> op_;
    std::unique_ptr<fenxi::FormulaStream> formula_;
};

}  // namespace fenxi_cli
