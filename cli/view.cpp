#include "view.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "catalog.h"
#include "fenxi/series.h"
#include "platform/host.h"
#include "fenxi/signals.h"

namespace fenxi_cli {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// Seconds since 1970 of a bar's date and time, as UTC: the chart's time axis.
std::int64_t Seconds(std::int32_t date, std::int32_t time) {
    std::tm t{};
    t.tm_year = date / 10000 - 1900;
    t.tm_mon = date / 100 % 100 - 1;
    t.tm_mday = date % 100;
    t.tm_hour = time / 10000;
    t.tm_min = time / 100 % 100;
    t.tm_sec = time % 100;
    return fenxi::platform::UtcSeconds(t);
}

double Price(std::int32_t raw, int unit) { return static_cast<double>(raw) / unit; }

// A value as the page shows it: eight significant digits keep the page small.
json Shown(double v) {
    if (v != v) return nullptr;
    char text[32];
    std::snprintf(text, sizeof text, "%.8g", v);
    return std::strtod(text, nullptr);
}

// "MA" is the four usual averages; otherwise an operation's or a formula's
// name with optional ":"-separated parameters.
struct Item {
    fenxi_cli::Named named;
    std::vector<double> params;
};

Item Parse(const std::string& item, const fenxi::FormulaLibrary& library) {
    std::stringstream in(item);
    std::string name, p;
    std::getline(in, name, ':');
    std::vector<double> params;
    while (std::getline(in, p, ':')) {
        char* end = nullptr;
        const double v = std::strtod(p.c_str(), &end);
        if (p.empty() || *end != '\0' || !std::isfinite(v))
            throw CLI::ValidationError("'" + item + "': parameters are numbers");
        params.push_back(v);
    }
    if (name == "MA" || name == "ma") return {{fenxi::FindOperation("MA4"), nullptr}, params};
    return {fenxi_cli::FindNamed(library, name, "line or pane"), params};
}

bool Drawn(const std::vector<std::string>& attributes) {
    return std::find(attributes.begin(), attributes.end(), "NODRAW") == attributes.end();
}

// One operation's or formula's lines over the bars, aligned with them (null:
// no value); a formula line carries its attributes (COLORSTICK ...).
json LinesOf(const std::string& item, const fenxi::Bars& bars, const fenxi::FormulaLibrary& library) {
    const auto [named, params] = Parse(item, library);
    json out = {{"name", item}, {"lines", json::array()}};
    if (named.formula != nullptr) {
        const fenxi::FormulaResult r =
            fenxi_cli::RunChecked(*named.formula, bars, fenxi_cli::PositionalArgs(*named.formula, params), item);
        for (const fenxi::FormulaLine& l : r.lines) {
            if (!Drawn(l.attributes)) continue;
            json values = json::array();
            for (double v : l.values) values.push_back(Shown(v));
            out["lines"].push_back({{"name", l.name}, {"attributes", l.attributes}, {"values", std::move(values)}});
        }
        return out;
    }
    const fenxi::OperationSpec* op = named.operation;
    std::vector<int> whole;
    for (double v : params) {
        if (!(v == std::trunc(v) && std::fabs(v) < 2147483648.0))
            throw CLI::ValidationError("'" + item + "': " + op->name + " takes whole-number parameters");
        whole.push_back(static_cast<int>(v));
    }
    const fenxi::Lines lines = fenxi::Compute(op->name, whole, bars);
    if (!lines.ok()) throw CLI::ValidationError(lines.error.message);
    if (std::string(op->name) == "MA4" && params.empty()) out["name"] = "MA";
    for (std::size_t k = 0; k < lines.names.size(); ++k) {
        json values = json::array();
        for (double v : lines.values[k]) values.push_back(Shown(v));
        out["lines"].push_back({{"name", lines.names[k]}, {"values", std::move(values)}});
    }
    return out;
}

// Both systems' points and their tips for the last bar.
void Systems(const fenxi::Bars& bars, const BarFile& f, json& points, json& tips) {
    points = json::array();
    tips = json::object();
    for (bool shortSystem : {false, true}) {
        const fenxi::SystemRun run = fenxi::RunSystem(bars, shortSystem ? fenxi::System::Short : fenxi::System::Long,
                                                      fenxi::Security{f.code, f.market});
        for (const _SIG_TABLE& s : run.points)
            points.push_back({{"bar", s.BarIndex}, {"system", shortSystem ? "short" : "long"},
                              {"kind", s.Kind == 0 ? "D" : "K"}, {"seq", s.Sequence}, {"link", s.Link},
                              {"price", s.Price / 10000}});
        tips[shortSystem ? "short-term" : "long-term"] = run.tip.given ? json(run.tip.text) : json(nullptr);
    }
}

json Tactics(const fenxi::Bars& bars) {
    json out = json::array();
    const std::pair<fenxi::Pool, const char*> pools[] = {
        {fenxi::Pool::Short, "short"}, {fenxi::Pool::Mid, "mid"}, {fenxi::Pool::Long, "long"}};
    for (const auto& [pool, name] : pools)
        for (const fenxi::TacticRecord& r : fenxi::Tactics(bars, pool))
            out.push_back({{"bar", r.bar}, {"pool", name}, {"kind", r.entry ? "entry" : "exit"}, {"tactic", r.name},
                           {"price", r.price}});
    return out;
}

// The line-break (3 lines), brick and reversal charts as bars with their
// dates, at most kMaxDerivedBars of each.
constexpr int kMaxDerivedBars = 100000;
json Charts(BarFile& f) {
    json out = json::object();
    const std::pair<const char*, std::pair<int, int>> kinds[] = {{"break", {3, 3}}, {"brick", {4, 2000}},
                                                                 {"reversal", {5, 3}}};
    for (const auto& [name, chart] : kinds) {
        // Bricks as `fenxi chart 4` chooses them, coarser while there are
        // more than the page should hold.
        const int brickUnit = chart.first == 4 ? BrickUnit(f, chart.second) : f.unit;
        UNIKDATA* blocks = nullptr;
        int count = 0, unit = f.unit;
        ATP_KLINE settings{};
        for (int tries = 0; tries < 6; ++tries) {
            BarFile scaled = f;
            unit = f.unit;
            settings.ChartType = chart.first;
            settings.ChartParam = chart.second;
            if (chart.first == 4) {
                int u = brickUnit;
                for (int k = 0; k < tries && u > f.unit; ++k) u /= 10;
                Rescale(scaled, u);
                unit = u;
                if (u == f.unit && tries > 0) settings.ChartParam = 10000;
            }
            FreeKLineBars(&blocks);
            CAnalysisTechniques engine;
            CAnalysisTechniques::FENXIDATA* rows = nullptr;
            CAnalysisTechniques::FENXIDATA_PROPERTY property{};
            engine.GenerateKLINE(scaled.bars.data(), unit, static_cast<int>(scaled.bars.size()), blocks, count, rows,
                                 &property, &settings, f.code.c_str());
            if (chart.first != 4 || count <= kMaxDerivedBars || (unit == f.unit && settings.ChartParam == 10000)) break;
        }
        json list = json::array();
        for (int k = 0; k < count && k < kMaxDerivedBars; ++k) {
            const UNIKDATA& b = blocks[k];
            list.push_back({b.Date, Price(b.Open, unit), Price(b.High, unit), Price(b.Low, unit), Price(b.Close, unit)});
        }
        FreeKLineBars(&blocks);
        out[name] = {{"parameter", settings.ChartParam}, {"unit", unit}, {"bars", std::move(list)}};
    }
    return out;
}

std::string Slurp(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// The page's scripts: --assets, beside an installed tool, or the source tree.
fs::path Assets(const std::string& given) {
    std::vector<fs::path> places;
    if (!given.empty()) places.emplace_back(given);
    std::error_code ec;
    const fs::path exe = fenxi::platform::ExecutablePath();
    if (!exe.empty()) places.push_back(exe.parent_path().parent_path() / "share" / "fenxi" / "web");
    places.emplace_back(FENXI_SOURCE_WEB_DIR);
    for (const fs::path& p : places)
        if (fs::exists(p / "view.js", ec) && fs::exists(p / "lightweight-charts.standalone.production.js", ec))
            return p;
        else if (fs::exists(p / "view.js", ec) &&
                 fs::exists(p / "node_modules/lightweight-charts/dist/lightweight-charts.standalone.production.js", ec))
            return p;
    throw std::runtime_error("the chart library is missing: run 'npm ci' in web/ (scripts/deps.sh does), or give --assets");
}

std::string Library(const fs::path& assets) {
    const fs::path flat = assets / "lightweight-charts.standalone.production.js";
    if (fs::exists(flat)) return Slurp(flat);
    return Slurp(assets / "node_modules/lightweight-charts/dist/lightweight-charts.standalone.production.js");
}

// JSON inside a script element: "</" must not end it.
std::string Embedded(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t k = 0; k < text.size(); ++k) {
        if (text[k] == '<' && k + 1 < text.size() && text[k + 1] == '/') {
            out += "<\\/";
            ++k;
        } else {
            out += text[k];
        }
    }
    return out;
}

}  // namespace

