// One hash of everything the engine computes over the shipped bars: every
// registry operation's rows, property and updated rows (at its defaults and
// at odd parameters) and its columnar lines, the chart transforms, both
// systems with their tips, the tactics pools and the flat C functions, at
// units 100, 1000 and 10000. Builds with different compilers, optimisation
// levels, vector routes and operating systems must print the same hash, and
// it must be the hash recorded in tests/CMakeLists.txt: any change to any
// output byte shows here.
//   output_hash DATA_CSV [EXPECTED]   (FENXI_LANES=baseline: without the AVX2 lanes)
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "fenxi/fenxi_c.h"
#include "fenxi/formula.h"
#include "fenxi/series.h"
#include "fenxi/signals.h"

namespace {

struct Hash {
    std::uint64_t h = 1469598103934665603ull;
    void Add(const void* p, std::size_t n) {
        const auto* b = static_cast<const unsigned char*>(p);
        for (std::size_t i = 0; i < n; ++i) h = (h ^ b[i]) * 1099511628211ull;
    }
    template <class T>
    void Value(const T& v) {
        Add(&v, sizeof v);
    }
    void Text(const std::string& s) {
        Value(s.size());
        Add(s.data(), s.size());
    }
};

// "12.21" as 1221 x scale, read digit by digit (no binary rounding).
std::int32_t Price(const std::string& text, int scale) {
    std::int64_t whole = 0, frac = 0;
    int digits = 0;
    bool after = false;
    for (char c : text) {
        if (c == '.') after = true;
        else if (!after) whole = whole * 10 + (c - '0');
        else if (digits < 2) frac = frac * 10 + (c - '0'), ++digits;
    }
    while (digits++ < 2) frac *= 10;
    return static_cast<std::int32_t>((whole * 100 + frac) * scale);
}

// date,amount,close,high,low,open,volume
std::vector<UNIKDATA> Load(const char* path, int scale) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    std::vector<UNIKDATA> bars;
    while (std::getline(in, line)) {
        std::stringstream s(line);
        std::string f[7];
        for (auto& x : f) std::getline(s, x, ',');
        UNIKDATA b{};
        b.Date = std::stoi(f[0]);
        b.Amount = std::stod(f[1]);
        b.Close = Price(f[2], scale);
        b.High = Price(f[3], scale);
        b.Low = Price(f[4], scale);
        b.Open = Price(f[5], scale);
        b.Volume = static_cast<std::uint64_t>(std::stod(f[6]));
        bars.push_back(b);
    }
    return bars;
}

// Every operation at its defaults and at odd parameters (1, 2, 7, 30, 0, -3
// in every slot, mixed), over the whole series and its first 40 and 1 bars,
// into rows holding junk and a property holding 0x5A bytes, so that what a
// generator leaves untouched is pinned as well as what it writes; then its
// updater; and its columnar lines at the defaults.
void Operations(std::vector<UNIKDATA>& bars, int unit, Hash& h) {
    const int all = static_cast<int>(bars.size());
    for (const fenxi::OperationSpec& op : fenxi::Operations()) {
        for (int shape = 0; shape < 7; ++shape) {
            static const int kValues[] = {0, 1, 2, 7, 30, 0, -3};
            std::int32_t p[fenxi::kMaxParams] = {};
            if (shape == 0) fenxi::ResolveParams(op, {}, p);
            for (int k = 0; shape > 0 && k < op.paramCount; ++k) p[k] = k % 2 ? kValues[shape] : kValues[shape] + k;
            for (int n : {all, 40, 1}) {
                CAnalysisTechniques e;
                fenxi::Row* rows = nullptr;
                e.GenerateBuffer(bars.data(), unit, rows, n);
                for (int i = 0; i < n; ++i)
                    for (int c = 0; c < 43; ++c) rows[i].FenXi[c] = 1.25 + i * 0.5 + c;
                fenxi::RowProperty property;
                std::memset(&property, 0x5A, sizeof property);
                op.generate(e, bars.data(), unit, rows, n, p, &property, 0);
                if (rows != nullptr) h.Add(rows, sizeof(fenxi::Row) * static_cast<std::size_t>(n));
                h.Value(property);
                if (op.update != nullptr && rows != nullptr) {
                    op.update(e, bars.data(), unit, rows, n, p);
                    h.Add(rows, sizeof(fenxi::Row) * static_cast<std::size_t>(n));
                }
            }
        }
        const fenxi::Lines lines = fenxi::Compute(op.name, {}, fenxi::Bars{bars, unit});
        for (const auto& v : lines.values) h.Add(v.data(), v.size() * sizeof(double));
    }
}

