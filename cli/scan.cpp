#include "scan.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <thread>

#include <nlohmann/json.hpp>

#include "bars_csv.h"
#include "catalog.h"
#include "fenxi/signals.h"
#include "format.h"
#include "platform/host.h"

namespace fenxi_cli {
namespace {

struct Point {
    std::string kind;  // D, K, entry, exit or empty
    std::string what;  // a tactic's name
    std::int32_t date = 0;
    double price = 0;
};

struct Summary {
    std::string file, code, error, tipText[2];
    int market = 0, bars = 0, unit = 0;
    Point system[2];  // long, short
    double tip[2] = {0, 0};
    Point tactic[3];  // short, mid, long pools
};

Summary ScanOne(const std::string& path) {
    Summary s;
    s.file = std::filesystem::path(path).filename().string();
    BarFile f;
    try {
        f = ReadBars(path);
    } catch (const InputError& e) {
        s.error = e.what();
        return s;
    }
    s.code = f.code;
    s.market = f.market;
    s.bars = static_cast<int>(f.bars.size());
    s.unit = f.unit;
    const fenxi::Bars bars{std::move(f.bars), f.unit};
    for (int k = 0; k < 2; ++k) {
        fenxi::SystemRun run = fenxi::RunSystem(bars, k == 0 ? fenxi::System::Long : fenxi::System::Short,
                                                fenxi::Security{f.code, f.market});
        if (!run.points.empty()) {
            const _SIG_TABLE& p = run.points.back();
            s.system[k] = {p.Kind == 0 ? "D" : "K", "", p.Date, p.Price / 10000};
        }
        s.tipText[k] = run.tip.text;
        s.tip[k] = run.tip.threshold;
    }
    const fenxi::Pool pools[] = {fenxi::Pool::Short, fenxi::Pool::Mid, fenxi::Pool::Long};
    for (int k = 0; k < 3; ++k) {
        const std::vector<fenxi::TacticRecord> records = fenxi::Tactics(bars, pools[k]);
        if (!records.empty()) {
            const fenxi::TacticRecord& r = records.back();
            s.tactic[k] = {r.entry ? "entry" : "exit", r.name, r.date, r.price};
        }
    }
    return s;
}

std::vector<std::string> Files(const std::vector<std::string>& inputs) {
    namespace fs = std::filesystem;
    std::vector<std::string> files;
    for (const std::string& in : inputs) {
        std::error_code ec;
        if (!fs::is_directory(in, ec)) {
            files.push_back(in);
            continue;
        }
        std::vector<std::string> found;
        for (const auto& e : fs::directory_iterator(in, ec))
            if (e.path().extension() == ".csv") found.push_back(e.path().string());
        std::sort(found.begin(), found.end());
        files.insert(files.end(), found.begin(), found.end());
    }
    return files;
}

// kind, date and (with `price`) price of a point: two or three cells.
std::string Cell(const Point& p, bool price) {
    if (p.kind.empty()) return price ? ",," : ",";
    const std::string kind = p.what.empty() ? p.kind : p.what + " " + p.kind;
    return kind + "," + Date(p.date) + (price ? "," + Number(p.price) : "");
}

nlohmann::json Json(const Point& p) {
    if (p.kind.empty()) return nullptr;
    nlohmann::json j = {{"kind", p.kind}, {"date", Date(p.date)}, {"price", p.price}};
    if (!p.what.empty()) j["tactic"] = p.what;
    return j;
}

// Runs `one(k)` for every k < count on `jobs` threads; a progress bar on a
// terminal unless `label` is null.
template <class F>
void ForEachFile(std::size_t count, int jobs, const char* label, F&& one) {
    std::atomic<std::size_t> next{0}, done{0};
    const bool progress = label != nullptr && fenxi::platform::StderrIsTerminal();
    auto work = [&] {
        for (std::size_t k; (k = next++) < count;) {
            one(k);
            const std::size_t finished = ++done;
            if (progress && (finished % 16 == 0 || finished == count)) {
                constexpr int kWidth = 30;
                const int filled = static_cast<int>(finished * kWidth / count);
                std::fprintf(stderr, "\r%s [%.*s%.*s] %zu/%zu", label, filled, "##############################",
                             kWidth - filled, "..............................", finished, count);
            }
        }
    };
    std::vector<std::thread> workers;
    for (int t = 1; t < std::max(1, jobs); ++t) workers.emplace_back(work);
    work();
    for (std::thread& t : workers) t.join();
    if (progress && count > 0) std::fprintf(stderr, "\n");
}

// The shortest text that reads back as the same double; empty for NaN.
std::string Exact(double v) {
    if (v != v) return "";
    char buf[32];
    const auto r = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, r.ptr);
}

}  // namespace

std::vector<ScreenRow> ScreenFiles(const fenxi::Formula& formula, const fenxi::FormulaArgs& args,
                                   const std::vector<std::string>& files, int jobs, ScreenProgress* progress) {
    std::vector<ScreenRow> rows(files.size());
    ForEachFile(files.size(), jobs, progress != nullptr ? nullptr : "screen", [&](std::size_t k) {
        ScreenRow& s = rows[k];
        s.file = std::filesystem::path(files[k]).filename().string();
        if (progress != nullptr && progress->cancel) {
            s.error = files[k] + ": cancelled";
            return;
        }
        try {
            BarFile f = ReadBars(files[k]);
            s.code = f.code;
            s.date = f.bars.back().Date;
            s.time = f.bars.back().Time;
            s.last = formula.Last(fenxi::Bars{std::move(f.bars), f.unit}, args);
            if (s.last.error) s.error = files[k] + ": " + s.last.error.message;
        } catch (const InputError& e) {
            s.error = e.what();
        }
        if (progress != nullptr) ++progress->done;
    });
    return rows;
}

