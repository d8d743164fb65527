// The formula language: every function at its edges on hand-built bars, the
// errors and bounds of the text, the prefix property and stream equality on
// real series, and the O(1) window sums against a direct exact sum.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <random>
#include <sstream>

#include "bars.h"
#include "fenxi/formula.h"
#include "formula/exact_sum.h"

namespace {

bool SameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b); }

// Bars whose every price is the close (in hundredths); a close of -1 makes
// X (defined below) NaN at that bar.
fenxi::Bars Closes(const std::vector<double>& closes) {
    fenxi::Bars bars;
    bars.unit = 100;
    int date = 20240101;
    for (double c : closes) {
        const auto v = static_cast<std::int32_t>(std::llround(c * 100));
        UNIKDATA b = testbars::Bar(std::max(v, 0), std::max(v, 0), std::max(v, 0), std::max(v, 0), 1000, 0);
        b.Date = date++;
        bars.bars.push_back(b);
    }
    return bars;
}

std::string Show(const std::vector<double>& v) {
    std::string s;
    for (double x : v) {
        char buf[40];
        std::snprintf(buf, sizeof buf, "%.17g", x);
        s += (s.empty() ? "" : ",") + std::string(x != x ? "nan" : buf);
    }
    return s;
}

std::vector<double> Parse(const std::string& text) {
    std::vector<double> v;
    std::stringstream ss(text);
    for (std::string item; std::getline(ss, item, ',');) v.push_back(item == "nan" ? NAN : std::stod(item));
    return v;
}

// X is the close with NaN where the close is 0.
const std::string kPrefix = "X:=IF(C=0,1/0,C);";

struct Case {
    const char* formula;
    std::vector<double> closes;
    const char* want;
};

}  // namespace

