#include "formula/functions.h"

#include <array>
#include <unordered_map>
#include <utility>

#include "fenxi/formula.h"

namespace fenxi::formula {

namespace {

constexpr ArgRule X{};
constexpr ArgRule N{true, 1, false};
constexpr ArgRule N0S{true, 0, true};  // 0 allowed, series allowed
constexpr ArgRule N2{true, 2, false};
constexpr ArgRule A0{true, 0, false};  // LAST's A and B

static_assert(static_cast<int>(Fn::Log) == static_cast<int>(Pure::Log), "pure functions share their numbering");

constexpr FunctionSpec kFunctions[] = {
    {"MA", Fn::Ma, 2, {X, N}, "MA(X,N)", "simple average of the last N values"},
    {"SUM", Fn::Sum, 2, {X, N0S}, "SUM(X,N)", "sum of the last N values; N=0 sums from the first value"},
    {"WMA", Fn::Wma, 2, {X, N}, "WMA(X,N)", "average weighted 1..N, newest heaviest"},
    {"EMA", Fn::Ema, 2, {X, N}, "EMA(X,N)", "exponential average: (2*X + (N-1)*Y') / (N+1)"},
    {"EXPMA", Fn::Ema, 2, {X, N}, "EXPMA(X,N)", "EMA(X,N)"},
    {"SMA", Fn::Sma, 3, {X, N, N}, "SMA(X,N,M)", "smoothing: (M*X + (N-M)*Y') / N, 1 <= M <= N"},
    {"MEMA", Fn::Mema, 2, {X, N}, "MEMA(X,N)", "SMA(X,N,1)"},
    {"DMA", Fn::Dma, 2, {X, X}, "DMA(X,A)", "dynamic average: A*X + (1-A)*Y', A in 0..1"},
    {"HHV", Fn::Hhv, 2, {X, N0S}, "HHV(X,N)", "highest of the last N values; N=0 since the first"},
    {"LLV", Fn::Llv, 2, {X, N0S}, "LLV(X,N)", "lowest of the last N values; N=0 since the first"},
    {"HHVBARS", Fn::Hhvbars, 2, {X, N0S}, "HHVBARS(X,N)", "bars since the highest of the last N values"},
    {"LLVBARS", Fn::Llvbars, 2, {X, N0S}, "LLVBARS(X,N)", "bars since the lowest of the last N values"},
    {"REF", Fn::Ref, 2, {X, N0S}, "REF(X,N)", "X N bars ago"},
    {"STD", Fn::Std, 2, {X, N2}, "STD(X,N)", "sample standard deviation of the last N values"},
    {"STDP", Fn::Stdp, 2, {X, N}, "STDP(X,N)", "population standard deviation of the last N values"},
    {"VAR", Fn::Var, 2, {X, N2}, "VAR(X,N)", "sample variance of the last N values"},
    {"VARP", Fn::Varp, 2, {X, N}, "VARP(X,N)", "population variance of the last N values"},
    {"DEVSQ", Fn::Devsq, 2, {X, N}, "DEVSQ(X,N)", "sum of squared deviations from the mean"},
    {"AVEDEV", Fn::Avedev, 2, {X, N}, "AVEDEV(X,N)", "mean absolute deviation from the mean"},
    {"SLOPE", Fn::Slope, 2, {X, N2}, "SLOPE(X,N)", "least-squares slope of the last N values"},
    {"FORCAST", Fn::Forcast, 2, {X, N2}, "FORCAST(X,N)", "least-squares fitted value at the last bar"},
    {"IF", Fn::If, 3, {X, X, X}, "IF(COND,A,B)", "A where COND is true, B where it is false"},
    {"IFF", Fn::If, 3, {X, X, X}, "IFF(COND,A,B)", "IF(COND,A,B)"},
    {"IFN", Fn::Ifn, 3, {X, X, X}, "IFN(COND,A,B)", "IF(COND,B,A)"},
    {"NOT", Fn::Not, 1, {X}, "NOT(X)", "1 where X is 0, else 0"},
    {"CROSS", Fn::Cross, 2, {X, X}, "CROSS(A,B)", "1 where A crosses above B"},
    {"LONGCROSS", Fn::Longcross, 3, {X, X, N}, "LONGCROSS(A,B,N)", "1 where A crosses above B after N bars below"},
    {"COUNT", Fn::Count, 2, {X, N0S}, "COUNT(X,N)", "number of true values in the last N bars; N=0 all"},
    {"EVERY", Fn::Every, 2, {X, N}, "EVERY(X,N)", "1 when X is true at each of the last N bars"},
    {"EXIST", Fn::Exist, 2, {X, N}, "EXIST(X,N)", "1 when X is true at any of the last N bars"},
    {"LAST", Fn::Last, 3, {X, A0, A0}, "LAST(X,A,B)", "1 when X is true from A bars ago to B bars ago"},
    {"BARSLAST", Fn::Barslast, 1, {X}, "BARSLAST(X)", "bars since X was last true"},
    {"BARSSINCE", Fn::Barssince, 1, {X}, "BARSSINCE(X)", "bars since X was first true"},
    {"BARSCOUNT", Fn::Barscount, 1, {X}, "BARSCOUNT(X)", "bars since X first had a value, counting that bar"},
    {"VALUEWHEN", Fn::Valuewhen, 2, {X, X}, "VALUEWHEN(COND,X)", "X at the last bar where COND was true"},
    {"FILTER", Fn::Filter, 2, {X, N}, "FILTER(X,N)", "X's true bars, each silencing the next N bars"},
    {"BETWEEN", Fn::Between, 3, {X, X, X}, "BETWEEN(A,B,C)", "1 when A lies between B and C, ends included"},
    {"RANGE", Fn::Range, 3, {X, X, X}, "RANGE(A,B,C)", "1 when B < A < C"},
    {"MAX", Fn::Max, 2, {X, X}, "MAX(A,B)", "the larger of A and B"},
    {"MIN", Fn::Min, 2, {X, X}, "MIN(A,B)", "the smaller of A and B"},
    {"ABS", Fn::Abs, 1, {X}, "ABS(X)", "absolute value"},
    {"SIGN", Fn::Sign, 1, {X}, "SIGN(X)", "1, -1 or 0 by the sign of X"},
    {"INTPART", Fn::Intpart, 1, {X}, "INTPART(X)", "X truncated toward zero"},
    {"FLOOR", Fn::Floor, 1, {X}, "FLOOR(X)", "largest whole number <= X"},
    {"CEILING", Fn::Ceiling, 1, {X}, "CEILING(X)", "smallest whole number >= X"},
    {"ROUND", Fn::Round, 1, {X}, "ROUND(X)", "nearest whole number, halves away from zero"},
    {"MOD", Fn::Mod, 2, {X, X}, "MOD(A,B)", "remainder of A / B, the sign of A"},
    {"SQRT", Fn::Sqrt, 1, {X}, "SQRT(X)", "square root"},
    {"POW", Fn::Pow, 2, {X, X}, "POW(A,B)", "A to the power B"},
    {"EXP", Fn::Exp, 1, {X}, "EXP(X)", "e to the power X"},
    {"LN", Fn::Ln, 1, {X}, "LN(X)", "natural logarithm"},
    {"LOG", Fn::Log, 1, {X}, "LOG(X)", "base-10 logarithm"},
};

constexpr FormulaFunctionInfo MakeInfo(const FunctionSpec& f) { return {f.signature, f.summary}; }

template <std::size_t... I>
constexpr auto Infos(std::index_sequence<I...>) {
    return std::array<FormulaFunctionInfo, sizeof...(I)>{MakeInfo(kFunctions[I])...};
}
constexpr auto kInfos = Infos(std::make_index_sequence<std::size(kFunctions)>{});

}  // namespace

std::span<const FunctionSpec> Functions() { return kFunctions; }

const FunctionSpec* FindFunction(std::string_view key) {
    static const std::unordered_map<std::string_view, const FunctionSpec*> byName = [] {
        std::unordered_map<std::string_view, const FunctionSpec*> m;
        for (const FunctionSpec& f : kFunctions) m.emplace(f.name, &f);
        return m;
    }();
    const auto it = byName.find(key);
    return it == byName.end() ? nullptr : it->second;
}

}  // namespace fenxi::formula

std::span<const fenxi::FormulaFunctionInfo> fenxi::FormulaFunctions() { return formula::kInfos; }
