// fenxi scan: both systems, both tips and the tactics pools over many files.
#pragma once

#include <string>
#include <vector>

namespace fenxi_cli {

// Files and directories (their *.csv files, sorted); one summary row per
// file, on `jobs` threads with one engine each. A file that cannot be read is
// reported on stderr and in its row; the exit code is then 1.
int Scan(const std::vector<std::string>& inputs, int jobs, bool json);

}  // namespace fenxi_cli
