// Every name the tool computes: the registry's operations and the formula
// library's entries (the shipped ones and those of --formulas files).
#pragma once

#include <CLI/CLI.hpp>

#include <stdexcept>
#include <string>
#include <vector>

#include "bars_csv.h"
#include "fenxi/formula.h"
#include "fenxi/series.h"

namespace fenxi_cli {

// A formula text or file refused, or a parameter value out of range: the
// message is already NAME:LINE:COLUMN: ...; the tool exits with 2.
struct FormulaRefused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// --formulas FILE, repeatable, on the commands that take names.
void AddFormulasOption(CLI::App* app, std::vector<std::string>& files);

// The shipped entries plus the given files' (an error in a file is a usage
// error with its FILE:LINE:COLUMN).
const fenxi::FormulaLibrary& Library(const std::vector<std::string>& files);

// A name as the tool finds it: a registry operation first, else a formula
// entry; throws a usage error listing both kinds when it is neither.
struct Named {
    const fenxi::OperationSpec* operation = nullptr;
    const fenxi::Formula* formula = nullptr;
};
Named FindNamed(const fenxi::FormulaLibrary& library, const std::string& name, const char* what);

// Positional values for a formula's parameters, in their declared order.
fenxi::FormulaArgs PositionalArgs(const fenxi::Formula& f, const std::vector<double>& values);

// The lines of a formula run; a refused parameter throws FormulaRefused,
// bad bars an InputError naming `where`.
fenxi::FormulaResult RunChecked(const fenxi::Formula& f, const fenxi::Bars& bars, const fenxi::FormulaArgs& args,
                                const std::string& where);

// A formula's lines over every bar: CSV (shortest exact decimals) or JSON
// with the parameters' values.
void PrintFormulaLines(const fenxi::Formula& f, const std::string& label, const fenxi::FormulaArgs& args,
                       const fenxi::FormulaResult& r, const BarFile& file, bool json);

}  // namespace fenxi_cli
