"""fenxi: technical analysis over price bars.

Every indicator of the engine's operation registry is a function of this
package named as in the ``fenxi`` tool (``fenxi.MACD(df, 12, 26, 9)``), and
``fenxi.compute(name, df, *params)`` runs one by name. Bars come in as a
pandas DataFrame (columns open, high, low, close, volume and optionally
amount, date, time, in English or Chinese; optionally a DatetimeIndex) or as
a mapping of numpy arrays; float prices become the engine's scaled integers
at the largest power of ten up to 10^6 that their decimals need while every
price fits 32 bits (``unit=`` forces one). Results are in true units (price,
percent, count), NaN before each line's first valid bar: a DataFrame with the
input's index for a DataFrame, a dict of numpy arrays otherwise.
"""
from __future__ import annotations

import inspect
import os
from typing import Any, Iterable, Mapping

import numpy as np

from . import _fenxi, _panel
from ._fenxi import Bars
from ._panel import compute_many

__version__ = _fenxi.__version__

__all__ = ["Bars", "Formula", "FormulaError", "FormulaLibrary", "Stream", "bars", "chart", "compute", "compute_many",
           "formula",
           "formulas", "load_formulas", "operations", "sample", "scan", "screen", "signals", "tactics", "tips"]

# Column names the tool reads, English or Chinese, to the engine's fields.
_ALIASES = {
    "date": "date", "dt": "date", "datetime": "date", "trade_date": "date", "日期": "date",
    "time": "time",
    "open": "open", "开盘": "open", "开盘价": "open",
    "high": "high", "最高": "high", "最高价": "high",
    "low": "low", "最低": "low", "最低价": "low",
    "close": "close", "收盘": "close", "收盘价": "close",
    "volume": "volume", "vol": "volume", "成交量": "volume",
    "amount": "amount", "成交额": "amount", "成交金额": "amount", "turnover": "amount", "money": "amount",
}
_PRICES = ("open", "high", "low", "close")
_DIR = os.path.dirname(os.path.abspath(__file__))


def _field_columns(data: Any) -> dict:
    """The engine's fields found in a DataFrame or a mapping of arrays."""
    found = {}
    names = data.columns if hasattr(data, "columns") else data.keys()
    for name in names:
        field = _ALIASES.get(str(name).strip().lower())
        if field is not None and field not in found:
            found[field] = np.asarray(data[name])
    missing = [p for p in _PRICES if p not in found]
    if missing:
        raise ValueError(f"missing column(s) {', '.join(missing)}")
    return found


def _dates(values: np.ndarray) -> tuple:
    """yyyymmdd and hhmmss integers from datetimes (or integers as they are)."""
    if np.issubdtype(values.dtype, np.integer):
        return values.astype(np.int32), None
    stamps = values.astype("datetime64[s]")
    days = stamps.astype("datetime64[D]")
    ymd = np.char.replace(np.datetime_as_string(days), "-", "").astype(np.int64)
    seconds = (stamps - days).astype(np.int64)
    hms = seconds // 3600 * 10000 + seconds // 60 % 60 * 100 + seconds % 60
    return ymd.astype(np.int32), hms.astype(np.int32)


def bars(data: Any, unit: int | None = None) -> Bars:
    """Bars in the engine's form from a DataFrame, a mapping of arrays or a CSV path."""
    if isinstance(data, Bars):
        return data
    if isinstance(data, (str, os.PathLike)):
        return _fenxi.read_bars(os.fspath(data), unit or 0)[0]
    f = _field_columns(data)
    date = time = None
    if "date" in f:
        date, time = _dates(f["date"])
    elif hasattr(data, "index") and np.issubdtype(getattr(data.index, "dtype", np.dtype(object)), np.datetime64):
        date, time = _dates(np.asarray(data.index))
    if "time" in f:
        time = f["time"].astype(np.int32)
    as_float = {k: np.ascontiguousarray(f[k], dtype=np.float64) for k in _PRICES + ("volume", "amount") if k in f}
    return _fenxi.make_bars(as_float["open"], as_float["high"], as_float["low"], as_float["close"],
                            as_float.get("volume"), as_float.get("amount"), date, time, unit or 0)