void Charts(std::vector<UNIKDATA>& bars, int unit, Hash& h) {
    for (int type = 0; type <= 5; ++type) {
        CAnalysisTechniques e;
        fenxi::Row* rows = nullptr;
        fenxi::RowProperty property;
        std::memset(&property, 0, sizeof property);
        ATP_KLINE settings{};
        settings.ChartType = type;
        settings.ChartParam = type == 3 ? 3 : type == 4 ? 50 * unit / 100 : 100 * unit / 100;
        UNIKDATA* made = nullptr;
        int count = 0;
        e.GenerateKLINE(bars.data(), unit, static_cast<int>(bars.size()), made, count, rows, &property, &settings,
                        "002032");
        if (made != nullptr) h.Add(made, sizeof(UNIKDATA) * static_cast<std::size_t>(count));
        h.Value(count);
        h.Value(settings.ChartParam);
        FreeKLineBars(&made);
    }
}

void Systems(const std::vector<UNIKDATA>& bars, int unit, Hash& h) {
    const fenxi::Bars b{bars, unit};
    for (fenxi::System system : {fenxi::System::Long, fenxi::System::Short})
        for (int flags = 0; flags < 8; ++flags) {
            const fenxi::SystemFlags f{(flags & 1) != 0, (flags & 2) != 0, (flags & 4) != 0};
            const fenxi::SystemRun run = fenxi::RunSystem(b, system, {"002032", 0}, f, -1);
            h.Add(run.points.data(), run.points.size() * sizeof(_SIG_TABLE));
            h.Value(run.tip.given);
            h.Text(run.tip.text);
            h.Value(run.tip.threshold);
        }
    for (fenxi::Pool pool : {fenxi::Pool::Short, fenxi::Pool::Mid, fenxi::Pool::Long})
        for (const fenxi::TacticRecord& t : fenxi::Tactics(b, pool)) {
            h.Value(t.sequence), h.Value(t.tactic), h.Value(t.entry), h.Value(t.bar), h.Value(t.date);
            h.Value(t.price), h.Value(t.measure), h.Value(t.link), h.Text(t.name);
        }
}

void Flat(std::vector<UNIKDATA>& bars, int unit, Hash& h) {
    const std::int32_t n = static_cast<std::int32_t>(bars.size());
    for (std::int32_t period : {1, 7, 9}) {
        LineStruct* lines = nullptr;
        std::int32_t count = 0;
        if (ComputeDKDataForC(n, bars.data(), &lines, &count, "002032", 0, period, false, false, unit))
            h.Add(lines, sizeof(LineStruct) * static_cast<std::size_t>(count));
        FreeLineStruct(reinterpret_cast<void**>(&lines));
        for (auto* flow : {&GenerateZJLDXFXForC, &GenerateSHLDXFXForC}) {
            if (flow(n, bars.data(), &lines, &count, "002032", 0, period, unit))
                h.Add(lines, sizeof(LineStruct) * static_cast<std::size_t>(count));
            FreeLineStruct(reinterpret_cast<void**>(&lines));
        }
        char* text = nullptr;
        std::int32_t length = 0;
        if (ComputeDKMsgForC(n, bars.data(), &text, &length, "002032", 0, period, false, false, unit))
            h.Add(text, static_cast<std::size_t>(length));
        FreeCharBuffer(reinterpret_cast<void**>(&text));
    }
}