TEST(Formula, FunctionsAtTheirEdges) {
    const Case cases[] = {
        // Window functions: warm-up, a NaN in the window, N = 0 from the first value.
        {"MA(X,3)", {1, 2, 3, 4, 0, 6, 7, 8, 9}, "nan,nan,2,3,nan,nan,nan,7,8"},
        {"SUM(X,2)", {1, 2, 3}, "nan,3,5"},
        {"SUM(X,0)", {0, 1, 2, 3}, "nan,1,3,6"},
        {"SUM(X,0)", {1, 2, 0, 3}, "1,3,nan,nan"},
        {"SUM(X,IF(BARPOS>2,2,0))", {1, 2, 3, 4}, "1,3,5,7"},
        {"WMA(X,3)", {1, 2, 3, 6}, "nan,nan,2.3333333333333335,4.333333333333333"},
        {"HHV(X,2)", {1, 3, 2, 0, 5}, "nan,3,3,nan,nan"},
        {"LLV(X,0)", {0, 3, 2, 4}, "nan,3,2,2"},
        {"HHVBARS(X,3)", {5, 1, 5, 2}, "nan,nan,0,1"},
        {"LLVBARS(X,3)", {1, 1, 3, 2}, "nan,nan,1,2"},
        {"REF(X,1)", {1, 2, 0, 4}, "nan,1,2,nan"},
        {"REF(X,0)", {1, 2}, "1,2"},
        {"REF(X,BARPOS-1)", {7, 8, 9}, "7,7,7"},
        {"STD(X,2)", {1, 3, 3}, "nan,1.4142135623730951,0"},
        {"STDP(X,2)", {1, 3}, "nan,1"},
        {"VAR(X,3)", {2, 4, 6}, "nan,nan,4"},
        {"VARP(X,2)", {2, 4}, "nan,1"},
        {"DEVSQ(X,3)", {1, 2, 3}, "nan,nan,2"},
        {"AVEDEV(X,3)", {1, 2, 6}, "nan,nan,2"},
        {"SLOPE(X,3)", {1, 2, 4, 4}, "nan,nan,1.5,1"},
        {"FORCAST(X,3)", {1, 2, 4}, "nan,nan,3.8333333333333335"},
        // Recurrences start at the first number and skip NaN without moving.
        {"EMA(X,3)", {0, 2, 4, 0, 6}, "nan,2,3,nan,4.5"},
        {"SMA(X,3,1)", {3, 6, 9}, "3,4,5.666666666666667"},
        {"MEMA(X,3)", {3, 6}, "3,4"},
        {"DMA(X,0.5)", {2, 4, 0, 8}, "2,3,nan,5.5"},
        {"DMA(X,IF(BARPOS=2,2,0.5))", {2, 4, 8}, "2,nan,5"},
        // Conditions and events.
        {"CROSS(X,3)", {2, 4, 4, 2, 0, 5}, "nan,1,0,0,nan,nan"},
        {"LONGCROSS(X,3,2)", {1, 2, 4, 1, 4}, "nan,nan,1,0,0"},
        {"COUNT(X>2,2)", {3, 0, 3, 3}, "nan,1,1,2"},
        {"COUNT(X>2,0)", {3, 1, 3}, "1,1,2"},
        {"EVERY(X>2,2)", {3, 3, 1, 3}, "nan,1,0,0"},
        {"EXIST(X>2,2)", {1, 3, 1, 1}, "nan,1,1,0"},
        {"LAST(X>2,2,1)", {3, 3, 3, 1, 3}, "nan,nan,1,1,0"},
        {"LAST(X>2,0,0)", {3, 3, 1, 3}, "1,1,0,0"},
        {"BARSLAST(X>2)", {1, 3, 1, 1}, "nan,0,1,2"},
        {"BARSSINCE(X>2)", {1, 3, 4, 1}, "nan,0,1,2"},
        {"BARSCOUNT(X)", {0, 5, 0, 5}, "nan,1,2,3"},
        {"VALUEWHEN(X>2,X*10)", {1, 3, 1, 4}, "nan,30,30,40"},
        {"FILTER(X>2,2)", {3, 3, 3, 3, 0, 3}, "1,0,0,1,0,0"},
        {"FILTER(X>2,1)", {0, 3, 1}, "nan,1,0"},
        // Three-valued logic, division by zero, signed zeros.
        {"X>2 AND X<5", {3, 6, 0}, "1,0,nan"},
        {"(X>2) OR 1/0", {3, 1}, "1,nan"},
        {"0 AND 1/0", {1}, "0"},
        {"X/(X-X)", {1}, "nan"},
        {"IF(X>2,1,2)", {3, 1, 0}, "1,2,nan"},
        {"IFN(X>2,1,2)", {3, 1}, "2,1"},
        {"NOT(X-1)", {1, 2, 0}, "1,0,nan"},
        {"BETWEEN(X,3,1)", {2, 4}, "1,0"},
        {"RANGE(X,1,3)", {3, 2}, "0,1"},
        {"MAX(X,-X)", {2, 0}, "2,nan"},
        {"SIGN(X-2)", {1, 2, 3}, "-1,0,1"},
        {"ROUND(X-0.5)+FLOOR(-X)*0+CEILING(0.2)", {2.5}, "3"},
        {"MOD(X,2)+INTPART(-X/4)", {7}, "0"},
        {"INTPART(-X/4)", {1}, "-0"},
        {"SQRT(X-5)", {4}, "nan"},
        {"LN(X-1)+LOG(100)", {1}, "nan"},
        {"POW(X,1000)", {100}, "nan"},
        {"-X*0", {1}, "-0"},
        {"BARPOS+YEAR*0", {1, 1}, "1,2"},
        {"WEEKDAY", {1}, "1"},  // 2024-01-01 was a Monday
    };
    for (const Case& c : cases) {
        fenxi::Formula f(kPrefix + "OUT:" + c.formula);
        ASSERT_TRUE(f.ok()) << c.formula << ": " << f.error().Format("f");
        const fenxi::FormulaResult r = f.Run(Closes(c.closes));
        ASSERT_TRUE(r.ok()) << c.formula;
        const std::vector<double> want = Parse(c.want);
        const std::vector<double>& got = r.lines.back().values;
        bool same = got.size() == want.size();
        for (std::size_t i = 0; same && i < got.size(); ++i) same = SameBits(got[i], want[i]);
        EXPECT_TRUE(same) << c.formula << ": got " << Show(got) << ", want " << Show(want);
    }
}

