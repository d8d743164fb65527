// The shipped formula library, swept: every entry at its defaults and at its
// parameters' bounds over every shipped series, screens over history, and
// references to entries from other formulas.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "bars_csv.h"
#include "fenxi/formula.h"
#include "formula/shipped.h"

namespace {

struct Series {
    std::string name;
    fenxi::Bars bars;
    double low = 0, high = 0;  // the whole series' price range
};

const std::vector<Series>& AllSeries() {
    static const std::vector<Series> all = [] {
        std::vector<Series> out;
        std::vector<std::filesystem::path> files;
        for (const auto& e : std::filesystem::directory_iterator(FENXI_DATA_DIR))
            if (e.path().extension() == ".csv") files.push_back(e.path());
        std::sort(files.begin(), files.end());
        for (const auto& path : files) {
            fenxi_cli::BarFile f = fenxi_cli::ReadBars(path.string());
            Series s{path.filename().string(), fenxi::Bars{f.bars, f.unit}};
            s.low = 1e300, s.high = -1e300;
            for (const UNIKDATA& b : f.bars) {
                s.low = std::min(s.low, static_cast<double>(b.Low) / f.unit);
                s.high = std::max(s.high, static_cast<double>(b.High) / f.unit);
            }
            out.push_back(std::move(s));
        }
        return out;
    }();
    return all;
}

bool Screen(const fenxi::FormulaEntry& e) { return e.file == "formulas/screens.fx"; }

// The parameter sets an entry is swept at: defaults, each parameter at its
// minimum and at its maximum, all at their minimum and all at their maximum.
std::vector<std::pair<std::string, fenxi::FormulaArgs>> ParameterSets(const fenxi::FormulaEntry& e) {
    std::vector<std::pair<std::string, fenxi::FormulaArgs>> sets = {{"defaults", {}}};
    fenxi::FormulaArgs lows, highs;
    for (const fenxi::FormulaParam& p : e.parameters) {
        sets.push_back({p.name + "=min", {{p.name, p.min}}});
        sets.push_back({p.name + "=max", {{p.name, p.max}}});
        lows.emplace_back(p.name, p.min);
        highs.emplace_back(p.name, p.max);
    }
    if (e.parameters.size() > 1) {
        sets.push_back({"all at min", lows});
        sets.push_back({"all at max", highs});
    }
    return sets;
}

TEST(Library, EveryShippedFileLoadsAndTheLibraryIsLarge) {
    fenxi::FormulaLibrary empty(fenxi::FormulaLibrary::Start::Empty);
    for (int k = 0; k < fenxi::formula::kShippedFileCount; ++k) {
        const fenxi::formula::ShippedFile& file = fenxi::formula::kShippedFiles[k];
        const fenxi::FormulaError e = empty.Load(file.text, file.name);
        EXPECT_FALSE(e) << e.Format(file.name);
    }
    const std::vector<fenxi::FormulaEntry> entries = fenxi::FormulaLibrary::Shipped().Entries();
    EXPECT_EQ(entries.size(), empty.Entries().size());
    const auto screens = std::count_if(entries.begin(), entries.end(), Screen);
    EXPECT_GE(static_cast<std::size_t>(entries.size() - screens) + fenxi::Operations().size(), 157u);
    EXPECT_GE(screens, 10);
    std::set<std::string> names;
    for (const fenxi::FormulaEntry& e : entries) {
        EXPECT_TRUE(e.shipped) << e.name;
        EXPECT_FALSE(e.description.empty()) << e.name;
        EXPECT_TRUE(names.insert(e.name).second) << e.name;
    }
}

// Every entry at every parameter set over every series: it runs; at the
// defaults every line has values on every series, and past its first value
// is NaN on at most a tenth of the bars; at the bounds the same holds on the
// longest series. Overlay lines stay within a price range of the prices.
TEST(Library, EveryEntryAtDefaultsAndBoundsOverEveryShippedSeries) {
    const std::vector<Series>& all = AllSeries();
    ASSERT_GE(all.size(), 2u);
    const Series& longest = *std::max_element(all.begin(), all.end(), [](const Series& a, const Series& b) {
        return a.bars.bars.size() < b.bars.bars.size();
    });
    const fenxi::FormulaLibrary& library = fenxi::FormulaLibrary::Shipped();
    for (const fenxi::FormulaEntry& e : library.Entries()) {
        const fenxi::Formula& f = *library.Find(e.name);
        for (const auto& [label, args] : ParameterSets(e)) {
            for (const Series& s : all) {
                const bool defaults = args.empty();
                const fenxi::FormulaResult r = f.Run(s.bars, args);
                ASSERT_TRUE(r.ok()) << e.name << " " << label << " on " << s.name << ": " << r.formulaError.Format(e.name);
                // At the bounds every series runs; the lines are judged on the
                // longest, the only one longer than every bound's warm-up.
                if (!defaults && &s != &longest) continue;
                for (const fenxi::FormulaLine& line : r.lines) {
                    const std::string where = e.name + "." + line.name + " " + label + " on " + s.name;
                    const auto first = std::find_if(line.values.begin(), line.values.end(),
                                                    [](double v) { return v == v; });
                    if (first == line.values.end()) {
                        ADD_FAILURE() << where << ": NaN everywhere";
                        continue;
                    }
                    const auto gaps = std::count_if(first, line.values.end(), [](double v) { return v != v; });
                    EXPECT_LE(gaps * 10, line.values.end() - first) << where << ": " << gaps << " NaN after its first value";
                    if (!e.overlay || !defaults || Screen(e)) continue;
                    const double span = s.high - s.low;
                    for (double v : line.values)
                        if (v == v && (v < s.low - span || v > s.high + span)) {
                            ADD_FAILURE() << where << ": " << v << " far outside the prices " << s.low << ".." << s.high;
                            break;
                        }
                }
            }
        }
    }
}

// A screen passes on its last bar; over a long history each should pass on
// some bar (a screen that can never pass is a broken screen).
TEST(Library, EveryScreenPassesSomewhereInHistory) {
    const fenxi::FormulaLibrary& library = fenxi::FormulaLibrary::Shipped();
    for (const fenxi::FormulaEntry& e : library.Entries()) {
        if (!Screen(e)) continue;
        int passes = 0;
        for (const Series& s : AllSeries()) {
            const fenxi::FormulaResult r = library.Find(e.name)->Run(s.bars);
            ASSERT_TRUE(r.ok()) << e.name;
            const std::vector<double>& verdict = r.lines.back().values;
            passes += static_cast<int>(std::count_if(verdict.begin(), verdict.end(), [](double v) { return v == v && v != 0; }));
            // The screen's view of the last bar is the run's last bar.
            const fenxi::FormulaLast last = library.Find(e.name)->Last(s.bars);
            ASSERT_EQ(last.values.size(), r.lines.size());
            for (std::size_t k = 0; k < r.lines.size(); ++k) {
                const double a = last.values[k], b = r.lines[k].values.back();
                EXPECT_TRUE(a == b || (a != a && b != b)) << e.name << " " << r.lines[k].name;
            }
            EXPECT_EQ(last.pass, verdict.back() == verdict.back() && verdict.back() != 0) << e.name;
        }
        EXPECT_GT(passes, 0) << e.name << " never passes";
    }
}

// Entries are streamed exactly as they run in batch (the library's recurrences,
// windows and references included).
TEST(Library, EveryEntryStreamsAsItRuns) {
    const Series& s = AllSeries().front();
    const std::vector<UNIKDATA> bars(s.bars.bars.begin(), s.bars.bars.begin() + std::min<std::size_t>(400, s.bars.bars.size()));
    const fenxi::FormulaLibrary& library = fenxi::FormulaLibrary::Shipped();
    for (const fenxi::FormulaEntry& e : library.Entries()) {
        const fenxi::Formula& f = *library.Find(e.name);
        const fenxi::FormulaResult whole = f.Run(fenxi::Bars{bars, s.bars.unit});
        fenxi::FormulaStream stream = f.Stream(s.bars.unit);
        for (std::size_t i = 0; i < bars.size(); ++i) {
            const auto last = stream.Append(bars[i]);
            for (std::size_t k = 0; k < whole.lines.size(); ++k) {
                const double a = last[k], b = whole.lines[k].values[i];
                if (!(a == b || (a != a && b != b))) {
                    ADD_FAILURE() << e.name << "." << whole.lines[k].name << " bar " << i << ": " << a << " vs " << b;
                    goto next;
                }
            }
        }
    next:;
    }
}

// Formulas name the shipped entries as they name the registry's operations.
TEST(Library, FormulasReferenceShippedEntries) {
    const Series& s = AllSeries().front();
    const fenxi::Formula byReference("A: \"ATR.ATR\"(20); B: BBI.BBI;");
    ASSERT_TRUE(byReference.ok()) << byReference.error().Format("ref");
    const fenxi::FormulaResult r = byReference.Run(s.bars);
    const fenxi::FormulaResult atr = fenxi::FormulaLibrary::Shipped().Find("ATR")->Run(s.bars, {{"N", 20}});
    const fenxi::FormulaResult bbi = fenxi::FormulaLibrary::Shipped().Find("bbi")->Run(s.bars);
    ASSERT_TRUE(r.ok() && atr.ok() && bbi.ok());
    const auto same = [](const std::vector<double>& a, const std::vector<double>& b) {
        return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](double x, double y) {
                   return x == y || (x != x && y != y);
               });
    };
    EXPECT_TRUE(same(r.lines[0].values, *atr.Find("ATR")));
    EXPECT_TRUE(same(r.lines[1].values, *bbi.Find("BBI")));
    // A user's file may not redefine a shipped name.
    fenxi::FormulaLibrary mine;
    const fenxi::FormulaError e = mine.Load("FORMULA ATR\nA:C;\nEND\n", "mine.fx");
    EXPECT_NE(e.message.find("'ATR' is taken: an entry of formulas/platform.fx"), std::string::npos) << e.message;
}

}  // namespace
