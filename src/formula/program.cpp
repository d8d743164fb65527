#include "formula/program.h"

#include <array>
#include <cmath>
#include <cstring>
#include <string_view>
#include <unordered_map>

#include "formula/evaluator.h"

namespace fenxi::formula {

namespace {

struct Stop {
    Failure failure;
};

std::string Shown(double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.17g", v);
    return buf;
}

struct NodeKey {
    std::array<unsigned char, 4 + sizeof(bool) + sizeof(double) + 3 * sizeof(int) + 2 * sizeof(std::int64_t) +
                                  sizeof(void*) + sizeof(std::int32_t) * kMaxParams + sizeof(int)>
        bytes;
    bool operator==(const NodeKey& o) const { return bytes == o.bytes; }
};

struct NodeKeyHash {
    std::size_t operator()(const NodeKey& k) const {
        return std::hash<std::string_view>{}({reinterpret_cast<const char*>(k.bytes.data()), k.bytes.size()});
    }
};

class Lowerer {
public:
    explicit Lowerer(Program& out) : out_(out) {}

    // The node of every statement of `c` with these parameter values.
    std::vector<int> Body(const Compiled& c, const std::vector<double>& params, int depth) {
        // Inlined entries are lowered once per reference: bound the total.
        expanded_ += c.parsed.pool.size();
        if (expanded_ > kMaxExpanded)
            throw Stop{{Pos{0, 0, 0}, "the formula and the entries it references expand to more than 1,000,000 terms"}};
        std::vector<Ast> pool = c.parsed.pool;
        if (Failure bad = BindScalars(pool, c.parsed.statements, params)) throw Stop{bad};
        std::vector<int> ids(pool.size(), -1);
        auto operand = [&](int i) {
            const Ast& a = pool[static_cast<std::size_t>(i)];
            return a.scalar ? Constant(a.value) : ids[static_cast<std::size_t>(i)];
        };
        for (std::size_t i = 0; i < pool.size(); ++i) {
            const Ast& a = pool[i];
            if (a.scalar) continue;
            Node n;
            switch (a.kind) {
                case Kind::Input:
                    n.kind = NodeKind::Input;
                    n.input = a.input;
                    ids[i] = Emit(n);
                    break;
                case Kind::Var:
                    ids[i] = ids[static_cast<std::size_t>(c.parsed.statements[static_cast<std::size_t>(a.index)].expr)];
                    break;
                case Kind::Unary:
                    if (!a.negate) {
                        ids[i] = operand(a.args[0]);
                        break;
                    }
                    n.kind = NodeKind::Neg;
                    n.inputs = 1;
                    n.in[0] = operand(a.args[0]);
                    ids[i] = Emit(n);
                    break;
                case Kind::Binary:
                    n.kind = NodeKind::Binary;
                    n.op = a.op;
                    n.inputs = 2;
                    n.in[0] = operand(a.args[0]);
                    n.in[1] = operand(a.args[1]);
                    ids[i] = Emit(n);
                    break;
                case Kind::Call: ids[i] = Call(a, pool, ids, operand); break;
                case Kind::Ref: ids[i] = Reference(c, a, pool, depth); break;
                default: break;
            }
        }
        std::vector<int> statements;
        for (const Statement& s : c.parsed.statements) statements.push_back(operand(s.expr));
        return statements;
    }

private:
    Program& out_;
    std::unordered_map<NodeKey, int, NodeKeyHash> seen_;
    std::int64_t history_ = 0;  // slots the nodes' windows allocate
    std::int64_t reads_ = 0;    // values read per bar by the steps that read their whole window
    std::size_t expanded_ = 0;

    int Emit(const Node& n) {
        // Equal nodes are one node: the key is every field that decides the values.
        NodeKey key{};
        std::size_t at = 0;
        auto put = [&key, &at](const auto& v) {
            std::memcpy(key.bytes.data() + at, &v, sizeof v);
            at += sizeof v;
        };
        put(n.kind);
        put(n.op);
        put(n.input);
        put(n.fn);
        put(n.seriesN);
        put(n.value);
        put(n.in);
        put(n.n);
        put(n.m);
        put(n.operation);
        put(n.params);
        put(n.line);
        auto [it, added] = seen_.emplace(key, static_cast<int>(out_.nodes.size()));
        if (!added) return it->second;
        if (static_cast<int>(out_.nodes.size()) >= kMaxNodes)
            throw Stop{{Pos{0, 0, 0}, "the formula and the entries it references need more than 100,000 nodes"}};
        history_ += HistorySlots(n);
        if (history_ > kMaxHistory)
            throw Stop{{Pos{0, 0, 0}, "the windows of the formula and the entries it references would keep more than "
                                      "33,554,432 values (256 MiB)"}};
        reads_ += WindowReads(n);
        if (reads_ > kMaxWindowReads)
            throw Stop{{Pos{0, 0, 0}, "the windows that are read whole (STD, VAR, AVEDEV ..., and SUM, HHV, LLV with a "
                                      "series N) would read more than 1,000,000 values per bar"}};
        out_.nodes.push_back(n);
        if (n.kind == NodeKind::Series) out_.maxWindow = static_cast<int>(std::max<std::int64_t>(out_.maxWindow, n.n));
        return it->second;
    }

    int Constant(double v) {
        Node n;
        n.kind = NodeKind::Const;
        n.value = v;
        return Emit(n);
    }

