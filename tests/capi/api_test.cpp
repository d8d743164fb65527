// The fx_ C interface against the C++ API it wraps: every operation's lines
// equal to fenxi::Compute's bit for bit, formulas equal to fenxi::Formula's,
// and the thread rules the header states.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "bars.h"
#include "fenxi/fenxi_api.h"
#include "fenxi/formula.h"
#include "fenxi/series.h"

namespace {

bool Same(double a, double b) { return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0; }

// Arrays for `lines` lines of `n` values and the pointer list fx_ takes.
struct Out {
    Out(int lines, std::size_t n) : values(static_cast<std::size_t>(lines), std::vector<double>(n, -1.0)) {
        for (auto& v : values) pointers.push_back(v.data());
    }
    std::vector<std::vector<double>> values;
    std::vector<double*> pointers;
};

bool SameLines(const Out& a, const Out& b) {
    for (std::size_t k = 0; k < a.values.size(); ++k)
        for (std::size_t i = 0; i < a.values[k].size(); ++i)
            if (!Same(a.values[k][i], b.values[k][i])) return false;
    return true;
}

}  // namespace

TEST(CApiFx, EveryOperationEqualsComputeToTheBit) {
    const fenxi::Bars bars{testbars::Sample(), 100};
    const auto n = static_cast<int32_t>(bars.bars.size());
    for (const fenxi::OperationSpec& op : fenxi::Operations()) {
        // Defaults, all parameters at their minimums, all at their maximums;
        // the arrays hold -1 beforehand, so a bar left unwritten shows.
        std::vector<int32_t> mins, maxes;
        for (int k = 0; k < op.paramCount; ++k) mins.push_back(op.params[k].min), maxes.push_back(op.params[k].max);
        for (const std::vector<int32_t>& params : {std::vector<int32_t>{}, mins, maxes}) {
            const std::vector<int> given(params.begin(), params.end());
            const fenxi::Lines want = fenxi::Compute(op.name, given, bars);
            if (!want.ok()) continue;  // minimums some operations refuse together
            Out got(op.lineCount, bars.bars.size());
            int32_t lines = 0;
            ASSERT_EQ(fx_compute_bars(op.name, params.data(), static_cast<int32_t>(params.size()), bars.bars.data(), n,
                                      100, got.pointers.data(), op.lineCount, n, &lines),
                      FX_OK)
                << op.name << ": " << fx_last_error();
            ASSERT_EQ(lines, op.lineCount);
            for (int k = 0; k < op.lineCount; ++k)
                for (int32_t i = 0; i < n; ++i)
                    ASSERT_TRUE(Same(got.values[k][i], want.values[k][i])) << op.name << " line " << k << " bar " << i;
        }
    }
}

TEST(CApiFx, ColumnsAndFormulasAsTheCppApi) {
    const auto sample = testbars::Sample();
    std::vector<double> o, h, l, c, v, a;
    for (const UNIKDATA& b : sample) {
        o.push_back(b.Open / 100.0), h.push_back(b.High / 100.0), l.push_back(b.Low / 100.0);
        c.push_back(b.Close / 100.0), v.push_back(static_cast<double>(b.Volume)), a.push_back(b.Amount);
    }
    fenxi::PriceColumns pc;
    pc.open = o, pc.high = h, pc.low = l, pc.close = c, pc.volume = v, pc.amount = a;
    fx_columns fc{o.data(), h.data(), l.data(), c.data(), v.data(), a.data(), nullptr, nullptr,
                  static_cast<int32_t>(c.size()), 0};
    const auto n = fc.count;

    const int32_t kdj[] = {9, 3, 3};
    const fenxi::Lines want = fenxi::Compute("KDJ", {9, 3, 3}, pc);
    Out got(3, c.size());
    int32_t lines = 0;
    ASSERT_EQ(fx_compute_columns("KDJ", kdj, 3, &fc, got.pointers.data(), 3, n, &lines), FX_OK) << fx_last_error();
    for (int k = 0; k < 3; ++k)
        for (int32_t i = 0; i < n; ++i) ASSERT_TRUE(Same(got.values[k][i], want.values[k][i])) << k << " " << i;

    // A shipped entry through fx_library_find and through the C++ library.
    const char* text = "D:MACD.DIF(12,26,9)-EMA(CLOSE,12)+EMA(CLOSE,26);\nS:STD(CLOSE,20),COLORSTICK;\nX:CROSS(C,MA(C,20));";
    fx_formula* f = nullptr;
    ASSERT_EQ(fx_formula_compile(text, nullptr, &f, nullptr), FX_OK) << fx_last_error();
    const fenxi::Formula cpp(text);
    const fenxi::FormulaResult run = cpp.Run(pc);
    Out ran(3, c.size());
    ASSERT_EQ(fx_formula_run_columns(f, &fc, nullptr, nullptr, 0, ran.pointers.data(), 3, n, &lines), FX_OK);
    for (int k = 0; k < 3; ++k)
        for (int32_t i = 0; i < n; ++i) ASSERT_TRUE(Same(ran.values[k][i], run.lines[k].values[i])) << k << " " << i;
    double last[3];
    int32_t pass = -1;
    ASSERT_EQ(fx_formula_last_columns(f, &fc, nullptr, nullptr, 0, last, 3, &lines, &pass), FX_OK);
    const fenxi::Bars bars{sample, 100};
    const fenxi::FormulaLast screen = cpp.Last(bars);
    EXPECT_EQ(pass, screen.pass ? 1 : 0);
    for (int k = 0; k < 3; ++k) EXPECT_TRUE(Same(last[k], screen.values[k]));
    fx_formula_free(f);
}

