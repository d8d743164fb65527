// fenxi beside TA-Lib and Tulip Indicators, in one process on the same bars.
//
// For each indicator the four routes (fenxi's row generator, fenxi's
// columnar API into the caller's arrays, TA-Lib, Tulip) run in turn, the
// order rotating every repetition, each timed alone; the table gives the
// median and the minimum nanoseconds per bar and fenxi's ratios to the
// faster peer. Where the formulas coincide the values are compared too.
//
// Run: bash bench/peers.sh [bars ...]   (default 36500 1000000)
//      bash bench/peers.sh --panel [securities [bars]]   (default 5000 2500):
//      fenxi's panel call against the peers called once per security.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "extended_bars.h"
#include "fenxi/formula.h"
#include "fenxi/panel.h"
#include "fenxi/series.h"

extern "C" {
#include "indicators.h"
#include "ta_libc.h"
}

namespace {

using Clock = std::chrono::steady_clock;

struct Inputs {
    int n;
    fenxi::Bars bars;
    std::vector<double> open, high, low, close, volume;
};

Inputs FromBars(std::vector<UNIKDATA> bars) {
    const int n = static_cast<int>(bars.size());
    Inputs in{n, {std::move(bars), 100}, {}, {}, {}, {}, {}};
    for (const UNIKDATA& b : in.bars.bars) {
        in.open.push_back(b.Open / 100.0);
        in.high.push_back(b.High / 100.0);
        in.low.push_back(b.Low / 100.0);
        in.close.push_back(b.Close / 100.0);
        in.volume.push_back(static_cast<double>(b.Volume));
    }
    return in;
}

Inputs Make(int n) { return FromBars(benchbars::Extended(n)); }

// Output arrays for every route, allocated and touched once.
struct Outputs {
    std::vector<std::vector<double>> lines;
    std::vector<std::span<double>> views;
    Outputs(int count, int n) : lines(static_cast<std::size_t>(count), std::vector<double>(static_cast<std::size_t>(n))) {
        for (auto& l : lines) views.emplace_back(l);
    }
    double* operator[](int k) { return lines[static_cast<std::size_t>(k)].data(); }
};

struct Case {
    const char* name;  // as the table shows it
    const char* op;    // fenxi operation
    std::vector<int> params;
    // TA-Lib and Tulip into `out`; each returns the bar of its first value.
    std::function<int(const Inputs&, Outputs&)> talib, tulip;
    // Which fenxi line and which peer line hold the same values (-1: none),
    // and the sign that maps fenxi's onto the peer's.
    int line = -1, peerLine = 0;
    double sign = 1.0;
    const char* note = "";
};

// Tulip through its generic table.
int Tulip(const char* name, std::initializer_list<const std::vector<double>*> in, std::initializer_list<double> opts,
          Outputs& out) {
    const ti_indicator_info* info = ti_find_indicator(name);
    if (info == nullptr) std::abort();
    const double* inputs[TI_MAXINDPARAMS];
    int k = 0;
    for (const auto* v : in) inputs[k++] = v->data();
    double options[TI_MAXINDPARAMS];
    k = 0;
    for (double o : opts) options[k++] = o;
    double* outputs[TI_MAXINDPARAMS];
    for (int j = 0; j < info->outputs; ++j) outputs[j] = out[j];
    const int size = static_cast<int>((*in.begin())->size());
    if (info->indicator(size, inputs, options, outputs) != TI_OKAY) std::abort();
    return info->start(options);
}

// TA-Lib's first bar and count of the last call.
int b = 0, m = 0;

int Ta(TA_RetCode rc, int begin) {
    if (rc != TA_SUCCESS) std::abort();
    return begin;
}

std::vector<Case> Cases() {
    using I = const Inputs&;
    using O = Outputs&;
    std::vector<Case> c;
    c.push_back({"SMA(5)", "MA1", {5},
                 [](I i, O o) { return Ta(TA_SMA(0, i.n - 1, i.close.data(), 5, &b, &m, o[0]), b); },
                 [](I i, O o) { return Tulip("sma", {&i.close}, {5}, o); }, 0});
    c.push_back({"EMA(12)", "EMA", {12},
                 [](I i, O o) { return Ta(TA_EMA(0, i.n - 1, i.close.data(), 12, &b, &m, o[0]), b); },
                 [](I i, O o) { return Tulip("ema", {&i.close}, {12}, o); }, -1, 0, 1, "seeds differ"});
    c.push_back({"MACD(12,26,9)", "MACD", {12, 26, 9},
                 [](I i, O o) { return Ta(TA_MACD(0, i.n - 1, i.close.data(), 12, 26, 9, &b, &m, o[0], o[1], o[2]), b); },
                 [](I i, O o) { return Tulip("macd", {&i.close}, {12, 26, 9}, o); }, -1, 0, 1, "seeds differ"});
    c.push_back({"RSI(6,12)", "RSI", {6, 12},
                 [](I i, O o) {
                     Ta(TA_RSI(0, i.n - 1, i.close.data(), 6, &b, &m, o[0]), b);
                     return Ta(TA_RSI(0, i.n - 1, i.close.data(), 12, &b, &m, o[1]), b);
                 },
                 [](I i, O o) {
                     Outputs second(1, i.n);
                     Tulip("rsi", {&i.close}, {6}, o);
                     return Tulip("rsi", {&i.close}, {12}, second);
                 },
                 -1, 0, 1, "seeds differ; peers run both periods"});
    c.push_back({"KDJ/STOCH(9,3,3)", "KDJ", {9, 3, 3},
                 [](I i, O o) {
                     return Ta(TA_STOCH(0, i.n - 1, i.high.data(), i.low.data(), i.close.data(), 9, 3, TA_MAType_SMA, 3,
                                        TA_MAType_SMA, &b, &m, o[0], o[1]),
                               b);
                 },
                 [](I i, O o) { return Tulip("stoch", {&i.high, &i.low, &i.close}, {9, 3, 3}, o); }, -1, 0, 1,
                 "K, D smoothed differently"});
    c.push_back({"WR/WILLR(10,6)", "WR", {10, 6, 0},
                 [](I i, O o) {
                     Ta(TA_WILLR(0, i.n - 1, i.high.data(), i.low.data(), i.close.data(), 10, &b, &m, o[0]), b);
                     return Ta(TA_WILLR(0, i.n - 1, i.high.data(), i.low.data(), i.close.data(), 6, &b, &m, o[1]), b);
                 },
                 [](I i, O o) {
                     Outputs second(1, i.n);
                     Tulip("willr", {&i.high, &i.low, &i.close}, {6}, second);
                     return Tulip("willr", {&i.high, &i.low, &i.close}, {10}, o);
                 },
                 0, 0, -1.0, "peers run both periods"});
    c.push_back({"BOLL/BBANDS(20,2)", "BOLL", {20, 2, -2},
                 [](I i, O o) {
                     return Ta(TA_BBANDS(0, i.n - 1, i.close.data(), 20, 2, 2, TA_MAType_SMA, &b, &m, o[0], o[1], o[2]), b);
                 },
                 [](I i, O o) { return Tulip("bbands", {&i.close}, {20, 2}, o); }, -1, 0, 1,
                 "fenxi's middle is the previous bar's"});
    c.push_back({"CCI(14)", "CCI", {14},
                 [](I i, O o) {
                     return Ta(TA_CCI(0, i.n - 1, i.high.data(), i.low.data(), i.close.data(), 14, &b, &m, o[0]), b);
                 },
                 [](I i, O o) { return Tulip("cci", {&i.high, &i.low, &i.close}, {14}, o); }, 0});
    c.push_back({"SAR", "SAR", {10},
                 [](I i, O o) { return Ta(TA_SAR(0, i.n - 1, i.high.data(), i.low.data(), 0.02, 0.2, &b, &m, o[0]), b); },
                 [](I i, O o) { return Tulip("psar", {&i.high, &i.low}, {0.02, 0.2}, o); }, -1, 0, 1,
                 "fenxi's N-bar rule"});
    c.push_back({"OBV(30)", "OBV", {30},
                 [](I i, O o) { return Ta(TA_OBV(0, i.n - 1, i.close.data(), i.volume.data(), &b, &m, o[0]), b); },
                 [](I i, O o) { return Tulip("obv", {&i.close, &i.volume}, {}, o); }, -1, 0, 1,
                 "fenxi's OBV is /100 from 0 with its average"});
    c.push_back({"HHV/MAX(20)", "HHV", {1, 20},
                 [](I i, O o) { return Ta(TA_MAX(0, i.n - 1, i.high.data(), 20, &b, &m, o[0]), b); },
                 [](I i, O o) { return Tulip("max", {&i.high}, {20}, o); }, 0});
    c.push_back({"LLV/MIN(20)", "LLV", {2, 20},
                 [](I i, O o) { return Ta(TA_MIN(0, i.n - 1, i.low.data(), 20, &b, &m, o[0]), b); },
                 [](I i, O o) { return Tulip("min", {&i.low}, {20}, o); }, -1, 0, 1, "fenxi's LLV of the low is in units"});
    c.push_back({"MTM/MOM(12)", "MTM", {12, 6},
                 [](I i, O o) { return Ta(TA_MOM(0, i.n - 1, i.close.data(), 12, &b, &m, o[0]), b); },
                 [](I i, O o) { return Tulip("mom", {&i.close}, {12}, o); }, 0, 0, 1, "fenxi adds its average"});
    c.push_back({"ROC(12)", "ROC", {12},
                 [](I i, O o) { return Ta(TA_ROC(0, i.n - 1, i.close.data(), 12, &b, &m, o[0]), b); },
                 [](I i, O o) { return Tulip("roc", {&i.close}, {12}, o); }, -1, 0, 1, "Tulip's is a fraction"});
    c.push_back({"ADX(14)", "ADX", {14},
                 [](I i, O o) {
                     return Ta(TA_ADX(0, i.n - 1, i.high.data(), i.low.data(), i.close.data(), 14, &b, &m, o[0]), b);
                 },
                 [](I i, O o) { return Tulip("adx", {&i.high, &i.low, &i.close}, {14}, o); }, 0, 0, 1,
                 "fenxi adds +DI and -DI"});
    c.push_back({"TRIX(12)", "TRIX", {12, 9},
                 [](I i, O o) { return Ta(TA_TRIX(0, i.n - 1, i.close.data(), 12, &b, &m, o[0]), b); },
                 [](I i, O o) { return Tulip("trix", {&i.close}, {12}, o); }, -1, 0, 1, "seeds differ"});
    return c;
}

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

// Largest |fenxi - peer| / max(1, |peer|) over the bars both hold.
double Difference(const std::vector<double>& mine, const double* peer, int begin, int n, double sign) {
    double worst = 0.0;
    for (int i = begin; i < n; ++i) {
        const double a = mine[static_cast<std::size_t>(i)] * sign, p = peer[i - begin];
        if (std::isnan(a)) continue;
        worst = std::max(worst, std::fabs(a - p) / std::max(1.0, std::fabs(p)));
    }
    return worst;
}

void Run(int n, int reps) {
    const Inputs in = Make(n);
    std::printf("\n%d bars, %d interleaved repetitions; ns per bar, median (min)\n\n", n, reps);
    std::printf("| indicator | fenxi rows | fenxi columns | TA-Lib | Tulip | rows / peer | columns / peer | values |\n");
    std::printf("|---|---|---|---|---|---|---|---|\n");
    for (Case& c : Cases()) {
        const fenxi::OperationSpec* op = fenxi::FindOperation(c.op);
        std::int32_t p[fenxi::kMaxParams];
        fenxi::ResolveParams(*op, c.params, p);
        CAnalysisTechniques engine;
        fenxi::Row* rows = nullptr;
        fenxi::RowProperty property{};
        UNIKDATA* data = const_cast<UNIKDATA*>(in.bars.bars.data());
        Outputs mine(op->lineCount, n), ta(3, n), ti(3, n);
        int taBegin = 0, tiBegin = 0;
        const std::function<void()> routes[] = {
            [&] { op->generate(engine, data, 100, rows, n, p, &property, 0); },
            [&] {
                if (fenxi::ComputeInto(c.op, c.params, in.bars, mine.views)) std::abort();
            },
            [&] { taBegin = c.talib(in, ta); },
            [&] { tiBegin = c.tulip(in, ti); },
        };
        std::vector<double> times[4];
        for (int r = 0; r < reps + 1; ++r)
            for (int k = 0; k < 4; ++k) {
                const int route = (k + r) % 4;
                const auto t0 = Clock::now();
                routes[route]();
                const double ns = std::chrono::duration<double, std::nano>(Clock::now() - t0).count() / n;
                if (r > 0) times[route].push_back(ns);  // the first round warms every route
            }
        double med[4], low[4];
        for (int k = 0; k < 4; ++k) {
            med[k] = Median(times[k]);
            low[k] = *std::min_element(times[k].begin(), times[k].end());
        }
        const double peer = std::min(med[2], med[3]);
        std::string values = c.note;
        if (c.line >= 0) {
            char text[96];
            std::snprintf(text, sizeof text, "TA-Lib %.1e, Tulip %.1e",
                          Difference(mine.lines[c.line], ta[c.peerLine], taBegin, n, c.sign),
                          Difference(mine.lines[c.line], ti[c.peerLine], tiBegin, n, c.sign));
            values = text + (values.empty() ? "" : "; " + values);
        }
        std::printf("| %s | %.2f (%.2f) | %.2f (%.2f) | %.2f (%.2f) | %.2f (%.2f) | %.2f | %.2f | %s |\n", c.name,
                    med[0], low[0], med[1], low[1], med[2], low[2], med[3], low[3], med[0] / peer, med[1] / peer,
                    values.c_str());
    }
}

// The bare serial division chain of fenxi's EMA, ((p-1)*prev + 2x)/(p+1)
// over contiguous doubles into an array: the latency floor of every EMA-style
// line, set beside fenxi's EMA through the columnar API.
void ChainFloor(int n, int reps) {
    const Inputs in = Make(n);
    std::vector<double> out(static_cast<std::size_t>(n)), chain, api;
    Outputs mine(1, n);
    const double keep = 11.0, div = 13.0;
    for (int r = 0; r < reps + 1; ++r) {
        auto t0 = Clock::now();
        double e = in.close[0];
        out[0] = e;
        for (int i = 1; i < n; ++i) {
            const double x = in.close[static_cast<std::size_t>(i)];
            out[static_cast<std::size_t>(i)] = e = (keep * e + (x + x)) / div;
        }
        const double bare = std::chrono::duration<double, std::nano>(Clock::now() - t0).count() / n;
        t0 = Clock::now();
        if (fenxi::ComputeInto("EMA", std::vector<int>{12}, in.bars, mine.views)) std::abort();
        const double columns = std::chrono::duration<double, std::nano>(Clock::now() - t0).count() / n;
        if (r > 0) chain.push_back(bare), api.push_back(columns);
    }
    const double floor = Median(chain), ema = Median(api);
    std::printf("\n%d bars: the bare EMA division chain %.2f ns per bar (median); fenxi's EMA columns %.2f, %.2fx the chain\n",
                n, floor, ema, ema / floor);
}

// Formulas beside the routes they must keep up with, interleaved in one run:
// the MACD formula against the built-in MACD's columns, MA(C,5) and
// MA(C,250) against TA-Lib's SMA, STD(C,20) against TA-Lib's STDDEV.
void FormulaTargets(int n, int reps) {
    const Inputs in = Make(n);
    Outputs mine(3, n), ta(1, n);
    const fenxi::Formula macd("DIF:EMA(CLOSE,12)-EMA(CLOSE,26); DEA:EMA(DIF,9); MACD:(DIF-DEA)*2;"),
        ma5("MA(C,5)"), ma250("MA(C,250)"), std20("STD(C,20)");
    struct Pair {
        const char* name;
        std::function<void()> formula, reference;
        const char* against;
    };
    const Pair pairs[] = {
        {"MACD formula", [&] { macd.Run(in.bars); },
         [&] {
             if (fenxi::ComputeInto("MACD", std::vector<int>{12, 26, 9}, in.bars, mine.views)) std::abort();
         },
         "fenxi MACD columns"},
        {"MA(C,5)", [&] { ma5.Run(in.bars); }, [&] { Ta(TA_SMA(0, n - 1, in.close.data(), 5, &b, &m, ta[0]), b); },
         "TA-Lib SMA(5)"},
        {"MA(C,250)", [&] { ma250.Run(in.bars); },
         [&] { Ta(TA_SMA(0, n - 1, in.close.data(), 250, &b, &m, ta[0]), b); }, "TA-Lib SMA(250)"},
        {"STD(C,20)", [&] { std20.Run(in.bars); },
         [&] { Ta(TA_STDDEV(0, n - 1, in.close.data(), 20, 1.0, &b, &m, ta[0]), b); }, "TA-Lib STDDEV(20)"},
    };
    std::printf("\n%d bars: formulas, ns per bar, median of %d interleaved runs\n\n", n, reps);
    std::printf("| formula | ns/bar | against | ns/bar | ratio |\n|---|---|---|---|---|\n");
    for (const Pair& p : pairs) {
        std::vector<double> times[2];
        for (int r = 0; r < reps + 1; ++r)
            for (int k = 0; k < 2; ++k) {
                const int route = (k + r) % 2;
                const auto t0 = Clock::now();
                (route == 0 ? p.formula : p.reference)();
                const double ns = std::chrono::duration<double, std::nano>(Clock::now() - t0).count() / n;
                if (r > 0) times[route].push_back(ns);
            }
        const double f = Median(times[0]), ref = Median(times[1]);
        std::printf("| %s | %.2f | %s | %.2f | %.2f |\n", p.name, f, p.against, ref, f / ref);
    }
}

// A market: `count` securities of n bars, each a window of the extended
// series starting at its own bar, its prices shifted by its own amount.
std::vector<Inputs> Market(int count, int n) {
    const std::vector<UNIKDATA>& source = benchbars::Extended(n + 997);
    std::vector<Inputs> market;
    market.reserve(static_cast<std::size_t>(count));
    for (int s = 0; s < count; ++s) {
        const int from = s * 13 % 997;
        const std::int32_t shift = s % 41 * 25;
        std::vector<UNIKDATA> bars(source.begin() + from, source.begin() + from + n);
        for (UNIKDATA& b : bars) b.Open += shift, b.High += shift, b.Low += shift, b.Close += shift;
        market.push_back(FromBars(std::move(bars)));
    }
    return market;
}

// Every indicator of the table over a market: fenxi's panel call (one
// thread, then two), fenxi's columnar call once per security, and the peers
// once per security, each route writing every security's lines into arrays
// of its own; ns per security-bar.
void Panel(int count, int n, int reps) {
    const std::vector<Inputs> market = Market(count, n);
    std::vector<fenxi::Bars> bars;
    for (const Inputs& in : market) bars.push_back(in.bars);
    const double cells = static_cast<double>(count) * n;
    std::printf("\n%d securities of %d bars, %d interleaved repetitions, %d lanes; ns per security-bar, median\n\n",
                count, n, reps, fenxi::PanelLanes());
    std::printf("| indicator | fenxi panel | fenxi panel, 2 threads | fenxi per security | TA-Lib | Tulip | panel / peer | values |\n");
    std::printf("|---|---|---|---|---|---|---|---|\n");
    for (Case& c : Cases()) {
        const fenxi::OperationSpec* op = fenxi::FindOperation(c.op);
        std::vector<Outputs> mine, ta, ti;
        std::vector<std::span<double>> views;
        for (int s = 0; s < count; ++s) {
            mine.emplace_back(op->lineCount, n);
            ta.emplace_back(3, n);
            ti.emplace_back(3, n);
        }
        for (Outputs& o : mine)
            for (auto v : o.views) views.push_back(v);
        std::vector<int> taBegin(static_cast<std::size_t>(count)), tiBegin(static_cast<std::size_t>(count));
        const std::function<void()> routes[] = {
            [&] {
                if (fenxi::ComputeManyInto(c.op, c.params, bars, views, {1})) std::abort();
            },
            [&] {
                if (fenxi::ComputeManyInto(c.op, c.params, bars, views, {2})) std::abort();
            },
            [&] {
                for (int s = 0; s < count; ++s)
                    if (fenxi::ComputeInto(c.op, c.params, bars[static_cast<std::size_t>(s)], mine[static_cast<std::size_t>(s)].views))
                        std::abort();
            },
            [&] {
                for (int s = 0; s < count; ++s)
                    taBegin[static_cast<std::size_t>(s)] = c.talib(market[static_cast<std::size_t>(s)], ta[static_cast<std::size_t>(s)]);
            },
            [&] {
                for (int s = 0; s < count; ++s)
                    tiBegin[static_cast<std::size_t>(s)] = c.tulip(market[static_cast<std::size_t>(s)], ti[static_cast<std::size_t>(s)]);
            },
        };
        constexpr int kRoutes = 5;
        std::vector<double> times[kRoutes];
        for (int r = 0; r < reps + 1; ++r)
            for (int k = 0; k < kRoutes; ++k) {
                const int route = (k + r) % kRoutes;
                const auto t0 = Clock::now();
                routes[route]();
                const double ns = std::chrono::duration<double, std::nano>(Clock::now() - t0).count() / cells;
                if (r > 0) times[route].push_back(ns);
            }
        double med[kRoutes];
        for (int k = 0; k < kRoutes; ++k) med[k] = Median(times[k]);
        const double peer = std::min(med[3], med[4]);
        std::string values = c.note;
        if (c.line >= 0) {
            double worstTa = 0.0, worstTi = 0.0;
            for (int s = 0; s < count; ++s) {
                const auto& line = mine[static_cast<std::size_t>(s)].lines[static_cast<std::size_t>(c.line)];
                worstTa = std::max(worstTa, Difference(line, ta[static_cast<std::size_t>(s)][c.peerLine],
                                                       taBegin[static_cast<std::size_t>(s)], n, c.sign));
                worstTi = std::max(worstTi, Difference(line, ti[static_cast<std::size_t>(s)][c.peerLine],
                                                       tiBegin[static_cast<std::size_t>(s)], n, c.sign));
            }
            char text[96];
            std::snprintf(text, sizeof text, "TA-Lib %.1e, Tulip %.1e", worstTa, worstTi);
            values = text + (values.empty() ? "" : "; " + values);
        }
        std::printf("| %s | %.2f | %.2f | %.2f | %.2f | %.2f | %.2f | %s |\n", c.name, med[0], med[1], med[2], med[3],
                    med[4], med[0] / peer, values.c_str());
    }

    // The floors a market sets: each security's closes read from its bar
    // records (fenxi's input), or from a contiguous double array (the
    // peers'), and written as one line.
    {
        std::vector<Outputs> sink;
        for (int s = 0; s < count; ++s) sink.emplace_back(1, n);
        const std::function<void()> floors[] = {
            [&] {
                for (int s = 0; s < count; ++s) {
                    const UNIKDATA* b = bars[static_cast<std::size_t>(s)].bars.data();
                    double* out = sink[static_cast<std::size_t>(s)][0];
                    for (int i = 0; i < n; ++i) out[i] = b[i].Close * 100.0;
                }
            },
            [&] {
                for (int s = 0; s < count; ++s) {
                    const double* c = market[static_cast<std::size_t>(s)].close.data();
                    double* out = sink[static_cast<std::size_t>(s)][0];
                    for (int i = 0; i < n; ++i) out[i] = c[i] * 100.0;
                }
            },
        };
        std::vector<double> times[2];
        for (int r = 0; r < reps + 1; ++r)
            for (int k = 0; k < 2; ++k) {
                const int route = (k + r) % 2;
                const auto t0 = Clock::now();
                floors[route]();
                if (r > 0) times[route].push_back(std::chrono::duration<double, std::nano>(Clock::now() - t0).count() / cells);
            }
        std::printf("\nFloors: the closes read from the bar records and written as one line %.2f ns per security-bar; "
                    "from contiguous doubles %.2f\n", Median(times[0]), Median(times[1]));
    }

    // Formula panels beside the registry operation's panel, each into
    // arrays of its own allocated once.
    const fenxi::Formula macd("DIF:EMA(CLOSE,12)-EMA(CLOSE,26); DEA:EMA(DIF,9); MACD:(DIF-DEA)*2;"),
        golden("CROSS(MA(C,5),MA(C,20)) AND V>2*MA(V,5);");
    std::vector<Outputs> mine, formulaLines, screenLines;
    std::vector<std::span<double>> views, formulaViews, screenViews;
    for (int s = 0; s < count; ++s) {
        mine.emplace_back(3, n);
        formulaLines.emplace_back(3, n);
        screenLines.emplace_back(1, n);
    }
    for (int s = 0; s < count; ++s) {
        for (auto v : mine[static_cast<std::size_t>(s)].views) views.push_back(v);
        for (auto v : formulaLines[static_cast<std::size_t>(s)].views) formulaViews.push_back(v);
        for (auto v : screenLines[static_cast<std::size_t>(s)].views) screenViews.push_back(v);
    }
    const std::function<void()> routes[] = {
        [&] {
            if (fenxi::RunManyInto(macd, bars, formulaViews)) std::abort();
        },
        [&] {
            if (fenxi::ComputeManyInto("MACD", std::vector<int>{12, 26, 9}, bars, views, {1})) std::abort();
        },
        [&] {
            if (fenxi::RunManyInto(golden, bars, screenViews)) std::abort();
        },
    };
    std::vector<double> times[3];
    for (int r = 0; r < reps + 1; ++r)
        for (int k = 0; k < 3; ++k) {
            const int route = (k + r) % 3;
            const auto t0 = Clock::now();
            routes[route]();
            if (r > 0) times[route].push_back(std::chrono::duration<double, std::nano>(Clock::now() - t0).count() / cells);
        }
    const double f = Median(times[0]), op = Median(times[1]), g = Median(times[2]);
    std::printf("\n| formula panel | ns per security-bar | the MACD panel | ratio |\n|---|---|---|---|\n");
    std::printf("| MACD formula | %.2f | %.2f | %.2f |\n", f, op, f / op);
    std::printf("| golden-cross screen (whole lines) | %.2f | %.2f | %.2f |\n", g, op, g / op);
}

}  // namespace

int main(int argc, char** argv) {
    TA_Initialize();
    if (argc > 1 && std::string(argv[1]) == "--panel") {
        const int count = argc > 2 ? std::atoi(argv[2]) : 5000, n = argc > 3 ? std::atoi(argv[3]) : 2500;
        Panel(count, n, count * static_cast<long>(n) > 2000000 ? 5 : 15);
        TA_Shutdown();
        return 0;
    }
    std::vector<int> sizes;
    for (int k = 1; k < argc; ++k) sizes.push_back(std::atoi(argv[k]));
    if (sizes.empty()) sizes = {36500, 1000000};
    for (int n : sizes) {
        Run(n, n >= 500000 ? 9 : 31);
        ChainFloor(n, n >= 500000 ? 9 : 31);
        FormulaTargets(n, n >= 500000 ? 9 : 31);
    }
    TA_Shutdown();
}