def _frame(data: Any, columns: dict, index_like: bool = True):
    """A DataFrame with the input's index for DataFrame input, else the dict."""
    if index_like and hasattr(data, "index") and hasattr(data, "columns"):
        import pandas as pd
        return pd.DataFrame(columns, index=data.index, copy=False)
    return columns


def compute(name: str, data: Any, *params: int, unit: int | None = None):
    """One registry operation by name (or indicator code) over the bars (a wide frame: every ticker's)."""
    if _panel.wide_fields(data) is not None:
        return _panel.compute_many(name, data, *[int(p) for p in params], unit=unit)
    names, values = _fenxi.compute(name, bars(data, unit), *params)
    return _frame(data, dict(zip(names, values)))


def operations() -> list:
    """The registry: name, code, parameters (default, min, max), lines (measure), formula."""
    return _fenxi.operations()


def _named(op: dict):
    params = op["parameters"]

    def run(data, *args, unit=None, **kwargs):
        values = list(args) + [kwargs.pop(p["name"], p["default"]) for p in params[len(args):]]
        if kwargs:
            raise TypeError(f"{op['name']}() got unexpected keyword(s) {', '.join(kwargs)}")
        return compute(op["name"], data, *values, unit=unit)

    run.__name__ = run.__qualname__ = op["name"]
    lines = ", ".join(f"{l['name']} ({l['measure']})" for l in op["lines"])
    ranges = "\n".join(f"    {p['name']}: default {p['default']}, {p['min']}..{p['max']}" for p in params)
    code = f" (indicator code {op['code']})" if op["code"] is not None else ""
    run.__doc__ = f"{op['formula']}{code}\n\nParameters:\n{ranges or '    none'}\nLines: {lines}\n"
    signature = [inspect.Parameter("data", inspect.Parameter.POSITIONAL_OR_KEYWORD, annotation=Any)]
    signature += [inspect.Parameter(p["name"], inspect.Parameter.POSITIONAL_OR_KEYWORD, default=p["default"],
                                    annotation=int) for p in params]
    signature.append(inspect.Parameter("unit", inspect.Parameter.KEYWORD_ONLY, default=None,
                                       annotation=int | None))
    run.__signature__ = inspect.Signature(signature)
    run.__annotations__ = {p.name: p.annotation for p in signature}
    return run


for _op in _fenxi.operations():
    globals()[_op["name"]] = _named(_op)
    __all__.append(_op["name"])


class Stream:
    """One operation kept running over a growing series of bars.

    ``append(bar)`` adds a bar, ``replace_last(bar)`` replaces the forming
    one; each returns the last bar's values (a dict of line name to value),
    equal to a full recompute over the same bars. A bar is a mapping (or a
    pandas Series) with open, high, low, close and optionally volume and
    amount, in prices; they become integers at the stream's ``unit``.
    """

    def __init__(self, name: str, *params: int, unit: int = 100):
        self._stream = _fenxi.Stream(name, *params, unit=unit)
        self.names = self._stream.names

    @staticmethod
    def _fields(bar) -> tuple:
        if isinstance(bar, (tuple, list)):
            return tuple(float(x) for x in bar)
        get = bar.get if hasattr(bar, "get") else bar.__getitem__
        return (float(get("open")), float(get("high")), float(get("low")), float(get("close")),
                float(get("volume", 0.0) or 0.0), float(get("amount", 0.0) or 0.0))

    def append(self, bar) -> dict:
        return dict(zip(self.names, self._stream.append(*self._fields(bar))))

    def replace_last(self, bar) -> dict:
        return dict(zip(self.names, self._stream.replace_last(*self._fields(bar))))

    def __len__(self) -> int:
        return len(self._stream)


def _table(columns: dict):
    import pandas as pd
    return pd.DataFrame(columns)


def signals(data: Any, system: str = "long", code: str = "000000", market: int = 0, narrow: bool = False,
            limit_rules: bool = False, drawdown_exit: bool = False, unit: int | None = None):
    """D (buy) and K (sell) points of the long-term or short-term system."""
    if system not in ("long", "short"):
        raise ValueError("system is 'long' or 'short'")
    return _table(_fenxi.signals(bars(data, unit), system == "short", code, market, narrow, limit_rules,
                                 drawdown_exit))


