// fenxi: indicator lines, chart transforms, D/K points and tips from a CSV
// file of bars, without writing code.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <thread>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "bars_csv.h"
#include "catalog.h"
#include "format.h"
#include "formula_command.h"
#include "input.h"
#include "scan.h"
#include "serve.h"
#include "view.h"
#include "fenxi/series.h"
#include "platform/host.h"
#include "fenxi/signals.h"

using namespace fenxi_cli;
using fenxi::OperationSpec;
using Rows = CAnalysisTechniques::FENXIDATA*;
using Property = CAnalysisTechniques::FENXIDATA_PROPERTY;

namespace {

constexpr const char* kSample = "daily_sz002032.csv";
constexpr const char* kVersion = FENXI_VERSION;

struct Computed {
    std::vector<CAnalysisTechniques::FENXIDATA> rows;
    Property property{};
};

using Params = std::int32_t[fenxi::kMaxParams];

// Runs an operation (or its generator then its updater) over all bars.
Computed Compute(const OperationSpec& op, BarFile& f, const Params& params, bool update) {
    CAnalysisTechniques engine;
    Rows rows = nullptr;
    Computed out;
    const int n = static_cast<int>(f.bars.size());
    for (int k = 0; k < 21; ++k) out.property.EndPos[k] = n;  // for generators that leave EndPos
    if (update) {
        engine.GenerateBuffer(f.bars.data(), f.unit, rows, n);  // room for the appended bar
        op.generate(engine, f.bars.data(), f.unit, rows, n - 1, params, &out.property, f.market);
        for (int k = 0; k < 21; ++k) out.property.EndPos[k] = std::max(out.property.EndPos[k], n);
        op.update(engine, f.bars.data(), f.unit, rows, n, params);
    } else {
        op.generate(engine, f.bars.data(), f.unit, rows, n, params, &out.property, f.market);
    }
    if (rows != nullptr) out.rows.assign(rows, rows + n);
    return out;
}

// The value of line k at bar i in true units, empty before the line's first
// valid bar.
std::string LineValue(const OperationSpec& op, const Params& p, const Computed& c, int k, int i, int unit,
                      int decimals) {
    std::int64_t first = 0, end = 0;
    fenxi::ValidRange(op, p, k, static_cast<std::int64_t>(c.rows.size()), first, end);
    if (i < first || i >= end) return "";
    return Number(c.rows[i].FenXi[op.lines[k].column] / fenxi::TrueScale(op, k, p, unit),
                  LineDecimals(fenxi::ScaleName(op, k, p), decimals));
}

void Resolve(const OperationSpec& op, const std::vector<int>& given, Params& p) {
    const fenxi::Error e = fenxi::ResolveParams(op, given, p);
    if (e) throw CLI::ValidationError(e.message);
}

std::string Signature(const OperationSpec& op, const Params& p) {
    std::string s = op.name;
    for (int k = 0; k < op.paramCount; ++k) s += std::string(" ") + op.params[k].name + "=" + std::to_string(p[k]);
    return s;
}

nlohmann::json EntryJson(const fenxi::FormulaEntry& e) {
    nlohmann::json params = nlohmann::json::array(), lines = nlohmann::json::array();
    for (const fenxi::FormulaParam& p : e.parameters)
        params.push_back({{"name", p.name}, {"default", p.defaultValue}, {"min", p.min}, {"max", p.max}});
    for (const fenxi::FormulaOutput& o : e.outputs) lines.push_back({{"name", o.name}, {"attributes", o.attributes}});
    return {{"name", e.name},        {"kind", "formula"},    {"description", e.description},
            {"overlay", e.overlay},  {"file", e.file},       {"shipped", e.shipped},
            {"parameters", params},  {"lines", lines}};
}

int ListJson(const fenxi::FormulaLibrary& library) {
    nlohmann::json out = nlohmann::json::array();
    for (const OperationSpec& op : fenxi::Operations()) {
        std::int32_t p[fenxi::kMaxParams] = {};
        nlohmann::json params = nlohmann::json::array(), lines = nlohmann::json::array();
        for (int k = 0; k < op.paramCount; ++k) {
            const fenxi::ParamSpec& s = op.params[k];
            p[k] = s.defaultValue;
            params.push_back({{"name", s.name}, {"default", s.defaultValue}, {"min", s.min}, {"max", s.max}});
        }
        for (int k = 0; k < op.lineCount; ++k)
            lines.push_back({{"name", op.lines[k].name}, {"column", op.lines[k].column},
                             {"measure", fenxi::ScaleName(op, k, p)}});
        out.push_back({{"name", op.name},
                       {"kind", "builtin"},
                       {"code", op.code >= 0 ? nlohmann::json(op.code) : nlohmann::json(nullptr)},
                       {"parameters", params},
                       {"lines", lines},
                       {"formula", op.formula},
                       {"updater", op.update != nullptr},
                       {"updaterRecomputes", op.updateRecomputes}});
    }
    for (const fenxi::FormulaEntry& e : library.Entries()) out.push_back(EntryJson(e));
    std::cout << out.dump(1) << "\n";
    return 0;
}

int List(const fenxi::FormulaLibrary& library) {
    std::printf("Built-in operations: name, indicator code, parameters (default, range), lines (true scale), formula.\n");
    for (const OperationSpec& op : fenxi::Operations()) {
        std::string params, lines;
        std::int32_t p[fenxi::kMaxParams] = {};
        for (int k = 0; k < op.paramCount; ++k) {
            const fenxi::ParamSpec& s = op.params[k];
            p[k] = s.defaultValue;
            params += std::string(" ") + s.name + "=" + std::to_string(s.defaultValue) + " [" + std::to_string(s.min) +
                      ".." + std::to_string(s.max) + "]";
        }
        for (int k = 0; k < op.lineCount; ++k)
            lines += std::string(k ? ", " : "") + op.lines[k].name + " (" + fenxi::ScaleName(op, k, p) + ")";
        std::printf("\n%-10s %s%s\n  lines: %s\n  %s\n", op.name,
                    op.code >= 0 ? ("code " + std::to_string(op.code)).c_str() : "no code", params.c_str(),
                    lines.c_str(), op.formula);
    }
    std::printf("\nCharts (fenxi chart): 3 N-line break (N 3..100), 4 bricks (box 2000..10000 raw units),\n"
                "5 reversal (swing 2..100 raw units, x100 for JPY codes).\n");
    const std::vector<fenxi::FormulaEntry> entries = library.Entries();
    std::printf("\nFormulas (%zu): name, file, parameters (default, range), lines, description; OVERLAY ones are drawn\n"
                "over the prices. 'fenxi calc NAME' runs one; docs/formulas.md gives their sources.\n",
                entries.size());
    for (const fenxi::FormulaEntry& e : entries) {
        std::string params, lines;
        for (const fenxi::FormulaParam& p : e.parameters)
            params += " " + p.name + "=" + Number(p.defaultValue) + " [" + Number(p.min) + ".." + Number(p.max) + "]";
        for (const fenxi::FormulaOutput& o : e.outputs) {
            lines += (lines.empty() ? "" : ", ") + o.name;
            if (std::find(o.attributes.begin(), o.attributes.end(), "NODRAW") != o.attributes.end()) lines += " (not drawn)";
        }
        std::printf("\n%-10s formula, %s%s%s\n  lines: %s\n  %s\n", e.name.c_str(), e.file.c_str(),
                    e.overlay ? ", OVERLAY" : "", params.c_str(), lines.c_str(), e.description.c_str());
    }
    return 0;
}

const OperationSpec& Find(const std::string& name) {
    const OperationSpec* op = fenxi::FindOperation(name);
    if (op == nullptr) {
        std::string names;
        for (const OperationSpec& o : fenxi::Operations()) names += std::string(" ") + o.name;
        throw CLI::ValidationError("unknown indicator '" + name + "'; valid:" + names);
    }
    return *op;
}

// The lines of an operation over the file, in true units (NaN where a line
// has no value): the columnar API; with `stream`, the last bar through a
// stream over the bars before it; with `updater`, the class API's generator
// over all bars but the last, then its updater.
std::vector<std::vector<double>> LineValues(const OperationSpec& op, const Params& params, BarFile& f, bool stream,
                                            bool updater) {
    const int n = static_cast<int>(f.bars.size());
    std::vector<std::vector<double>> out;
    if (updater) {
        const Computed c = Compute(op, f, params, true);
        for (int k = 0; k < op.lineCount; ++k) {
            std::int64_t first = 0, end = 0;
            fenxi::ValidRange(op, params, k, n, first, end);
            std::vector<double> v(static_cast<std::size_t>(n), NAN);
            for (std::int64_t i = first; i < end; ++i)
                v[i] = c.rows[i].FenXi[op.lines[k].column] / fenxi::TrueScale(op, k, params, f.unit);
            out.push_back(std::move(v));
        }
        return out;
    }
    const std::vector<int> given(params, params + op.paramCount);
    fenxi::Bars bars{std::vector<UNIKDATA>(f.bars.begin(), f.bars.end() - (stream ? 1 : 0)), f.unit};
    fenxi::Lines lines = fenxi::Compute(op.name, given, bars);
    if (!lines.ok()) throw CLI::ValidationError(lines.error.message);
    if (stream) {
        fenxi::Stream s(op.name, given, f.unit);
        for (const UNIKDATA& b : bars.bars) s.Append(b);
        s.Append(f.bars.back());  // the forming bar as first seen, then as it closed
        const auto last = s.ReplaceLast(f.bars.back());
        for (int k = 0; k < op.lineCount; ++k) lines.values[k].push_back(last[k]);
    }
    return std::move(lines.values);
}

// Whole-number parameters of a registry operation.
std::vector<int> WholeParams(const OperationSpec& op, const std::vector<double>& given) {
    std::vector<int> out;
    for (double v : given) {
        if (!(v == std::trunc(v) && v >= -2147483648.0 && v <= 2147483647.0))
            throw CLI::ValidationError(std::string(op.name) + " takes whole-number parameters, not " + Number(v));
        out.push_back(static_cast<int>(v));
    }
    return out;
}

// calc for a formula entry: its lines over every bar; with `update`, the
// last bar through a stream as a forming bar is updated.
int CalcFormula(const fenxi::Formula& formula, const std::vector<double>& given, const Input& in, bool json,
                bool update) {
    const fenxi::FormulaArgs args = PositionalArgs(formula, given);
    BarFile f = in.Load();
    if (update && f.bars.size() < 2) throw InputError(in.path + ": --update needs at least two bars");
    fenxi::FormulaResult r = RunChecked(formula, fenxi::Bars{f.bars, f.unit}, args, in.path);
    if (update) {
        fenxi::FormulaStream s = formula.Stream(f.unit, args);
        for (std::size_t i = 0; i + 1 < f.bars.size(); ++i) s.Append(f.bars[i]);
        s.Append(f.bars.back());
        const auto last = s.ReplaceLast(f.bars.back());
        for (std::size_t k = 0; k < r.lines.size(); ++k) r.lines[k].values.back() = last[k];
    }
    PrintFormulaLines(formula, formula.name(), args, r, f, json);
    return 0;
}

int Calc(const fenxi::FormulaLibrary& library, const std::string& name, const std::vector<double>& numbers,
         const Input& in, bool json, bool raw, bool update, bool rawUpdate) {
    const Named named = FindNamed(library, name, "indicator");
    if (named.formula != nullptr) {
        if (raw || rawUpdate) throw CLI::ValidationError(name + " is a formula: --raw and --raw-update are for built-ins");
        return CalcFormula(*named.formula, numbers, in, json, update);
    }
    const OperationSpec& op = *named.operation;
    const std::vector<int> given = WholeParams(op, numbers);
    if (rawUpdate && op.update == nullptr) throw CLI::ValidationError(std::string(op.name) + " has no updater");
    Params params;
    Resolve(op, given, params);
    BarFile f = in.Load();
    if ((update || rawUpdate) && f.bars.size() < 2) throw InputError(in.path + ": --update needs at least two bars");
    if (raw) {
        const Computed c = Compute(op, f, params, false);
        const int n = static_cast<int>(c.rows.size());
        const Property& p = c.property;
        auto array = [](const char* label, const auto& values) {
            std::printf("# %s", label);
            for (auto v : values) std::printf(" %d", static_cast<int>(v));
            std::printf("\n");
        };
        std::printf("# %s unit %d ValueScale %d Format %s Flags %d %d %d %d %d Field360 %d\n", Signature(op, params).c_str(),
                    f.unit, p.ValueScale, p.Format, p.Flag352, p.Flag353, p.Flag354, p.Flag355, p.Flag356, p.Field360);
        array("StartPos", p.StartPos);
        array("EndPos", p.EndPos);
        array("LineStyle", p.LineStyle);
        array("LineColor", p.LineColor);
        array("LineOption1", p.LineOption1);
        array("LineOption2", p.LineOption2);
        std::printf("bar,date,time");
        for (int k = 0; k < 43; ++k) std::printf(",f%d", k);
        std::printf("\n");
        for (int i = 0; i < n; ++i) {
            std::printf("%d,%d,%d", i, f.bars[i].Date, f.bars[i].Time);
            for (double v : c.rows[i].FenXi) std::printf(",%.17g", v);
            std::printf("\n");
        }
        return 0;
    }
    const auto values = LineValues(op, params, f, update, rawUpdate);
    const int n = static_cast<int>(f.bars.size());
    if (json) {
        nlohmann::json out;
        out["operation"] = op.name;
        out["parameters"] = std::vector<int>(params, params + op.paramCount);
        out["unit"] = f.unit;
        out["formula"] = op.formula;
        if (rawUpdate && !op.updateRecomputes) out["note"] = "the last row is the class updater's, not the indicator's value";
        out["lines"] = nlohmann::json::array();
        for (int k = 0; k < op.lineCount; ++k)
            out["lines"].push_back({{"name", op.lines[k].name},
                                    {"column", op.lines[k].column},
                                    {"scale", fenxi::ScaleName(op, k, params)}});
        out["rows"] = nlohmann::json::array();
        for (int i = 0; i < n; ++i) {
            nlohmann::json row = {{"date", Date(f.bars[i].Date)}, {"time", Time(f.bars[i].Time)}};
            for (int k = 0; k < op.lineCount; ++k) {
                const double v = values[k][i];
                row[op.lines[k].name] = v != v ? nlohmann::json(nullptr) : nlohmann::json(v);
            }
            out["rows"].push_back(row);
        }
        std::cout << out.dump(1) << "\n";
        return 0;
    }
    if (rawUpdate && !op.updateRecomputes)
        std::printf("# the last row is the class updater's, which differs from the indicator's value\n");
    std::printf("date,time");
    for (int k = 0; k < op.lineCount; ++k) std::printf(",%s", op.lines[k].name);
    std::printf("\n");
    for (int i = 0; i < n; ++i) {
        std::printf("%s,%s", Date(f.bars[i].Date).c_str(), Time(f.bars[i].Time).c_str());
        for (int k = 0; k < op.lineCount; ++k) {
            const double v = values[k][i];
            std::printf(",%s", v != v ? "" : Number(v, LineDecimals(fenxi::ScaleName(op, k, params), f.decimals)).c_str());
        }
        std::printf("\n");
    }
    return 0;
}

int Chart(int type, int param, const Input& in, bool allowTruncated, bool json) {
    BarFile f = in.Load();
    if (type == 4 && in.unit == 0) Rescale(f, BrickUnit(f, param));
    CAnalysisTechniques engine;
    UNIKDATA* blocks = nullptr;
    int count = 0;
    Rows rows = nullptr;
    Property p{};
    ATP_KLINE settings{};
    settings.ChartType = type;
    settings.ChartParam = param;
    engine.GenerateKLINE(f.bars.data(), f.unit, static_cast<int>(f.bars.size()), blocks, count, rows, &p, &settings,
                         f.code.c_str());
    if (blocks == nullptr) throw CLI::ValidationError("chart type " + std::to_string(type) + " is not one of 0-5");
    const bool truncated = type == 4 && count >= CAnalysisTechniques::kMaxChartBlocks;
    if (json) {
        nlohmann::json out = {{"type", type}, {"parameter", settings.ChartParam}, {"unit", f.unit},
                              {"truncated", truncated}, {"bars", nlohmann::json::array()}};
        for (int k = 0; k < count; ++k) {
            const UNIKDATA& b = blocks[k];
            out["bars"].push_back({{"date", Date(b.Date)}, {"time", Time(b.Time)},
                                   {"open", static_cast<double>(b.Open) / f.unit},
                                   {"high", static_cast<double>(b.High) / f.unit},
                                   {"low", static_cast<double>(b.Low) / f.unit},
                                   {"close", static_cast<double>(b.Close) / f.unit}});
        }
        std::cout << out.dump(1) << "\n";
    } else {
        std::printf("# chart %d, parameter %d after clamping, unit %d\ndate,time,open,high,low,close\n", type,
                    settings.ChartParam, f.unit);
        for (int k = 0; k < count; ++k) {
            const UNIKDATA& b = blocks[k];
            std::printf("%s,%s,%s,%s,%s,%s\n", Date(b.Date).c_str(), Time(b.Time).c_str(), Price(b.Open, f.unit).c_str(),
                        Price(b.High, f.unit).c_str(), Price(b.Low, f.unit).c_str(), Price(b.Close, f.unit).c_str());
        }
    }
    const std::int32_t stoppedAt = count > 0 ? blocks[count - 1].Date : 0;
    FreeKLineBars(&blocks);
    if (truncated) {
        std::fprintf(stderr,
                     "fenxi: %s: the brick chart stopped at %d bricks, at %s of %s; a larger box or a smaller --unit gives fewer%s\n",
                     in.path.c_str(), CAnalysisTechniques::kMaxChartBlocks, Date(stoppedAt).c_str(),
                     Date(f.bars.back().Date).c_str(), allowTruncated ? "" : " (--allow-truncated accepts it)");
        return allowTruncated ? 0 : 1;
    }
    return 0;
}

struct SystemChoice {
    bool shortSystem = false;
    fenxi::SystemFlags flags;
};

fenxi::Bars AsBars(const BarFile& f) { return fenxi::Bars{f.bars, f.unit}; }
fenxi::Security SecurityOf(const BarFile& f) { return fenxi::Security{f.code, f.market}; }
fenxi::System SystemOf(bool shortSystem) { return shortSystem ? fenxi::System::Short : fenxi::System::Long; }

void PrintSignals(const std::vector<_SIG_TABLE>& signals, std::size_t last) {
    std::printf("  %5s  %-5s %-10s %6s %10s  %s\n", "seq", "point", "date", "bar", "price", "closes");
    const std::size_t from = signals.size() > last ? signals.size() - last : 0;
    for (std::size_t k = from; k < signals.size(); ++k) {
        const _SIG_TABLE& s = signals[k];
        char price[32];
        std::snprintf(price, sizeof price, "%.3f", s.Price / 10000);
        std::printf("  %5d  %-5s %-10s %6d %10s  %s\n", s.Sequence, s.Kind == 0 ? "D" : "K", Date(s.Date).c_str(),
                    s.BarIndex, price, s.Kind == 0 ? "" : ("#" + std::to_string(s.Link)).c_str());
    }
}

int Signals(const Input& in, const SystemChoice& choice, bool json) {
    BarFile f = in.Load();
    const auto signals = fenxi::RunSystem(AsBars(f), SystemOf(choice.shortSystem), SecurityOf(f), choice.flags).points;
    if (json) {
        nlohmann::json out = nlohmann::json::array();
        for (const _SIG_TABLE& s : signals)
            out.push_back({{"seq", s.Sequence}, {"point", s.Kind == 0 ? "D" : "K"}, {"date", Date(s.Date)},
                           {"time", Time(s.Time)}, {"bar", s.BarIndex}, {"price", s.Price / 10000}, {"link", s.Link}});
        std::cout << out.dump(1) << "\n";
        return 0;
    }
    std::printf("seq,point,date,time,bar,price,link\n");
    for (const _SIG_TABLE& s : signals)
        std::printf("%d,%s,%s,%s,%d,%.6f,%d\n", s.Sequence, s.Kind == 0 ? "D" : "K", Date(s.Date).c_str(),
                    Time(s.Time).c_str(), s.BarIndex, s.Price / 10000, s.Link);
    return 0;
}

int Tips(const Input& in, std::optional<int> bar, bool json) {
    BarFile f = in.Load();
    const int n = static_cast<int>(f.bars.size());
    const int index = bar.value_or(n - 1);
    if (index < 0 || index >= n)
        throw CLI::ValidationError("--bar " + std::to_string(index) + " is outside 0.." + std::to_string(n - 1));
    nlohmann::json out = nlohmann::json::object();
    for (bool shortSystem : {true, false}) {
        const fenxi::TipText tip = fenxi::RunSystem(AsBars(f), SystemOf(shortSystem), SecurityOf(f), {}, index).tip;
        const char* label = shortSystem ? "short-term" : "long-term";
        if (json)
            out[label] = {{"text", tip.given ? nlohmann::json(tip.text) : nlohmann::json(nullptr)},
                          {"threshold", tip.threshold}};
        else
            std::printf("[%s] threshold %.6f\n%s\n", label, tip.threshold,
                        tip.given ? tip.text.c_str() : "(no tip for this bar)");
    }
    if (json) std::cout << nlohmann::json{{"bar", index}, {"date", Date(f.bars[index].Date)}, {"tips", out}}.dump(1) << "\n";
    return 0;
}

fenxi::Pool PoolOf(const std::string& pool) {
    return pool == "long" ? fenxi::Pool::Long : pool == "mid" ? fenxi::Pool::Mid : fenxi::Pool::Short;
}

int Tactics(const Input& in, const std::string& pool, bool json) {
    BarFile f = in.Load();
    const std::vector<fenxi::TacticRecord> records = fenxi::Tactics(AsBars(f), PoolOf(pool));
    if (json) {
        nlohmann::json out = nlohmann::json::array();
        for (const fenxi::TacticRecord& r : records) {
            nlohmann::json row = {{"sequence", r.sequence}, {"kind", r.entry ? "entry" : "exit"},
                                  {"date", Date(r.date)},   {"time", Time(r.time)},
                                  {"bar", r.bar},           {"price", r.price},
                                  {"link", r.link}};
            if (r.tactic != 0) {
                row["tactic"] = r.name;
                row["measure"] = r.measure;
            }
            out.push_back(row);
        }
        std::cout << nlohmann::json{{"pool", pool}, {"records", out}}.dump(1) << "\n";
        return 0;
    }
    std::printf("seq,tactic,kind,date,time,bar,price,measure,link\n");
    for (const fenxi::TacticRecord& r : records)
        std::printf("%d,%s,%s,%s,%s,%d,%s,%s,%d\n", r.sequence, r.name.c_str(), r.entry ? "entry" : "exit",
                    Date(r.date).c_str(), Time(r.time).c_str(), r.bar, Number(r.price).c_str(),
                    r.tactic != 0 ? Number(r.measure).c_str() : "", r.link);
    return 0;
}

int Flow(const std::string& which, const Input& in, bool json) {
    return Calc(fenxi::FormulaLibrary::Shipped(), which == "zj" ? "ZJLDXFX" : "SHLDXFX", {}, in, json, false, false,
                false);
}

// The shipped sample beside an installed tool, or in the source tree of a
// built one; empty when there is none.
std::string SamplePath() {
    namespace fs = std::filesystem;
    std::error_code ec;
    const fs::path exe = fenxi::platform::ExecutablePath();
    if (!exe.empty()) {
        const fs::path installed = exe.parent_path().parent_path() / "share" / "fenxi" / kSample;
        if (fs::exists(installed, ec)) return installed.string();
        if (exe.parent_path().filename() == "cli" && fs::exists(fs::path(FENXI_SOURCE_DATA_DIR) / kSample, ec))
            return std::string(FENXI_SOURCE_DATA_DIR) + "/" + kSample;
    }
    return "";
}

// The main job: one security's last bar, standard lines, points and tips.
int Report(const Input& in, bool json) {
    BarFile f = in.Load();
    const int n = static_cast<int>(f.bars.size());
    const UNIKDATA& last = f.bars.back();
    const std::string name = in.path.substr(in.path.find_last_of('/') + 1);
    nlohmann::json out;
    out["file"] = name;
    out["code"] = f.code;
    out["market"] = f.market;
    out["marketFrom"] = f.marketFrom;
    out["bars"] = n;
    out["unit"] = f.unit;
    auto price = [&](std::int32_t raw) { return static_cast<double>(raw) / f.unit; };
    out["last"] = {{"date", Date(last.Date)}, {"time", Time(last.Time)}, {"open", price(last.Open)},
                   {"high", price(last.High)}, {"low", price(last.Low)}, {"close", price(last.Close)},
                   {"volume", last.Volume}, {"amount", last.Amount}};
    if (!json) {
        std::printf("%s: %s, market %d (%s; --code and --market override), %d bars %s .. %s, unit %d\n\n", name.c_str(),
                    f.code.empty() ? "no code" : f.code.c_str(), f.market, f.marketFrom.c_str(), n,
                    Date(f.bars.front().Date).c_str(), Date(last.Date).c_str(), f.unit);
        std::printf("Last bar %s %s  open %s  high %s  low %s  close %s  volume %llu  amount %.0f\n\n",
                    Date(last.Date).c_str(), Time(last.Time).c_str(), Price(last.Open, f.unit).c_str(),
                    Price(last.High, f.unit).c_str(), Price(last.Low, f.unit).c_str(), Price(last.Close, f.unit).c_str(),
                    static_cast<unsigned long long>(last.Volume), last.Amount);
        std::printf("Lines at the last bar\n");
    }
    const std::pair<const char*, std::vector<int>> standard[] = {{"MA4", {5, 10, 20, 60}}, {"MACD", {12, 26, 9}},
                                                                 {"KDJ", {9, 3, 3}},       {"RSI", {6, 12}},
                                                                 {"BOLL", {20, 2, -2}},    {"BIAS", {6, 12, 24}},
                                                                 {"OBV", {30}}};
    for (const auto& [opName, given] : standard) {
        const OperationSpec& op = Find(opName);
        Params params;
        Resolve(op, given, params);
        const Computed c = Compute(op, f, params, false);
        const bool ma = std::string(op.name) == "MA4";
        if (!json) std::printf("  %-5s", ma ? "MA" : op.name);
        for (int k = 0; k < op.lineCount; ++k) {
            const std::string label = ma ? "MA" + std::to_string(params[k]) : op.lines[k].name;
            const std::string v = LineValue(op, params, c, k, n - 1, f.unit, f.decimals);
            out["lines"][ma ? "MA" : op.name][label] = v.empty() ? nlohmann::json(nullptr) : nlohmann::json(std::stod(v));
            if (!json) std::printf("  %s %s", label.c_str(), v.empty() ? "-" : v.c_str());
        }
        if (!json) std::printf("\n");
    }
    fenxi::TipText tips[2];
    for (bool shortSystem : {false, true}) {
        fenxi::SystemRun run = fenxi::RunSystem(AsBars(f), SystemOf(shortSystem), SecurityOf(f));
        const auto& signals = run.points;
        tips[shortSystem] = std::move(run.tip);
        const char* label = shortSystem ? "short" : "long";
        out["systems"][label]["points"] = signals.size();
        if (!signals.empty()) {
            const _SIG_TABLE& s = signals.back();
            out["systems"][label]["last"] = {{"point", s.Kind == 0 ? "D" : "K"}, {"date", Date(s.Date)},
                                             {"bar", s.BarIndex}, {"price", s.Price / 10000}, {"link", s.Link}};
        }
        if (json) continue;
        std::printf("\n%s system: %zu points%s\n", shortSystem ? "Short-term" : "Long-term", signals.size(),
                    signals.size() > 10 ? " (the last 10; 'fenxi signals' lists them all)" : "");
        PrintSignals(signals, 10);
    }
    if (!json) std::printf("\nTactics pools: the latest record of each ('fenxi tactics' lists them all)\n");
    for (const char* pool : {"short", "mid", "long"}) {
        const std::vector<fenxi::TacticRecord> records = fenxi::Tactics(AsBars(f), PoolOf(pool));
        if (records.empty()) {
            out["tactics"][pool] = nullptr;
            if (!json) std::printf("  %-5s  none\n", pool);
            continue;
        }
        const fenxi::TacticRecord& r = records.back();
        const char* kind = r.entry ? "entry" : "exit";
        out["tactics"][pool] = {{"kind", kind}, {"tactic", r.name}, {"date", Date(r.date)}, {"bar", r.bar},
                                {"price", r.price}};
        if (!json)
            std::printf("  %-5s  %-5s %s bar %d price %s%s%s\n", pool, kind, Date(r.date).c_str(), r.bar,
                        Number(r.price).c_str(), r.name.empty() ? "" : "  ", r.name.c_str());
    }
    if (!json) std::printf("\nTips for the last bar\n");
    for (bool shortSystem : {true, false}) {
        const fenxi::TipText& tip = tips[shortSystem];
        const char* label = shortSystem ? "short-term" : "long-term";
        out["tips"][label] = {{"text", tip.given ? nlohmann::json(tip.text) : nlohmann::json(nullptr)},
                              {"threshold", tip.threshold}};
        if (!json) std::printf("[%s]\n%s\n", label, tip.given ? tip.text.c_str() : "(no tip for this bar)");
    }
    if (json) std::cout << out.dump(1) << "\n";
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::string version;
    CAnalysisTechniques().GetFormulaVersion(version);
    CLI::App app{"fenxi: technical analysis of a CSV file of bars.\n"
                 "Without a command: a report on the shipped sample (or on -i FILE).\n"
                 "Exit codes: 0 done, 1 bad data (FILE:LINE: what is wrong), 2 bad usage."};
    app.require_subcommand(0, 1);
    app.set_version_flag("--version", std::string("fenxi ") + kVersion + ", formula " + version);
    Input report;
    report.path = SamplePath();
    bool reportJson = false;
    app.add_flag("--json", reportJson, "the report as JSON");
    AddInput(&app, report, false);

    bool listJson = false;
    std::vector<std::string> formulaFiles;
    auto* list = app.add_subcommand("list", "every operation and formula: name, parameters, lines, definition");
    list->add_flag("--json", listJson, "the registry and the formulas as JSON");
    AddFormulasOption(list, formulaFiles);

    Input calcIn;
    std::string name;
    std::vector<double> params;
    bool json = false, raw = false, update = false;
    auto* calc = app.add_subcommand("calc", "one indicator or formula over every bar (CSV by default)");
    calc->add_option("name", name, "operation or formula name, or dispatcher code (see 'fenxi list')")->required();
    calc->add_option("params", params, "parameters in order; defaults from 'fenxi list'");
    AddFormulasOption(calc, formulaFiles);
    AddInput(calc, calcIn);
    calc->add_flag("--json", json, "JSON with the property");
    calc->add_flag("--raw", raw, "all 43 columns with 17 digits and the whole property");
    bool rawUpdate = false;
    auto* updateFlag = calc->add_flag("--update", update, "the last bar through a stream, as a forming bar is updated");
    calc->add_flag("--raw-update", rawUpdate, "the last row from the class API's updater (which may differ)")
        ->excludes(updateFlag);

    Input chartIn;
    int type = 0, param = 0;
    bool allowTruncated = false, chartJson = false;
    auto* chart = app.add_subcommand("chart", "synthetic bars of a chart type (3 line break, 4 bricks, 5 reversal)");
    chart->add_option("type", type, "chart type 0-5")->required();
    chart->add_option("param", param, "lines, box or swing (clamped as the engine does)")->required();
    AddInput(chart, chartIn);
    chart->add_flag("--allow-truncated", allowTruncated, "a brick chart cut at the brick bound is not an error");
    chart->add_flag("--json", chartJson, "the bars as JSON");

    Input sigIn;
    SystemChoice flags;
    bool longSystem = false;
    auto* signals = app.add_subcommand("signals", "D and K points of the long/short system (long-term by default)");
    AddInput(signals, sigIn);
    bool signalsJson = false;
    auto* shortSystem = signals->add_flag("--short", flags.shortSystem, "the short-term channel system");
    signals->add_flag("--long", longSystem, "the long-term system (the default)")->excludes(shortSystem);
    signals->add_flag("--json", signalsJson, "the points as JSON");
    signals->add_flag("--narrow", flags.flags.narrowLimit, "narrow price-limit constants");
    signals->add_flag("--limit-rules", flags.flags.limitRules, "the limit-price entry rule");
    signals->add_flag("--drawdown-exit", flags.flags.drawdownExit, "the 9 % drawdown exit (with --limit-rules)");

    Input tipsIn;
    std::optional<int> bar;
    bool tipsJson = false;
    auto* tips = app.add_subcommand("tips", "short-term and long-term tip texts and thresholds for a bar");
    AddInput(tips, tipsIn);
    tips->add_option("--bar", bar, "bar index from 0 (default: the last bar)");
    tips->add_flag("--json", tipsJson, "the texts and thresholds as JSON");

    Input tacticsIn;
    bool tacticsShort = false, tacticsMid = false, tacticsLong = false, tacticsJson = false;
    auto* tactics = app.add_subcommand("tactics", "entries and exits of a tactics pool (short by default)");
    AddInput(tactics, tacticsIn);
    auto* shortFlag = tactics->add_flag("--short", tacticsShort, "the short horizon: one position per entry tactic");
    auto* midFlag = tactics->add_flag("--mid", tacticsMid, "the mid horizon");
    tactics->add_flag("--long", tacticsLong, "the long horizon: one position, as D and K points")
        ->excludes(shortFlag)
        ->excludes(midFlag);
    midFlag->excludes(shortFlag);
    tactics->add_flag("--json", tacticsJson, "the records as JSON");

    std::vector<std::string> scanInputs;
    int scanJobs = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
    bool scanJson = false;
    auto* scan = app.add_subcommand("scan", "both systems, both tips and the tactics pools over many files; with --where, a screen");
    scan->add_option("inputs", scanInputs, "CSV files and directories of them")->required();
    scan->add_option("--jobs", scanJobs, "worker threads (default: the cores)")->check(CLI::Range(1, 256));
    scan->add_flag("--json", scanJson, "one JSON record per file");
    bool scanCsv = false;
    scan->add_flag("--csv", scanCsv, "one CSV row per file (the default)");

    Input viewIn;
    ViewOptions view;
    std::string viewLines;
    auto* viewCmd = app.add_subcommand("view", "one self-contained HTML chart page of the file (the shipped sample without -i)");
    AddInput(viewCmd, viewIn, false);
    viewCmd->add_option("-o,--output", view.output, "the page (default: the input's name with .html)");
    viewCmd->add_option("--lines", viewLines, "overlays, comma separated: MA, BOLL, EXPMA:12:0, ENE:25, ... (default MA)");
    viewCmd->add_option("--pane", view.panes, "a pane (operation or formula), repeatable (default MACD and KDJ)");
    AddFormulasOption(viewCmd, formulaFiles);
    viewCmd->add_option("--assets", view.assets, "where view.js and the chart library are (default: found)");

    FormulaOptions formulaOptions;
    auto* formulaCmd = AddFormulaCommand(app, formulaOptions);
    AddFormulasOption(scan, formulaFiles);
    std::string where;
    std::vector<std::string> whereParams;
    bool scanAll = false;
    scan->add_option("--where", where, "a screen: a formula text or a formula's name; a file passes when its last "
                                       "output line is true at its last bar");
    scan->add_option("--param", whereParams, "NAME=VALUE for a parameter of the screen, repeatable");
    scan->add_flag("--all", scanAll, "with --where: every file and whether it passes");

    Input flowIn;
    std::string which;
    auto* flow = app.add_subcommand("flow", "capital-flow line: zj (LDX_OBV_DIF) or sh");
    flow->add_option("which", which, "zj or sh")->required()->check(CLI::IsMember({"zj", "sh"}));
    AddInput(flow, flowIn);
    bool flowJson = false;
    flow->add_flag("--json", flowJson, "the line as JSON");

    ServeOptions serveOptions;
    auto* serveCmd = app.add_subcommand("serve", "a local chart app over a folder of bar files (docs/serve.md)");
    serveCmd->add_option("dir", serveOptions.dir, "the folder of *.csv bar files")->required();
    serveCmd->add_option("--port", serveOptions.port, "the port (0: any free one)")->check(CLI::Range(0, 65535));
    serveCmd->add_option("--host", serveOptions.host, "the address to listen on (default 127.0.0.1: this machine only)");
    serveCmd->add_option("--assets", serveOptions.assets, "where app.js and the chart library are (default: found)");
    AddFormulasOption(serveCmd, formulaFiles);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;  // usage errors exit with 2, as the tool's other usage errors
    }
    try {
        if (*list) return listJson ? ListJson(Library(formulaFiles)) : List(Library(formulaFiles));
        if (*calc) return Calc(Library(formulaFiles), name, params, calcIn, json, raw, update, rawUpdate);
        if (*chart) return Chart(type, param, chartIn, allowTruncated, chartJson);
        if (*signals) return Signals(sigIn, flags, signalsJson);
        if (*tips) return Tips(tipsIn, bar, tipsJson);
        if (*flow) return Flow(which, flowIn, flowJson);
        if (*formulaCmd) return RunFormula(formulaOptions);
        if (*scan) {
            if (where.empty()) {
                if (!whereParams.empty() || scanAll) throw CLI::ValidationError("--param and --all go with --where");
                return Scan(scanInputs, scanJobs, scanJson);
            }
            return Screen(Library(formulaFiles), scanInputs, ScreenOptions{where, NamedParams(whereParams), scanJobs,
                                                                           scanAll, scanJson});
        }
        if (*viewCmd) {
            if (!viewLines.empty()) {
                view.lines.clear();
                std::stringstream list(viewLines);
                for (std::string item; std::getline(list, item, ',');)
                    if (!item.empty()) view.lines.push_back(item);
            }
            view.library = &Library(formulaFiles);
            if (viewIn.path.empty()) viewIn.path = SamplePath();
            if (viewIn.path.empty()) throw CLI::ValidationError("no sample data beside the tool: give -i FILE");
            BarFile f = viewIn.Load();
            std::printf("%s\n", WriteView(f, viewIn.path, view).c_str());
            return 0;
        }
        if (*serveCmd) {
            serveOptions.library = &Library(formulaFiles);
            return Serve(serveOptions);
        }
        if (*tactics) return Tactics(tacticsIn, tacticsLong ? "long" : tacticsMid ? "mid" : "short", tacticsJson);
        if (report.path.empty()) {
            std::cerr << app.help() << "\nfenxi: no sample data beside the tool: give -i FILE\n";
            return 2;
        }
        return Report(report, reportJson);
    } catch (const InputError& e) {
        std::cerr << e.what() << "\n";
        return 1;
    } catch (const FormulaRefused& e) {
        std::cerr << e.what() << "\n";
        return 2;
    } catch (const CLI::ValidationError& e) {
        std::cerr << "fenxi: " << e.what() << "\n";
        return 2;
    } catch (const std::exception& e) {
        std::cerr << "fenxi: " << e.what() << "\n";
        return 1;
    }
}
