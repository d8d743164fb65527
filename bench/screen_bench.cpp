// A screen over a folder of bar files, split into reading and evaluation:
// the files are read into memory once (timed), then the screen's formula runs
// over every security on `jobs` threads, five times (median).
//   fenxi_screen_bench DIR SCREEN [jobs]
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "bars_csv.h"
#include "fenxi/formula.h"

namespace {

template <class F>
void Parallel(std::size_t count, int jobs, F&& one) {
    std::atomic<std::size_t> next{0};
    auto work = [&] {
        for (std::size_t k; (k = next++) < count;) one(k);
    };
    std::vector<std::thread> workers;
    for (int t = 1; t < jobs; ++t) workers.emplace_back(work);
    work();
    for (std::thread& t : workers) t.join();
}

double Seconds(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s DIR SCREEN [jobs]\n", argv[0]);
        return 2;
    }
    const int jobs = argc > 3 ? std::max(1, std::atoi(argv[3])) : 2;
    const fenxi::FormulaLibrary& library = fenxi::FormulaLibrary::Shipped();
    fenxi::Formula text;
    const fenxi::Formula* screen = library.Find(argv[2]);
    if (screen == nullptr) {
        text = fenxi::Formula(argv[2]);
        if (!text.ok()) {
            std::fprintf(stderr, "%s\n", text.error().Format("screen").c_str());
            return 2;
        }
        screen = &text;
    }
    std::vector<std::string> files;
    for (const auto& e : std::filesystem::directory_iterator(argv[1]))
        if (e.path().extension() == ".csv") files.push_back(e.path().string());
    std::sort(files.begin(), files.end());

    std::vector<fenxi::Bars> all(files.size());
    auto start = std::chrono::steady_clock::now();
    Parallel(files.size(), jobs, [&](std::size_t k) {
        fenxi_cli::BarFile f = fenxi_cli::ReadBars(files[k]);
        all[k] = fenxi::Bars{std::move(f.bars), f.unit};
    });
    const double read = Seconds(start);
    std::int64_t bars = 0;
    for (const fenxi::Bars& b : all) bars += static_cast<std::int64_t>(b.bars.size());

    std::vector<double> runs;
    std::atomic<int> passing{0};
    for (int r = 0; r < 5; ++r) {
        passing = 0;
        start = std::chrono::steady_clock::now();
        Parallel(all.size(), jobs, [&](std::size_t k) { passing += screen->Last(all[k]).pass ? 1 : 0; });
        runs.push_back(Seconds(start));
    }
    std::sort(runs.begin(), runs.end());
    const double evaluate = runs[runs.size() / 2];
    std::printf("| %s | %zu securities, %lld bars | %d jobs | read %.2f s | evaluate %.3f s (%.1f ns per bar) | %d pass |\n",
                argv[2], files.size(), static_cast<long long>(bars), jobs, read, evaluate, evaluate * 1e9 / bars * jobs,
                passing.load());
    return 0;
}
