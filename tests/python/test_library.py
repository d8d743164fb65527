"""The shipped formula library from Python: a function per entry, and screens
giving one table on threads, on a Dask cluster and from the tool."""
import inspect
import json
import os
import subprocess

import numpy as np
import pandas as pd
import pytest

import fenxi


def same(a, b):
    return np.array_equal(np.asarray(a, dtype=float), np.asarray(b, dtype=float), equal_nan=True)


def test_every_entry_is_a_function_with_its_signature_and_description():
    entries = fenxi.formulas()
    assert sum(not e["file"].endswith("screens.fx") for e in entries) + len(fenxi.operations()) >= 157
    for e in entries:
        function = getattr(fenxi, e["name"])
        assert e["description"] in function.__doc__
        names = list(inspect.signature(function).parameters)
        assert names == ["data"] + [p["name"] for p in e["parameters"]] + ["unit"], e["name"]


def test_entry_functions_run_the_entry_with_positional_and_named_parameters():
    df = fenxi.sample()
    atr = fenxi.ATR(df, 20)
    assert list(atr.columns) == ["MTR", "ATR"]
    assert same(atr["ATR"], fenxi.formula(df, '"ATR.ATR"(20)')["LINE1"])
    assert same(fenxi.ATR(df, N=20)["ATR"], atr["ATR"])
    assert same(fenxi.ATR(df, n=20)["ATR"], atr["ATR"])  # names in any case, as in formulas
    with pytest.raises(TypeError):
        fenxi.ATR(df, 20, 3)
    with pytest.raises(TypeError):
        fenxi.ATR(df, WINDOW=3)
    with pytest.raises(fenxi.FormulaError, match="N"):
        fenxi.ATR(df, 0)


@pytest.fixture()
def market(tmp_path):
    """Securities cut from the sample at bars where a golden cross happens and
    at bars where none does, and one file that cannot be read."""
    df = fenxi.sample()
    cross = fenxi.SCR_MA_GOLDEN(df)["PASS"].to_numpy()
    passing = [i for i in np.flatnonzero(cross == 1) if i > 100][:4]
    failing = [i for i in range(200, 2800, 400) if cross[i] == 0][:4]
    lines = open(os.path.join(os.environ["FENXI_DATA_DIR"], "daily_sz002032.csv")).read().splitlines()
    paths = []
    for k, end in enumerate(sorted(passing + failing)):
        path = tmp_path / f"daily_sz{k + 1:06d}.csv"
        path.write_text("\n".join(lines[:end + 2]) + "\n")
        paths.append(str(path))
    (tmp_path / "broken.csv").write_text("date,open,high,low,close\n20200102,1,abc,1,1\n")
    return sorted(paths + [str(tmp_path / "broken.csv")]), len(passing)


def test_a_screen_gives_one_table_on_threads_on_dask_and_from_the_tool(market):
    paths, passing = market
    with pytest.warns(UserWarning, match="broken.csv:2:"):
        every = fenxi.screen(paths, "SCR_MA_GOLDEN", jobs=2, all=True, progress=False)
    assert len(every) == len(paths) - 1 and every["pass"].sum() == passing
    with pytest.warns(UserWarning):
        only = fenxi.screen(paths, "SCR_MA_GOLDEN", jobs=2, progress=False)
    assert list(only["security"]) == list(every[every["pass"]]["security"])
    assert list(only.columns) == ["security", "code", "date", "FAST", "SLOW", "PASS"]

    distributed = pytest.importorskip("distributed")
    with distributed.LocalCluster(n_workers=1, threads_per_worker=2, processes=False,
                                  dashboard_address=None) as cluster, distributed.Client(cluster) as client:
        with pytest.warns(UserWarning):
            on_dask = fenxi.screen(paths, "SCR_MA_GOLDEN", client=client, all=True, batch=3, progress=False)
    pd.testing.assert_frame_equal(on_dask, every)

    tool = subprocess.run([os.environ["FENXI_CLI"], "scan", *paths, "--where", "SCR_MA_GOLDEN", "--all", "--json"],
                          capture_output=True, text=True)
    assert tool.returncode == 1 and "broken.csv:2:" in tool.stderr
    rows = json.loads(tool.stdout)
    assert [r["file"] for r in rows] == list(every["security"])
    assert [r["pass"] for r in rows] == list(every["pass"])
    assert [r["date"] for r in rows] == [d.strftime("%Y-%m-%d") for d in every["date"]]
    for line in ("FAST", "SLOW", "PASS"):
        assert same([r["values"][line] for r in rows], every[line])


def test_a_screen_takes_a_text_parameters_and_frames():
    df = fenxi.sample()
    frames = [("whole", df), ("half", df.iloc[:1400])]
    entry = fenxi.screen(frames, "SCR_NEW_HIGH", all=True, progress=False, N=20)
    assert list(entry["security"]) == ["whole", "half"]
    want = fenxi.SCR_NEW_HIGH(df.iloc[:1400], 20)
    assert same(entry.iloc[1][["TOP", "PASS"]].astype(float), want.iloc[-1][["TOP", "PASS"]].astype(float))
    with pytest.raises(fenxi.FormulaError, match="N"):
        fenxi.screen(frames, "SCR_NEW_HIGH", N=1, progress=False)
    text = fenxi.screen(frames, "HI: HHV(H,20); PASS: C >= REF(HHV(C,20),1)", all=True, progress=False)
    assert list(text.columns) == ["security", "code", "date", "pass", "HI", "PASS"]