TEST(Formula, ErrorsNameTheirPlace) {
    const std::pair<const char*, const char*> cases[] = {
        {"DIF:EMAA(C,12)", "1:5: unknown function 'EMAA'; did you mean EMA?"},
        {"A：C", "1:2: full-width character '：': did you mean ':'?"},
        {"MA(C,0)", "1:6: MA: N must be a whole number in 1..100000, not 0"},
        {"MA(C,5.5)", "1:6: MA: N must be a whole number"},
        {"MA(C,C)", "1:6: MA: N must be a number or a parameter, not a series"},
        {"MA(C 5)", "1:6: unexpected '5'"},
        {"MA(C,5", "1:3: unclosed parenthesis"},
        {"(C+1;", "1:1: unclosed parenthesis"},
        {"MA(C)", "1:1: MA takes 2 arguments: MA(X,N)"},
        {"MA(C,0", "1:3: unclosed parenthesis"},
        {"A:=1;B:=2;", "1:1: no output line"},
        {"", "1:1: no output line"},
        {"A:C;A:O", "1:5: 'A' is already defined"},
        {"CLOSE:C", "1:1: 'CLOSE' is a built-in name"},
        {"A:B+1;B:C", "1:3: 'B' is used before its statement"},
        {"A:C,COLORPURPLE", "1:5: unknown attribute 'COLORPURPLE'"},
        {"A:C {open", "1:5: unclosed comment"},
        {"A:\"MACD.DIF", "1:3: unclosed quote"},
        {"A:NOSUCH.X", "1:3: unknown formula or operation 'NOSUCH'"},
        {"A:MACD.DIFF", "1:3: MACD has no line 'DIFF'; its lines are"},
        {"A:MACD.DIF(0)", "1:12: MACD.DIF:"},
        {"A:1e999", "1:3: number '1e999' is beyond the range of a double"},
        {"A:C;\n  B:MA(C,,2)", "2:10: unexpected ','"},
        {"A:C\n  B:C", "2:3: unexpected 'B'"},
        {"SMA(C,3,5)", "1:9: SMA: M must not exceed N"},
        {"LAST(C,1,2)", "1:10: LAST: B must not exceed A"},
    };
    for (const auto& [text, want] : cases) {
        fenxi::Formula f(text);
        ASSERT_FALSE(f.ok()) << text;
        const std::string got = std::to_string(f.error().line) + ":" + std::to_string(f.error().column) + ": " +
                                f.error().message;
        EXPECT_EQ(got.substr(0, std::strlen(want)), want) << text;
    }
    const fenxi::Formula f("A:C;\nB:EMAA(C,2)");
    EXPECT_EQ(f.error().Format("TEXT"), "TEXT:2:3: unknown function 'EMAA'; did you mean EMA?\nB:EMAA(C,2)\n  ^");
}

TEST(Formula, BoundsAreErrorsAtTheirPlace) {
    const std::string deep = "A:" + std::string(100000, '(') + "C" + std::string(100000, ')');
    fenxi::Formula nested(deep);
    EXPECT_EQ(nested.error().column, 2 + 257);
    EXPECT_NE(nested.error().message.find("256"), std::string::npos);
    std::string ops = "A:C";
    for (int k = 0; k < 10001; ++k) ops += "+1";
    fenxi::Formula many(ops);
    EXPECT_NE(many.error().message.find("10,000"), std::string::npos) << many.error().message;
    EXPECT_EQ(many.error().column, 4 + 2 * 10000);
    std::string statements;
    for (int k = 0; k < 257; ++k) statements += "A" + std::to_string(k) + ":C;";
    EXPECT_NE(fenxi::Formula(statements).error().message.find("256 statements"), std::string::npos);
    std::string big = "A:C;" + std::string(70000, ' ');
    fenxi::Formula large(big);
    EXPECT_NE(large.error().message.find("65,536"), std::string::npos);
    EXPECT_EQ(fenxi::Formula(std::string(33, 'A') + ":C").error().message, "name longer than 32 characters");
    std::string windows = "A:C";
    for (int k = 0; k < 300; ++k) windows += "+MA(C+" + std::to_string(k) + ",99999)";
    EXPECT_NE(fenxi::Formula(windows).error().message.find("256 MiB"), std::string::npos);
    std::string reads = "A:C";
    for (int k = 0; k < 11; ++k) reads += "+STD(C+" + std::to_string(k) + ",100000)";
    EXPECT_NE(fenxi::Formula(reads).error().message.find("1,000,000 values per bar"), std::string::npos);
}

