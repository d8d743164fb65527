// Recursive descent over the tokens, one token of lookahead beyond the one
// in hand. Every check is made where the reading meets it, so the error
// reported is the first one left to right. Nesting is bounded before the
// recursion goes deeper; chains of binary operators are loops.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <unordered_map>
#include <unordered_set>

#include "formula/ast.h"

namespace fenxi::formula {

namespace {

struct InputName {
    std::string_view key;
    Input input;
};
constexpr InputName kInputs[] = {
    {"OPEN", Input::Open},     {"O", Input::Open},       {"HIGH", Input::High},     {"H", Input::High},
    {"LOW", Input::Low},       {"L", Input::Low},        {"CLOSE", Input::Close},   {"C", Input::Close},
    {"VOL", Input::Vol},       {"V", Input::Vol},        {"VOLUME", Input::Vol},    {"AMOUNT", Input::Amount},
    {"AMO", Input::Amount},    {"DATE", Input::Date},    {"TIME", Input::Time},     {"YEAR", Input::Year},
    {"MONTH", Input::Month},   {"DAY", Input::Day},      {"HOUR", Input::Hour},     {"MINUTE", Input::Minute},
    {"WEEKDAY", Input::Weekday}, {"BARPOS", Input::Barpos},
};

const Input* FindInput(std::string_view key) {
    for (const InputName& i : kInputs)
        if (key == i.key) return &i.input;
    return nullptr;
}

constexpr std::string_view kAttributes[] = {"COLORRED",  "COLORGREEN", "COLORBLUE",  "COLORYELLOW", "COLORCYAN",
                                       "COLORMAGENTA", "COLORWHITE", "COLORGRAY", "COLORBLACK", "DOTLINE",
                                       "STICK",     "COLORSTICK", "VOLSTICK",   "POINTDOT",    "CIRCLEDOT",
                                       "NODRAW"};

bool IsHex(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); }

struct Stop {};

std::string Plural(int n, const char* one) { return std::to_string(n) + " " + one + (n == 1 ? "" : "s"); }

std::string Describe(const Token& t) {
    switch (t.kind) {
        case Tok::End: return "end of text";
        case Tok::Name: return "'" + t.text + "'";
        case Tok::Number: return "'" + t.text + "'";
        case Tok::Ref: return "'" + t.text + "." + t.line + "'";
        case Tok::LParen: return "'('";
        case Tok::RParen: return "')'";
        case Tok::Comma: return "','";
        case Tok::Semicolon: return "';'";
        case Tok::Colon: return "':'";
        case Tok::Assign: return "':='";
        case Tok::Plus: return "'+'";
        case Tok::Minus: return "'-'";
        case Tok::Star: return "'*'";
        case Tok::Slash: return "'/'";
        case Tok::Eq: return "'='";
        case Tok::Ne: return "'<>'";
        case Tok::Lt: return "'<'";
        case Tok::Le: return "'<='";
        case Tok::Gt: return "'>'";
        case Tok::Ge: return "'>='";
        case Tok::And: return "'&&'";
        case Tok::Or: return "'||'";
        case Tok::Error: break;
    }
    return "token";
}

Failure CheckWindow(const Ast& call, const std::vector<Ast>& pool) {
    const FunctionSpec& f = *call.fn;
    for (int k = 0; k < call.argc; ++k) {
        const ArgRule& rule = f.args[k];
        if (!rule.window) continue;
        const Ast& a = pool[static_cast<std::size_t>(call.args[k])];
        static const char* const kArgNames[3][3] = {{"X", "N", "M"}, {"COND", "A", "B"}, {"A", "B", "N"}};
        const char* argName = f.fn == Fn::Last ? kArgNames[1][k] : f.fn == Fn::Longcross ? kArgNames[2][k]
                                                                                          : kArgNames[0][k];
        const std::string what = std::string(f.name) + ": " + argName;
        if (!a.scalar) {
            if (rule.series) continue;
            return {call.argPos[k], what + " must be a number or a parameter, not a series"};
        }
        const double v = a.value;
        if (!(v == std::floor(v) && v >= rule.min && v <= kMaxWindow)) {
            char shown[64];
            std::snprintf(shown, sizeof shown, "%.17g", v);
            return {call.argPos[k], what + " must be a whole number in " + std::to_string(rule.min) + "..100000, not " +
                                        (v == v ? shown : "NaN")};
        }
    }
    auto value = [&](int k) { return pool[static_cast<std::size_t>(call.args[k])].value; };
    if (f.fn == Fn::Sma && value(2) > value(1)) return {call.argPos[2], "SMA: M must not exceed N"};
    if (f.fn == Fn::Last && value(2) > value(1)) return {call.argPos[2], "LAST: B must not exceed A"};
    return {};
}

double ScalarValue(const Ast& a, const std::vector<Ast>& pool, const std::vector<Statement>& statements,
                   const std::vector<double>& params) {
    auto arg = [&](int k) { return pool[static_cast<std::size_t>(a.args[k])].value; };
    switch (a.kind) {
        case Kind::Number: return a.value;
        case Kind::Param: return params[static_cast<std::size_t>(a.index)];
        case Kind::Var: return pool[static_cast<std::size_t>(statements[static_cast<std::size_t>(a.index)].expr)].value;
        case Kind::Unary: return a.negate ? -arg(0) : arg(0);
        case Kind::Binary: return Binary(a.op, arg(0), arg(1));
        case Kind::Call:
            return Apply(PureOf(a.fn->fn), arg(0), a.argc > 1 ? arg(1) : 0.0, a.argc > 2 ? arg(2) : 0.0);
        default: return kNaN;
    }
}

class Parser {
public:
    Parser(std::string_view text, Pos start, std::vector<FormulaParam> params) : tokens_(Tokenize(text, start)) {
        out_.params = std::move(params);
        for (std::size_t i = 0; i < out_.params.size(); ++i) {
            paramIndex_[UpperKey(out_.params[i].name)] = static_cast<int>(i);
            paramValues_.push_back(out_.params[i].defaultValue);
        }
        // Names defined anywhere, to tell "used before its statement" from "unknown".
        for (std::size_t i = 0; i + 1 < tokens_.size(); ++i)
            if (tokens_[i].kind == Tok::Name &&
                (tokens_[i + 1].kind == Tok::Colon || tokens_[i + 1].kind == Tok::Assign))
                laterNames_.insert(tokens_[i].key);
    }

