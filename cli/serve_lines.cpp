#include "serve_lines.h"

#include <CLI/CLI.hpp>

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "catalog.h"
#include "chart_data.h"
#include "serve_error.h"

namespace fenxi_cli {

namespace {

std::string Shortest(double v) {
    char buf[32];
    const auto r = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, r.ptr);
}

// A line named like MA3 of an operation with a parameter N3 shows that
// parameter's value: MA3 of MA4(5,10,20,60) is MA20.
std::string LineLabel(const fenxi::OperationSpec& op, int line, const std::int32_t* p) {
    const std::string name = op.lines[line].name;
    std::size_t digits = name.size();
    while (digits > 0 && std::isdigit(static_cast<unsigned char>(name[digits - 1]))) --digits;
    if (digits == name.size() || digits == 0) return name;
    for (int k = 0; k < op.paramCount; ++k)
        if (std::string(op.params[k].name) == "N" + name.substr(digits)) return name.substr(0, digits) + std::to_string(p[k]);
    return name;
}

void FormulaLines(LineSet& set) {
    const auto outputs = set.formula->outputs();
    for (std::size_t k = 0; k < outputs.size(); ++k) {
        if (!Drawn(outputs[k].attributes)) continue;
        set.names.push_back(outputs[k].name);
        set.attributes.push_back(outputs[k].attributes);
        set.drawn.push_back(static_cast<int>(k));
    }
}

}  // namespace

LineSet ResolveItem(const std::string& item, const fenxi::FormulaLibrary& library) {
    if (item.size() > 256) throw HttpError(400, "item: at most 256 characters");
    ChartItem parsed;
    try {
        parsed = ParseItem(item, library);
    } catch (const CLI::ValidationError& e) {
        throw HttpError(400, e.what());
    }
    LineSet set;
    set.item = item;
    if (parsed.named.formula != nullptr) {
        const fenxi::Formula& f = *parsed.named.formula;
        set.formula = std::shared_ptr<const fenxi::Formula>(&f, [](const fenxi::Formula*) {});  // the library's
        try {
            set.args = PositionalArgs(f, parsed.params);
        } catch (const CLI::ValidationError& e) {
            throw HttpError(400, e.what());
        }
        set.label = f.name();
        if (!parsed.params.empty()) {
            set.label += "(";
            for (std::size_t k = 0; k < set.args.size(); ++k)
                set.label += (k ? "," : "") + set.args[k].first + "=" + Shortest(set.args[k].second);
            set.label += ")";
        }
        FormulaLines(set);
        return set;
    }
    const fenxi::OperationSpec& op = *parsed.named.operation;
    set.op = &op;
    try {
        set.whole = WholeParams(op, parsed.params);
    } catch (const CLI::ValidationError& e) {
        throw HttpError(400, e.what());
    }
    std::int32_t p[fenxi::kMaxParams];
    if (const fenxi::Error e = fenxi::ResolveParams(op, set.whole, p)) throw HttpError(400, e.message);
    set.whole.assign(p, p + op.paramCount);
    const bool ma = std::string(op.name) == "MA4" && parsed.params.empty();
    set.label = ma ? "MA" : op.name;
    if (!ma && op.paramCount > 0) {
        set.label += "(";
        for (int k = 0; k < op.paramCount; ++k) set.label += (k ? "," : "") + std::to_string(p[k]);
        set.label += ")";
    }
    for (int k = 0; k < op.lineCount; ++k) {
        set.names.push_back(LineLabel(op, k, p));
        set.attributes.push_back(BuiltinAttributes(op, k));
        set.drawn.push_back(k);
    }
    return set;
}

LineSet CompileText(const std::string& text, const fenxi::FormulaLibrary& library) {
    if (text.size() > kMaxFormulaBytes)
        throw HttpError(413, "a formula text is at most " + std::to_string(kMaxFormulaBytes) + " bytes");
    auto f = std::make_shared<fenxi::Formula>(text, &library);
    if (!f->ok()) throw HttpError(422, f->error().message, f->error().line, f->error().column);
    if (f->outputs().empty()) throw HttpError(422, "the formula has no output line (NAME:expression)", 1, 1);
    LineSet set;
    set.item = "formula";
    set.label = "formula";
    set.formula = std::move(f);
    set.textBytes = text.size();
    FormulaLines(set);
    return set;
}

namespace {

void CheckWork(const LineSet& set, std::size_t bars) {
    if (set.textBytes > 0 && static_cast<std::uint64_t>(set.textBytes) * bars > kMaxFormulaWork)
        throw HttpError(413, "the formula text is too long for " + std::to_string(bars) +
                                 " bars: its length times the bars is bounded by 2^32");
}

}  // namespace

std::vector<std::vector<double>> ComputeLines(const LineSet& set, const fenxi::Bars& bars) {
    std::vector<std::vector<double>> out;
    if (set.op != nullptr) {
        fenxi::Lines lines = fenxi::Compute(set.op->name, set.whole, bars);
        if (!lines.ok()) throw HttpError(422, lines.error.message);
        return std::move(lines.values);
    }
    CheckWork(set, bars.bars.size());
    fenxi::FormulaResult r = set.formula->Run(bars, set.args);
    if (r.formulaError) throw HttpError(400, r.formulaError.message);
    if (r.error) throw HttpError(422, r.error.message);
    for (int k : set.drawn) out.push_back(std::move(r.lines[k].values));
    return out;
}

LineStream::LineStream(const LineSet& set, int unit) : drawn_(set.drawn) {
    if (set.op != nullptr) {
        op_ = std::make_unique<fenxi::Stream>(set.op->name, set.whole, unit);
        if (op_->error()) throw HttpError(400, op_->error().message);
    } else {
        formula_ = std::make_unique<fenxi::FormulaStream>(set.formula->Stream(unit, set.args));
        if (!formula_->ok()) throw HttpError(400, formula_->error().message);
    }
}

std::vector<double> LineStream::Drawn(std::span<const double> all) const {
    std::vector<double> out;
    for (int k : drawn_) out.push_back(k < static_cast<int>(all.size()) ? all[k] : NAN);
    return out;
}

std::vector<double> LineStream::Append(const UNIKDATA& bar) {
    return Drawn(op_ ? op_->Append(bar) : formula_->Append(bar));
}

std::vector<double> LineStream::ReplaceLast(const UNIKDATA& bar) {
    return Drawn(op_ ? op_->ReplaceLast(bar) : formula_->ReplaceLast(bar));
}

}  // namespace fenxi_cli
