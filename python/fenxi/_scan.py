"""Many securities at once: both systems, both tips and the tactics pools; screens."""
from __future__ import annotations

import os
import sys
from concurrent.futures import ThreadPoolExecutor
from typing import Any, Iterable

from . import _fenxi


def _load(item: Any, unit: int | None) -> tuple:
    """(name, bars, code, market) of a path, a (name, frame) pair or a frame."""
    from . import bars
    if isinstance(item, (str, os.PathLike)):
        loaded, code, market = _fenxi.read_bars(os.fspath(item), unit or 0)
        return os.path.basename(os.fspath(item)), loaded, code, market
    name, data = item if isinstance(item, tuple) else (getattr(item, "name", None) or "frame", item)
    return str(name), bars(data, unit), "", 0


def _last(table: dict, *fields) -> tuple:
    if not table["seq"]:
        return (None,) * len(fields)
    return tuple(table[f][-1] for f in fields)


def _one(item: Any, unit: int | None) -> dict:
    try:
        name, loaded, code, market = _load(item, unit)
    except (ValueError, OSError) as error:
        label = item[0] if isinstance(item, tuple) else item
        return {"security": os.path.basename(str(label)), "error": str(error)}
    code = code or "000000"
    row = {"security": name, "code": code, "market": market, "bars": len(loaded), "unit": loaded.unit, "error": None}
    for system in ("long", "short"):
        kind, date, price = _last(_fenxi.signals(loaded, system == "short", code, market, False, False, False),
                                  "kind", "date", "price")
        row.update({f"{system}_point": kind, f"{system}_point_date": date, f"{system}_point_price": price})
    tip = _fenxi.tips(loaded, -1, code, market)
    for system in ("long", "short"):
        row[f"{system}_tip"] = tip[system]["text"]
        row[f"{system}_threshold"] = tip[system]["threshold"]
    for pool in ("short", "mid", "long"):
        tactic, kind, date = _last(_fenxi.tactics(loaded, pool), "tactic", "kind", "date")
        row[f"tactic_{pool}"] = f"{tactic or kind} {date}" if kind else None
    return row


def _batch(items: list, unit: int | None) -> list:
    return [_one(item, unit) for item in items]


def _rows(items: list, one, batch_task, task_args: tuple, jobs, client, batch: int, show: bool) -> list:
    """``one(item)`` for every item on threads, or ``batch_task(chunk, *task_args)``
    as one Dask task per ``batch`` items; the rows in the items' order."""
    if client is not None:
        from dask.distributed import as_completed
        futures = [client.submit(batch_task, items[k:k + batch], *task_args, pure=False)
                   for k in range(0, len(items), batch)]
        done = as_completed(futures)
        if show:
            from tqdm import tqdm
            done = tqdm(done, total=len(futures), unit="batch")
        order = {f.key: k for k, f in enumerate(futures)}
        parts = {order[f.key]: f.result() for f in done}
        return [row for k in sorted(parts) for row in parts[k]]
    with ThreadPoolExecutor(max_workers=jobs or os.cpu_count() or 1) as pool:
        mapped = pool.map(one, items)
        if show:
            from tqdm import tqdm
            mapped = tqdm(mapped, total=len(items), unit="security")
        return list(mapped)


def scan(items: Iterable[Any], jobs: int | None = None, client: Any = None, batch: int = 64,
         unit: int | None = None, progress: bool | None = None):
    """One summary row per security: both systems' last points, both tips, each pool's last record.

    ``items`` are CSV paths, DataFrames or (name, DataFrame) pairs. On one
    machine ``jobs`` threads share the work (the engine runs without the
    GIL); with a ``dask.distributed`` client it runs as one task per
    ``batch`` securities on the cluster. A bad file gives a row with its
    error and does not stop the rest. A progress bar shows on a terminal.
    """
    import pandas as pd
    items = list(items)
    show = sys.stderr.isatty() if progress is None else progress
    rows = _rows(items, lambda item: _one(item, unit), _batch, (unit,), jobs, client, batch, show)
    return pd.DataFrame(rows)


def _formula_of(where: Any):
    """A Formula from a formula, a library entry's name or a formula text."""
    from . import Formula, _library
    if isinstance(where, Formula):
        return where
    if where in _library:
        return _library[where]
    return Formula(where)


def _screen_one(item: Any, formula: Any, params: dict, unit: int | None) -> dict:
    import pandas as pd
    try:
        name, loaded, code, _ = _load(item, unit)
    except (ValueError, OSError) as error:
        label = item[0] if isinstance(item, tuple) else item
        return {"security": os.path.basename(str(label)), "error": str(error)}
    values, passes = formula.last(loaded, **params)
    last = loaded.last_date()
    when = None
    if last is not None:
        date, time = last
        when = pd.Timestamp(year=date // 10000, month=date // 100 % 100, day=date % 100, hour=time // 10000,
                            minute=time // 100 % 100, second=time % 100)
    return {"security": name, "code": code, "date": when, "pass": passes, **values, "error": None}


def _screen_batch(items: list, where: str, params: dict, unit: int | None) -> list:
    formula = _formula_of(where)
    return [_screen_one(item, formula, params, unit) for item in items]


def screen(items: Iterable[Any], formula: Any, jobs: int | None = None, client: Any = None, all: bool = False,
           batch: int = 256, unit: int | None = None, progress: bool | None = None, **params):
    """A screen over many securities: the rows that pass (every row with ``all=True``).

    ``formula`` is a formula text, the name of a library entry (a shipped
    screen such as ``"SCR_MA_GOLDEN"``) or a ``Formula``; ``params`` set its
    parameters. A security passes when the formula's last output line is true
    at its last bar. Each row has the security (file name or given name), its
    code, the last bar's date, ``pass`` and the last values of every output
    line, as ``fenxi scan --where`` prints them. ``items`` are CSV paths,
    DataFrames or (name, DataFrame) pairs; ``jobs`` threads share the work, or
    a ``dask.distributed`` client runs one task per ``batch`` securities (then
    ``formula`` must be a text or a shipped name, which the workers compile).
    A security that cannot be read is left out with a warning.
    """
    import warnings
    import pandas as pd
    items = list(items)
    compiled = _formula_of(formula)
    compiled.last({"open": [1.0], "high": [1.0], "low": [1.0], "close": [1.0]}, **params)  # refuses bad params here
    show = sys.stderr.isatty() if progress is None else progress
    text = formula if isinstance(formula, str) else compiled.name or compiled.text  # what Dask workers compile
    rows = _rows(items, lambda item: _screen_one(item, compiled, params, unit), _screen_batch,
                 (text, params, unit), jobs, client, batch, show)
    for row in rows:
        if row["error"] is not None:
            warnings.warn(row["error"], stacklevel=2)
    kept = [row for row in rows if row["error"] is None and (all or row["pass"])]
    columns = ["security", "code", "date"] + (["pass"] if all else []) + list(compiled.names)
    table = pd.DataFrame(kept, columns=columns + ["pass"] if not all else columns)
    return table[columns].reset_index(drop=True)
