#include "serve_api.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <semaphore>

#include "chart_data.h"
#include "format.h"
#include "serve_error.h"

namespace fenxi_cli {

using nlohmann::json;

std::int64_t ParseWhole(const std::string& text, const char* what) {
    std::int64_t v = 0;
    const auto r = std::from_chars(text.data(), text.data() + text.size(), v);
    if (text.empty() || r.ec != std::errc() || r.ptr != text.data() + text.size())
        throw HttpError(400, std::string(what) + ": a whole number, not '" + text.substr(0, 32) + "'");
    return v;
}

Range ParseRange(const std::string& from, const std::string& to, std::int64_t n) {
    auto at = [n](std::int64_t v) { return std::clamp(v < 0 ? n + v : v, std::int64_t{0}, n); };
    Range r{from.empty() ? 0 : at(ParseWhole(from, "from")), to.empty() ? n : at(ParseWhole(to, "to"))};
    r.to = std::max(r.to, r.from);
    r.from = std::max(r.from, r.to - kMaxRangeBars);
    return r;
}

fenxi::FormulaArgs ParseNamedParams(const std::string& text) {
    fenxi::FormulaArgs args;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find(',', start);
        if (end == std::string::npos) end = text.size();
        const std::string item = text.substr(start, end - start);
        const std::size_t eq = item.find('=');
        double v = 0;
        const char* first = eq == std::string::npos ? nullptr : item.data() + eq + 1;
        const auto r = first ? std::from_chars(first, item.data() + item.size(), v) : std::from_chars_result{};
        if (first == nullptr || eq == 0 || r.ec != std::errc() || r.ptr != item.data() + item.size() || !std::isfinite(v))
            throw HttpError(400, "params: NAME=VALUE,..., not '" + item.substr(0, 32) + "'");
        if (args.size() == 32) throw HttpError(400, "params: at most 32");
        args.emplace_back(item.substr(0, eq), v);
        start = end + 1;
    }
    return args;
}

std::string Dump(const json& v) { return v.dump(-1, ' ', false, json::error_handler_t::replace); }

namespace {

// Computations over a whole series run at most four at once: each holds its
// lines (8 bytes a bar a line) until it answers, so the memory of many
// clients asking together stays bounded; the others wait their turn.
std::counting_semaphore<4> computing{4};
struct Computing {
    Computing() { computing.acquire(); }
    ~Computing() { computing.release(); }
    Computing(const Computing&) = delete;
    Computing& operator=(const Computing&) = delete;
};

// The JSON text of `v` without its closing brace, to append columns to.
std::string Open(const json& v) {
    std::string s = Dump(v);
    s.pop_back();
    return s;
}

json ParamsJson(const std::string& name, double def, double min, double max) {
    return {{"name", name}, {"default", def}, {"min", min}, {"max", max}};
}

}  // namespace

std::string ListText(Folder& folder) {
    json out = json::array();
    for (const std::string& name : folder.Names()) {
        try {
            const auto loaded = folder.Load(name);
            const BarFile& f = loaded->file;
            const UNIKDATA& last = f.bars.back();
            const double close = static_cast<double>(last.Close) / f.unit;
            json row = {{"file", name}, {"code", f.code}, {"bars", f.bars.size()}, {"date", Date(last.Date)},
                        {"time", Time(last.Time)}, {"close", close}, {"change", nullptr}, {"percent", nullptr}};
            if (f.bars.size() > 1) {
                const double before = static_cast<double>(f.bars[f.bars.size() - 2].Close) / f.unit;
                row["change"] = (last.Close - f.bars[f.bars.size() - 2].Close) / static_cast<double>(f.unit);
                if (before != 0) row["percent"] = (close - before) / before * 100;
            }
            out.push_back(std::move(row));
        } catch (const std::exception& e) {
            out.push_back({{"file", name}, {"error", e.what()}});
        }
    }
    return Dump(out);
}

std::string NamesText(const fenxi::FormulaLibrary& library) {
    json out = json::array();
    for (const fenxi::OperationSpec& op : fenxi::Operations()) {
        json params = json::array(), lines = json::array();
        for (int k = 0; k < op.paramCount; ++k)
            params.push_back(ParamsJson(op.params[k].name, op.params[k].defaultValue, op.params[k].min, op.params[k].max));
        for (int k = 0; k < op.lineCount; ++k) lines.push_back(op.lines[k].name);
        out.push_back({{"name", op.name}, {"kind", "builtin"}, {"description", op.formula}, {"parameters", params},
                       {"lines", lines}});
    }
    for (const fenxi::FormulaEntry& e : library.Entries()) {
        json params = json::array(), lines = json::array();
        for (const fenxi::FormulaParam& p : e.parameters) params.push_back(ParamsJson(p.name, p.defaultValue, p.min, p.max));
        for (const fenxi::FormulaOutput& o : e.outputs) lines.push_back(o.name);
        out.push_back({{"name", e.name}, {"kind", "formula"}, {"description", e.description}, {"overlay", e.overlay},
                       {"screen", e.file.find("screens.fx") != std::string::npos}, {"parameters", params},
                       {"lines", lines}});
    }
    return Dump(out);
}

std::string BarsText(const Loaded& loaded, const Range& range) {
    const BarFile& f = loaded.file;
    std::string out = Open({{"file", loaded.name}, {"code", f.code}, {"unit", f.unit}, {"intraday", Intraday(f)},
                            {"total", f.bars.size()}, {"from", range.from}, {"to", range.to}});
    std::string columns = BarColumns(f, static_cast<std::size_t>(range.from), static_cast<std::size_t>(range.to));
    columns.front() = ',';  // the columns join the header's object
    return out + columns;
}

std::string LinesText(const Loaded& loaded, const LineSet& set, const Range& range) {
    const Computing slot;
    const fenxi::Bars bars{loaded.file.bars, loaded.file.unit};
    const std::vector<std::vector<double>> values = ComputeLines(set, bars);
    std::string out = Open({{"item", set.item}, {"label", set.label}, {"total", bars.bars.size()},
                            {"from", range.from}, {"to", range.to}});
    out += ",\"lines\":[";
    for (std::size_t k = 0; k < values.size(); ++k) {
        out += std::string(k ? ",{" : "{") + "\"name\":" + Dump(set.names[k]) + ",\"attributes\":" + Dump(set.attributes[k]) +
               ",\"values\":";
        AppendNumbers(out, values[k].data() + range.from, static_cast<std::size_t>(range.to - range.from));
        out += "}";
    }
    return out + "]}";
}

std::string MarksText(const Loaded& loaded) {
    const Computing slot;
    const fenxi::Bars bars{loaded.file.bars, loaded.file.unit};
    json out;
    Systems(bars, loaded.file, out["points"], out["tips"]);
    out["tactics"] = TacticsJson(bars);
    out["total"] = bars.bars.size();
    return Dump(out);
}

std::string FormsText(const Loaded& loaded) {
    const Computing slot;
    BarFile copy = loaded.file;
    return Dump(Charts(copy));
}

}  // namespace fenxi_cli
