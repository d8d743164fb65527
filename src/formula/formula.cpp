// The public formula objects: compile, run, stream.
#include <algorithm>
#include <cstring>

#include "formula/evaluator.h"
#include "formula/many.h"
#include "formula/library.h"

namespace fenxi {

using formula::Compiled;

std::string FormulaError::Format(std::string_view name) const {
    std::string out(name);
    // Appended piece by piece: GCC 12 warns falsely on "x" + std::string.
    if (line > 0) out.append(":").append(std::to_string(line)).append(":").append(std::to_string(column));
    out.append(": ").append(message);
    if (line > 0) {
        out.append("\n").append(sourceLine).append("\n");
        // The caret stands under the column's character: the characters
        // before it keep their width (a tab stays a tab, a wide character
        // takes two places).
        int chars = 0;
        for (std::size_t k = 0; k < sourceLine.size() && chars < column - 1;) {
            const auto c = static_cast<unsigned char>(sourceLine[k]);
            const std::size_t len = c < 0x80 ? 1 : c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
            if (c == '\t')
                out += '\t';
            else
                out += c < 0x80 ? " " : len >= 3 ? "  " : " ";
            k += len;
            ++chars;
        }
        out += "^";
    }
    return out;
}

const std::vector<double>* FormulaResult::Find(std::string_view name) const {
    const std::string key = formula::UpperKey(name);
    for (const FormulaLine& l : lines)
        if (formula::UpperKey(l.name) == key) return &l.values;
    return nullptr;
}

namespace {

const Compiled& Empty() {
    static const Compiled empty = [] {
        Compiled c;
        c.error.message = "no formula";
        return c;
    }();
    return empty;
}

// The program for these arguments: the defaults' program, or one lowered for them.
const formula::Program* Bind(const Compiled& c, const FormulaArgs& args, formula::Program& scratch,
                             FormulaError& error) {
    if (c.error) {
        error = c.error;
        return nullptr;
    }
    if (args.empty()) return &c.defaults;
    std::vector<double> values;
    error = formula::BindArgs(c, args, values);
    if (error) return nullptr;
    bool defaults = true;
    for (std::size_t k = 0; k < values.size(); ++k)
        defaults = defaults && std::memcmp(&values[k], &c.parsed.params[k].defaultValue, sizeof(double)) == 0;
    if (defaults) return &c.defaults;
    if (formula::Failure bad = formula::Lower(c, values, scratch)) {
        error = formula::MakeError(bad, *c.source);
        return nullptr;
    }
    return &scratch;
}

}  // namespace

Formula::Formula() = default;
Formula::~Formula() = default;
Formula::Formula(const Formula&) = default;
Formula& Formula::operator=(const Formula&) = default;
Formula::Formula(Formula&&) noexcept = default;
Formula& Formula::operator=(Formula&&) noexcept = default;

Formula::Formula(std::string_view text, const FormulaLibrary* library)
    : compiled_(formula::CompileText(text, library)) {}

bool Formula::ok() const { return compiled_ && !compiled_->error; }
const FormulaError& Formula::error() const { return (compiled_ ? *compiled_ : Empty()).error; }
const std::string& Formula::name() const { return (compiled_ ? *compiled_ : Empty()).name; }
const std::string& Formula::description() const { return (compiled_ ? *compiled_ : Empty()).description; }
bool Formula::overlay() const { return compiled_ && compiled_->overlay; }
std::span<const FormulaParam> Formula::parameters() const {
    return (compiled_ ? *compiled_ : Empty()).parsed.params;
}
std::span<const FormulaOutput> Formula::outputs() const { return (compiled_ ? *compiled_ : Empty()).outputs; }

namespace {

// The program to run with these arguments over these bars, or null with the
// refusal in r (a parameter, or the bars).
template <class Result>
const formula::Program* Prepare(const Compiled& c, const FormulaArgs& args, const Bars& bars,
                                formula::Program& scratch, Result& r) {
    r.unit = bars.unit;
    const formula::Program* program = Bind(c, args, scratch, r.formulaError);
    if (program == nullptr || (r.error = CheckBars(bars))) return nullptr;
    return program;
}

}  // namespace

FormulaResult Formula::Run(const Bars& bars, const FormulaArgs& args) const {
    FormulaResult r;
    const Compiled& c = compiled_ ? *compiled_ : Empty();
    formula::Program scratch;
    const formula::Program* program = Prepare(c, args, bars, scratch, r);
    if (program == nullptr) return r;
    std::vector<std::vector<double>> values = formula::Evaluator::RunAll(*program, bars);
    for (std::size_t k = 0; k < c.outputs.size(); ++k)
        r.lines.push_back({c.outputs[k].name, c.outputs[k].attributes, std::move(values[k])});
    return r;
}

FormulaLast Formula::Last(const Bars& bars, const FormulaArgs& args) const {
    FormulaLast r;
    const Compiled& c = compiled_ ? *compiled_ : Empty();
    formula::Program scratch;
    const formula::Program* program = Prepare(c, args, bars, scratch, r);
    if (program == nullptr) return r;
    r.values = formula::Evaluator::RunLast(*program, bars);
    const double verdict = r.values.empty() ? 0.0 : r.values.back();
    r.pass = verdict == verdict && verdict != 0;
    return r;
}

std::vector<FormulaPanelError> formula::RunGroup(const Formula& f, std::span<const Bars* const> group,
                                                const FormulaArgs& args, std::span<double* const> lines) {
    std::vector<FormulaPanelError> out(group.size());
    const std::shared_ptr<const Compiled>& compiled = Access::Of(f);
    const Compiled& c = compiled ? *compiled : Empty();
    formula::Program scratch;
    FormulaError refused;
    const formula::Program* program = Bind(c, args, scratch, refused);
    const std::size_t outputs = c.outputs.size();
    std::vector<const Bars*> good;
    std::vector<double*> into;
    for (std::size_t j = 0; j < group.size(); ++j) {
        if (program == nullptr) {
            out[j].formulaError = refused;
        } else if (!(out[j].error = CheckBars(*group[j]))) {
            good.push_back(group[j]);
            into.insert(into.end(), lines.begin() + static_cast<std::ptrdiff_t>(j * outputs),
                        lines.begin() + static_cast<std::ptrdiff_t>((j + 1) * outputs));
        }
    }
    if (!good.empty()) formula::Evaluator::RunAllMany(*program, good, into);
    return out;
}

FormulaResult Formula::Run(const PriceColumns& columns, const FormulaArgs& args) const {
    Bars bars;
    if (Error e = MakeBars(columns, bars)) {
        FormulaResult r;
        r.error = std::move(e);
        return r;
    }
    return Run(bars, args);
}

struct FormulaStream::State {
    std::shared_ptr<const Compiled> compiled;
    formula::Program program;
    std::unique_ptr<formula::Evaluator> evaluator;
    FormulaError error;
    std::int64_t size = 0;
    double unit = 1;
    std::vector<double> last;

