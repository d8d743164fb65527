// The formula compiler and evaluator on any text: as a formula against a
// small library, and as a formula file. Whatever compiles runs in batch and
// as a stream over bars of the real sample, which must agree, or over bars at
// the edges of every field.
#include <climits>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "fenxi/formula.h"
#include "fuzz_input.h"

namespace {

// The first bars of the shipped sample, prices in hundredths.
const fenxi::Bars& Sample() {
    static const fenxi::Bars bars = [] {
        fenxi::Bars b;
        b.unit = 100;
        const std::int32_t closes[] = {981, 990, 1002, 995, 1010, 1034, 1021, 1000, 987, 975, 990, 1012, 1040,
                                       1066, 1059, 1043, 1070, 1101, 1088, 1075, 1090, 1120, 1105, 1131, 1150};
        for (int rep = 0; rep < 6; ++rep)
            for (std::size_t k = 0; k < std::size(closes); ++k) {
                const std::int32_t c = closes[k] + rep * 7;
                UNIKDATA bar{};
                bar.Date = 20240101 + static_cast<std::int32_t>(b.bars.size());
                bar.Open = c - 5;
                bar.High = c + 9;
                bar.Low = c - 11;
                bar.Close = c;
                bar.Volume = 100000 + static_cast<std::uint64_t>(k) * 3700;
                bar.Amount = static_cast<double>(bar.Volume) * c / 100.0;
                b.bars.push_back(bar);
            }
        return b;
    }();
    return bars;
}

// Bars at the edges of every field: the extremes of the prices, volumes of 0
// and 2^64-1, amounts that are NaN or infinite, dates that are no dates.
const std::vector<UNIKDATA>& EdgeBars() {
    static const std::vector<UNIKDATA> bars = [] {
        std::vector<UNIKDATA> b;
        const std::int32_t prices[] = {INT32_MIN, -1, 0, 1, INT32_MAX, 1000};
        const std::uint64_t volumes[] = {0, 1, UINT64_MAX, 1ull << 53};
        const double amounts[] = {0.0, -0.0, 1e308, -1e308, __builtin_nan(""), __builtin_inf(), 5e-324};
        const std::int32_t dates[] = {0, -1, INT32_MIN, INT32_MAX, 20240229, 20230229, 10101};
        for (int k = 0; k < 40; ++k) {
            UNIKDATA bar{};
            bar.Open = prices[k % 6];
            bar.High = prices[(k + 1) % 6];
            bar.Low = prices[(k + 2) % 6];
            bar.Close = prices[(k + 3) % 6];
            bar.Volume = volumes[k % 4];
            bar.Amount = amounts[k % 7];
            bar.Date = dates[k % 7];
            bar.Time = k % 3 == 0 ? INT32_MIN : k;
            b.push_back(bar);
        }
        return b;
    }();
    return bars;
}

const fenxi::FormulaLibrary& Library() {
    static const fenxi::FormulaLibrary* lib = [] {
        auto* l = new fenxi::FormulaLibrary;
        l->Load("FORMULA AVG2 \"average of averages\" OVERLAY\nPARAM M1 3 1 100\nPARAM M2 6 1 100\n"
                "AVG2: (MA(CLOSE,M1)+MA(CLOSE,M2))/2;\nEND\n",
                "fuzz.fxl");
        return l;
    }();
    return *lib;
}

bool Same(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (data[0] & 1) {
        fenxi::FormulaLibrary lib;
        lib.Load(text, "fuzz.fxl");
        for (const fenxi::FormulaEntry& e : lib.Entries())
            if (!e.shipped) lib.Find(e.name)->Run(Sample());
        return 0;
    }
    const fenxi::Formula f(text, &Library());
    if (!f.ok()) {
        (void)f.error().Format("fuzz");
        return 0;
    }
    if (data[0] & 128) {  // the edge bars, as a stream (a batch run refuses them)
        fenxi::FormulaStream edge = f.Stream(1 + (data[0] & 3) * 999);
        for (const UNIKDATA& bar : EdgeBars()) (void)edge.Append(bar);
        (void)f.Run(fenxi::Bars{EdgeBars(), 100});
        return 0;
    }
    const fenxi::Bars& bars = Sample();
    const fenxi::FormulaResult all = f.Run(bars);
    fenxi::FormulaStream s = f.Stream(bars.unit);
    const std::size_t n = data[0] >> 1 & 31;
    for (std::size_t i = 0; i < n && i < bars.bars.size(); ++i) {
        std::span<const double> got = s.Append(bars.bars[i]);
        if (data[0] & 64) got = s.ReplaceLast(bars.bars[i]);
        for (std::size_t k = 0; k < all.lines.size(); ++k)
            if (!Same(got[k], all.lines[k].values[i])) __builtin_trap();
    }
    return 0;
}
