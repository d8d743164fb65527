#include "formula_command.h"

#include <algorithm>
#include <charconv>

#include "catalog.h"
#include "fenxi/formula.h"

namespace fenxi_cli {

namespace {

fenxi::FormulaArgs ParseParams(const std::vector<std::string>& given) {
    fenxi::FormulaArgs args;
    for (const std::string& p : given) {
        const auto eq = p.find('=');
        double v = 0;
        const char* end = p.data() + p.size();
        const auto r = eq == std::string::npos ? std::from_chars_result{nullptr, std::errc::invalid_argument}
                                               : std::from_chars(p.data() + eq + 1, end, v);
        if (eq == std::string::npos || eq == 0 || r.ec != std::errc() || r.ptr != end)
            throw CLI::ValidationError("--param takes NAME=VALUE, not '" + p + "'");
        args.emplace_back(p.substr(0, eq), v);
    }
    return args;
}

}  // namespace

fenxi::FormulaArgs NamedParams(const std::vector<std::string>& given) { return ParseParams(given); }

CLI::App* AddFormulaCommand(CLI::App& app, FormulaOptions& o) {
    auto* cmd = app.add_subcommand("formula", "a formula's lines over every bar (CSV by default)");
    cmd->add_option("text", o.textOrName, "the formula text, or with -f the entry's name")->required();
    cmd->add_option("-f,--file", o.file, "a formula file; TEXT names one of its entries");
    cmd->add_option("--param", o.params, "NAME=VALUE for a parameter of the entry, repeatable");
    cmd->add_flag("--json", o.json, "the lines as JSON");
    AddFormulasOption(cmd, o.formulas);
    AddInput(cmd, o.input);
    std::string footer = "\nFunctions:\n";
    for (const fenxi::FormulaFunctionInfo& f : fenxi::FormulaFunctions()) {
        std::string sig = f.signature;
        sig.resize(std::max<std::size_t>(sig.size(), 20), ' ');
        footer += "  " + sig + " " + f.summary + "\n";
    }
    footer += "\nInputs: OPEN O, HIGH H, LOW L, CLOSE C, VOL V VOLUME, AMOUNT AMO, DATE, TIME, YEAR, MONTH, DAY,\n"
              "HOUR, MINUTE, WEEKDAY, BARPOS. References: NAME.LINE(P...) to the operations and formulas\n"
              "'fenxi list' shows.\n";
    cmd->footer(footer);
    return cmd;
}

int RunFormula(const FormulaOptions& o) {
    const fenxi::FormulaLibrary& shared = Library(o.formulas);
    fenxi::FormulaLibrary own;  // a -f file's entries beside the shipped ones
    fenxi::Formula owned;
    const fenxi::Formula* formula = &owned;
    std::string name = "formula";
    if (!o.file.empty()) {
        if (!o.formulas.empty())
            throw CLI::ValidationError("-f and --formulas together: give the file with --formulas and name its entry");
        if (fenxi::FormulaError e = own.LoadFile(o.file)) throw FormulaRefused(e.Format(o.file));
        formula = own.Find(o.textOrName);
        if (formula == nullptr) {
            std::string names;
            for (const fenxi::FormulaEntry& e : own.Entries())
                if (!e.shipped) names += " " + e.name;
            throw CLI::ValidationError(o.file + " has no entry '" + o.textOrName + "'; its entries:" + names);
        }
        name = o.file;
    } else {
        owned = fenxi::Formula(o.textOrName, &shared);
        if (!owned.ok()) throw FormulaRefused(owned.error().Format(name));
    }
    const fenxi::FormulaArgs args = ParseParams(o.params);
    BarFile f = o.input.Load();
    const fenxi::FormulaResult r = RunChecked(*formula, fenxi::Bars{f.bars, f.unit}, args, o.input.path);
    PrintFormulaLines(*formula, o.file.empty() ? o.textOrName : formula->name(), args, r, f, o.json);
    return 0;
}

}  // namespace fenxi_cli
