#include "serve_screen.h"

#include <vector>

#include "scan.h"
#include "serve_error.h"
#include "serve_lines.h"

namespace fenxi_cli {

struct Screens::Job {
    std::uint64_t number = 0;
    std::shared_ptr<const fenxi::Formula> formula;
    fenxi::FormulaArgs args;
    std::vector<std::string> names;  // the folder's files when the screen started
    ScreenProgress progress;
    std::mutex mutex;
    bool done = false;             // guarded by mutex
    nlohmann::json rows, errors;   // guarded by mutex, set when done
    std::thread thread;
};

Screens::~Screens() {
    std::map<std::string, std::shared_ptr<Job>> jobs;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        jobs.swap(jobs_);
    }
    for (auto& [id, job] : jobs) job->progress.cancel = true;
    for (auto& [id, job] : jobs)
        if (job->thread.joinable()) job->thread.join();
}

std::string Screens::Start(const std::string& where, const fenxi::FormulaArgs& args) {
    auto job = std::make_shared<Job>();
    if (const fenxi::Formula* entry = library_.Find(where)) {
        job->formula = std::shared_ptr<const fenxi::Formula>(entry, [](const fenxi::Formula*) {});  // the library's
    } else {
        job->formula = CompileText(where, library_).formula;
    }
    job->args = args;
    std::vector<std::string> paths;
    for (const std::string& name : folder_.Names()) {
        try {
            paths.push_back(folder_.Resolve(name).string());
            job->names.push_back(name);
        } catch (const HttpError&) {
            // gone since it was listed
        }
    }

    std::string id;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        int running = 0;
        for (auto& [key, j] : jobs_) {
            std::lock_guard<std::mutex> l(j->mutex);
            running += !j->done;
        }
        if (running >= kMaxRunningScreens) throw HttpError(429, "two screens are running: wait for one to finish");
        // Finished jobs beyond the bound go, oldest first.
        while (static_cast<int>(jobs_.size()) >= kMaxKeptScreens) {
            auto oldest = jobs_.end();
            for (auto it = jobs_.begin(); it != jobs_.end(); ++it) {
                std::lock_guard<std::mutex> l(it->second->mutex);
                if (it->second->done && (oldest == jobs_.end() || it->second->number < oldest->second->number))
                    oldest = it;
            }
            if (oldest == jobs_.end()) break;
            oldest->second->thread.join();
            jobs_.erase(oldest);
        }
        job->number = ++next_;
        id = std::to_string(job->number);
        jobs_[id] = job;
    }
    Job* j = job.get();
    job->thread = std::thread([j, paths] {
        nlohmann::json rows = nlohmann::json::array(), errors = nlohmann::json::array();
        try {
            // Files above the served size are left out with an error, as a file that does not read.
            std::vector<std::string> readable;
            std::vector<std::size_t> index;
            for (std::size_t k = 0; k < paths.size(); ++k) {
                if (Stamp(paths[k]).size > kMaxFileBytes) {
                    errors.push_back({{"file", j->names[k]}, {"error", j->names[k] + ": larger than a served file may be"}});
                    ++j->progress.done;
                    continue;
                }
                readable.push_back(paths[k]);
                index.push_back(k);
            }
            std::vector<ScreenRow> result = ScreenFiles(*j->formula, j->args, readable, 2, &j->progress);
            for (std::size_t k = 0; k < result.size(); ++k) {
                ScreenRow& r = result[k];
                r.file = j->names[index[k]];  // the name listed, not the canonical file's
                if (r.last.formulaError) {
                    errors = nlohmann::json::array({{{"file", nullptr}, {"error", r.last.formulaError.message}}});
                    rows = nlohmann::json::array();
                    break;
                }
                if (!r.error.empty()) errors.push_back({{"file", r.file}, {"error", r.error}});
                else if (r.last.pass) rows.push_back(ScreenRowJson(r, j->formula->outputs(), false));
            }
        } catch (const std::exception& e) {
            errors.push_back({{"file", nullptr}, {"error", e.what()}});
        }
        std::lock_guard<std::mutex> lock(j->mutex);
        j->rows = std::move(rows);
        j->errors = std::move(errors);
        j->done = true;
    });
    return id;
}

std::shared_ptr<Screens::Job> Screens::Find(const std::string& id) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = jobs_.find(id);
    if (it == jobs_.end()) throw HttpError(404, "no screen " + id.substr(0, 32));
    return it->second;
}

void Screens::Cancel(const std::string& id) { Find(id)->progress.cancel = true; }

nlohmann::json Screens::Status(const std::string& id) {
    const std::shared_ptr<Job> job = Find(id);
    std::lock_guard<std::mutex> lock(job->mutex);
    nlohmann::json out = {{"id", id}, {"done", job->done}, {"files", job->names.size()},
                          {"screened", job->progress.done.load()}};
    nlohmann::json lines = nlohmann::json::array();
    for (const fenxi::FormulaOutput& o : job->formula->outputs()) lines.push_back(o.name);
    out["lines"] = lines;
    if (job->done) {
        out["rows"] = job->rows;
        out["errors"] = job->errors;
    }
    return out;
}

}  // namespace fenxi_cli
