// Formulas for Python: compiled texts and library entries, runs over Bars and
// streams over float bars. Errors come back as (line, column, message,
// formatted) tuples; the Python layer raises FormulaError from them.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <memory>

#include "fenxi/formula.h"
#include "fenxi/panel.h"

namespace py = pybind11;

namespace {

using ErrorTuple = std::tuple<int, int, std::string, std::string>;

py::object ErrorOf(const fenxi::FormulaError& e, const std::string& name) {
    if (!e) return py::none();
    return py::cast(ErrorTuple{e.line, e.column, e.message, e.Format(name)});
}

fenxi::FormulaArgs Args(const py::dict& params) {
    fenxi::FormulaArgs args;
    for (const auto& [k, v] : params) args.emplace_back(py::str(k).cast<std::string>(), v.cast<double>());
    return args;
}

py::list ParamList(std::span<const fenxi::FormulaParam> params) {
    py::list out;
    for (const fenxi::FormulaParam& p : params)
        out.append(py::dict(py::arg("name") = p.name, py::arg("default") = p.defaultValue, py::arg("min") = p.min,
                            py::arg("max") = p.max));
    return out;
}

// (names, arrays) of a run, an error tuple for a refused parameter; bad bars raise.
py::object Lines(const fenxi::FormulaResult& r) {
    if (r.formulaError) return ErrorOf(r.formulaError, "formula");
    if (r.error) throw py::value_error(r.error.message);
    py::list names, values;
    for (const fenxi::FormulaLine& l : r.lines) {
        names.append(l.name);
        values.append(py::array_t<double>(static_cast<py::ssize_t>(l.values.size()), l.values.data()));
    }
    return py::make_tuple(names, values);
}

// A compiled formula: owned, or an entry of a library kept alive beside it.
struct PyFormula {
    std::shared_ptr<const fenxi::FormulaLibrary> library;
    fenxi::Formula owned;
    const fenxi::Formula* entry = nullptr;  // a library's; else `owned`

    PyFormula(const std::string& text, std::shared_ptr<const fenxi::FormulaLibrary> lib)
        : library(std::move(lib)), owned(text, library.get()) {}
    PyFormula(std::shared_ptr<const fenxi::FormulaLibrary> lib, const fenxi::Formula* e)
        : library(std::move(lib)), entry(e) {}
    // Not a stored pointer to `owned`: pybind11 moves these objects.
    const fenxi::Formula& F() const { return entry ? *entry : owned; }

    std::vector<std::string> Names() const {
        std::vector<std::string> out;
        for (const fenxi::FormulaOutput& o : F().outputs()) out.push_back(o.name);
        return out;
    }
    py::list Parameters() const { return ParamList(F().parameters()); }
    // (names, arrays) or an error tuple.
    py::object Run(const fenxi::Bars& bars, const py::dict& params) const {
        const fenxi::FormulaArgs args = Args(params);
        fenxi::FormulaResult r;
        {
            py::gil_scoped_release free;
            r = F().Run(bars, args);
        }
        return Lines(r);
    }
    // Run over many securities on `threads` threads: a list of (names,
    // arrays), or an error tuple.
    py::object RunMany(const std::vector<const fenxi::Bars*>& securities, const py::dict& params, int threads) const {
        const fenxi::FormulaArgs args = Args(params);
        std::vector<fenxi::Bars> bars;
        bars.reserve(securities.size());
        for (const fenxi::Bars* b : securities) bars.push_back(*b);
        std::vector<fenxi::FormulaResult> many;
        {
            py::gil_scoped_release free;
            many = fenxi::RunMany(F(), bars, args, {threads});
        }
        py::list out;
        for (const fenxi::FormulaResult& r : many) {
            if (r.formulaError) return ErrorOf(r.formulaError, "formula");
            out.append(Lines(r));
        }
        return out;
    }
    // (last values, passes) or an error tuple: a screen's view of the bars.
    py::object Last(const fenxi::Bars& bars, const py::dict& params) const {
        const fenxi::FormulaArgs args = Args(params);
        fenxi::FormulaLast r;
        {
            py::gil_scoped_release free;
            r = F().Last(bars, args);
        }
        if (r.formulaError) return ErrorOf(r.formulaError, "formula");
        if (r.error) throw py::value_error(r.error.message);
        return py::make_tuple(r.values, r.pass);
    }
};

class PyFormulaStream {
public:
    PyFormulaStream(const PyFormula& f, int unit, const py::dict& params)
        : library_(f.library), unit_(unit), stream_(f.F().Stream(unit, Args(params))) {}
    py::object Error() const { return ErrorOf(stream_.error(), "formula"); }
    std::vector<double> Append(double o, double h, double l, double c, double v, double a) {
        return Run(o, h, l, c, v, a, false);
    }
    std::vector<double> Replace(double o, double h, double l, double c, double v, double a) {
        return Run(o, h, l, c, v, a, true);
    }
    std::int64_t Size() const { return stream_.size(); }

private:
    std::vector<double> Run(double o, double h, double l, double c, double v, double a, bool replace) {
        const double opens[] = {o}, highs[] = {h}, lows[] = {l}, closes[] = {c}, volumes[] = {v}, amounts[] = {a};
        fenxi::Bars one;
        if (fenxi::Error e = fenxi::MakeBars({opens, highs, lows, closes, volumes, amounts, {}, {}, unit_}, one))
            throw py::value_error(e.message);
        const auto values = replace ? stream_.ReplaceLast(one.bars[0]) : stream_.Append(one.bars[0]);
        return {values.begin(), values.end()};
    }