    Parsed Run() {
        try {
            Statements();
        } catch (const Stop&) {
        }
        return std::move(out_);
    }

private:
    std::vector<Token> tokens_;
    std::size_t at_ = 0;
    Parsed out_;
    std::unordered_map<std::string, int> paramIndex_, statementIndex_;
    std::unordered_set<std::string> laterNames_;
    std::vector<double> paramValues_;
    int depth_ = 0, operations_ = 0;

    [[noreturn]] void Fail(Pos pos, std::string message) {
        out_.failure = {pos, std::move(message)};
        throw Stop{};
    }
    // The token `ahead` places on; an error token is reported when looked at.
    const Token& Peek(std::size_t ahead = 0) {
        const std::size_t i = std::min(at_ + ahead, tokens_.size() - 1);
        const Token& t = tokens_[i];
        if (t.kind == Tok::Error) Fail(t.pos, t.text);
        return t;
    }
    const Token& Take() {
        const Token& t = Peek();
        if (at_ + 1 < tokens_.size()) ++at_;
        return t;
    }
    bool IsKeyword(const Token& t, const char* key) { return t.kind == Tok::Name && t.key == key; }
    void CountOperation(const Token& t) {
        if (++operations_ > kMaxOperations) Fail(t.pos, "more than 10,000 operators, function calls and references");
    }
    void Enter(const Token& t) {
        if (++depth_ > kMaxNesting) Fail(t.pos, "nesting deeper than 256 levels");
    }

    int Add(Ast a) {
        if (a.scalar) a.value = ScalarValue(a, out_.pool, out_.statements, paramValues_);
        out_.pool.push_back(a);
        return static_cast<int>(out_.pool.size()) - 1;
    }
    const Ast& At(int i) const { return out_.pool[static_cast<std::size_t>(i)]; }

