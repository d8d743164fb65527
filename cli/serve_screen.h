// Screens of `fenxi serve`: a formula text or a library screen run over the
// folder on a background thread, polled by job id for progress and rows (the
// rows of `fenxi scan DIR --where ... --json`).
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "fenxi/formula.h"
#include "serve_folder.h"

namespace fenxi_cli {

// Screens running at once and kept for polling (the oldest finished ones go).
constexpr int kMaxRunningScreens = 2;
constexpr int kMaxKeptScreens = 16;

class Screens {
public:
    Screens(Folder& folder, const fenxi::FormulaLibrary& library) : folder_(folder), library_(library) {}
    ~Screens();  // cancels and joins the running screens

    // Starts a screen; its job id. HttpError 422 (with line and column) for a
    // text that does not compile, 429 while kMaxRunningScreens run.
    std::string Start(const std::string& where, const fenxi::FormulaArgs& args);
    // {"done", "files", "screened", "rows", "errors"}; HttpError 404 for an
    // unknown id.
    nlohmann::json Status(const std::string& id);
    // Leaves the files not yet read unread; HttpError 404 for an unknown id.
    void Cancel(const std::string& id);

private:
    struct Job;
    std::shared_ptr<Job> Find(const std::string& id);
    Folder& folder_;
    const fenxi::FormulaLibrary& library_;
    std::mutex mutex_;
    std::map<std::string, std::shared_ptr<Job>> jobs_;
    std::uint64_t next_ = 0;
};

}  // namespace fenxi_cli