    std::shared_ptr<const fenxi::FormulaLibrary> library_;
    int unit_;
    fenxi::FormulaStream stream_;
};

struct PyLibrary {
    std::shared_ptr<fenxi::FormulaLibrary> library;
    explicit PyLibrary(bool empty)
        : library(std::make_shared<fenxi::FormulaLibrary>(empty ? fenxi::FormulaLibrary::Start::Empty
                                                                : fenxi::FormulaLibrary::Start::Shipped)) {}
};

}  // namespace

void BindFormulas(py::module_& m) {
    py::class_<PyLibrary>(m, "FormulaLibrary")
        .def(py::init<bool>(), py::arg("empty") = false)
        .def("load_file", [](PyLibrary& l, const std::string& path) { return ErrorOf(l.library->LoadFile(path), path); })
        .def("load", [](PyLibrary& l, const std::string& text, const std::string& name) {
            return ErrorOf(l.library->Load(text, name), name);
        })
        .def("entries", [](const PyLibrary& l) {
            py::list out;
            for (const fenxi::FormulaEntry& e : l.library->Entries()) {
                py::list lines, attributes;
                for (const fenxi::FormulaOutput& o : e.outputs) {
                    lines.append(o.name);
                    attributes.append(o.attributes);
                }
                out.append(py::dict(py::arg("name") = e.name, py::arg("description") = e.description,
                                    py::arg("overlay") = e.overlay, py::arg("parameters") = ParamList(e.parameters),
                                    py::arg("lines") = lines, py::arg("attributes") = attributes,
                                    py::arg("file") = e.file, py::arg("line") = e.line,
                                    py::arg("shipped") = e.shipped));
            }
            return out;
        })
        .def("find", [](const PyLibrary& l, const std::string& name) -> py::object {
            const fenxi::Formula* f = l.library->Find(name);
            if (f == nullptr) return py::none();
            return py::cast(PyFormula(l.library, f));
        });
    py::class_<PyFormula>(m, "Formula")
        .def(py::init([](const std::string& text, const PyLibrary* lib) {
                 return PyFormula(text, lib ? lib->library : nullptr);
             }),
             py::arg("text"), py::arg("library") = nullptr)
        .def_property_readonly("error", [](const PyFormula& f) { return ErrorOf(f.F().error(), "formula"); })
        .def_property_readonly("names", &PyFormula::Names)
        .def_property_readonly("parameters", &PyFormula::Parameters)
        .def_property_readonly("name", [](const PyFormula& f) { return f.F().name(); })
        .def_property_readonly("description", [](const PyFormula& f) { return f.F().description(); })
        .def("run", &PyFormula::Run, py::arg("bars"), py::arg("params"))
        .def("last", &PyFormula::Last, py::arg("bars"), py::arg("params"))
        .def("run_many", &PyFormula::RunMany, py::arg("securities"), py::arg("params"), py::arg("threads"))
        .def("stream", [](const PyFormula& f, int unit, const py::dict& params) { return PyFormulaStream(f, unit, params); },
             py::arg("unit"), py::arg("params"));
    py::class_<PyFormulaStream>(m, "FormulaStream")
        .def_property_readonly("error", &PyFormulaStream::Error)
        .def("append", &PyFormulaStream::Append, py::arg("open"), py::arg("high"), py::arg("low"), py::arg("close"),
             py::arg("volume") = 0.0, py::arg("amount") = 0.0)
        .def("replace_last", &PyFormulaStream::Replace, py::arg("open"), py::arg("high"), py::arg("low"),
             py::arg("close"), py::arg("volume") = 0.0, py::arg("amount") = 0.0)
        .def("__len__", &PyFormulaStream::Size);
    m.def("formula_functions", [] {
        py::list out;
        for (const fenxi::FormulaFunctionInfo& f : fenxi::FormulaFunctions())
            out.append(py::make_tuple(f.signature, f.summary));
        return out;
    });
}