// A corpus over every function and input: the value at each bar does not
// depend on the bars after it, and a stream with replacements equals Run.
const char* const kCorpus[] = {
    "DIF:EMA(CLOSE,12)-EMA(CLOSE,26); DEA:EMA(DIF,9); MACD:(DIF-DEA)*2,COLORSTICK;",
    "A:MA(C,5);B:MA(C,250);S:SUM(V,0);W:WMA(C,10);SL:SLOPE(C,20);F:FORCAST(H,14);",
    "SD:STD(C,20);SP:STDP(C,5);VA:VAR(L,7);VP:VARP(O,3);DS:DEVSQ(C,4);AD:AVEDEV(C,14);",
    "HH:HHV(H,20);LL:LLV(L,0);HB:HHVBARS(H,9);LB:LLVBARS(L,MOD(BARPOS,30));R:REF(C,3);RS:REF(C,MOD(BARPOS,7));",
    "X:CROSS(MA(C,5),MA(C,20));LC:LONGCROSS(MA(C,5),MA(C,20),5);CN:COUNT(C>O,10);CS:COUNT(C>O,MOD(BARPOS,20));",
    "E:EVERY(C>O,3);EX:EXIST(C>O,3);LA:LAST(C>O,5,2);BL:BARSLAST(C>REF(C,1));BS:BARSSINCE(C>10);",
    "BC:BARSCOUNT(MA(C,5));VW:VALUEWHEN(CROSS(C,MA(C,10)),C);FI:FILTER(C>O,3);D:DMA(C,V/(V+1000000));",
    "SM:SMA(C,9,3);ME:MEMA(C,5);WD:WEEKDAY;Y:YEAR+MONTH+DAY+HOUR+MINUTE+TIME;SU:SUM(C,MOD(BARPOS,5));",
    "HS:HHV(C,MOD(BARPOS,9));LS:LLVBARS(C,0);HV:HHV(IF(MOD(BARPOS,50)=0,1/0,C),5);Q:SQRT(C)+LN(C)+EXP(-C);",
    "K:\"KDJ.K\";B:BOLL.UPPER(20);M:MACD.DEA(6,13,5)+AMOUNT*0;",
};

TEST(Formula, ValuesDoNotDependOnLaterBars) {
    const auto sample = testbars::Sample();
    const fenxi::Bars full{sample, 100};
    for (const char* text : kCorpus) {
        fenxi::Formula f(text);
        ASSERT_TRUE(f.ok()) << text << ": " << f.error().Format("f");
        const fenxi::FormulaResult all = f.Run(full);
        ASSERT_TRUE(all.ok()) << text;
        for (std::size_t n : {std::size_t{1}, std::size_t{2}, std::size_t{37}, std::size_t{300}, std::size_t{1001}}) {
            const fenxi::FormulaResult part = f.Run(fenxi::Bars{{sample.begin(), sample.begin() + static_cast<long>(n)}, 100});
            for (std::size_t k = 0; k < all.lines.size(); ++k)
                for (std::size_t i = 0; i < n; ++i)
                    ASSERT_TRUE(SameBits(part.lines[k].values[i], all.lines[k].values[i]))
                        << text << " line " << all.lines[k].name << " bar " << i << " of " << n;
        }
    }
}

TEST(Formula, StreamsEqualARecompute) {
    const auto sample = testbars::Sample();
    std::mt19937 rng(7);
    for (const char* text : kCorpus) {
        fenxi::Formula f(text);
        const std::vector<UNIKDATA> bars(sample.begin(), sample.begin() + 900);
        const fenxi::FormulaResult all = f.Run(fenxi::Bars{bars, 100});
        fenxi::FormulaStream s = f.Stream(100);
        ASSERT_TRUE(s.ok()) << text;
        for (std::size_t i = 0; i < bars.size(); ++i) {
            std::span<const double> got = s.Append(bars[i]);
            for (unsigned r = rng() % 3; r > 0; --r) {  // a forming bar, then the bar as it closed
                UNIKDATA forming = bars[i];
                forming.Close = forming.Low + static_cast<std::int32_t>(rng() % 50);
                forming.High = std::max(forming.High, forming.Close);
                s.ReplaceLast(forming);
                got = s.ReplaceLast(bars[i]);
            }
            for (std::size_t k = 0; k < all.lines.size(); ++k)
                ASSERT_TRUE(SameBits(got[k], all.lines[k].values[i])) << text << " line " << all.lines[k].name << " bar " << i;
        }
    }
}

