// fenxi._fenxi: the engine's registry, columnar API, streams, systems, tips,
// tactics and charts for Python. The pure-Python layer (fenxi/__init__.py)
// turns DataFrames into columns and results into DataFrames.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <chrono>
#include <cmath>
#include <memory>

#include "bars_csv.h"
#include "fenxi/panel.h"
#include "fenxi/series.h"
#include "fenxi/signals.h"

namespace py = pybind11;

namespace {

using Column = py::array_t<double, py::array::c_style | py::array::forcecast>;
using IntColumn = py::array_t<std::int32_t, py::array::c_style | py::array::forcecast>;

std::span<const double> Span(const Column& c) { return {c.data(), static_cast<std::size_t>(c.size())}; }
std::span<const std::int32_t> Span(const std::optional<IntColumn>& c) {
    if (!c) return {};
    return {c->data(), static_cast<std::size_t>(c->size())};
}
std::span<const double> Span(const std::optional<Column>& c) {
    if (!c) return {};
    return {c->data(), static_cast<std::size_t>(c->size())};
}

[[noreturn]] void Raise(const fenxi::Error& e) { throw py::value_error(e.message); }

// A vector handed to numpy without a copy: the array owns it.
py::array_t<double> Owned(std::vector<double>&& v) {
    auto* owner = new std::vector<double>(std::move(v));
    py::capsule free(owner, [](void* p) { delete static_cast<std::vector<double>*>(p); });
    return py::array_t<double>({owner->size()}, {sizeof(double)}, owner->data(), free);
}

fenxi::Bars MakeBars(const Column& open, const Column& high, const Column& low, const Column& close,
                     const std::optional<Column>& volume, const std::optional<Column>& amount,
                     const std::optional<IntColumn>& date, const std::optional<IntColumn>& time, int unit) {
    fenxi::PriceColumns c{Span(open), Span(high), Span(low), Span(close), Span(volume),
                          Span(amount), Span(date), Span(time), unit};
    fenxi::Bars bars;
    fenxi::Error e;
    {
        py::gil_scoped_release free;
        e = fenxi::MakeBars(c, bars);
    }
    if (e) Raise(e);
    return bars;
}

// The bars of a CSV file as the tool reads them, with the code and market
// found in its name.
std::tuple<fenxi::Bars, std::string, int> ReadFile(const std::string& path, int unit) {
    try {
        fenxi_cli::ReadOptions options;
        options.unit = unit;
        fenxi_cli::BarFile f = fenxi_cli::ReadBars(path, options);
        return {fenxi::Bars{std::move(f.bars), f.unit}, f.code, f.market};
    } catch (const std::exception& e) {
        throw py::value_error(e.what());
    }
}

std::vector<int> Params(const py::tuple& args) {
    std::vector<int> out;
    for (const auto& a : args) out.push_back(a.cast<int>());
    return out;
}

py::tuple Compute(const std::string& name, const fenxi::Bars& bars, const py::args& args) {
    const std::vector<int> params = Params(args);
    fenxi::Lines lines;
    {
        py::gil_scoped_release free;
        lines = fenxi::Compute(name, params, bars);
    }
    if (!lines.ok()) Raise(lines.error);
    py::list values;
    for (auto& v : lines.values) values.append(Owned(std::move(v)));
    return py::make_tuple(lines.names, values);
}

// Every security's (names, values), one operation over many Bars: in
// vector lanes where the operation has them, on `threads` threads.
py::list ComputeMany(const std::string& name, const std::vector<const fenxi::Bars*>& securities, const py::tuple& args,
                     int threads) {
    const std::vector<int> params = Params(args);
    std::vector<fenxi::Bars> bars;
    bars.reserve(securities.size());
    for (const fenxi::Bars* b : securities) bars.push_back(*b);
    std::vector<fenxi::Lines> many;
    {
        py::gil_scoped_release free;
        many = fenxi::ComputeMany(name, params, bars, {threads});
    }
    py::list out;
    for (fenxi::Lines& lines : many) {
        if (!lines.ok()) Raise(lines.error);
        py::list values;
        for (auto& v : lines.values) values.append(Owned(std::move(v)));
        out.append(py::make_tuple(lines.names, values));
    }
    return out;
}

py::list Operations() {
    py::list out;
    for (const fenxi::OperationSpec& op : fenxi::Operations()) {
        py::list params, lines;
        std::int32_t p[fenxi::kMaxParams] = {};
        for (int k = 0; k < op.paramCount; ++k) {
            const fenxi::ParamSpec& s = op.params[k];
            p[k] = s.defaultValue;
            params.append(py::dict(py::arg("name") = s.name, py::arg("default") = s.defaultValue,
                                   py::arg("min") = s.min, py::arg("max") = s.max));
        }
        for (int k = 0; k < op.lineCount; ++k)
            lines.append(py::dict(py::arg("name") = op.lines[k].name, py::arg("column") = op.lines[k].column,
                                  py::arg("measure") = fenxi::ScaleName(op, k, p)));
        out.append(py::dict(py::arg("name") = op.name, py::arg("code") = op.code >= 0 ? py::object(py::int_(op.code)) : py::none(),
                            py::arg("parameters") = params, py::arg("lines") = lines,
                            py::arg("formula") = op.formula));
    }
    return out;
}

fenxi::System SystemOf(bool shortSystem) { return shortSystem ? fenxi::System::Short : fenxi::System::Long; }

// D and K points of the long-term (or short-term) system.
py::dict Signals(const fenxi::Bars& bars, bool shortSystem, const std::string& code, int market, bool narrow,
                 bool limitRules, bool drawdownExit) {
    fenxi::SystemRun run;
    {
        py::gil_scoped_release free;
        run = fenxi::RunSystem(bars, SystemOf(shortSystem), {code, market}, {narrow, limitRules, drawdownExit});
    }
    std::vector<int> seq, bar, date, time, link;
    std::vector<std::string> kind;
    std::vector<double> price;
    for (const _SIG_TABLE& s : run.points) {
        seq.push_back(s.Sequence);
        kind.push_back(s.Kind == 0 ? "D" : "K");
        bar.push_back(s.BarIndex);
        date.push_back(s.Date);
        time.push_back(s.Time);
        price.push_back(s.Price / 10000);
        link.push_back(s.Link);
    }
    return py::dict(py::arg("seq") = seq, py::arg("kind") = kind, py::arg("date") = date, py::arg("time") = time,
                    py::arg("bar") = bar, py::arg("price") = price, py::arg("link") = link);
}

// Both tip texts and thresholds for bar `index`.
py::dict Tips(const fenxi::Bars& bars, int index, const std::string& code, int market) {
    const int n = static_cast<int>(bars.bars.size());
    if (index < 0) index += n;
    if (index < 0 || index >= n) throw py::index_error("bar " + std::to_string(index) + " is outside the bars");
    py::dict out;
    for (bool shortSystem : {true, false}) {
        fenxi::TipText tip;
        {
            py::gil_scoped_release free;
            tip = fenxi::RunSystem(bars, SystemOf(shortSystem), {code, market}, {}, index).tip;
        }
        out[shortSystem ? "short" : "long"] = py::dict(
            py::arg("text") = tip.given ? py::object(py::str(tip.text)) : py::none(), py::arg("threshold") = tip.threshold);
    }
    return out;
}

// A tactics pool's records: "short", "mid" or "long".
py::dict Tactics(const fenxi::Bars& bars, const std::string& pool) {
    if (pool != "short" && pool != "mid" && pool != "long") throw py::value_error("pool is short, mid or long");
    std::vector<fenxi::TacticRecord> records;
    {
        py::gil_scoped_release free;
        records = fenxi::Tactics(bars, pool == "short" ? fenxi::Pool::Short
                                       : pool == "mid" ? fenxi::Pool::Mid
                                                       : fenxi::Pool::Long);
    }
    std::vector<int> seq, bar, date, time, link;
    std::vector<std::string> tactic, kind;
    std::vector<double> price, measure;
    for (const fenxi::TacticRecord& r : records) {
        seq.push_back(r.sequence);
        tactic.push_back(r.name);
        kind.push_back(r.entry ? "entry" : "exit");
        bar.push_back(r.bar);
        date.push_back(r.date);
        time.push_back(r.time);
        price.push_back(r.price);
        measure.push_back(r.measure);
        link.push_back(r.link);
    }
    return py::dict(py::arg("seq") = seq, py::arg("tactic") = tactic, py::arg("kind") = kind,
                    py::arg("date") = date, py::arg("time") = time, py::arg("bar") = bar, py::arg("price") = price,
                    py::arg("measure") = measure, py::arg("link") = link);
}

// Synthetic bars of a chart type (3 line break, 4 bricks, 5 reversal).
py::dict Chart(const fenxi::Bars& bars, int type, int param, const std::string& code) {
    std::vector<UNIKDATA> copy = bars.bars;
    UNIKDATA* blocks = nullptr;
    int count = 0;
    ATP_KLINE settings{};
    settings.ChartType = type;
    settings.ChartParam = param;
    {
        py::gil_scoped_release free;
        CAnalysisTechniques engine;
        CAnalysisTechniques::FENXIDATA* rows = nullptr;
        CAnalysisTechniques::FENXIDATA_PROPERTY property{};
        engine.GenerateKLINE(copy.data(), bars.unit, static_cast<int>(copy.size()), blocks, count, rows, &property,
                             &settings, code.c_str());
    }
    if (blocks == nullptr) throw py::value_error("chart type " + std::to_string(type) + " is not one of 0-5");
    std::vector<double> open, high, low, close;
    std::vector<int> date, time;
    for (int k = 0; k < count; ++k) {
        const UNIKDATA& b = blocks[k];
        open.push_back(static_cast<double>(b.Open) / bars.unit);
        high.push_back(static_cast<double>(b.High) / bars.unit);
        low.push_back(static_cast<double>(b.Low) / bars.unit);
        close.push_back(static_cast<double>(b.Close) / bars.unit);
        date.push_back(b.Date);
        time.push_back(b.Time);
    }
    FreeKLineBars(&blocks);
    return py::dict(py::arg("date") = date, py::arg("time") = time, py::arg("open") = open, py::arg("high") = high,
                    py::arg("low") = low, py::arg("close") = close, py::arg("parameter") = settings.ChartParam);
}

// A stream over bars given as float prices, converted at the stream's unit
// as MakeBars converts them.
class PyStream {
public:
    PyStream(const std::string& name, const py::args& args, int unit) : unit_(unit), stream_(name, Params(args), unit) {
        if (stream_.error()) Raise(stream_.error());
    }
    Column Append(double o, double h, double l, double c, double v, double a) { return Run(o, h, l, c, v, a, false); }
    Column Replace(double o, double h, double l, double c, double v, double a) { return Run(o, h, l, c, v, a, true); }
    std::int64_t Size() const { return stream_.size(); }
    std::vector<std::string> Names() const {
        std::vector<std::string> out;
        const fenxi::OperationSpec* op = stream_.operation();
        for (int k = 0; k < op->lineCount; ++k) out.emplace_back(op->lines[k].name);
        return out;
    }

private:
    Column Run(double o, double h, double l, double c, double v, double a, bool replace) {
        const double prices[] = {o}, highs[] = {h}, lows[] = {l}, closes[] = {c}, volumes[] = {v}, amounts[] = {a};
        fenxi::Bars one;
        const fenxi::Error e = fenxi::MakeBars({prices, highs, lows, closes, volumes, amounts, {}, {}, unit_}, one);
        if (e) Raise(e);
        const auto values = replace ? stream_.ReplaceLast(one.bars[0]) : stream_.Append(one.bars[0]);
        Column out(static_cast<py::ssize_t>(values.size()));
        std::copy(values.begin(), values.end(), out.mutable_data());
        return out;
    }