    std::vector<std::string> KnownNames(bool functions) const {
        std::vector<std::string> names;
        if (functions) {
            for (const FunctionSpec& f : Functions()) names.emplace_back(f.name);
            return names;
        }
        for (const InputName& i : kInputs) names.emplace_back(i.key);
        for (const auto& [k, v] : paramIndex_) names.push_back(k);
        for (const auto& [k, v] : statementIndex_) names.push_back(k);
        return names;
    }

    void Statements() {
        for (;;) {
            const Token& t = Peek();
            if (t.kind == Tok::End) break;
            if (t.kind == Tok::Semicolon) {
                Take();
                continue;
            }
            if (static_cast<int>(out_.statements.size()) >= kMaxStatements) Fail(t.pos, "more than 256 statements");
            Statement s;
            s.pos = t.pos;
            if (t.kind == Tok::Name && !IsKeyword(t, "AND") && !IsKeyword(t, "OR") &&
                (Peek(1).kind == Tok::Colon || Peek(1).kind == Tok::Assign)) {
                if (Reserved(t.key) || paramIndex_.count(t.key))
                    Fail(t.pos, "'" + t.text + "' is a built-in name or a parameter and cannot be defined");
                if (statementIndex_.count(t.key)) Fail(t.pos, "'" + t.text + "' is already defined");
                s.name = t.text;
                s.key = t.key;
                Take();
                s.output = Take().kind == Tok::Colon;
            } else {
                s.output = true;
            }
            s.expr = Expression();
            if (s.output) {
                while (Peek().kind == Tok::Comma) {
                    Take();
                    const Token& a = Peek();
                    if (a.kind != Tok::Name) Fail(a.pos, "expected an attribute after ',', found " + Describe(a));
                    if (!IsAttribute(a.key)) Fail(a.pos, "unknown attribute '" + a.text + "'");
                    s.attributes.push_back(a.key);
                    Take();
                }
            }
            const Token& end = Peek();
            if (end.kind != Tok::Semicolon && end.kind != Tok::End)
                Fail(end.pos, "unexpected " + Describe(end) + (s.output || end.kind != Tok::Comma ? "" : " (a variable has no attributes)"));
            if (s.output) {
                if (s.name.empty()) {
                    s.name = "LINE" + std::to_string(out_.outputs.size() + 1);
                    s.key = s.name;
                    if (statementIndex_.count(s.key)) Fail(s.pos, "'" + s.name + "' is already defined");
                }
                out_.outputs.push_back(static_cast<int>(out_.statements.size()));
            }
            statementIndex_[s.key] = static_cast<int>(out_.statements.size());
            out_.statements.push_back(std::move(s));
        }
    }

    int Expression() { return Or(); }

    template <class Next>
    int Chain(Next next, bool (*match)(const Token&), Op (*opOf)(const Token&)) {
        int left = (this->*next)();
        for (;;) {
            const Token& t = Peek();
            if (!match(t)) return left;
            CountOperation(t);
            const Op op = opOf(t);
            const Pos pos = t.pos;
            Take();
            const int right = (this->*next)();
            Ast a;
            a.kind = Kind::Binary;
            a.pos = pos;
            a.op = op;
            a.argc = 2;
            a.args[0] = left;
            a.args[1] = right;
            a.scalar = At(left).scalar && At(right).scalar;
            left = Add(a);
        }
    }

    int Or() {
        return Chain(&Parser::And, [](const Token& t) { return t.kind == Tok::Or || (t.kind == Tok::Name && t.key == "OR"); },
                     [](const Token&) { return Op::Or; });
    }
    int And() {
        return Chain(&Parser::Compare,
                     [](const Token& t) { return t.kind == Tok::And || (t.kind == Tok::Name && t.key == "AND"); },
                     [](const Token&) { return Op::And; });
    }
    int Compare() {
        return Chain(&Parser::Sum,
                     [](const Token& t) {
                         return t.kind == Tok::Eq || t.kind == Tok::Ne || t.kind == Tok::Lt || t.kind == Tok::Le ||
                                t.kind == Tok::Gt || t.kind == Tok::Ge;
                     },
                     [](const Token& t) {
                         switch (t.kind) {
                             case Tok::Eq: return Op::Eq;
                             case Tok::Ne: return Op::Ne;
                             case Tok::Lt: return Op::Lt;
                             case Tok::Le: return Op::Le;
                             case Tok::Gt: return Op::Gt;
                             default: return Op::Ge;
                         }
                     });
    }
    int Sum() {
        return Chain(&Parser::Product, [](const Token& t) { return t.kind == Tok::Plus || t.kind == Tok::Minus; },
                     [](const Token& t) { return t.kind == Tok::Plus ? Op::Add : Op::Sub; });
    }
    int Product() {
        return Chain(&Parser::Unary, [](const Token& t) { return t.kind == Tok::Star || t.kind == Tok::Slash; },
                     [](const Token& t) { return t.kind == Tok::Star ? Op::Mul : Op::Div; });
    }