// The window sums kept in O(1) per bar (slot by slot, weighted sums updated
// from the plain one) against a direct exact sum of each window.
TEST(Formula, RunningWindowSumsEqualDirectSums) {
    std::mt19937_64 rng(11);
    std::vector<double> closes;
    for (int i = 0; i < 400; ++i) closes.push_back(static_cast<double>(rng() % 100000) / 100.0 + 1);
    const fenxi::Bars bars = Closes(closes);
    for (int n : {2, 3, 17, 64}) {
        const std::string N = std::to_string(n);
        fenxi::Formula f("M:MA(C," + N + ");W:WMA(C," + N + ");S:SLOPE(C," + N + ");F:FORCAST(C," + N + ");");
        const fenxi::FormulaResult r = f.Run(bars);
        for (std::size_t i = static_cast<std::size_t>(n) - 1; i < closes.size(); ++i) {
            fenxi::formula::ExactSum m, w, s, fc;
            for (int k = 0; k < n; ++k) {
                const double x = bars.bars[i - static_cast<std::size_t>(n - 1 - k)].Close / 100.0;
                m.Add(x);
                w.AddMultiple(k + 1, x);
                s.AddMultiple(2 * k - n + 1, x);
                fc.AddMultiple(3 * k - n + 2, x);
            }
            const auto un = static_cast<std::uint64_t>(n);
            ASSERT_TRUE(SameBits(r.lines[0].values[i], m.Divided(un))) << n << " MA " << i;
            ASSERT_TRUE(SameBits(r.lines[1].values[i], w.Divided(un * (un + 1) / 2))) << n << " WMA " << i;
            ASSERT_TRUE(SameBits(r.lines[2].values[i], s.Divided(un * (un * un - 1) / 6))) << n << " SLOPE " << i;
            ASSERT_TRUE(SameBits(r.lines[3].values[i], fc.Divided(un * (un + 1) / 2))) << n << " FORCAST " << i;
        }
    }
    // A window of equal values has exactly that mean and no deviation.
    const fenxi::FormulaResult flat = fenxi::Formula("MA(C,7);STD(C,7);AVEDEV(C,7)").Run(Closes(std::vector<double>(20, 0.1)));
    EXPECT_EQ(flat.lines[0].values[19], 0.1);
    EXPECT_EQ(flat.lines[1].values[19], 0.0);
    EXPECT_EQ(flat.lines[2].values[19], 0.0);
}