    std::span<const double> Step(const UNIKDATA& bar, bool replacing) {
        if (!evaluator) return last;
        formula::Block b;
        b.bars = &bar;
        b.count = 1;
        b.first = replacing ? size - 1 : size;
        b.unit = unit;
        b.replacing = replacing;
        if (replacing) {
            evaluator->RestoreHeads();
        } else {
            evaluator->SaveHeads();
            ++size;
        }
        evaluator->Run(b);
        for (std::size_t k = 0; k < program.outputs.size(); ++k) last[k] = evaluator->Column(program.outputs[k])[0];
        return last;
    }
};

FormulaStream Formula::Stream(int unit, const FormulaArgs& args) const {
    FormulaStream s;
    s.state_ = std::make_unique<FormulaStream::State>();
    FormulaStream::State& st = *s.state_;
    st.compiled = compiled_;
    const Compiled& c = compiled_ ? *compiled_ : Empty();
    st.last.assign(c.outputs.size(), formula::kNaN);
    formula::Program scratch;
    const formula::Program* program = Bind(c, args, scratch, st.error);
    if (program == nullptr) return s;
    if (unit < 1) {
        st.error.message = "unit " + std::to_string(unit) + " is not positive";
        return s;
    }
    st.program = *program;
    st.unit = unit;
    st.evaluator = std::make_unique<formula::Evaluator>(st.program, nullptr, unit);
    return s;
}

FormulaStream::FormulaStream() = default;
FormulaStream::~FormulaStream() = default;
FormulaStream::FormulaStream(FormulaStream&&) noexcept = default;
FormulaStream& FormulaStream::operator=(FormulaStream&&) noexcept = default;

bool FormulaStream::ok() const { return state_ && state_->evaluator; }
const FormulaError& FormulaStream::error() const {
    static const FormulaError none{0, 0, "no formula", {}};
    return state_ ? state_->error : none;
}
std::int64_t FormulaStream::size() const { return state_ ? state_->size : 0; }
std::span<const FormulaOutput> FormulaStream::outputs() const {
    return state_ && state_->compiled ? std::span<const FormulaOutput>(state_->compiled->outputs)
                                      : std::span<const FormulaOutput>();
}
std::span<const double> FormulaStream::Append(const UNIKDATA& bar) {
    if (!state_) return {};
    return state_->Step(bar, false);
}
std::span<const double> FormulaStream::ReplaceLast(const UNIKDATA& bar) {
    if (!state_) return {};
    return state_->Step(bar, state_->size > 0);
}

}  // namespace fenxi