    int Unary() {
        const Token& t = Peek();
        if (t.kind != Tok::Minus && t.kind != Tok::Plus) return Primary();
        Enter(t);
        CountOperation(t);
        const bool negate = t.kind == Tok::Minus;
        const Pos pos = t.pos;
        Take();
        const int operand = Unary();
        --depth_;
        Ast a;
        a.kind = Kind::Unary;
        a.pos = pos;
        a.negate = negate;
        a.argc = 1;
        a.args[0] = operand;
        a.scalar = At(operand).scalar;
        return Add(a);
    }

    // Closes a parenthesis opened at `open`: ')' or an error.
    void Close(Pos open) {
        const Token& t = Peek();
        if (t.kind == Tok::RParen) {
            Take();
            return;
        }
        if (t.kind == Tok::Semicolon || t.kind == Tok::End) Fail(open, "unclosed parenthesis");
        Fail(t.pos, "unexpected " + Describe(t));
    }

    int Primary() {
        const Token& t = Peek();
        switch (t.kind) {
            case Tok::Number: {
                Ast a;
                a.kind = Kind::Number;
                a.pos = t.pos;
                a.value = t.number;
                Take();
                return Add(a);
            }
            case Tok::LParen: {
                Enter(t);
                const Pos open = t.pos;
                Take();
                const int inner = Expression();
                Close(open);
                --depth_;
                return inner;
            }
            case Tok::Ref: return Reference();
            case Tok::Name:
                if (t.key != "AND" && t.key != "OR") return NameOrCall();
                break;
            default: break;
        }
        Fail(t.pos, t.kind == Tok::End ? "unexpected end of text: an expression is missing"
                                       : "unexpected " + Describe(t) + ": an expression is missing");
    }

    int NameOrCall() {
        const Token t = Peek();
        Take();
        const bool call = Peek().kind == Tok::LParen;
        if (const FunctionSpec* f = FindFunction(t.key)) {
            if (!call) Fail(t.pos, "'" + t.text + "' is a function: " + f->signature);
            return Call(t, *f);
        }
        if (call) {
            const std::string hint = Suggest(t.key, KnownNames(true));
            Fail(t.pos, "unknown function '" + t.text + "'" + hint);
        }
        Ast a;
        a.pos = t.pos;
        if (const Input* in = FindInput(t.key)) {
            a.kind = Kind::Input;
            a.input = *in;
            a.scalar = false;
        } else if (auto p = paramIndex_.find(t.key); p != paramIndex_.end()) {
            a.kind = Kind::Param;
            a.index = p->second;
        } else if (auto s = statementIndex_.find(t.key); s != statementIndex_.end()) {
            a.kind = Kind::Var;
            a.index = s->second;
            a.scalar = At(out_.statements[static_cast<std::size_t>(s->second)].expr).scalar;
        } else if (laterNames_.count(t.key)) {
            Fail(t.pos, "'" + t.text + "' is used before its statement");
        } else {
            Fail(t.pos, "unknown name '" + t.text + "'" + Suggest(t.key, KnownNames(false)));
        }
        return Add(a);
    }

    // Arguments up to ')'; their count is checked by the caller.
    void Arguments(Pos open, std::vector<int>& args, std::vector<Pos>& argPos) {
        if (Peek().kind == Tok::RParen) {
            Take();
            return;
        }
        for (;;) {
            argPos.push_back(Peek().pos);
            args.push_back(Expression());
            const Token& t = Peek();
            if (t.kind == Tok::Comma) {
                Take();
                continue;
            }
            Close(open);
            return;
        }
    }