nlohmann::json ScreenRowJson(const ScreenRow& s, std::span<const fenxi::FormulaOutput> outputs, bool all) {
    nlohmann::json values = nlohmann::json::object();
    for (std::size_t k = 0; k < outputs.size() && k < s.last.values.size(); ++k) {
        const double v = s.last.values[k];
        values[outputs[k].name] = v != v ? nlohmann::json(nullptr) : nlohmann::json(v);
    }
    nlohmann::json row = {{"file", s.file}, {"code", s.code}, {"date", Date(s.date)}, {"time", Time(s.time)}};
    if (all) row["pass"] = s.last.pass;
    row["values"] = values;
    return row;
}

int Screen(const fenxi::FormulaLibrary& library, const std::vector<std::string>& inputs, const ScreenOptions& o) {
    fenxi::Formula owned;
    const fenxi::Formula* formula = library.Find(o.where);
    if (formula == nullptr) {
        owned = fenxi::Formula(o.where, &library);
        if (!owned.ok()) throw FormulaRefused(owned.error().Format("where"));
        formula = &owned;
    }
    const std::vector<ScreenRow> rows = ScreenFiles(*formula, o.args, Files(inputs), o.jobs);
    // A parameter refused is the same for every file: a usage error.
    for (const ScreenRow& s : rows)
        if (s.last.formulaError) throw FormulaRefused(s.last.formulaError.Format(o.where));
    int failed = 0;
    for (const ScreenRow& s : rows)
        if (!s.error.empty()) {
            ++failed;
            std::fprintf(stderr, "%s\n", s.error.c_str());
        }
    const auto outputs = formula->outputs();
    if (o.json) {
        nlohmann::json out = nlohmann::json::array();
        for (const ScreenRow& s : rows)
            if (s.error.empty() && (o.all || s.last.pass)) out.push_back(ScreenRowJson(s, outputs, o.all));
        std::cout << out.dump(1) << "\n";
        return failed > 0 ? 1 : 0;
    }
    std::string header = "file,code,date,time";
    if (o.all) header += ",pass";
    for (const fenxi::FormulaOutput& out : outputs) header += "," + out.name;
    std::printf("%s\n", header.c_str());
    for (const ScreenRow& s : rows) {
        if (!s.error.empty() || !(o.all || s.last.pass)) continue;
        std::string line = s.file + "," + s.code + "," + Date(s.date) + "," + Time(s.time);
        if (o.all) line += s.last.pass ? ",1" : ",0";
        for (double v : s.last.values) line += "," + Exact(v);
        std::printf("%s\n", line.c_str());
    }
    return failed > 0 ? 1 : 0;
}

int Scan(const std::vector<std::string>& inputs, int jobs, bool json) {
    const std::vector<std::string> files = Files(inputs);
    std::vector<Summary> rows(files.size());
    ForEachFile(files.size(), jobs, "scan", [&](std::size_t k) { rows[k] = ScanOne(files[k]); });

    int failed = 0;
    for (const Summary& s : rows)
        if (!s.error.empty()) {
            ++failed;
            std::fprintf(stderr, "%s\n", s.error.c_str());
        }
    if (json) {
        nlohmann::json out = nlohmann::json::array();
        for (const Summary& s : rows) {
            if (!s.error.empty()) {
                out.push_back({{"file", s.file}, {"error", s.error}});
                continue;
            }
            nlohmann::json tip = nlohmann::json::object();
            const char* systems[] = {"long", "short"};
            for (int k = 0; k < 2; ++k)
                tip[systems[k]] = {{"text", s.tipText[k].empty() ? nlohmann::json(nullptr) : nlohmann::json(s.tipText[k])},
                                   {"threshold", s.tip[k]}};
            out.push_back({{"file", s.file}, {"code", s.code}, {"market", s.market}, {"bars", s.bars}, {"unit", s.unit},
                           {"long", Json(s.system[0])}, {"short", Json(s.system[1])}, {"tips", tip},
                           {"tactics", {{"short", Json(s.tactic[0])}, {"mid", Json(s.tactic[1])}, {"long", Json(s.tactic[2])}}}});
        }
        std::cout << out.dump(1) << "\n";
    } else {
        std::printf("file,code,market,bars,long_point,long_date,long_price,short_point,short_date,short_price,"
                    "long_tip,short_tip,tactic_short,tactic_short_date,tactic_mid,tactic_mid_date,tactic_long,"
                    "tactic_long_date,error\n");
        for (const Summary& s : rows) {
            if (!s.error.empty()) {
                std::printf("%s,,,,,,,,,,,,,,,,,,read error\n", s.file.c_str());
                continue;
            }
            std::printf("%s,%s,%d,%d,%s,%s,%s,%s,%s,%s,%s,\n", s.file.c_str(), s.code.c_str(), s.market, s.bars,
                        Cell(s.system[0], true).c_str(), Cell(s.system[1], true).c_str(),
                        s.tipText[0].empty() ? "" : Number(s.tip[0]).c_str(),
                        s.tipText[1].empty() ? "" : Number(s.tip[1]).c_str(), Cell(s.tactic[0], false).c_str(),
                        Cell(s.tactic[1], false).c_str(), Cell(s.tactic[2], false).c_str());
        }
    }
    return failed > 0 ? 1 : 0;
}

}  // namespace fenxi_cli
