// fenxi scan: both systems, both tips and the tactics pools over many files.
#pragma once

#include <string>
#include <vector>

#include "fenxi/formula.h"

namespace fenxi_cli {

// Files and directories (their *.csv files, sorted); one summary row per
// file, on `jobs` threads with one engine each. A file that cannot be read is
// reported on stderr and in its row; the exit code is then 1.
int Scan(const std::vector<std::string>& inputs, int jobs, bool json);

struct ScreenOptions {
    std::string where;         // a formula text, or a formula's name
    fenxi::FormulaArgs args;   // its parameters by name
    int jobs = 1;
    bool all = false;          // every file, not only those that pass
    bool json = false;
};

// A screen over the files: one row per passing file (every file with `all`)
// with its last bar's date and the last values of the screen's output lines.
// A file that cannot be read is reported on stderr and left out; the exit
// code is then 1.
int Screen(const fenxi::FormulaLibrary& library, const std::vector<std::string>& inputs, const ScreenOptions& options);

}  // namespace fenxi_cli