    int Call(const Token& name, const FunctionSpec& f) {
        CountOperation(name);
        const Token& open = Peek();
        Enter(open);
        const Pos openPos = open.pos;
        Take();
        std::vector<int> args;
        std::vector<Pos> argPos;
        Arguments(openPos, args, argPos);
        --depth_;
        if (static_cast<int>(args.size()) != f.arity)
            Fail(name.pos, std::string(f.name) + " takes " + Plural(f.arity, "argument") + ": " + f.signature);
        Ast a;
        a.kind = Kind::Call;
        a.pos = name.pos;
        a.fn = &f;
        a.argc = f.arity;
        a.scalar = IsPure(f.fn);
        for (int k = 0; k < f.arity; ++k) {
            a.args[k] = args[static_cast<std::size_t>(k)];
            a.argPos[k] = argPos[static_cast<std::size_t>(k)];
            a.scalar = a.scalar && At(a.args[k]).scalar;
        }
        if (Failure bad = CheckWindow(a, out_.pool)) Fail(bad.pos, bad.message);
        return Add(a);
    }

    int Reference() {
        const Token t = Peek();
        CountOperation(t);
        Take();
        RefUse r;
        r.name = t.text;
        r.line = t.line;
        r.key = t.key;
        r.lineKey = t.lineKey;
        r.pos = t.pos;
        if (Peek().kind == Tok::LParen) {
            const Token& open = Peek();
            Enter(open);
            const Pos openPos = open.pos;
            Take();
            Arguments(openPos, r.args, r.argPos);
            --depth_;
            for (std::size_t k = 0; k < r.args.size(); ++k)
                if (!At(r.args[k]).scalar)
                    Fail(r.argPos[k], "the parameters of " + r.name + "." + r.line + " must be numbers or parameters");
        }
        Ast a;
        a.kind = Kind::Ref;
        a.pos = t.pos;
        a.scalar = false;
        a.index = static_cast<int>(out_.refs.size());
        const int id = Add(a);
        r.ast = id;
        out_.refs.push_back(std::move(r));
        return id;
    }
};

std::size_t Distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diag = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t up = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diag + (a[i - 1] == b[j - 1] ? 0u : 1u)});
            diag = up;
        }
    }
    return row[b.size()];
}

}  // namespace

bool IsAttribute(std::string_view key) {
    for (std::string_view a : kAttributes)
        if (key == a) return true;
    if (key.size() == 10 && key.substr(0, 9) == "LINETHICK" && key[9] >= '1' && key[9] <= '9') return true;
    if (key.size() == 11 && key.substr(0, 5) == "COLOR" && std::all_of(key.begin() + 5, key.end(), IsHex)) return true;
    return false;
}

bool Reserved(std::string_view key) {
    return key == "AND" || key == "OR" || FindInput(key) != nullptr || FindFunction(key) != nullptr || IsAttribute(key);
}

std::string Suggest(std::string_view key, const std::vector<std::string>& candidates) {
    std::string best;
    std::size_t bestDistance = key.size() <= 3 ? 1 : 2;
    for (const std::string& c : candidates) {
        if (c.size() > 64) continue;
        const std::size_t d = Distance(key, c);
        if (d <= bestDistance && (best.empty() || d < bestDistance || c < best)) {
            best = c;
            bestDistance = d;
        }
    }
    return best.empty() ? std::string() : "; did you mean " + best + "?";
}

Parsed Parse(std::string_view text, Pos start, std::vector<FormulaParam> params) {
    if (params.size() > static_cast<std::size_t>(kMaxFormulaParams)) {
        Parsed p;
        p.failure = {start, "more than 32 parameters"};
        return p;
    }
    Parsed p = Parser(text, start, std::move(params)).Run();
    if (!p.failure && p.outputs.empty()) p.failure = {start, "no output line: write NAME : expression, or an expression"};
    return p;
}

Failure BindScalars(std::vector<Ast>& pool, const std::vector<Statement>& statements, const std::vector<double>& params) {
    for (Ast& a : pool) {
        if (a.scalar) a.value = ScalarValue(a, pool, statements, params);
        if (a.kind == Kind::Call && !IsPure(a.fn->fn))
            if (Failure bad = CheckWindow(a, pool)) return bad;
    }
    return {};
}

}  // namespace fenxi::formula
