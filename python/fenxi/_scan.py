"""Many securities at once: both systems, both tips and the tactics pools."""
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
        return os.path.basename(os.fspath(item)), loaded, code or "000000", market
    name, data = item if isinstance(item, tuple) else (getattr(item, "name", None) or "frame", item)
    return str(name), bars(data, unit), "000000", 0


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
    rows = []
    if client is not None:
        from dask.distributed import as_completed
        futures = [client.submit(_batch, items[k:k + batch], unit, pure=False) for k in range(0, len(items), batch)]
        done = as_completed(futures)
        if show:
            from tqdm import tqdm
            done = tqdm(done, total=len(futures), unit="batch")
        order = {f.key: k for k, f in enumerate(futures)}
        parts = {order[f.key]: f.result() for f in done}
        rows = [row for k in sorted(parts) for row in parts[k]]
    else:
        with ThreadPoolExecutor(max_workers=jobs or os.cpu_count() or 1) as pool:
            mapped = pool.map(lambda item: _one(item, unit), items)
            if show:
                from tqdm import tqdm
                mapped = tqdm(mapped, total=len(items), unit="security")
            rows = list(mapped)
    return pd.DataFrame(rows)