std::string WriteView(BarFile& f, const std::string& input, const ViewOptions& options) {
    fenxi::Bars bars{f.bars, f.unit};
    json data;
    data["title"] = fs::path(input).filename().string() + (f.code.empty() ? "" : " " + f.code);
    data["unit"] = f.unit;
    bool intraday = false;
    json rows = json::array();
    for (const UNIKDATA& b : f.bars) {
        intraday = intraday || b.Time != 0;
        rows.push_back({Seconds(b.Date, b.Time), Price(b.Open, f.unit), Price(b.High, f.unit), Price(b.Low, f.unit),
                        Price(b.Close, f.unit), b.Volume});
    }
    data["intraday"] = intraday;
    data["bars"] = std::move(rows);
    data["overlays"] = json::array();
    const fenxi::FormulaLibrary& library =
        options.library != nullptr ? *options.library : fenxi::FormulaLibrary::Shipped();
    for (const std::string& item : options.lines) data["overlays"].push_back(LinesOf(item, bars, library));
    data["panes"] = json::array();
    for (const std::string& item : options.panes) data["panes"].push_back(LinesOf(item, bars, library));
    const fs::path assets = Assets(options.assets);  // after the names: a wrong name is a usage error first
    Systems(bars, f, data["points"], data["tips"]);
    data["tactics"] = Tactics(bars);
    data["charts"] = Charts(f);

    const std::string output = options.output.empty() ? fs::path(input).stem().string() + ".html" : options.output;
    std::ofstream page(output, std::ios::binary);
    if (!page) throw std::runtime_error(output + ": cannot write the page");
    page << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>fenxi: "
         << data["title"].get<std::string>() << "</title>\n<style>\n" << Slurp(assets / "view.css") << "</style>\n"
         << "</head>\n<body>\n<div id=\"app\"></div>\n"
         << "<script>\n" << Library(assets) << "\n</script>\n"
         << "<script id=\"fenxi-data\" type=\"application/json\">" << Embedded(data.dump()) << "</script>\n"
         << "<script>\n" << Slurp(assets / "view.js") << "\n</script>\n</body>\n</html>\n";
    if (!page) throw std::runtime_error(output + ": cannot write the page");
    return output;
}

}  // namespace fenxi_cli