    template <class Operand>
    int Call(const Ast& a, const std::vector<Ast>& pool, const std::vector<int>& ids, Operand operand) {
        Node n;
        const FunctionSpec& f = *a.fn;
        n.fn = f.fn;
        n.inputs = a.argc;
        if (IsPure(f.fn)) {
            n.kind = NodeKind::Pure;
            for (int k = 0; k < a.argc; ++k) n.in[k] = operand(a.args[k]);
            return Emit(n);
        }
        n.kind = NodeKind::Series;
        n.inputs = 0;
        bool first = true;
        for (int k = 0; k < a.argc; ++k) {
            const Ast& arg = pool[static_cast<std::size_t>(a.args[k])];
            if (!f.args[k].window) {
                n.in[n.inputs++] = operand(a.args[k]);
                continue;
            }
            if (!arg.scalar) {  // a series N
                n.seriesN = true;
                n.in[n.inputs++] = ids[static_cast<std::size_t>(a.args[k])];
                continue;
            }
            (first ? n.n : n.m) = static_cast<std::int64_t>(arg.value);
            first = false;
        }
        if (n.fn == Fn::Mema) {
            n.fn = Fn::Sma;
            n.m = 1;
        }
        return Emit(n);
    }

    int Reference(const Compiled& c, const Ast& a, const std::vector<Ast>& pool, int depth) {
        const RefUse& use = c.parsed.refs[static_cast<std::size_t>(a.index)];
        const Resolved& target = c.refs[static_cast<std::size_t>(a.index)];
        std::vector<double> given;
        for (int arg : use.args) given.push_back(pool[static_cast<std::size_t>(arg)].value);
        const std::string what = use.name + "." + use.line;
        if (target.operation != nullptr) {
            const OperationSpec& op = *target.operation;
            std::vector<int> whole;
            for (std::size_t k = 0; k < given.size(); ++k) {
                const double v = given[k];
                if (!(v == std::floor(v) && std::fabs(v) <= 2147483647.0))
                    throw Stop{{use.argPos[k], what + ": parameter " + op.params[k].name + " must be a whole number, not " + Shown(v)}};
                whole.push_back(static_cast<int>(v));
            }
            Node n;
            n.kind = NodeKind::Operation;
            n.operation = &op;
            n.line = target.line;
            if (Error e = ResolveParams(op, whole, n.params)) {
                const Pos at = e.index >= 0 && static_cast<std::size_t>(e.index) < use.argPos.size()
                                   ? use.argPos[static_cast<std::size_t>(e.index)]
                                   : use.pos;
                throw Stop{{at, what + ": " + e.message}};
            }
            return Emit(n);
        }
        const Compiled& entry = *target.entry;
        if (depth >= kMaxReferenceDepth) throw Stop{{use.pos, "references nested deeper than 32 entries"}};
        std::vector<double> values;
        for (const FormulaParam& p : entry.parsed.params) values.push_back(p.defaultValue);
        for (std::size_t k = 0; k < given.size(); ++k) {
            const FormulaParam& p = entry.parsed.params[k];
            if (!(given[k] >= p.min && given[k] <= p.max))
                throw Stop{{use.argPos[k], what + ": parameter " + p.name + " = " + Shown(given[k]) + " is outside " +
                                               Shown(p.min) + ".." + Shown(p.max)}};
            values[k] = given[k];
        }
        std::vector<int> statements;
        try {
            statements = Body(entry, values, depth + 1);
        } catch (const Stop& inner) {
            throw Stop{{use.pos, what + ": " + inner.failure.message}};
        }
        return statements[static_cast<std::size_t>(target.line)];
    }
};

}  // namespace

Failure Lower(const Compiled& c, const std::vector<double>& params, Program& out) {
    out = Program{};
    try {
        Lowerer lower(out);
        const std::vector<int> statements = lower.Body(c, params, 0);
        for (int s : c.parsed.outputs) out.outputs.push_back(statements[static_cast<std::size_t>(s)]);
    } catch (const Stop& stop) {
        out = Program{};
        return stop.failure;
    }
    return {};
}

FormulaError BindArgs(const Compiled& c, const FormulaArgs& args, std::vector<double>& values) {
    const auto& params = c.parsed.params;
    values.clear();
    for (const FormulaParam& p : params) values.push_back(p.defaultValue);
    for (const auto& [name, value] : args) {
        const std::string key = UpperKey(name);
        std::size_t k = 0;
        while (k < params.size() && UpperKey(params[k].name) != key) ++k;
        FormulaError e;
        if (k == params.size()) {
            e.message = "unknown parameter '" + name + "'";
            if (params.empty()) {
                e.message += ": the formula has none";
            } else {
                e.message += "; the parameters are";
                for (const FormulaParam& p : params) e.message += " " + p.name;
            }
            return e;
        }
        if (!(value >= params[k].min && value <= params[k].max)) {
            e.message = "parameter " + params[k].name + " = " + Shown(value) + " is outside " + Shown(params[k].min) +
                        ".." + Shown(params[k].max);
            return e;
        }
        values[k] = value;
    }
    return {};
}

FormulaError MakeError(const Failure& f, std::string_view source) {
    FormulaError e;
    e.message = f.message;
    e.line = f.pos.line;
    e.column = f.pos.column;
    if (e.line > 0) e.sourceLine = SourceLine(source, e.line);
    return e;
}

}  // namespace fenxi::formula