// Every formula function but LN, LOG, EXP and POW (which take the C
// library's bits), in batch and as a stream with a forming bar replaced.
void Formulas(const std::vector<UNIKDATA>& bars, int unit, Hash& h) {
    static const char* const kTexts[] = {
        "DIF:EMA(C,12)-EMA(C,26); DEA:EMA(DIF,9); M:(DIF-DEA)*2; S:SMA(C,9,3)+MEMA(H,5); D:DMA(C,V/(V+1000000));",
        "MA(C,5);MA(C,250);SUM(V,0);SUM(C,MOD(BARPOS,7));WMA(C,10);SLOPE(C,20);FORCAST(H,14);AMO/V;",
        "STD(C,20);STDP(C,5);VAR(L,7);VARP(O,3);DEVSQ(C,4);AVEDEV(C,14);SQRT(H-L);",
        "HHV(H,20);LLV(L,0);HHVBARS(H,9);LLVBARS(L,MOD(BARPOS,30));REF(C,3);REF(C,MOD(BARPOS,7));HHV(C,BARPOS/2);",
        "CROSS(MA(C,5),MA(C,20));LONGCROSS(C,MA(C,20),3);COUNT(C>O,10);COUNT(C>O,0);EVERY(C>O,3);EXIST(C>O,3);",
        "LAST(C>O,5,2);BARSLAST(C>REF(C,1));BARSSINCE(C>20);BARSCOUNT(MA(C,5));VALUEWHEN(CROSS(C,MA(C,10)),C);",
        "FILTER(C>O,3);IF(C>O,H,L);IFN(C>O,H,L);NOT(C>O);BETWEEN(C,L,H);RANGE(C,L,H);MAX(O,C)-MIN(O,C);",
        "ABS(C-O)*SIGN(C-O);INTPART(C*3.7)+FLOOR(-C/7)+CEILING(C/9)+ROUND(C*1.5);MOD(C,0.3);(C>O AND V>0) OR C<O;",
        "YEAR+MONTH+DAY+HOUR+MINUTE+TIME+WEEKDAY+DATE/10000;K:\"KDJ.K\";B:BOLL.UPPER(20);",
    };
    const fenxi::Bars series{bars, unit};
    for (const char* text : kTexts) {
        const fenxi::Formula f(text);
        h.Text(f.error().message);
        for (const fenxi::FormulaLine& l : f.Run(series).lines) h.Add(l.values.data(), l.values.size() * sizeof(double));
        fenxi::FormulaStream s = f.Stream(unit);
        for (std::size_t i = 0; i < bars.size(); i += 1) {
            UNIKDATA forming = bars[i];
            forming.Close = forming.Low;
            s.Append(forming);
            const std::span<const double> last = s.ReplaceLast(bars[i]);
            if (i % 97 == 0 || i + 1 == bars.size()) h.Add(last.data(), last.size() * sizeof(double));
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: output_hash DATA_CSV [EXPECTED [EXPECTED_FORMULAS]]\n");
        return 2;
    }
    Hash h, formulas;
    for (int scale : {1, 10, 100}) {
        std::vector<UNIKDATA> bars = Load(argv[1], scale);
        if (bars.empty()) {
            std::fprintf(stderr, "%s: no bars\n", argv[1]);
            return 1;
        }
        const int unit = 100 * scale;
        Operations(bars, unit, h);
        Charts(bars, unit, h);
        Systems(bars, unit, h);
        Flat(bars, unit, h);
        Formulas(bars, unit, formulas);
    }
    // The engine's outputs, then the formulas'.
    char text[17], formulaText[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(h.h));
    std::snprintf(formulaText, sizeof formulaText, "%016llx", static_cast<unsigned long long>(formulas.h));
    std::printf("%s %s\n", text, formulaText);
    if (argc > 2 && std::strcmp(argv[2], text) != 0) {
        std::fprintf(stderr, "output hash %s, expected %s: some output changed\n", text, argv[2]);
        return 1;
    }
    if (argc > 3 && std::strcmp(argv[3], formulaText) != 0) {
        std::fprintf(stderr, "formula hash %s, expected %s: some formula output changed\n", formulaText, argv[3]);
        return 1;
    }
    return 0;
}
