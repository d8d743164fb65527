// The formula functions: names, arities, which arguments are window lengths
// and their ranges. The parser checks calls against this table, the
// evaluator builds one node per call, `fenxi formula --help` lists it.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "formula/ops.h"

namespace fenxi::formula {

constexpr int kMaxWindow = 100000;

enum class Fn : std::uint8_t {
    // Bar by bar (scalar when every argument is).
    If, Ifn, Not, Between, Range, Max, Min, Abs, Sign, Intpart, Floor, Ceiling, Round, Mod, Sqrt, Pow, Exp, Ln, Log,
    // Averages and recurrences.
    Ma, Sum, Wma, Ema, Sma, Mema, Dma,
    // Windows.
    Hhv, Llv, Hhvbars, Llvbars, Ref, Std, Stdp, Var, Varp, Devsq, Avedev, Slope, Forcast,
    // Conditions and events.
    Cross, Longcross, Count, Every, Exist, Last, Barslast, Barssince, Barscount, Valuewhen, Filter,
};

// How an argument is checked.
struct ArgRule {
    bool window = false;  // a window length: a whole number in [min, kMaxWindow]
    int min = 1;
    bool series = false;  // may be a series (checked per bar)
};

struct FunctionSpec {
    const char* name;
    Fn fn;
    int arity;
    ArgRule args[3];
    const char* signature;
    const char* summary;
};

std::span<const FunctionSpec> Functions();
// By upper-case name (aliases included); null if unknown.
const FunctionSpec* FindFunction(std::string_view key);
// The bar-by-bar function of a pure Fn.
inline bool IsPure(Fn f) { return f <= Fn::Log; }
inline Pure PureOf(Fn f) { return static_cast<Pure>(f); }

}  // namespace fenxi::formula
