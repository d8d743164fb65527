// A parsed formula: its expressions in one pool, children before parents,
// so every later pass walks the pool in order and never recurses.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "fenxi/formula.h"
#include "formula/functions.h"
#include "formula/lexer.h"

namespace fenxi::formula {

constexpr int kMaxNesting = 256;
constexpr int kMaxOperations = 10000;
constexpr int kMaxStatements = 256;
constexpr int kMaxFormulaParams = 32;

enum class Input : std::uint8_t {
    Open, High, Low, Close, Vol, Amount, Date, Time, Year, Month, Day, Hour, Minute, Weekday, Barpos,
};

enum class Kind : std::uint8_t { Number, Input, Param, Var, Unary, Binary, Call, Ref };

struct Ast {
    Kind kind = Kind::Number;
    Pos pos;
    bool scalar = true;
    bool negate = false;  // unary: minus (plus is dropped)
    Op op = Op::Add;
    Input input = Input::Close;
    const FunctionSpec* fn = nullptr;
    double value = 0;  // a scalar's value with the parameters' current values
    int index = -1;    // parameter, statement (Var) or reference
    int argc = 0;
    int args[3] = {-1, -1, -1};
    Pos argPos[3];
};

// NAME.LINE(P...) as written; resolved after parsing.
struct RefUse {
    std::string name, line, key, lineKey;
    Pos pos;
    std::vector<int> args;    // pool indices (scalars)
    std::vector<Pos> argPos;
    int ast = -1;
};

struct Statement {
    std::string name, key;
    bool output = false;
    int expr = -1;
    Pos pos;
    std::vector<std::string> attributes;
};

struct Failure {
    Pos pos;
    std::string message;
    explicit operator bool() const { return !message.empty(); }
};

struct Parsed {
    std::vector<Ast> pool;
    std::vector<Statement> statements;
    std::vector<RefUse> refs;
    std::vector<FormulaParam> params;
    std::vector<int> outputs;  // statement indices
    Failure failure;           // the first error met, left to right
};

// Parses a formula text (or an entry's text, starting at `start`). Names
// that are not inputs, functions, parameters or earlier statements are
// errors; references are only collected.
Parsed Parse(std::string_view text, Pos start, std::vector<FormulaParam> params);

// True when `key` (upper case) may not name a statement, a parameter or an
// entry: inputs, functions, attributes, AND and OR.
bool Reserved(std::string_view key);
// The attribute of that upper-case name is known.
bool IsAttribute(std::string_view key);

// Recomputes every scalar of the pool with these parameter values (in pool
// order) and checks the window lengths again.
Failure BindScalars(std::vector<Ast>& pool, const std::vector<Statement>& statements, const std::vector<double>& params);

// "did you mean X?" among `candidates` for an unknown name, or empty.
std::string Suggest(std::string_view key, const std::vector<std::string>& candidates);

}  // namespace fenxi::formula
