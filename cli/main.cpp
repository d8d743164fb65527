// fenxi: indicator lines, chart transforms, D/K points and tips from a CSV
// file of bars, without writing code.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "bars_csv.h"
#include "fenxi/series.h"

using namespace fenxi_cli;
using fenxi::OperationSpec;
using Rows = CAnalysisTechniques::FENXIDATA*;
using Property = CAnalysisTechniques::FENXIDATA_PROPERTY;

namespace {

constexpr const char* kSample = "daily_sz002032.csv";

struct Input {
    std::string path;
    int unit = 0;
    std::string code;
    int market = -1;

    BarFile Load() const {
        BarFile f = ReadBars(path, unit);
        if (!code.empty()) f.code = code;
        if (market >= 0) f.market = market;
        return f;
    }
};

void AddInput(CLI::App* app, Input& in, bool required = true) {
    auto* opt = app->add_option("-i,--input", in.path, "CSV file of bars ('-' reads standard input)");
    if (required) opt->required();
    app->add_option("--unit", in.unit, "price unit of the scaled integers (default: 10^decimals)");
    app->add_option("--code", in.code, "six-digit security code (default: from the file name)");
    app->add_option("--market", in.market, "market: 0 Shenzhen, 1 Shanghai (default: from the code)");
}

std::string Date(std::int32_t date) {
    char b[16];
    std::snprintf(b, sizeof b, "%04d-%02d-%02d", date / 10000, date / 100 % 100, date % 100);
    return b;
}

std::string Time(std::int32_t time) {
    if (time == 0) return "";
    char b[16];
    std::snprintf(b, sizeof b, "%02d:%02d", time / 10000, time / 100 % 100);
    return b;
}

// A raw price at the file's unit, printed with as many decimals as the unit has.
std::string Price(std::int64_t raw, int unit) {
    int digits = 0;
    for (int u = unit; u >= 10 && u % 10 == 0; u /= 10) ++digits;
    char b[48];
    std::snprintf(b, sizeof b, "%.*f", digits, static_cast<double>(raw) / unit);
    return b;
}

// A true value with up to eight significant digits, trailing zeros dropped.
std::string Number(double v) {
    if (v != v) return "nan";
    if (v == 0) return "0";
    char b[64];
    const double a = std::fabs(v);
    if (a >= 1e15 || a < 1e-10) {
        std::snprintf(b, sizeof b, "%.8g", v);
        return b;
    }
    const int digits = std::clamp(7 - static_cast<int>(std::floor(std::log10(a))), 0, 10);
    std::snprintf(b, sizeof b, "%.*f", digits, v);
    std::string t = b;
    if (t.find('.') != std::string::npos) {
        t.erase(t.find_last_not_of('0') + 1);
        if (t.back() == '.') t.pop_back();
    }
    return t == "-0" ? "0" : t;
}


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
std::string LineValue(const OperationSpec& op, const Params& p, const Computed& c, int k, int i, int unit) {
    std::int64_t first = 0, end = 0;
    fenxi::ValidRange(op, p, k, static_cast<std::int64_t>(c.rows.size()), first, end);
    if (i < first || i >= end) return "";
    return Number(c.rows[i].FenXi[op.lines[k].column] / fenxi::TrueScale(op, k, p, unit));
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

int ListJson() {
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
                       {"code", op.code >= 0 ? nlohmann::json(op.code) : nlohmann::json(nullptr)},
                       {"parameters", params},
                       {"lines", lines},
                       {"formula", op.formula},
                       {"updater", op.update != nullptr},
                       {"updaterRecomputes", op.updateRecomputes}});
    }
    std::cout << out.dump(1) << "\n";
    return 0;
}

