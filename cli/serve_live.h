// A live feed of `fenxi serve`: one open chart's file watched for a bar
// appended or its last bar rewritten; each change becomes server-sent events
// with the new last bar and every requested line's last value, computed
// through the exact streams (equal to a recompute over the grown file).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "serve_folder.h"
#include "serve_lines.h"

namespace fenxi_cli {

// Line sets of one feed, and bars one poll sends one by one (more is a reset:
// the page reloads the chart).
constexpr std::size_t kMaxLiveSets = 16;
constexpr std::size_t kMaxLiveAppend = 1000;

class LiveFeed {
public:
    // Reads the file and runs a stream of each set over its bars.
    LiveFeed(Folder& folder, const std::string& name, std::vector<LineSet> sets);

    // The events since the last call as event-stream text, empty when the
    // file did not change: "bar" (kind append or replace, the bar, each set's
    // line values), "reset" (the file was rewritten otherwise), "problem"
    // (the file does not read now; sent once per message).
    std::string Poll();

private:
    void Restart(std::shared_ptr<const Loaded> loaded);
    std::string BarEvent(const char* kind, std::size_t index, const std::vector<std::vector<double>>& values) const;

    Folder& folder_;
    std::string name_;
    std::vector<LineSet> sets_;
    std::vector<LineStream> streams_;
    std::shared_ptr<const Loaded> shown_;  // the bars the streams have seen, shared with the folder's cache
    std::string problem_;
};

}  // namespace fenxi_cli