def tips(data: Any, bar: int = -1, code: str = "000000", market: int = 0, unit: int | None = None) -> dict:
    """Both tip texts (None where no tip is given) and their thresholds for a bar."""
    return _fenxi.tips(bars(data, unit), bar, code, market)


def tactics(data: Any, pool: str = "short", unit: int | None = None):
    """Entries and exits of a tactics pool: 'short', 'mid' or 'long'."""
    return _table(_fenxi.tactics(bars(data, unit), pool))


_CHARTS = {"break": 3, "brick": 4, "reversal": 5}


def chart(data: Any, kind: str = "break", param: int = 3, code: str = "000000", unit: int | None = None):
    """Synthetic bars of a line-break, brick or reversal chart (param clamped as the engine does)."""
    if kind not in _CHARTS:
        raise ValueError(f"kind is one of {', '.join(_CHARTS)}")
    out = _fenxi.chart(bars(data, unit), _CHARTS[kind], param, code)
    out.pop("parameter")
    return _table(out)


def sample():
    """The shipped daily sample (security 002032) as a DataFrame with a DatetimeIndex."""
    import pandas as pd
    columns = _fenxi.read_bars(os.path.join(_DIR, "data", "daily_sz002032.csv"))[0].columns()
    index = pd.to_datetime(pd.Series(columns.pop("date")).astype(str), format="%Y%m%d")
    columns.pop("time")
    return pd.DataFrame(columns, index=pd.DatetimeIndex(index, name="date"))


class FormulaError(ValueError):
    """A formula that does not compile, or a parameter value it refuses.

    ``line`` and ``column`` (1-based, 0 where the error has no place in the
    text) and ``message``; ``str()`` gives the message with the source line
    and a caret under the column.
    """

    def __init__(self, error: tuple):
        self.line, self.column, self.message, text = error
        super().__init__(text)


def _check(error) -> None:
    if error is not None:
        raise FormulaError(error)


class FormulaStream(Stream):
    """A formula kept running over a growing series of bars.

    ``append(bar)`` adds a bar, ``replace_last(bar)`` replaces the forming
    one; each returns a dict of the output lines' last values, equal to a
    recompute over the same bars. Bars are as ``Stream`` takes them.
    """

    def __init__(self, stream, names):  # pylint: disable=super-init-not-called
        self._stream = stream
        self.names = names


class Formula:
    """A formula text compiled once (see docs/formulas.md for the language).

    ``names`` are its output lines, ``parameters`` its parameters (entries of
    formula files declare them); ``run(data, **params)`` computes every line
    over the bars, ``stream(unit=..., **params)`` keeps it running.
    """

    def __init__(self, text: str, library: "FormulaLibrary | None" = None, *, _compiled=None):
        library = library if library is not None else _library
        self._formula = _compiled if _compiled is not None else _fenxi.Formula(text, library._library)
        self.text = text
        _check(self._formula.error)
        self.names = self._formula.names
        self.parameters = self._formula.parameters
        self.name = self._formula.name
        self.description = self._formula.description

    def run(self, data: Any, unit: int | None = None, **params):
        if _panel.wide_fields(data) is not None:
            return _panel.compute_many(self, data, unit=unit, **params)
        result = self._formula.run(bars(data, unit), params)
        if len(result) == 4:
            raise FormulaError(result)
        names, values = result
        return _frame(data, dict(zip(names, values)))

    def last(self, data: Any, unit: int | None = None, **params) -> tuple:
        """(values, passes): each output line's value at the last bar, and whether the last line is true there."""
        result = self._formula.last(bars(data, unit), params)
        if len(result) == 4:
            raise FormulaError(result)
        values, passes = result
        return dict(zip(self.names, values)), passes

    def stream(self, unit: int = 100, **params) -> FormulaStream:
        s = self._formula.stream(unit, params)
        _check(s.error)
        return FormulaStream(s, self.names)


