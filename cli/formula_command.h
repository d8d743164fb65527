// fenxi formula: a formula text, or an entry of a formula file, over a file
// of bars.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

#include "fenxi/formula.h"
#include "input.h"

namespace fenxi_cli {

struct FormulaOptions {
    std::string textOrName;           // the text, or with --file the entry's name
    std::string file;                 // a formula file
    std::vector<std::string> params;  // NAME=VALUE
    bool json = false;
    std::vector<std::string> formulas;  // --formulas files
    Input input;
};

// Adds the subcommand; its help lists the language's functions.
CLI::App* AddFormulaCommand(CLI::App& app, FormulaOptions& options);
// CSV (or JSON) of the output lines. A formula error prints
// NAME:LINE:COLUMN: message, the line and a caret, and exits with 2.
int RunFormula(const FormulaOptions& options);

// NAME=VALUE texts as formula arguments (a usage error otherwise).
fenxi::FormulaArgs NamedParams(const std::vector<std::string>& given);

}  // namespace fenxi_cli
