#include "catalog.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <iostream>
#include <memory>

#include "format.h"

namespace fenxi_cli {

void AddFormulasOption(CLI::App* app, std::vector<std::string>& files) {
    app->add_option("--formulas", files, "a formula file whose entries join the shipped ones (repeatable)");
}

const fenxi::FormulaLibrary& Library(const std::vector<std::string>& files) {
    static std::unique_ptr<fenxi::FormulaLibrary> library;
    if (library == nullptr) {
        library = std::make_unique<fenxi::FormulaLibrary>();
        for (const std::string& file : files)
            if (const fenxi::FormulaError e = library->LoadFile(file)) throw FormulaRefused(e.Format(file));
    }
    return *library;
}

Named FindNamed(const fenxi::FormulaLibrary& library, const std::string& name, const char* what) {
    if (const fenxi::OperationSpec* op = fenxi::FindOperation(name)) return {op, nullptr};
    if (const fenxi::Formula* f = library.Find(name)) return {nullptr, f};
    std::string names;
    for (const fenxi::OperationSpec& o : fenxi::Operations()) names += std::string(" ") + o.name;
    std::string entries;
    for (const fenxi::FormulaEntry& e : library.Entries()) entries += " " + e.name;
    throw CLI::ValidationError("unknown " + std::string(what) + " '" + name + "'; built in:" + names +
                               "; formulas:" + entries + " ('fenxi list' describes them)");
}

fenxi::FormulaArgs PositionalArgs(const fenxi::Formula& f, const std::vector<double>& values) {
    const auto params = f.parameters();
    if (values.size() > params.size())
        throw CLI::ValidationError(f.name() + " takes " + std::to_string(params.size()) + " parameters, not " +
                                   std::to_string(values.size()));
    fenxi::FormulaArgs args;
    for (std::size_t k = 0; k < values.size(); ++k) args.emplace_back(params[k].name, values[k]);
    return args;
}

fenxi::FormulaResult RunChecked(const fenxi::Formula& f, const fenxi::Bars& bars, const fenxi::FormulaArgs& args,
                                const std::string& where) {
    fenxi::FormulaResult r = f.Run(bars, args);
    if (r.formulaError) throw FormulaRefused(r.formulaError.Format(f.name().empty() ? "formula" : f.name()));
    if (r.error) throw InputError(where + ": " + r.error.message);
    return r;
}

namespace {

// The shortest text that reads back as the same double.
std::string Exact(double v) {
    char buf[32];
    const auto r = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, r.ptr);
}

bool SameName(const std::string& a, const std::string& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::toupper(static_cast<unsigned char>(x)) == std::toupper(static_cast<unsigned char>(y));
           });
}

}  // namespace

void PrintFormulaLines(const fenxi::Formula& f, const std::string& label, const fenxi::FormulaArgs& args,
                       const fenxi::FormulaResult& r, const BarFile& file, bool json) {
    const std::size_t n = file.bars.size();
    if (json) {
        nlohmann::json out;
        out["formula"] = label;
        nlohmann::json params = nlohmann::json::object();
        for (const fenxi::FormulaParam& p : f.parameters()) params[p.name] = p.defaultValue;
        for (const auto& [k, v] : args)
            for (const fenxi::FormulaParam& p : f.parameters())
                if (SameName(p.name, k)) params[p.name] = v;
        out["parameters"] = params;
        out["unit"] = file.unit;
        out["lines"] = nlohmann::json::array();
        for (const fenxi::FormulaLine& l : r.lines) out["lines"].push_back({{"name", l.name}, {"attributes", l.attributes}});
        out["rows"] = nlohmann::json::array();
        for (std::size_t i = 0; i < n; ++i) {
            nlohmann::json row = {{"date", Date(file.bars[i].Date)}, {"time", Time(file.bars[i].Time)}};
            for (const fenxi::FormulaLine& l : r.lines) {
                const double v = l.values[i];
                row[l.name] = v != v ? nlohmann::json(nullptr) : nlohmann::json(v);
            }
            out["rows"].push_back(row);
        }
        std::cout << out.dump(1) << "\n";
        return;
    }
    std::string text = "date,time";
    for (const fenxi::FormulaLine& l : r.lines) text += "," + l.name;
    std::printf("%s\n", text.c_str());
    for (std::size_t i = 0; i < n; ++i) {
        text = Date(file.bars[i].Date) + "," + Time(file.bars[i].Time);
        for (const fenxi::FormulaLine& l : r.lines) {
            const double v = l.values[i];
            text += "," + (v != v ? std::string() : Exact(v));
        }
        std::printf("%s\n", text.c_str());
    }
}

}  // namespace fenxi_cli