class FormulaLibrary:
    """Entries of formula files: ``load(path)``, ``entries()``, ``lib[name]``.

    A library starts with the shipped entries (``empty=True``: with none);
    a loaded file may not redefine a name already there.
    """

    def __init__(self, empty: bool = False):
        self._library = _fenxi.FormulaLibrary(empty)

    def load(self, path: str | os.PathLike) -> "FormulaLibrary":
        _check(self._library.load_file(os.fspath(path)))
        return self

    def entries(self) -> list:
        return self._library.entries()

    def __getitem__(self, name: str) -> Formula:
        found = self._library.find(name)
        if found is None:
            raise KeyError(name)
        return Formula("", _compiled=found)

    def __contains__(self, name: str) -> bool:
        return self._library.find(name) is not None


# The library every function of this package reads: the shipped entries and
# those of the files load_formulas has read.
_library = FormulaLibrary()


def formulas() -> list:
    """The formula entries: name, description, overlay, parameters (default, min, max), lines, file, shipped."""
    return _library.entries()


def _number(value: float):
    return int(value) if float(value).is_integer() else value


def _entry_function(entry: dict):
    """fenxi.NAME(data, *params, unit=None) for a formula entry, documented from it."""
    name, params = entry["name"], entry["parameters"]

    def run(data, *args, unit=None, **kwargs):
        if len(args) > len(params):
            raise TypeError(f"{name}() takes at most {len(params)} parameters ({len(args)} given)")
        values = {p["name"]: v for p, v in zip(params, args)}
        by_key = {p["name"].upper(): p["name"] for p in params}
        for key, value in kwargs.items():
            if key.upper() not in by_key:
                raise TypeError(f"{name}() got an unexpected keyword '{key}'")
            values[by_key[key.upper()]] = value
        return _library[name].run(data, unit=unit, **values)

    run.__name__ = run.__qualname__ = name
    ranges = "\n".join(f"    {p['name']}: default {_number(p['default'])}, {_number(p['min'])}..{_number(p['max'])}"
                       for p in params)
    drawn = ", ".join(line for line, attrs in zip(entry["lines"], entry.get("attributes", [[]] * len(entry["lines"])))
                      if "NODRAW" not in attrs)
    run.__doc__ = (f"{entry['description']}\n\nA formula ({entry['file']}){', drawn over the prices' if entry['overlay'] else ''}."
                   f"\n\nParameters:\n{ranges or '    none'}\nLines: {', '.join(entry['lines'])}"
                   f"{'' if drawn == ', '.join(entry['lines']) else ' (drawn: ' + drawn + ')'}\n")
    signature = [inspect.Parameter("data", inspect.Parameter.POSITIONAL_OR_KEYWORD, annotation=Any)]
    signature += [inspect.Parameter(p["name"], inspect.Parameter.POSITIONAL_OR_KEYWORD, default=_number(p["default"]),
                                    annotation=float) for p in params]
    signature.append(inspect.Parameter("unit", inspect.Parameter.KEYWORD_ONLY, default=None, annotation=int | None))
    run.__signature__ = inspect.Signature(signature)
    run.__annotations__ = {p.name: p.annotation for p in signature}
    return run


def _add_entry_functions(entries) -> None:
    for entry in entries:
        if entry["name"] not in globals():
            globals()[entry["name"]] = _entry_function(entry)
            __all__.append(entry["name"])


def load_formulas(path: str | os.PathLike) -> FormulaLibrary:
    """Adds a formula file's entries to the package's library (a function each, as for the shipped ones).

    An entry may not redefine a name already there. Returns the library.
    """
    known = {e["name"] for e in _library.entries()}
    _library.load(path)
    _add_entry_functions(e for e in _library.entries() if e["name"] not in known)
    return _library


def formula(data: Any, text: str, unit: int | None = None, library: FormulaLibrary | None = None, **params):
    """A formula's lines over the bars: a DataFrame on the input's index (a dict of arrays for arrays)."""
    return Formula(text, library).run(data, unit=unit, **params)


_add_entry_functions(_library.entries())


from ._scan import scan, screen  # noqa: E402  (uses the functions above)
