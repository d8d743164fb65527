// fenxi scan: both systems, both tips and the tactics pools over many files.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

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

// One file's screen: its last bar's date and the screen's last values, or
// why it could not be read.
struct ScreenRow {
    std::string file, code, error;
    std::int32_t date = 0, time = 0;
    fenxi::FormulaLast last;
};

// Counts the files screened; setting `cancel` leaves the rest unread.
struct ScreenProgress {
    std::atomic<std::size_t> done{0};
    std::atomic<bool> cancel{false};
};

// The screen over the files on `jobs` threads.
std::vector<ScreenRow> ScreenFiles(const fenxi::Formula& formula, const fenxi::FormulaArgs& args,
                                   const std::vector<std::string>& files, int jobs, ScreenProgress* progress = nullptr);

// A row as `scan --where --json` prints it (`all`: with whether it passes).
nlohmann::json ScreenRowJson(const ScreenRow& row, std::span<const fenxi::FormulaOutput> outputs, bool all);

}  // namespace fenxi_cli
