#include "formula_command.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <iostream>

#include "fenxi/formula.h"
#include "format.h"

namespace fenxi_cli {

namespace {

// The shortest text that reads back as the same double.
std::string Exact(double v) {
    char buf[32];
    const auto r = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, r.ptr);
}

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

bool SameName(const std::string& a, const std::string& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::toupper(static_cast<unsigned char>(x)) == std::toupper(static_cast<unsigned char>(y));
           });
}

int Refuse(const fenxi::FormulaError& e, const std::string& name) {
    std::cerr << e.Format(name) << "\n";
    return 2;
}

}  // namespace

CLI::App* AddFormulaCommand(CLI::App& app, FormulaOptions& o) {
    auto* cmd = app.add_subcommand("formula", "a formula's lines over every bar (CSV by default)");
    cmd->add_option("text", o.textOrName, "the formula text, or with -f the entry's name")->required();
    cmd->add_option("-f,--file", o.file, "a formula file; TEXT names one of its entries");
    cmd->add_option("--param", o.params, "NAME=VALUE for a parameter of the entry, repeatable");
    cmd->add_flag("--json", o.json, "the lines as JSON");
    AddInput(cmd, o.input);
    std::string footer = "\nFunctions:\n";
    for (const fenxi::FormulaFunctionInfo& f : fenxi::FormulaFunctions()) {
        std::string sig = f.signature;
        sig.resize(std::max<std::size_t>(sig.size(), 20), ' ');
        footer += "  " + sig + " " + f.summary + "\n";
    }
    footer += "\nInputs: OPEN O, HIGH H, LOW L, CLOSE C, VOL V VOLUME, AMOUNT AMO, DATE, TIME, YEAR, MONTH, DAY,\n"
              "HOUR, MINUTE, WEEKDAY, BARPOS. References: NAME.LINE(P...) to 'fenxi list' operations.\n";
    cmd->footer(footer);
    return cmd;
}

int RunFormula(const FormulaOptions& o) {
    fenxi::FormulaLibrary library;
    fenxi::Formula owned;
    const fenxi::Formula* formula = &owned;
    std::string name = "formula";
    if (!o.file.empty()) {
        if (fenxi::FormulaError e = library.LoadFile(o.file)) return Refuse(e, o.file);
        formula = library.Find(o.textOrName);
        if (formula == nullptr) {
            std::string names;
            for (const fenxi::FormulaEntry& e : library.Entries()) names += " " + e.name;
            throw CLI::ValidationError(o.file + " has no entry '" + o.textOrName + "'; its entries:" + names);
        }
        name = o.file;
    } else {
        owned = fenxi::Formula(o.textOrName);
        if (!owned.ok()) return Refuse(owned.error(), name);
    }
    const fenxi::FormulaArgs args = ParseParams(o.params);
    BarFile f = o.input.Load();
    const fenxi::Bars bars{f.bars, f.unit};
    const fenxi::FormulaResult r = formula->Run(bars, args);
    if (r.formulaError) return Refuse(r.formulaError, name);
    if (r.error) throw InputError(o.input.path + ": " + r.error.message);
    const std::size_t n = f.bars.size();
    if (o.json) {
        nlohmann::json out;
        out["formula"] = o.file.empty() ? o.textOrName : formula->name();
        nlohmann::json params = nlohmann::json::object();
        for (const fenxi::FormulaParam& p : formula->parameters()) params[p.name] = p.defaultValue;
        for (const auto& [k, v] : args)
            for (const fenxi::FormulaParam& p : formula->parameters())
                if (SameName(p.name, k)) params[p.name] = v;
        out["parameters"] = params;
        out["unit"] = f.unit;
        out["lines"] = nlohmann::json::array();
        for (const fenxi::FormulaLine& l : r.lines) out["lines"].push_back({{"name", l.name}, {"attributes", l.attributes}});
        out["rows"] = nlohmann::json::array();
        for (std::size_t i = 0; i < n; ++i) {
            nlohmann::json row = {{"date", Date(f.bars[i].Date)}, {"time", Time(f.bars[i].Time)}};
            for (const fenxi::FormulaLine& l : r.lines) {
                const double v = l.values[i];
                row[l.name] = v != v ? nlohmann::json(nullptr) : nlohmann::json(v);
            }
            out["rows"].push_back(row);
        }
        std::cout << out.dump(1) << "\n";
        return 0;
    }
    std::string text = "date,time";
    for (const fenxi::FormulaLine& l : r.lines) text += "," + l.name;
    std::printf("%s\n", text.c_str());
    for (std::size_t i = 0; i < n; ++i) {
        text = Date(f.bars[i].Date) + "," + Time(f.bars[i].Time);
        for (const fenxi::FormulaLine& l : r.lines) {
            const double v = l.values[i];
            text += "," + (v != v ? std::string() : Exact(v));
        }
        std::printf("%s\n", text.c_str());
    }
    return 0;
}

}  // namespace fenxi_cli
