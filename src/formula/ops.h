// The element-wise arithmetic of formulas: one IEEE operation per operator,
// NaN for "no value", never an infinity. Scalars are folded with the same
// functions, so a folded constant has the bits a series would have.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace fenxi::formula {

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

inline bool IsNum(double x) { return x == x; }
// A result of +-inf becomes NaN.
inline double Finite(double x) { return x - x == 0.0 ? x : kNaN; }
// Truth: nonzero is true, 0 false; NaN is unknown (neither).
inline bool IsTrue(double x) { return x == x && x != 0.0; }
inline double Bool(bool b) { return b ? 1.0 : 0.0; }

enum class Op : std::uint8_t {
    Add, Sub, Mul, Div, Eq, Ne, Lt, Le, Gt, Ge, And, Or,  // binary
    Neg,                                                  // unary minus
};

inline double Binary(Op op, double a, double b) {
    switch (op) {
        case Op::Add: return Finite(a + b);
        case Op::Sub: return Finite(a - b);
        case Op::Mul: return Finite(a * b);
        case Op::Div: return Finite(a / b);  // x/0 is +-inf or NaN, so NaN
        case Op::And:
            if ((a == 0.0) || (b == 0.0)) return 0.0;
            return IsNum(a) && IsNum(b) ? 1.0 : kNaN;
        case Op::Or:
            if (IsTrue(a) || IsTrue(b)) return 1.0;
            return IsNum(a) && IsNum(b) ? 0.0 : kNaN;
        default: break;
    }
    if (!IsNum(a) || !IsNum(b)) return kNaN;
    switch (op) {
        case Op::Eq: return Bool(a == b);
        case Op::Ne: return Bool(a != b);
        case Op::Lt: return Bool(a < b);
        case Op::Le: return Bool(a <= b);
        case Op::Gt: return Bool(a > b);
        case Op::Ge: return Bool(a >= b);
        default: return kNaN;
    }
}

// The functions that act bar by bar.
enum class Pure : std::uint8_t {
    If, Ifn, Not, Between, Range, Max, Min, Abs, Sign, Intpart, Floor, Ceiling, Round, Mod, Sqrt, Pow, Exp, Ln, Log,
};

inline double Apply(Pure f, double a, double b = 0, double c = 0) {
    switch (f) {
        case Pure::If: return IsTrue(a) ? b : a == 0.0 ? c : kNaN;
        case Pure::Ifn: return IsTrue(a) ? c : a == 0.0 ? b : kNaN;
        case Pure::Not: return IsNum(a) ? Bool(a == 0.0) : kNaN;
        case Pure::Between:
            if (!IsNum(a) || !IsNum(b) || !IsNum(c)) return kNaN;
            return Bool((b <= a && a <= c) || (c <= a && a <= b));
        case Pure::Range:
            if (!IsNum(a) || !IsNum(b) || !IsNum(c)) return kNaN;
            return Bool(b < a && a < c);
        case Pure::Max:
            if (!IsNum(a) || !IsNum(b)) return kNaN;
            return a > b ? a : b;
        case Pure::Min:
            if (!IsNum(a) || !IsNum(b)) return kNaN;
            return a < b ? a : b;
        case Pure::Abs: return std::fabs(a);
        case Pure::Sign:
            if (!IsNum(a)) return kNaN;
            return a > 0.0 ? 1.0 : a < 0.0 ? -1.0 : 0.0;
        case Pure::Intpart: return std::trunc(a);
        case Pure::Floor: return std::floor(a);
        case Pure::Ceiling: return std::ceil(a);
        case Pure::Round: return std::round(a);
        case Pure::Mod:
            if (!IsNum(a) || !IsNum(b) || b == 0.0) return kNaN;
            return std::fmod(a, b);
        case Pure::Sqrt: return a < 0.0 ? kNaN : std::sqrt(a);
        case Pure::Pow:
            if (!IsNum(a) || !IsNum(b)) return kNaN;
            return Finite(std::pow(a, b));
        case Pure::Exp: return IsNum(a) ? Finite(std::exp(a)) : kNaN;
        case Pure::Ln: return IsNum(a) && a > 0.0 ? Finite(std::log(a)) : kNaN;
        case Pure::Log: return IsNum(a) && a > 0.0 ? Finite(std::log10(a)) : kNaN;
    }
    return kNaN;
}

}  // namespace fenxi::formula