    int unit_;
    fenxi::Stream stream_;
};

// Seconds of the fastest of `repeats` direct C++ columnar calls over these
// columns (the ones the Python call passes on), for the benchmark of
// the Python layer's overhead.
double TimeCompute(const std::string& name, const Column& open, const Column& high, const Column& low,
                   const Column& close, const Column& volume, const Column& amount, int repeats) {
    const fenxi::PriceColumns c{Span(open), Span(high), Span(low), Span(close), Span(volume), Span(amount)};
    py::gil_scoped_release free;
    double best = 1e300;
    for (int k = 0; k < repeats; ++k) {
        const auto start = std::chrono::steady_clock::now();
        const fenxi::Lines lines = fenxi::Compute(name, std::span<const int>(), c);
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        if (!lines.ok()) throw std::runtime_error(lines.error.message);
    }
    return best;
}

}  // namespace

void BindFormulas(py::module_& m);

PYBIND11_MODULE(_fenxi, m) {
    m.doc() = "The fenxi engine: registry, columns, streams, systems, tips, tactics and charts.";
    m.attr("__version__") = FENXI_VERSION;
    py::class_<fenxi::Bars>(m, "Bars", "Bars in the engine's form: prices as integers in units of 1/unit.")
        .def_readonly("unit", &fenxi::Bars::unit)
        .def("__len__", [](const fenxi::Bars& b) { return b.bars.size(); })
        .def("last_date", [](const fenxi::Bars& b) -> py::object {
            if (b.bars.empty()) return py::none();
            return py::make_tuple(b.bars.back().Date, b.bars.back().Time);
        }, "(yyyymmdd, hhmmss) of the last bar, None without bars")
        .def("columns", [](const fenxi::Bars& b) {
            std::vector<double> o, h, l, c, v, a;
            std::vector<int> d, t;
            for (const UNIKDATA& x : b.bars) {
                o.push_back(static_cast<double>(x.Open) / b.unit);
                h.push_back(static_cast<double>(x.High) / b.unit);
                l.push_back(static_cast<double>(x.Low) / b.unit);
                c.push_back(static_cast<double>(x.Close) / b.unit);
                v.push_back(static_cast<double>(x.Volume));
                a.push_back(x.Amount);
                d.push_back(x.Date);
                t.push_back(x.Time);
            }
            return py::dict(py::arg("date") = d, py::arg("time") = t, py::arg("open") = o, py::arg("high") = h,
                            py::arg("low") = l, py::arg("close") = c, py::arg("volume") = v, py::arg("amount") = a);
        });
    m.def("make_bars", &MakeBars, py::arg("open"), py::arg("high"), py::arg("low"), py::arg("close"),
          py::arg("volume") = py::none(), py::arg("amount") = py::none(), py::arg("date") = py::none(),
          py::arg("time") = py::none(), py::arg("unit") = 0);
    m.def("read_bars", &ReadFile, py::arg("path"), py::arg("unit") = 0);
    m.def("operations", &Operations);
    m.def("_time_compute", &TimeCompute);
    m.def("compute", &Compute);
    m.def("compute_many", &ComputeMany, py::arg("name"), py::arg("securities"), py::arg("params"), py::arg("threads"));
    m.def("signals", &Signals, py::arg("bars"), py::arg("short_system"), py::arg("code"), py::arg("market"),
          py::arg("narrow"), py::arg("limit_rules"), py::arg("drawdown_exit"));
    m.def("tips", &Tips, py::arg("bars"), py::arg("index"), py::arg("code"), py::arg("market"));
    m.def("tactics", &Tactics, py::arg("bars"), py::arg("pool"));
    m.def("chart", &Chart, py::arg("bars"), py::arg("type"), py::arg("param"), py::arg("code"));
    py::class_<PyStream>(m, "Stream")
        .def(py::init<const std::string&, const py::args&, int>(), py::arg("name"), py::kw_only(),
             py::arg("unit") = 100)
        .def("append", &PyStream::Append, py::arg("open"), py::arg("high"), py::arg("low"), py::arg("close"),
             py::arg("volume") = 0.0, py::arg("amount") = 0.0)
        .def("replace_last", &PyStream::Replace, py::arg("open"), py::arg("high"), py::arg("low"), py::arg("close"),
             py::arg("volume") = 0.0, py::arg("amount") = 0.0)
        .def_property_readonly("names", &PyStream::Names)
        .def("__len__", &PyStream::Size);
    BindFormulas(m);
}
