// The tool's CSV reader: any text either reads or fails with a message.
#include <sstream>

#include "bars_csv.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    std::istringstream in(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    try {
        const auto file = fenxi_cli::ReadBars(in, "fuzz.csv", fenxi_cli::ReadOptions{data[0] % 4 == 0 ? 1000 : 0, data[0] % 8 == 1});
        if (file.bars.empty()) __builtin_trap();  // a success always has bars
    } catch (const fenxi_cli::InputError&) {
    }
    return 0;
}
