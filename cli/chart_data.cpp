#include "chart_data.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <ctime>
#include <fstream>
#include <sstream>

#include "fenxi/series.h"
#include "fenxi/signals.h"
#include "platform/host.h"

namespace fenxi_cli {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

double Price(std::int32_t raw, int unit) { return static_cast<double>(raw) / unit; }

constexpr const char* kLibraryFile = "lightweight-charts.standalone.production.js";
constexpr const char* kLibraryInModules = "node_modules/lightweight-charts/dist/lightweight-charts.standalone.production.js";

}  // namespace

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

void AppendNumbers(std::string& out, const double* values, std::size_t count) {
    out += '[';
    char buf[32];
    for (std::size_t k = 0; k < count; ++k) {
        if (k) out += ',';
        if (!std::isfinite(values[k])) {
            out += "null";
            continue;
        }
        const auto r = std::to_chars(buf, buf + sizeof buf, values[k]);
        out.append(buf, r.ptr);
    }
    out += ']';
}

std::string BarColumns(const BarFile& f, std::size_t from, std::size_t to) {
    std::string out = "{";
    std::vector<double> column(to - from);
    auto add = [&](const char* name, auto value) {
        for (std::size_t k = from; k < to; ++k) column[k - from] = value(f.bars[k]);
        out += (out.size() > 1 ? ",\"" : "\"") + std::string(name) + "\":";
        AppendNumbers(out, column.data(), column.size());
    };
    const double unit = f.unit;
    add("time", [](const UNIKDATA& b) { return static_cast<double>(Seconds(b.Date, b.Time)); });
    add("open", [unit](const UNIKDATA& b) { return b.Open / unit; });
    add("high", [unit](const UNIKDATA& b) { return b.High / unit; });
    add("low", [unit](const UNIKDATA& b) { return b.Low / unit; });
    add("close", [unit](const UNIKDATA& b) { return b.Close / unit; });
    add("volume", [](const UNIKDATA& b) { return static_cast<double>(b.Volume); });
    return out + "}";
}

bool Intraday(const BarFile& f) {
    return std::any_of(f.bars.begin(), f.bars.end(), [](const UNIKDATA& b) { return b.Time != 0; });
}

json Shown(double v) {
    if (v != v) return nullptr;
    char text[32];
    std::snprintf(text, sizeof text, "%.8g", v);
    return std::strtod(text, nullptr);
}

ChartItem ParseItem(const std::string& item, const fenxi::FormulaLibrary& library) {
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
    return {FindNamed(library, name, "line or pane"), params};
}

bool Drawn(const std::vector<std::string>& attributes) {
    return std::find(attributes.begin(), attributes.end(), "NODRAW") == attributes.end();
}

std::vector<std::string> BuiltinAttributes(const fenxi::OperationSpec& op, int k) {
    if (std::string(op.name) == "MACD" && std::string(op.lines[k].name) == "MACD") return {"COLORSTICK"};
    return {};
}

std::vector<int> WholeParams(const fenxi::OperationSpec& op, const std::vector<double>& params) {
    std::vector<int> whole;
    for (double v : params) {
        if (!(v == std::trunc(v) && std::fabs(v) < 2147483648.0))
            throw CLI::ValidationError(std::string(op.name) + " takes whole-number parameters");
        whole.push_back(static_cast<int>(v));
    }
    return whole;
}

json LinesOf(const std::string& item, const fenxi::Bars& bars, const fenxi::FormulaLibrary& library) {
    const auto [named, params] = ParseItem(item, library);
    json out = {{"name", item}, {"lines", json::array()}};
    if (named.formula != nullptr) {
        const fenxi::FormulaResult r = RunChecked(*named.formula, bars, PositionalArgs(*named.formula, params), item);
        for (const fenxi::FormulaLine& l : r.lines) {
            if (!Drawn(l.attributes)) continue;
            json values = json::array();
            for (double v : l.values) values.push_back(Shown(v));
            out["lines"].push_back({{"name", l.name}, {"attributes", l.attributes}, {"values", std::move(values)}});
        }
        return out;
    }
    const fenxi::OperationSpec* op = named.operation;
    const fenxi::Lines lines = fenxi::Compute(op->name, WholeParams(*op, params), bars);
    if (!lines.ok()) throw CLI::ValidationError(lines.error.message);
    if (std::string(op->name) == "MA4" && params.empty()) out["name"] = "MA";
    for (std::size_t k = 0; k < lines.names.size(); ++k) {
        json values = json::array();
        for (double v : lines.values[k]) values.push_back(Shown(v));
        out["lines"].push_back({{"name", lines.names[k]},
                                {"attributes", BuiltinAttributes(*op, static_cast<int>(k))},
                                {"values", std::move(values)}});
    }
    return out;
}

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

json TacticsJson(const fenxi::Bars& bars) {
    json out = json::array();
    const std::pair<fenxi::Pool, const char*> pools[] = {
        {fenxi::Pool::Short, "short"}, {fenxi::Pool::Mid, "mid"}, {fenxi::Pool::Long, "long"}};
    for (const auto& [pool, name] : pools)
        for (const fenxi::TacticRecord& r : fenxi::Tactics(bars, pool))
            out.push_back({{"bar", r.bar}, {"pool", name}, {"kind", r.entry ? "entry" : "exit"}, {"tactic", r.name},
                           {"price", r.price}});
    return out;
}

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

fs::path FindAssets(const std::string& given, const char* script) {
    std::vector<fs::path> places;
    if (!given.empty()) places.emplace_back(given);
    std::error_code ec;
    const fs::path exe = fenxi::platform::ExecutablePath();
    if (!exe.empty()) places.push_back(exe.parent_path().parent_path() / "share" / "fenxi" / "web");
    places.emplace_back(FENXI_SOURCE_WEB_DIR);
    for (const fs::path& p : places)
        if (fs::exists(p / script, ec) && (fs::exists(p / kLibraryFile, ec) || fs::exists(p / kLibraryInModules, ec)))
            return p;
    throw std::runtime_error("the chart library is missing: run 'npm ci' in web/ (scripts/deps.sh does), or give --assets");
}

std::string ChartLibrary(const fs::path& assets) {
    const fs::path flat = assets / kLibraryFile;
    std::error_code ec;
    return Slurp(fs::exists(flat, ec) ? flat : assets / kLibraryInModules);
}

}  // namespace fenxi_cli
