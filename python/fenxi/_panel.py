"""Many securities in one call: lists and dicts of frames, and wide frames.

A wide frame is a DataFrame whose columns are a MultiIndex of (field,
ticker) (or (ticker, field)), as multi-ticker downloads give it, or a dict
of field -> DataFrame of dates x tickers. Each ticker's series is its rows
where open, high, low and close are all present; its results come back on
the whole index, NaN where it has no bar, as columns (line, ticker).
"""
from __future__ import annotations

import os
from typing import Any

import numpy as np

from . import _fenxi

_FIELDS = ("open", "high", "low", "close", "volume", "amount")


def _field_of(name) -> str | None:
    from . import _ALIASES
    return _ALIASES.get(str(name).strip().lower())


def _level_of_fields(columns) -> int | None:
    """Which level of two-level columns names the fields (None: neither)."""
    for level in (0, 1):
        found = {_field_of(v) for v in columns.get_level_values(level).unique()}
        if {"open", "high", "low", "close"} <= found:
            return level
    return None


def wide_fields(data: Any) -> tuple | None:
    """(index, tickers, {field: 2-D array dates x tickers}) of a wide frame, else None."""
    import pandas as pd
    if isinstance(data, pd.DataFrame) and isinstance(data.columns, pd.MultiIndex) and data.columns.nlevels == 2:
        level = _level_of_fields(data.columns)
        if level is None:
            raise ValueError("a wide frame names open, high, low and close in one level of its columns")
        frame = data if level == 0 else data.swaplevel(axis=1)
        tickers = list(dict.fromkeys(frame.columns.get_level_values(1)))
        fields = {}
        for name in dict.fromkeys(frame.columns.get_level_values(0)):
            field = _field_of(name)
            if field in _FIELDS and field not in fields:
                fields[field] = frame[name].reindex(columns=tickers)
        return data.index, tickers, fields
    if isinstance(data, dict) and data and all(isinstance(v, pd.DataFrame) for v in data.values()):
        fields = {}
        for name, frame in data.items():
            field = _field_of(name)
            if field in _FIELDS and field not in fields:
                fields[field] = frame
        if not {"open", "high", "low", "close"} <= set(fields):
            return None
        index = fields["close"].index
        tickers = list(fields["close"].columns)
        fields = {f: v.reindex(index=index, columns=tickers) for f, v in fields.items()}
        return index, tickers, fields
    return None


def _wide_securities(index, tickers, fields: dict, unit):
    """Each ticker's Bars over its rows with all four prices, and those rows."""
    from . import bars
    prices = np.stack([fields[f].to_numpy(dtype=np.float64) for f in ("open", "high", "low", "close")])
    present = ~np.isnan(prices).any(axis=0)
    dates = None
    if np.issubdtype(getattr(index, "dtype", np.dtype(object)), np.datetime64):
        dates = np.asarray(index)
    securities, rows = [], []
    for k, ticker in enumerate(tickers):
        keep = present[:, k]
        columns = {f: fields[f].iloc[:, k].to_numpy(dtype=np.float64)[keep] for f in fields}
        for f in ("volume", "amount"):
            if f in columns:
                columns[f] = np.nan_to_num(columns[f], nan=0.0)
        if dates is not None:
            columns["date"] = dates[keep]
        try:
            securities.append(bars(columns, unit))
        except ValueError as error:
            raise ValueError(f"{ticker}: {error}") from None
        rows.append(np.flatnonzero(keep))
    return securities, rows


def _wide_result(index, tickers, rows, results) -> Any:
    """Columns (line, ticker) on the whole index, NaN where a ticker has no bar."""
    import pandas as pd
    names = results[0][0] if results else []
    columns, data = [], []
    for line, name in enumerate(names):
        for k, ticker in enumerate(tickers):
            full = np.full(len(index), np.nan)
            full[rows[k]] = results[k][1][line]
            columns.append((name, ticker))
            data.append(full)
    frame = pd.DataFrame(np.column_stack(data) if data else np.empty((len(index), 0)), index=index,
                         columns=pd.MultiIndex.from_tuples(columns, names=["line", "ticker"]))
    return frame


def _formula_of(name_or_formula):
    """A Formula for a formula text or library entry, else None (a registry operation)."""
    from . import Formula, _library
    if not isinstance(name_or_formula, str):
        return name_or_formula
    if _fenxi_operation(name_or_formula):
        return None
    if name_or_formula in _library:
        return _library[name_or_formula]
    return Formula(name_or_formula)


def _fenxi_operation(name: str) -> bool:
    upper = name.strip().upper()
    return any(op["name"] == upper or str(op["code"]) == name.strip() for op in _fenxi.operations()) or \
        upper == "BOLLIN"


def _run(target, securities: list, params: tuple, formula_params: dict, jobs: int) -> list:
    from . import FormulaError
    if isinstance(target, str):
        return _fenxi.compute_many(target, securities, tuple(params), jobs)
    named = dict(formula_params)
    for p, v in zip(target.parameters, params):
        named[p["name"]] = v
    result = target._formula.run_many(securities, named, jobs)
    if isinstance(result, tuple):
        raise FormulaError(result)
    return result


def compute_many(name_or_formula, data, *params, jobs: int = 1, unit: int | None = None, **formula_params):
    """One operation, library entry or formula text over many securities in one call.

    ``data`` is a list of frames, paths or Bars (a list of results comes
    back), a dict of ticker -> frame or path (a dict comes back), or a wide
    frame (a wide result, columns (line, ticker)). Values equal those of
    one security at a time, bit for bit; the registry's recurrences run
    several securities at once in vector lanes, and ``jobs`` threads share
    the securities (0: one per core).
    """
    from . import bars, _frame
    formula = _formula_of(name_or_formula)
    target = formula if formula is not None else name_or_formula
    wide = wide_fields(data)
    if wide is not None:
        index, tickers, fields = wide
        securities, rows = _wide_securities(index, tickers, fields, unit)
        return _wide_result(index, tickers, rows, _run(target, securities, params, formula_params, jobs))
    keys = None
    if isinstance(data, dict):
        keys, items = list(data.keys()), list(data.values())
    else:
        items = list(data)

    def load(item):
        if isinstance(item, (str, os.PathLike)):
            return _fenxi.read_bars(os.fspath(item), unit or 0)[0]
        return bars(item, unit)

    securities = [load(item) for item in items]
    results = _run(target, securities, params, formula_params, jobs)
    out = [_frame(item, dict(zip(names, values)), not isinstance(item, (str, os.PathLike)))
           for item, (names, values) in zip(items, results)]
    return dict(zip(keys, out)) if keys is not None else out
