#include "serve_live.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>

#include "chart_data.h"
#include "serve_api.h"
#include "serve_error.h"

namespace fenxi_cli {

namespace {

bool Same(const UNIKDATA& a, const UNIKDATA& b) {
    return a.Date == b.Date && a.Time == b.Time && a.Open == b.Open && a.High == b.High && a.Low == b.Low &&
           a.Close == b.Close && a.Volume == b.Volume &&
           std::memcmp(&a.Amount, &b.Amount, sizeof a.Amount) == 0;  // the same bits: NaN amounts compare equal
}

std::string Event(const char* name, const std::string& data) { return "event: " + std::string(name) + "\ndata: " + data + "\n\n"; }

}  // namespace

LiveFeed::LiveFeed(Folder& folder, const std::string& name, std::vector<LineSet> sets)
    : folder_(folder), name_(name), sets_(std::move(sets)) {
    if (sets_.size() > kMaxLiveSets) throw HttpError(400, "items: at most " + std::to_string(kMaxLiveSets));
    Restart(folder_.Load(name_));
}

void LiveFeed::Restart(std::shared_ptr<const Loaded> loaded) {
    shown_ = std::move(loaded);
    const std::vector<UNIKDATA>& bars = shown_->file.bars;
    streams_.clear();
    for (const LineSet& set : sets_) {
        if (set.textBytes > 0 && static_cast<std::uint64_t>(set.textBytes) * bars.size() > kMaxFormulaWork)
            throw HttpError(413, "the formula text is too long for the live feed of " + std::to_string(bars.size()) +
                                     " bars");
        LineStream& s = streams_.emplace_back(set, shown_->file.unit);
        for (const UNIKDATA& b : bars) s.Append(b);
    }
}

std::string LiveFeed::BarEvent(const char* kind, std::size_t index, const std::vector<std::vector<double>>& values) const {
    const UNIKDATA& b = shown_->file.bars[index];
    const double unit = shown_->file.unit;
    const double bar[] = {static_cast<double>(Seconds(b.Date, b.Time)), b.Open / unit, b.High / unit, b.Low / unit,
                          b.Close / unit, static_cast<double>(b.Volume)};
    std::string data = "{\"kind\":\"" + std::string(kind) + "\",\"index\":" + std::to_string(index) +
                       ",\"total\":" + std::to_string(shown_->file.bars.size()) + ",\"bar\":";
    AppendNumbers(data, bar, 6);
    data += ",\"values\":[";
    for (std::size_t k = 0; k < values.size(); ++k) {
        if (k) data += ',';
        AppendNumbers(data, values[k].data(), values[k].size());
    }
    return Event("bar", data + "]}");
}

std::string LiveFeed::Poll() {
    std::shared_ptr<const Loaded> loaded;
    try {
        if (Stamp(folder_.Resolve(name_)) == shown_->stamp) return "";
        loaded = folder_.Load(name_);
    } catch (const std::exception& e) {
        if (problem_ == e.what()) return "";
        problem_ = e.what();
        return Event("problem", Dump({{"error", problem_}}));
    }
    problem_.clear();
    if (loaded->stamp == shown_->stamp) return "";
    const std::vector<UNIKDATA>& before = shown_->file.bars;
    const std::vector<UNIKDATA>& now = loaded->file.bars;
    const std::size_t old = before.size();
    // Grown by bars, or its last bar rewritten: the bars before stay.
    const bool kept = loaded->file.unit == shown_->file.unit && now.size() >= old && old > 0 &&
                      now.size() - old <= kMaxLiveAppend && std::equal(before.begin(), before.end() - 1, now.begin(), Same);
    if (!kept) {
        try {
            Restart(loaded);
        } catch (const std::exception& e) {
            problem_ = e.what();
            return Event("problem", Dump({{"error", problem_}}));
        }
        return Event("reset", "{\"total\":" + std::to_string(now.size()) + "}");
    }
    const std::shared_ptr<const Loaded> previous = shown_;
    shown_ = loaded;  // the events read their bars from it
    std::string events;
    for (std::size_t i = old - 1; i < now.size(); ++i) {
        const bool replace = i == old - 1;
        if (replace && Same(previous->file.bars[i], now[i])) continue;
        std::vector<std::vector<double>> values;
        for (LineStream& s : streams_) values.push_back(replace ? s.ReplaceLast(now[i]) : s.Append(now[i]));
        events += BarEvent(replace ? "replace" : "append", i, values);
    }
    return events;
}

}  // namespace fenxi_cli
