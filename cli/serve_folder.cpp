#include "serve_folder.h"

#include <algorithm>
#include <chrono>

#include "serve_error.h"

namespace fenxi_cli {

namespace fs = std::filesystem;

FileStamp Stamp(const fs::path& path) {
    std::error_code ec;
    FileStamp s;
    s.size = fs::file_size(path, ec);
    if (ec) return {};
    const auto t = fs::last_write_time(path, ec);
    if (!ec) s.modified = std::chrono::duration_cast<std::chrono::nanoseconds>(t.time_since_epoch()).count();
    return s;
}

Folder::Folder(const std::string& dir) {
    std::error_code ec;
    root_ = fs::canonical(dir, ec);
    if (ec || !fs::is_directory(root_, ec)) throw std::runtime_error(dir + ": not a directory");
}

namespace {

// The canonical path of `p` when it is a regular file directly in `root`.
bool Inside(const fs::path& root, const fs::path& p, fs::path& canonical) {
    std::error_code ec;
    canonical = fs::canonical(p, ec);
    return !ec && canonical.parent_path() == root && fs::is_regular_file(canonical, ec) && !ec;
}

}  // namespace

std::vector<std::string> Folder::Names() const {
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(root_, ec), end; !ec && it != end && names.size() < kMaxFolderFiles;
         it.increment(ec)) {
        fs::path canonical;
        if (it->path().extension() == ".csv" && Inside(root_, it->path(), canonical))
            names.push_back(it->path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

fs::path Folder::Resolve(const std::string& name) const {
    if (name.empty() || name.size() > 255 || name == "." || name == ".." ||
        name.find_first_of(std::string("/\\\0", 3)) != std::string::npos)
        throw HttpError(400, "file: a file name of the folder, without a path");
    fs::path canonical;
    if (fs::path(name).extension() != ".csv" || !Inside(root_, root_ / name, canonical))
        throw HttpError(404, name + ": no such bar file in the folder");
    return canonical;
}

std::shared_ptr<const Loaded> Folder::Load(const std::string& name) {
    const fs::path path = Resolve(name);
    std::shared_ptr<Slot> slot;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        std::shared_ptr<Slot>& s = slots_[name];
        if (s == nullptr) s = std::make_shared<Slot>();
        slot = s;
    }
    std::lock_guard<std::mutex> reading(slot->reading);
    // A file written while it is read is read again, a few times.
    for (int attempt = 0;; ++attempt) {
        const FileStamp before = Stamp(path);
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (slot->bars != nullptr && slot->bars->stamp == before) {
                slot->used = ++clock_;
                return slot->bars;
            }
        }
        if (before.size > kMaxFileBytes)
            throw HttpError(413, name + ": larger than the " + std::to_string(kMaxFileBytes >> 20) +
                                     " MiB a served file may have");
        auto loaded = std::make_shared<Loaded>();
        loaded->name = name;
        loaded->stamp = before;
        readers_.acquire();
        try {
            loaded->file = ReadBars(path.string());
        } catch (...) {
            readers_.release();
            if (Stamp(path) != before && attempt < 3) continue;
            throw;
        }
        readers_.release();
        if (Stamp(path) != before) {
            if (attempt < 3) continue;
            throw InputError(name + ": the file keeps changing while it is read");
        }
        if (loaded->file.bars.empty()) throw InputError(name + ": no bars");
        Keep(slot, loaded);
        return loaded;
    }
}

void Folder::Keep(const std::shared_ptr<Slot>& slot, std::shared_ptr<const Loaded> bars) {
    std::lock_guard<std::mutex> lock(mutex_);
    slot->bars = std::move(bars);
    slot->used = ++clock_;
    // The least recently used files' bars go while more than the bound are kept.
    for (;;) {
        std::size_t total = 0;
        Slot* oldest = nullptr;
        for (auto& [name, s] : slots_) {
            if (s->bars == nullptr) continue;
            total += s->bars->file.bars.size();
            if (s.get() != slot.get() && (oldest == nullptr || s->used < oldest->used)) oldest = s.get();
        }
        if (total <= kMaxCachedBars || oldest == nullptr) return;
        oldest->bars = nullptr;
    }
}

}  // namespace fenxi_cli