int List() {
    std::printf("Every operation: name, indicator code, parameters (default, range), lines (true scale), formula.\n");
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

int Calc(const std::string& name, const std::vector<int>& given, const Input& in, bool json, bool raw, bool update) {
    const OperationSpec& op = Find(name);
    if (update && op.update == nullptr) throw CLI::ValidationError(std::string(op.name) + " has no updater");
    Params params;
    Resolve(op, given, params);
    BarFile f = in.Load();
    if (update && f.bars.size() < 2) throw InputError(in.path + ": --update needs at least two bars");
    const Computed c = Compute(op, f, params, update);
    const int n = static_cast<int>(c.rows.size());
    const Property& p = c.property;
    if (raw) {
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
    if (json) {
        nlohmann::json out;
        out["operation"] = op.name;
        out["parameters"] = std::vector<int>(params, params + op.paramCount);
        out["unit"] = f.unit;
        out["formula"] = op.formula;
        out["lines"] = nlohmann::json::array();
        for (int k = 0; k < op.lineCount; ++k)
            out["lines"].push_back({{"name", op.lines[k].name},
                                    {"column", op.lines[k].column},
                                    {"scale", fenxi::ScaleName(op, k, params)}});
        out["rows"] = nlohmann::json::array();
        for (int i = 0; i < n; ++i) {
            nlohmann::json row = {{"date", Date(f.bars[i].Date)}, {"time", Time(f.bars[i].Time)}};
            for (int k = 0; k < op.lineCount; ++k) {
                const std::string v = LineValue(op, params, c, k, i, f.unit);
                row[op.lines[k].name] = v.empty() || v == "nan" ? nlohmann::json(nullptr)
                                                                : nlohmann::json(c.rows[i].FenXi[op.lines[k].column] /
                                                                                 fenxi::TrueScale(op, k, params, f.unit));
            }
            out["rows"].push_back(row);
        }
        std::cout << out.dump(1) << "\n";
        return 0;
    }
    std::printf("date,time");
    for (int k = 0; k < op.lineCount; ++k) std::printf(",%s", op.lines[k].name);
    std::printf("\n");
    for (int i = 0; i < n; ++i) {
        std::printf("%s,%s", Date(f.bars[i].Date).c_str(), Time(f.bars[i].Time).c_str());
        for (int k = 0; k < op.lineCount; ++k) std::printf(",%s", LineValue(op, params, c, k, i, f.unit).c_str());
        std::printf("\n");
    }
    return 0;
}

int Chart(int type, int param, const Input& in) {
    BarFile f = in.Load();
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
    if (blocks == nullptr) {
        std::cerr << "fenxi: chart type " << type << " is not one of 0-5\n";
        return 2;
    }
    std::printf("# chart %d, parameter %d after clamping\ndate,time,open,high,low,close\n", type, settings.ChartParam);
    for (int k = 0; k < count; ++k) {
        const UNIKDATA& b = blocks[k];
        std::printf("%s,%s,%s,%s,%s,%s\n", Date(b.Date).c_str(), Time(b.Time).c_str(), Price(b.Open, f.unit).c_str(),
                    Price(b.High, f.unit).c_str(), Price(b.Low, f.unit).c_str(), Price(b.Close, f.unit).c_str());
    }
    FreeKLineBars(&blocks);
    return 0;
}

struct SystemFlags {
    bool shortSystem = false, narrow = false, limitRules = false, drawdownExit = false;
};

std::vector<_SIG_TABLE> Mount(CAnalysisTechniques& engine, BarFile& f, const SystemFlags& s) {
    std::vector<_SIG_TABLE> signals;
    engine.MountAdvSys(signals, 0, false, !s.shortSystem, f.code.c_str(), f.market, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                       static_cast<int>(f.bars.size()), f.bars.data(), f.unit, s.shortSystem, s.drawdownExit, s.narrow,
                       s.limitRules);
    return signals;
}

void PrintSignals(const std::vector<_SIG_TABLE>& signals, const BarFile& f, std::size_t last) {
    std::printf("  %5s  %-5s %-10s %6s %10s  %s\n", "seq", "point", "date", "bar", "price", "closes");
    const std::size_t from = signals.size() > last ? signals.size() - last : 0;
    for (std::size_t k = from; k < signals.size(); ++k) {
        const _SIG_TABLE& s = signals[k];
        char price[32];
        std::snprintf(price, sizeof price, "%.3f", s.Price / 10000);
        std::printf("  %5d  %-5s %-10s %6d %10s  %s\n", s.Sequence, s.Kind == 0 ? "D" : "K", Date(s.Date).c_str(),
                    s.BarIndex, price, s.Kind == 0 ? "" : ("#" + std::to_string(s.Link)).c_str());
    }
    (void)f;
}

// The tip text of one system for bar `index`; empty when it gives none.
std::string Tip(BarFile& f, bool shortSystem, int index, double& price) {
    CAnalysisTechniques engine;
    SystemFlags flags;
    flags.shortSystem = shortSystem;
    auto signals = Mount(engine, f, flags);
    std::string text;
    int near = 0;
    const int n = static_cast<int>(f.bars.size());
    price = 0;
    const int ok = shortSystem
                       ? engine.GetShortTermCPXTips(f.market, f.code.c_str(), false, 0, f.bars.data(), f.unit, n,
                                                    signals, index, text, price, 0, near, false, false)
                       : engine.GetLongTermCPXTips(f.market, f.code.c_str(), true, 0, f.bars.data(), f.unit, n,
                                                   signals, index, text, price, 0, near, false, false);
    return ok ? text : "";
}

int Signals(const Input& in, const SystemFlags& flags) {
    BarFile f = in.Load();
    CAnalysisTechniques engine;
    const auto signals = Mount(engine, f, flags);
    std::printf("seq,point,date,time,bar,price,link\n");
    for (const _SIG_TABLE& s : signals)
        std::printf("%d,%s,%s,%s,%d,%.6f,%d\n", s.Sequence, s.Kind == 0 ? "D" : "K", Date(s.Date).c_str(),
                    Time(s.Time).c_str(), s.BarIndex, s.Price / 10000, s.Link);
    return 0;
}

int Tips(const Input& in, int bar) {
    BarFile f = in.Load();
    const int n = static_cast<int>(f.bars.size());
    const int index = bar < 0 ? n - 1 : bar;
    if (index >= n) throw InputError(in.path + ": bar " + std::to_string(index) + " is past the last bar");
    for (bool shortSystem : {true, false}) {
        double price = 0;
        const std::string text = Tip(f, shortSystem, index, price);
        std::printf("[%s] threshold %.6f\n%s\n", shortSystem ? "short-term" : "long-term", price,
                    text.empty() ? "(no tip for this bar)" : text.c_str());
    }
    return 0;
}

// A pool's records in one shape: the long pool's D and K points carry no
// tactic of their own.
struct TacticRecord {
    int sequence, bar, link;
    std::string name, kind;
    std::int32_t date, time;
    double price, measure;
    bool hasMeasure;
};

std::vector<TacticRecord> RunPool(BarFile& f, const std::string& pool) {
    CAnalysisTechniques engine;
    const int n = static_cast<int>(f.bars.size());
    std::vector<TacticRecord> out;
    if (pool == "long") {
        std::vector<_SIG_TABLE> points;
        engine.TacticsPools(points, n, f.bars.data(), f.unit);
        for (const _SIG_TABLE& s : points)
            out.push_back({s.Sequence, s.BarIndex, s.Link, "", s.Kind == 0 ? "entry" : "exit", s.Date, s.Time,
                           s.Price / 10000, 0, false});
        return out;
    }
    std::vector<CE_LUE_SIGN> signs;
    if (pool == "short")
        engine.TacticsPoolsShort(signs, n, f.bars.data(), f.unit);
    else
        engine.TacticsPoolsMid(signs, n, f.bars.data(), f.unit);
    for (const CE_LUE_SIGN& s : signs)
        out.push_back({s.Sequence, s.BarIndex, s.Link, s.Name, s.Kind == 0 ? "entry" : "exit", s.Date, s.Time,
                       s.Price / 10000, s.Measure, true});
    return out;
}

int Tactics(const Input& in, const std::string& pool, bool json) {
    BarFile f = in.Load();
    const std::vector<TacticRecord> records = RunPool(f, pool);
    if (json) {
        nlohmann::json out = nlohmann::json::array();
        for (const TacticRecord& r : records) {
            nlohmann::json row = {{"sequence", r.sequence}, {"kind", r.kind},   {"date", Date(r.date)},
                                  {"time", Time(r.time)},   {"bar", r.bar},     {"price", r.price},
                                  {"link", r.link}};
            if (r.hasMeasure) {
                row["tactic"] = r.name;
                row["measure"] = r.measure;
            }
            out.push_back(row);
        }
        std::cout << nlohmann::json{{"pool", pool}, {"records", out}}.dump(1) << "\n";
        return 0;
    }
    std::printf("seq,tactic,kind,date,time,bar,price,measure,link\n");
    for (const TacticRecord& r : records)
        std::printf("%d,%s,%s,%s,%s,%d,%s,%s,%d\n", r.sequence, r.name.c_str(), r.kind.c_str(), Date(r.date).c_str(),
                    Time(r.time).c_str(), r.bar, Number(r.price).c_str(), r.hasMeasure ? Number(r.measure).c_str() : "",
                    r.link);
    return 0;
}

int Flow(const std::string& which, const Input& in) {
    return Calc(which == "zj" ? "ZJLDXFX" : "SHLDXFX", {}, in, false, false, false);
}

std::string SamplePath(const char* argv0) {
    namespace fs = std::filesystem;
    std::error_code ec;
    const fs::path exe = fs::canonical(fs::path(argv0), ec);
    if (!ec) {
        const fs::path installed = exe.parent_path().parent_path() / "share" / "fenxi" / kSample;
        if (fs::exists(installed)) return installed.string();
    }
    return std::string(FENXI_SOURCE_DATA_DIR) + "/" + kSample;
}

// The main job: one security's last bar, standard lines, points and tips.
int Report(const Input& in) {
    BarFile f = in.Load();
    const int n = static_cast<int>(f.bars.size());
    const UNIKDATA& last = f.bars.back();
    const std::string name = in.path.substr(in.path.find_last_of('/') + 1);
    std::printf("%s: %s (market %d), %d bars %s .. %s, unit %d\n\n", name.c_str(),
                f.code.empty() ? "no code" : f.code.c_str(), f.market, n, Date(f.bars.front().Date).c_str(),
                Date(last.Date).c_str(), f.unit);
    std::printf("Last bar %s %s  open %s  high %s  low %s  close %s  volume %llu  amount %.0f\n\n",
                Date(last.Date).c_str(), Time(last.Time).c_str(), Price(last.Open, f.unit).c_str(),
                Price(last.High, f.unit).c_str(), Price(last.Low, f.unit).c_str(), Price(last.Close, f.unit).c_str(),
                static_cast<unsigned long long>(last.Volume), last.Amount);
    std::printf("Lines at the last bar\n");
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
        std::printf("  %-5s", ma ? "MA" : op.name);
        for (int k = 0; k < op.lineCount; ++k) {
            const std::string label = ma ? "MA" + std::to_string(params[k]) : op.lines[k].name;
            const std::string v = LineValue(op, params, c, k, n - 1, f.unit);
            std::printf("  %s %s", label.c_str(), v.empty() ? "-" : v.c_str());
        }
        std::printf("\n");
    }
    for (bool shortSystem : {false, true}) {
        CAnalysisTechniques engine;
        SystemFlags flags;
        flags.shortSystem = shortSystem;
        const auto signals = Mount(engine, f, flags);
        std::printf("\n%s system: %zu points%s\n", shortSystem ? "Short-term" : "Long-term", signals.size(),
                    signals.size() > 10 ? " (the last 10; 'fenxi signals' lists them all)" : "");
        PrintSignals(signals, f, 10);
    }
    std::printf("\nTactics pools: the latest record of each ('fenxi tactics' lists them all)\n");
    for (const char* pool : {"short", "mid", "long"}) {
        const std::vector<TacticRecord> records = RunPool(f, pool);
        if (records.empty()) {
            std::printf("  %-5s  none\n", pool);
            continue;
        }
        const TacticRecord& r = records.back();
        std::printf("  %-5s  %-5s %s bar %d price %s%s%s\n", pool, r.kind.c_str(), Date(r.date).c_str(), r.bar,
                    Number(r.price).c_str(), r.hasMeasure ? "  " : "", r.name.c_str());
    }

    std::printf("\nTips for the last bar\n");
    for (bool shortSystem : {true, false}) {
        double price = 0;
        const std::string text = Tip(f, shortSystem, n - 1, price);
        std::printf("[%s]\n%s\n", shortSystem ? "short-term" : "long-term",
                    text.empty() ? "(no tip for this bar)" : text.c_str());
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"fenxi: technical analysis of a CSV file of bars.\n"
                 "Without a command: a report on the shipped sample (or on -i FILE)."};
    app.require_subcommand(0, 1);
    Input report;
    report.path = SamplePath(argv[0]);
    AddInput(&app, report, false);

    bool listJson = false;
    auto* list = app.add_subcommand("list", "every operation: name, code, parameters, lines with their scales, formula");
    list->add_flag("--json", listJson, "the registry as JSON");

    Input calcIn;
    std::string name;
    std::vector<int> params;
    bool json = false, raw = false, update = false;
    auto* calc = app.add_subcommand("calc", "one indicator over every bar (CSV by default)");
    calc->add_option("name", name, "indicator name or dispatcher code (see 'fenxi list')")->required();
    calc->add_option("params", params, "parameters; defaults from 'fenxi list'");
    AddInput(calc, calcIn);
    calc->add_flag("--json", json, "JSON with the property");
    calc->add_flag("--raw", raw, "all 43 columns with 17 digits and the whole property");
    calc->add_flag("--update", update, "generate over all bars but the last, then run the updater");

    Input chartIn;
    int type = 0, param = 0;
    auto* chart = app.add_subcommand("chart", "synthetic bars of a chart type (3 line break, 4 bricks, 5 reversal)");
    chart->add_option("type", type, "chart type 0-5")->required();
    chart->add_option("param", param, "lines, box or swing (clamped as the engine does)")->required();
    AddInput(chart, chartIn);

    Input sigIn;
    SystemFlags flags;
    bool longSystem = false;
    auto* signals = app.add_subcommand("signals", "D and K points of the long/short system (long-term by default)");
    AddInput(signals, sigIn);
    signals->add_flag("--short", flags.shortSystem, "the short-term channel system");
    signals->add_flag("--long", longSystem, "the long-term system (the default)");
    signals->add_flag("--narrow", flags.narrow, "narrow price-limit constants");
    signals->add_flag("--limit-rules", flags.limitRules, "the limit-price entry rule");
    signals->add_flag("--drawdown-exit", flags.drawdownExit, "the 9 % drawdown exit (with --limit-rules)");

    Input tipsIn;
    int bar = -1;
    auto* tips = app.add_subcommand("tips", "short-term and long-term tip texts and thresholds for a bar");
    AddInput(tips, tipsIn);
    tips->add_option("--bar", bar, "bar index (default: the last bar)");

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

    Input flowIn;
    std::string which;
    auto* flow = app.add_subcommand("flow", "capital-flow line: zj (LDX_OBV_DIF) or sh");
    flow->add_option("which", which, "zj or sh")->required()->check(CLI::IsMember({"zj", "sh"}));
    AddInput(flow, flowIn);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;  // usage errors exit with 2, as the tool's other usage errors
    }
    try {
        if (*list) return listJson ? ListJson() : List();
        if (*calc) return Calc(name, params, calcIn, json, raw, update);
        if (*chart) return Chart(type, param, chartIn);
        if (*signals) return Signals(sigIn, flags);
        if (*tips) return Tips(tipsIn, bar);
        if (*flow) return Flow(which, flowIn);
        if (*tactics) return Tactics(tacticsIn, tacticsLong ? "long" : tacticsMid ? "mid" : "short", tacticsJson);
        return Report(report);
    } catch (const InputError& e) {
        std::cerr << e.what() << "\n";
        return 1;
    } catch (const CLI::ValidationError& e) {
        std::cerr << "fenxi: " << e.what() << "\n";
        return 2;
    } catch (const std::exception& e) {
        std::cerr << "fenxi: " << e.what() << "\n";
        return 1;
    }
}
