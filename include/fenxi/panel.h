// fenxi panels: one operation or formula over many securities in one call.
//
//   std::vector<fenxi::Bars> market = ...;            // each its own bars, length and unit
//   auto lines = fenxi::ComputeMany("MACD", {12, 26, 9}, market);
//   auto ema = fenxi::RunMany(fenxi::Formula("EMA(C,12)"), market);
//
// Every security's values are exactly those of Compute (or Formula::Run)
// over its own bars, bit for bit, NaN before each line's first valid bar.
// Operations whose per-bar steps are recurrences (EMA, SMA, MACD, RSI, KDJ,
// ADX) and a formula's EMA and SMA run several securities at once, one per
// vector lane, with the scalar code's IEEE operations in each lane; the
// others run one security after another. FENXI_LANES=baseline (two lanes)
// or avx2 (four) caps the width.
#ifndef FENXI_PANEL_H
#define FENXI_PANEL_H

#include <span>
#include <string_view>
#include <vector>

#include "fenxi/formula.h"
#include "fenxi/series.h"

namespace fenxi {

struct PanelOptions {
    int threads = 1;  // worker threads; 0 takes one per core
};

// Each security's lines as Compute gives them. Parameter errors are every
// entry's; an entry whose bars are refused carries its own error, naming
// the security (Error::security) and the bar.
FENXI_API std::vector<Lines> ComputeMany(std::string_view name, std::span<const int> params,
                                         std::span<const Bars> securities, const PanelOptions& options = {});
// From double price columns, each security at its own unit by MakeBars' rule.
FENXI_API std::vector<Lines> ComputeMany(std::string_view name, std::span<const int> params,
                                         std::span<const PriceColumns> securities, const PanelOptions& options = {});
// Into the caller's arrays: lines[s * L + k] is line k of security s (L the
// operation's line count), holding one value per bar of s. The securities
// whose bars are refused are left unwritten and the lowest-numbered one's
// error is returned; the others are computed. Nothing is allocated per
// call once a thread has run a panel that wide.
FENXI_API Error ComputeManyInto(std::string_view name, std::span<const int> params, std::span<const Bars> securities,
                                std::span<const std::span<double>> lines, const PanelOptions& options = {});

// What a formula panel refused: a parameter (formulaError, as Run gives
// it) or a security's bars (error, naming the security).
struct FormulaPanelError {
    Error error;
    FormulaError formulaError;
    explicit operator bool() const { return error || formulaError; }
};

// A compiled formula over many securities: each result as Run gives it;
// EMA and SMA recurrences step several securities at once in vector lanes,
// the other functions run per security.
FENXI_API std::vector<FormulaResult> RunMany(const Formula& formula, std::span<const Bars> securities,
                                             const FormulaArgs& args = {}, const PanelOptions& options = {});
FENXI_API std::vector<FormulaResult> RunMany(const Formula& formula, std::span<const PriceColumns> securities,
                                             const FormulaArgs& args = {}, const PanelOptions& options = {});
// Into the caller's arrays: lines[s * K + k] is output k of security s (K
// the formula's output count), one value per bar of s. Securities whose
// bars are refused are left unwritten, the lowest-numbered one's error
// returned; a refused parameter writes nothing.
FENXI_API FormulaPanelError RunManyInto(const Formula& formula, std::span<const Bars> securities,
                                        std::span<const std::span<double>> lines, const FormulaArgs& args = {},
                                        const PanelOptions& options = {});

// The lane width panels use on this machine: 1, 2, 4 or 8.
FENXI_API int PanelLanes();

}  // namespace fenxi

#endif  // FENXI_PANEL_H