TEST(Formula, LibraryEntriesReferencesAndParameters) {
    fenxi::FormulaLibrary lib(fenxi::FormulaLibrary::Start::Empty);
    const char* file =
        "# helpers\n"
        "FORMULA BBI \"bull and bear\" OVERLAY\n"
        "PARAM M1 3 1 100\n"
        "PARAM M2 6 1 100\n"
        "BBI: (MA(CLOSE,M1)+MA(CLOSE,M2))/2;\n"
        "END\n"
        "\n"
        "FORMULA TWICE\n"
        "PARAM N 4 1 50\n"
        "T: BBI.BBI(N, N) * 2, COLORRED;\n"
        "END\n";
    ASSERT_FALSE(lib.Load(file, "lib.fxl")) << lib.Load(file, "again").Format("lib.fxl");
    ASSERT_EQ(lib.Entries().size(), 2u);
    EXPECT_EQ(lib.Entries()[0].description, "bull and bear");
    EXPECT_TRUE(lib.Entries()[0].overlay);
    const fenxi::Bars bars = Closes({1, 2, 3, 4, 5, 6, 7, 8});
    const fenxi::FormulaResult twice = lib.Find("twice")->Run(bars, {{"n", 2}});
    ASSERT_TRUE(twice.ok());
    EXPECT_EQ(twice.lines[0].values[7], 15.0);  // MA(C,2) = 7.5, twice
    EXPECT_EQ(twice.lines[0].attributes, std::vector<std::string>{"COLORRED"});
    EXPECT_TRUE(lib.Find("TWICE")->Run(bars, {{"N", 51}}).formulaError);
    EXPECT_TRUE(lib.Find("TWICE")->Run(bars, {{"K", 1}}).formulaError);
    fenxi::Formula user("X: TWICE.T(3) - BBI.BBI", &lib);
    ASSERT_TRUE(user.ok()) << user.error().Format("user");

    const std::pair<const char*, const char*> bad[] = {
        {"FORMULA A\nA: B.B;\nEND\nFORMULA B\nB: A.A;\nEND\n", "5:4: reference cycle: A -> B -> A"},
        {"FORMULA MACD\nA:C;\nEND\n", "1:9: 'MACD' is taken"},
        {"FORMULA BBI\nA:C;\nEND\n", "1:9: 'BBI' is taken"},
        {"FORMULA X\nPARAM N 0 1 5\nA:C;\nEND\n", "2:9: PARAM N: the default must lie in MIN..MAX"},
        {"FORMULA X\nA:C;\n", "1:1: FORMULA X has no END"},
        {"FORMULA X\nPARAM N 2 1 5\n\nA:=MA(C,N);\nEND\nFORMULA Y\nY:C+\nEND\n", "3:1: no output line"},
        {"FORMULA X\nA:MA(C,0);\nEND\nnonsense\n", "4:1: expected FORMULA"},
        {"FORMULA X\nA:X.A;\nEND\n", "2:3: reference cycle: X -> X"},
    };
    for (const auto& [text, want] : bad) {
        fenxi::FormulaLibrary other(fenxi::FormulaLibrary::Start::Empty);
        ASSERT_FALSE(other.Load(file, "lib.fxl"));
        const fenxi::FormulaError e = other.Load(text, "bad.fxl");
        const std::string got = std::to_string(e.line) + ":" + std::to_string(e.column) + ": " + e.message;
        EXPECT_EQ(got.substr(0, std::strlen(want)), want) << text;
        EXPECT_EQ(other.Entries().size(), 2u) << "nothing added: " << text;
    }
}

// The 128-bit form of an exact sum against the limbs: a sum that once held
// 1e308 and 2^-1074 together lives in the limbs for good, so the same terms
// added to it and to a fresh sum reach one value by two routes. Ties
// (even divisors of odd sums), signs and whole multiples included; and a
// window's terms summed at once against adding them one by one.
TEST(Formula, ExactSumRoutesAgree) {
    std::mt19937_64 rng(5);
    const double pool[] = {1e300, 1e-300, 5e-324, 1e16, 2.0e-310, 1e100, 7e-5, 1.0, 0.1, 3.0, 123456.789, 33.45, 12.3};
    for (int t = 0; t < 20000; ++t) {
        fenxi::formula::ExactSum narrow, wide, s, ws;
        for (fenxi::formula::ExactSum* w : {&wide, &ws}) {
            w->Add(1e308);
            w->Add(5e-324);
            w->Sub(1e308);
            w->Sub(5e-324);
        }
        const bool mixed = t % 3 == 0;  // else only price-like terms
        std::vector<double> terms;  // |x|: a window's terms summed at once
        fenxi::formula::ExactSum magnitudes;
        for (int k = 1 + static_cast<int>(rng() % 8); k > 0; --k) {
            const double x = pool[mixed ? rng() % 13 : 7 + rng() % 6] * ((rng() & 1) ? -1.0 : 1.0) *
                             static_cast<double>(1 + rng() % 7);
            const auto c = static_cast<std::int64_t>(rng() % 7) - 3;
            narrow.AddMultiple(c, x);
            wide.AddMultiple(c, x);
            s.Add(x);
            ws.Add(x);
            terms.push_back(std::fabs(x));
            magnitudes.Add(std::fabs(x));
        }
        ASSERT_TRUE(SameBits(fenxi::formula::ExactSum::SumDivided(terms.data(), terms.size(), 7), magnitudes.Divided(7)));
        const auto c = static_cast<std::int64_t>(rng() % 7) - 3;
        narrow.AddMultiple(c, s);
        wide.AddMultiple(c, ws);
        for (std::uint64_t d : {1ull, 2ull, 3ull, 5ull, 210ull, 166666500000ull})
            ASSERT_TRUE(SameBits(narrow.Divided(d), wide.Divided(d))) << t << " / " << d;
    }
}

