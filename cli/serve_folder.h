// The folder `fenxi serve` shows: its *.csv files by name, read only through
// their canonical paths inside the folder, with the bars of recently used
// files kept while their size and modification time stay the same.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <semaphore>
#include <string>
#include <vector>

#include "bars_csv.h"

namespace fenxi_cli {

// Bounds of what the folder serves (docs/serve.md): files listed, the size
// of a file read, and the bars kept in memory across files.
constexpr std::size_t kMaxFolderFiles = 5000;
constexpr std::uintmax_t kMaxFileBytes = 256u << 20;
constexpr std::size_t kMaxCachedBars = 8'000'000;

// Size and modification time: a file whose stamp changed is read again.
struct FileStamp {
    std::uintmax_t size = 0;
    std::int64_t modified = 0;  // nanoseconds of the file clock
    bool operator==(const FileStamp&) const = default;
};
FileStamp Stamp(const std::filesystem::path& path);

struct Loaded {
    std::string name;  // the file's name in the folder
    BarFile file;
    FileStamp stamp;
};

class Folder {
public:
    // Throws std::runtime_error when `dir` is not a directory.
    explicit Folder(const std::string& dir);

    const std::filesystem::path& root() const { return root_; }
    // The *.csv regular files directly in the folder whose canonical path
    // is in the folder (a symbolic link out of it is left out), sorted, at
    // most kMaxFolderFiles.
    std::vector<std::string> Names() const;
    // The canonical path of one of those names; HttpError 400 for a name
    // with a path in it, 404 for one not in the folder.
    std::filesystem::path Resolve(const std::string& name) const;
    // The bars of a file, read again when its stamp changed; HttpError 413
    // for a file over kMaxFileBytes, InputError for a file that does not
    // read (as when it is rewritten while read), with a file with no bars.
    std::shared_ptr<const Loaded> Load(const std::string& name);

private:
    struct Slot {
        std::mutex reading;                  // one reader per file at a time
        std::shared_ptr<const Loaded> bars;  // guarded by mutex_
        std::uint64_t used = 0;              // guarded by mutex_
    };
    void Keep(const std::shared_ptr<Slot>& slot, std::shared_ptr<const Loaded> bars);

    std::filesystem::path root_;
    std::mutex mutex_;
    std::map<std::string, std::shared_ptr<Slot>> slots_;
    std::uint64_t clock_ = 0;
    std::counting_semaphore<2> readers_{2};  // files parsed at once: bounds the memory of parsing
};

}  // namespace fenxi_cli
