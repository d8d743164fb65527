// Panels: one operation over many securities, several at a time in vector
// lanes where the operation's steps allow it.
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <mutex>
#include <numeric>
#include <thread>

#include "core/lane_steps.h"
#include "core/panel_lanes.h"
#include "core/registry.h"
#include "fenxi/panel.h"
#include "formula/many.h"

namespace fenxi {
namespace {

std::atomic<int> forced{0};

int Detected() {
    static const int width = [] {
        const char* asked = std::getenv("FENXI_LANES");
        const bool baseline = asked != nullptr && std::strcmp(asked, "baseline") == 0;
        const bool avx2Only = asked != nullptr && std::strcmp(asked, "avx2") == 0;
#ifdef FENXI_WIDE_LANES
        if (!baseline && !avx2Only && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
            __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512bw"))
            return 8;
        if (!baseline && __builtin_cpu_supports("avx2")) return 4;
#else
        (void)baseline, (void)avx2Only;
#endif
        return 2;
    }();
    return width;
}

// Index into LaneForm::run of the widest route up to `width` the form has.
int RouteOf(const detail::LaneForm& form, int width) {
    int route = width >= 8 ? 3 : width >= 4 ? 2 : width >= 2 ? 1 : 0;
    while (route > 0 && form.run[route] == nullptr) --route;
    return route;
}

// Runs work(0 .. count-1) on `threads` threads, items taken in order.
template <class Work>
void Spread(int count, int threads, Work work) {
    if (threads == 0) threads = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
    threads = std::clamp(threads, 1, std::max(1, count));
    if (threads == 1) {
        for (int k = 0; k < count; ++k) work(k);
        return;
    }
    std::atomic<int> next{0};
    auto loop = [&] {
        for (int k = next.fetch_add(1); k < count; k = next.fetch_add(1)) work(k);
    };
    std::vector<std::thread> pool;
    pool.reserve(static_cast<std::size_t>(threads - 1));
    for (int t = 1; t < threads; ++t) pool.emplace_back(loop);
    loop();
    for (auto& t : pool) t.join();
}

Error Named(Error e, std::size_t security) {
    e.security = static_cast<int>(security);
    e.message = "security " + std::to_string(security) + ": " + e.message;
    return e;
}

// The error of the lowest-numbered security that failed, kept across threads.
// With `each`, every security's error in its place.
struct FirstError {
    std::mutex lock;
    Error error;
    std::vector<Error>* each = nullptr;
    void Offer(Error e, std::size_t security) {
        e = Named(std::move(e), security);
        std::lock_guard<std::mutex> hold(lock);
        if (each != nullptr) (*each)[security] = e;
        if (!error || static_cast<int>(security) < error.security) error = std::move(e);
    }
};

// The securities' indexes, longest first, so that a group's lanes end close
// together: the calling thread's list, which its workers read through the
// reference.
const std::vector<int>& LongestFirst(std::span<const Bars> securities) {
    thread_local std::vector<int> order;
    order.resize(securities.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
        return securities[static_cast<std::size_t>(a)].bars.size() > securities[static_cast<std::size_t>(b)].bars.size();
    });
    return order;
}

// Room for every line of every security: lines[s * K + k] holds security
// s's bars; `name(k)` names line k.
template <class Name>
Error CheckRoom(std::span<const Bars> securities, std::span<const std::span<double>> lines, std::size_t K, Name name) {
    if (lines.size() != securities.size() * K)
        return Error{Errc::LengthMismatch, -1,
                     std::to_string(securities.size()) + " securities of " + std::to_string(K) + " lines need " +
                         std::to_string(securities.size() * K) + " arrays, " + std::to_string(lines.size()) + " given"};
    for (std::size_t s = 0; s < securities.size(); ++s)
        for (std::size_t k = 0; k < K; ++k)
            if (lines[s * K + k].size() != securities[s].bars.size())
                return Named(Error{Errc::LengthMismatch, -1,
                                   "line " + name(k) + " has room for " + std::to_string(lines[s * K + k].size()) +
                                       " values, bars " + std::to_string(securities[s].bars.size())},
                             s);
    return {};
}

// Each security's lines through the lane form: securities ordered by
// length so that a group's lanes end close together, each group's bars
// checked just before it runs (they are then in cache), then NaN outside
// each line's valid bars.
void LaneRun(const OperationSpec& op, const std::int32_t* p, std::span<const Bars> securities,
             std::span<const std::span<double>> lines, int threads, FirstError& failed) {
    const detail::LaneForm& form = *op.kernel->lanes;
    const int route = RouteOf(form, PanelLanes());
    const int width = 1 << route;
    const int count = static_cast<int>(securities.size());
    const std::vector<int>& order = LongestFirst(securities);
    const int lineCount = op.lineCount;
    const int groups = (count + width - 1) / width;
    Spread(groups, threads, [&](int group) {
        detail::LaneGroup g;
        g.lineCount = lineCount;
        g.p = p;
        for (int q = 0; q < lineCount; ++q) g.lineColumn[q] = op.lines[q].column;
        for (int at = group * width; at < std::min(count, group * width + width); ++at) {
            const int s = order[static_cast<std::size_t>(at)];
            const Bars& b = securities[static_cast<std::size_t>(s)];
            if (Error e = CheckBars(b)) {
                failed.Offer(std::move(e), static_cast<std::size_t>(s));
                continue;
            }
            const int j = g.count;
            g.bars[j] = b.bars.data();
            g.n[j] = static_cast<int>(b.bars.size());
            g.unit[j] = b.unit;
            for (int q = 0; q < lineCount; ++q) {
                g.lines[j][q] = lines[static_cast<std::size_t>(s * lineCount + q)].data();
                g.scale[j][q] = TrueScale(op, q, p, b.unit);
            }
            g.count = j + 1;
        }
        if (g.count > 0) form.run[route](g);
        const double nan = std::numeric_limits<double>::quiet_NaN();
        for (int j = 0; j < g.count; ++j)
            for (int q = 0; q < lineCount; ++q) {
                std::int64_t first = 0, end = 0;
                ValidRange(op, p, q, g.n[j], first, end);
                std::fill(g.lines[j][q], g.lines[j][q] + first, nan);
                std::fill(g.lines[j][q] + end, g.lines[j][q] + g.n[j], nan);
            }
    });
}

}  // namespace

int PanelLanes() {
    const int f = forced.load(std::memory_order_relaxed);
    return f != 0 ? std::min(f, Detected()) : Detected();
}

void detail::ForcePanelLanes(int width) { forced.store(width, std::memory_order_relaxed); }

namespace {

Error Panel(std::string_view name, std::span<const int> given, std::span<const Bars> securities,
            std::span<const std::span<double>> lines, const PanelOptions& options, std::vector<Error>* each) {
    const OperationSpec* op = FindOperation(name);
    if (op == nullptr) return Error{Errc::UnknownOperation, -1, "unknown operation '" + std::string(name) + "'"};
    std::int32_t p[kMaxParams];
    if (Error e = ResolveParams(*op, given, p)) return e;
    if (options.threads < 0)
        return Error{Errc::ParameterRange, -1, "threads=" + std::to_string(options.threads) + " is negative"};
    const std::size_t L = static_cast<std::size_t>(op->lineCount);
    if (Error e = CheckRoom(securities, lines, L, [&](std::size_t k) { return std::string(op->lines[k].name); }))
        return e;
    FirstError failed;
    failed.each = each;
    if (op->kernel->lanes != nullptr && PanelLanes() > 1) {
        LaneRun(*op, p, securities, lines, options.threads, failed);
        return std::move(failed.error);
    }
    Spread(static_cast<int>(securities.size()), options.threads, [&](int s) {
        const std::size_t at = static_cast<std::size_t>(s) * L;
        if (Error e = ComputeInto(op->name, given, securities[static_cast<std::size_t>(s)], lines.subspan(at, L)))
            failed.Offer(std::move(e), static_cast<std::size_t>(s));
    });
    return std::move(failed.error);
}

}  // namespace

Error ComputeManyInto(std::string_view name, std::span<const int> given, std::span<const Bars> securities,
                      std::span<const std::span<double>> lines, const PanelOptions& options) {
    return Panel(name, given, securities, lines, options, nullptr);
}

std::vector<Lines> ComputeMany(std::string_view name, std::span<const int> given, std::span<const Bars> securities,
                               const PanelOptions& options) {
    std::vector<Lines> out(securities.size());
    const OperationSpec* op = FindOperation(name);
    std::vector<std::span<double>> views;
    const std::size_t L = op != nullptr ? static_cast<std::size_t>(op->lineCount) : 0;
    for (std::size_t s = 0; s < securities.size(); ++s) {
        out[s].unit = securities[s].unit;
        out[s].values.assign(L, std::vector<double>(securities[s].bars.size()));
        for (std::size_t k = 0; k < L; ++k) views.emplace_back(out[s].values[k]);
    }
    std::vector<Error> each(securities.size());
    const Error e = Panel(name, given, securities, views, options, &each);
    for (std::size_t s = 0; s < securities.size(); ++s) {
        if (each[s] || (e && e.security < 0)) {
            out[s].error = each[s] ? std::move(each[s]) : e;
            out[s].values.clear();
            continue;
        }
        for (std::size_t k = 0; k < L; ++k) out[s].names.emplace_back(op->lines[k].name);
    }
    return out;
}

namespace {

// Each security's bars at its own unit, then `run` over them; a security
// whose columns are refused gets its error in place of a result.
template <class Result, class Run>
std::vector<Result> FromColumns(std::span<const PriceColumns> securities, Run run) {
    std::vector<Bars> bars(securities.size());
    std::vector<Error> refused(securities.size());
    for (std::size_t s = 0; s < securities.size(); ++s)
        if (Error e = MakeBars(securities[s], bars[s])) refused[s] = Named(std::move(e), s), bars[s] = Bars{};
    std::vector<Result> out = run(std::span<const Bars>(bars));
    for (std::size_t s = 0; s < securities.size(); ++s)
        if (refused[s]) {
            out[s] = Result{};
            out[s].error = std::move(refused[s]);
        }
    return out;
}

}  // namespace

std::vector<Lines> ComputeMany(std::string_view name, std::span<const int> params,
                               std::span<const PriceColumns> securities, const PanelOptions& options) {
    return FromColumns<Lines>(securities, [&](std::span<const Bars> bars) {
        return ComputeMany(name, params, bars, options);
    });
}

namespace {

// A formula over securities grouped as operations are, into lines[s * K +
// k]; with `each`, every security's refusal in its place.
FormulaPanelError FormulaPanel(const Formula& formula, std::span<const Bars> securities,
                               std::span<const std::span<double>> lines, const FormulaArgs& args,
                               const PanelOptions& options, std::vector<FormulaPanelError>* each) {
    FormulaPanelError refused;
    if (options.threads < 0) {
        refused.error = Error{Errc::ParameterRange, -1, "threads=" + std::to_string(options.threads) + " is negative"};
        return refused;
    }
    const std::size_t K = formula.outputs().size();
    if ((refused.error = CheckRoom(securities, lines, K, [&](std::size_t k) { return formula.outputs()[k].name; })))
        return refused;
    const int width = PanelLanes();
    const std::vector<int>& order = LongestFirst(securities);
    const int count = static_cast<int>(securities.size());
    std::mutex lock;
    int lowest = count;
    Spread((count + width - 1) / width, options.threads, [&](int group) {
        const Bars* members[detail::LaneGroup::kMax];
        std::vector<double*> into;
        int at[detail::LaneGroup::kMax], w = 0;
        for (int k = group * width; k < std::min(count, group * width + width); ++k, ++w) {
            at[w] = order[static_cast<std::size_t>(k)];
            members[w] = &securities[static_cast<std::size_t>(at[w])];
            for (std::size_t q = 0; q < K; ++q) into.push_back(lines[static_cast<std::size_t>(at[w]) * K + q].data());
        }
        std::vector<FormulaPanelError> results =
            formula::RunGroup(formula, std::span<const Bars* const>(members, static_cast<std::size_t>(w)), args, into);
        for (int j = 0; j < w; ++j) {
            FormulaPanelError& r = results[static_cast<std::size_t>(j)];
            if (!r) continue;
            if (r.error) r.error = Named(std::move(r.error), static_cast<std::size_t>(at[j]));
            std::lock_guard<std::mutex> hold(lock);
            if (each != nullptr) (*each)[static_cast<std::size_t>(at[j])] = r;
            if (at[j] < lowest) lowest = at[j], refused = std::move(r);
        }
    });
    return refused;
}

}  // namespace

FormulaPanelError RunManyInto(const Formula& formula, std::span<const Bars> securities,
                              std::span<const std::span<double>> lines, const FormulaArgs& args,
                              const PanelOptions& options) {
    return FormulaPanel(formula, securities, lines, args, options, nullptr);
}

std::vector<FormulaResult> RunMany(const Formula& formula, std::span<const Bars> securities, const FormulaArgs& args,
                                   const PanelOptions& options) {
    std::vector<FormulaResult> out(securities.size());
    const std::span<const FormulaOutput> outputs = formula.outputs();
    std::vector<std::span<double>> views;
    for (std::size_t s = 0; s < securities.size(); ++s) {
        out[s].unit = securities[s].unit;
        for (const FormulaOutput& o : outputs) out[s].lines.push_back({o.name, o.attributes, std::vector<double>(securities[s].bars.size())});
        for (FormulaLine& l : out[s].lines) views.emplace_back(l.values);
    }
    std::vector<FormulaPanelError> each(securities.size());
    const FormulaPanelError e = FormulaPanel(formula, securities, views, args, options, &each);
    for (std::size_t s = 0; s < securities.size(); ++s) {
        const bool general = e && e.error.security < 0 && !each[s];  // refused for all: parameters, threads
        const FormulaPanelError& r = general ? e : each[s];
        if (!r) continue;
        out[s].lines.clear();
        out[s].error = r.error;
        out[s].formulaError = r.formulaError;
    }
    return out;
}

std::vector<FormulaResult> RunMany(const Formula& formula, std::span<const PriceColumns> securities,
                                   const FormulaArgs& args, const PanelOptions& options) {
    return FromColumns<FormulaResult>(securities, [&](std::span<const Bars> bars) {
        return RunMany(formula, bars, args, options);
    });
}

}  // namespace fenxi