// One compiled formula from several threads at once, each thread's error
// message its own.
TEST(CApiFx, OneFormulaManyThreadsErrorsPerThread) {
    const auto sample = testbars::Sample();
    const auto n = static_cast<int32_t>(sample.size());
    fx_formula* f = nullptr;
    ASSERT_EQ(fx_formula_compile("A:MA(C,20);\nB:STD(C,30)+SLOPE(C,14);", nullptr, &f, nullptr), FX_OK);
    Out want(2, sample.size());
    int32_t lines = 0;
    ASSERT_EQ(fx_formula_run_bars(f, sample.data(), n, 100, nullptr, nullptr, 0, want.pointers.data(), 2, n, &lines),
              FX_OK);
    std::vector<int> equal(4, 0);
    std::vector<std::string> messages(4);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < 5; ++round) {
                Out got(2, sample.size());
                int32_t count = 0;
                if (fx_formula_run_bars(f, sample.data(), n, 100, nullptr, nullptr, 0, got.pointers.data(), 2, n,
                                        &count) != FX_OK)
                    return;
                equal[t] += SameLines(got, want);
                int32_t index = 0;
                const std::string name = "NOSUCH" + std::to_string(t);
                fx_operation_find(name.c_str(), &index);  // this thread's own failure
                messages[t] = fx_last_error();
            }
        });
    for (auto& th : threads) th.join();
    for (int t = 0; t < 4; ++t) {
        EXPECT_EQ(equal[t], 5) << t;
        EXPECT_NE(messages[t].find("NOSUCH" + std::to_string(t)), std::string::npos) << messages[t];
    }
    fx_formula_free(f);
}

// Messages longer than the caller's fx_error (504 bytes) or the thread's
// buffer (1024) are cut before the character that does not fit whole.
TEST(CApiFx, LongMessagesCutOnCharacters) {
    fx_library* lib = nullptr;
    ASSERT_EQ(fx_library_create(FX_LIBRARY_EMPTY, &lib), FX_OK);
    struct Case {
        int chars;                 // of three bytes each, after "a"
        std::size_t error, last;   // the lengths kept
    };
    // "cannot read a" is 13 bytes: 490 more fit in 503 (163 characters and
    // 1 byte over), 1010 in 1023 (336 characters and 2 bytes over).
    for (const Case c : {Case{100, 313, 313}, Case{200, 502, 613}, Case{400, 502, 1021}}) {
        std::string path = "a";
        for (int k = 0; k < c.chars; ++k) path += "\xE4\xBB\xB7";
        fx_error error{};
        ASSERT_EQ(fx_library_load_file(lib, path.c_str(), &error), FX_ERR_IO);
        const std::string last = fx_last_error();
        EXPECT_EQ(std::strlen(error.message), c.error) << c.chars;
        EXPECT_EQ(last.size(), c.last) << c.chars;
        EXPECT_EQ(last.rfind("cannot read a\xE4", 0), 0u);
        EXPECT_EQ(last.compare(0, c.error, error.message), 0);
    }
    fx_library_free(lib);
}