// 32-bit targets multiply and divide 128-bit numbers in pieces: those routes
// against the native ones.
TEST(Formula, WideIntegerRoutesAgree) {
#if defined(__SIZEOF_INT128__)
    std::mt19937_64 rng(3);
    for (int i = 0; i < 200000; ++i) {
        const std::uint64_t a = rng() >> (rng() % 64), b = rng() >> (rng() % 64);
        const fenxi::formula::U128 p = fenxi::formula::U128::ProductIn32(a, b), n = fenxi::formula::U128::Product(a, b);
        ASSERT_TRUE(p == n) << a << " * " << b;
        const std::uint64_t d = (rng() >> (rng() % 64)) | 1;
        const fenxi::formula::U128 v(rng() % d, rng());
        std::uint64_t q1, r1, q2, r2;
        v.DivideBitwise(d, q1, r1);
        v.DivideBy(d, q2, r2);
        ASSERT_TRUE(q1 == q2 && r1 == r2) << d;
    }
#endif
}

// Units and counts at their extremes: refused units are errors, an empty
// series gives empty lines, and a stream at any accepted unit runs.
TEST(Formula, ExtremeUnitsAndCounts) {
    const fenxi::Formula f("DIF:EMA(C,12)-EMA(C,26); M:MA(C,5); S:STD(C,3); HH:HHV(H,2); B:BOLL.UPPER;");
    ASSERT_TRUE(f.ok());
    const auto sample = testbars::Sample();
    for (int unit : {INT_MIN, -1, 0, 1, 1000, INT_MAX}) {
        const fenxi::FormulaResult r = f.Run(fenxi::Bars{{sample.begin(), sample.begin() + 40}, unit});
        EXPECT_EQ(r.ok(), unit >= 1) << unit;
        fenxi::FormulaStream s = f.Stream(unit);
        EXPECT_EQ(s.ok(), unit >= 1) << unit;
        for (int i = 0; i < 3; ++i) EXPECT_EQ(s.Append(sample[static_cast<std::size_t>(i)]).size(), 5u) << unit;
    }
    for (std::size_t n : {std::size_t{0}, std::size_t{1}, std::size_t{2}}) {
        const fenxi::FormulaResult r = f.Run(fenxi::Bars{{sample.begin(), sample.begin() + static_cast<long>(n)}, 100});
        ASSERT_TRUE(r.ok()) << n;
        for (const fenxi::FormulaLine& l : r.lines) EXPECT_EQ(l.values.size(), n);
    }
    fenxi::FormulaStream empty;
    EXPECT_TRUE(empty.Append(sample[0]).empty());
    EXPECT_FALSE(fenxi::Formula().Run(fenxi::Bars{sample, 100}).ok());
}

// Recurrences stepped together in one loop (MACD's two EMAs, DIF and DEA)
// against the same lines stepped apart: IF(1,X,0) is X but keeps the nodes
// from being fused.
TEST(Formula, FusedRecurrencesEqualSeparateOnes) {
    const fenxi::Bars bars{testbars::Sample(), 100};
    const fenxi::FormulaResult fused =
        fenxi::Formula("DIF:EMA(C,12)-EMA(C,26); DEA:EMA(DIF,9); S:SMA(C,9,2); T:SMA(C,7,3); U:EMA(T/S,5); "
                       "P:EMA(H,5)+EMA(H,7)*2;").Run(bars);
    const fenxi::FormulaResult apart = fenxi::Formula(
        "DIF:EMA(C,12)-EMA(IF(1,C,0),26); DEA:EMA(IF(1,DIF,0),9); S:SMA(C,9,2); T:SMA(IF(1,C,0),7,3); "
        "U:EMA(IF(1,T/S,0),5); P:EMA(H,5)+EMA(IF(1,H,0),7)*2;").Run(bars);
    ASSERT_TRUE(fused.ok() && apart.ok());
    for (std::size_t k = 0; k < fused.lines.size(); ++k)
        for (std::size_t i = 0; i < bars.bars.size(); ++i)
            ASSERT_TRUE(SameBits(fused.lines[k].values[i], apart.lines[k].values[i])) << fused.lines[k].name << " " << i;
}
