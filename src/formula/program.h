// A formula lowered for one set of parameter values: a flat list of nodes in
// evaluation order, each a function with its inputs as earlier nodes.
// Scalars are folded to constants; equal sub-expressions are one node;
// references to formula entries are inlined.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fenxi/formula.h"
#include "formula/ast.h"

namespace fenxi::formula {

// Bound on the nodes of one lowered formula (references inline their entries).
constexpr int kMaxNodes = 100000;
// Bound on the terms lowered for one formula, counting an entry once per
// reference to it.
constexpr std::size_t kMaxExpanded = 1000000;
// Bound on a chain of references between entries.
constexpr int kMaxReferenceDepth = 32;

enum class NodeKind : std::uint8_t { Const, Input, Neg, Binary, Pure, Series, Operation };

struct Node {
    NodeKind kind = NodeKind::Const;
    Op op = Op::Add;
    Input input = Input::Close;
    Fn fn = Fn::Ma;
    double value = 0;  // a constant
    int in[3] = {-1, -1, -1};
    int inputs = 0;
    // Scalar window arguments of a series function (N, M, or LAST's A and B).
    std::int64_t n = 0, m = 0;
    bool seriesN = false;  // N is the input in[1]
    // A registry operation's line.
    const OperationSpec* operation = nullptr;
    std::int32_t params[fenxi::kMaxParams] = {};
    int line = 0;
};

struct Program {
    std::vector<Node> nodes;
    std::vector<int> outputs;  // node per output line
    int maxWindow = 0;         // longest history a node keeps
};

// A reference resolved after parsing: a registry operation's line or an
// entry's output line.
struct Resolved {
    const OperationSpec* operation = nullptr;
    std::shared_ptr<const Compiled> entry;
    int line = 0;
};

struct Compiled {
    std::shared_ptr<const std::string> source;  // the text (a file's whole text for an entry), for error lines
    std::string name, description, file;
    bool overlay = false;
    int firstLine = 0;
    Parsed parsed;
    std::vector<Resolved> refs;
    std::vector<FormulaOutput> outputs;
    FormulaError error;
    Program defaults;  // lowered with the parameters' defaults
};

// The compiled form behind a Formula.
struct Access {
    static const std::shared_ptr<const Compiled>& Of(const Formula& f) { return f.compiled_; }
};

// Lowers `c` with these parameter values (one per declared parameter).
Failure Lower(const Compiled& c, const std::vector<double>& params, Program& out);

// The parameter values from defaults and `args`; an unknown name or a value
// outside its range is an error.
FormulaError BindArgs(const Compiled& c, const FormulaArgs& args, std::vector<double>& values);

// A Failure as the public error, with the source line of its place.
FormulaError MakeError(const Failure& f, std::string_view source);

}  // namespace fenxi::formula
