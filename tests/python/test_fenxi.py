"""The Python package against the engine: every operation equals the tool's
values (the columnar API's) bit for bit, bad input raises, streams equal a
recompute, and the scan runs on threads and on a Dask cluster."""
import json
import math
import os
import random
import shutil
import subprocess

import numpy as np
import pandas as pd
import pytest

import fenxi

SAMPLE = os.path.join(os.environ["FENXI_DATA_DIR"], "daily_sz002032.csv")


@pytest.fixture(scope="module")
def df():
    return fenxi.sample()


def same(a, b):
    return a == b or (math.isnan(a) and math.isnan(b))


@pytest.mark.parametrize("op", [op["name"] for op in fenxi.operations()])
def test_every_operation_equals_the_tools_values(df, op):
    ours = getattr(fenxi, op)(df)
    assert list(ours.index) == list(df.index)
    tool = json.loads(subprocess.run([os.environ["FENXI_CLI"], "calc", op, "--json", "-i", SAMPLE],
                                     capture_output=True, check=True, text=True).stdout)
    for line in ours.columns:
        want = [math.nan if row[line] is None else row[line] for row in tool["rows"]]
        got = ours[line].to_numpy()
        assert all(same(g, w) for g, w in zip(got, want)), (op, line)


def test_inputs_as_arrays_frames_and_chinese_names(df):
    arrays = {k: df[k].to_numpy() for k in ("open", "high", "low", "close", "volume")}
    out = fenxi.compute("KDJ", arrays, 9, 3, 3)
    assert isinstance(out, dict) and set(out) == {"K", "D", "J"}
    chinese = df.rename(columns={"open": "开盘", "high": "最高", "low": "最低", "close": "收盘", "volume": "成交量"})
    np.testing.assert_array_equal(fenxi.KDJ(chinese)["K"].to_numpy(), out["K"])
    assert fenxi.bars(df).unit == 100
    assert fenxi.bars(df, unit=1000).unit == 1000
    assert fenxi.MA1(df, N=7).equals(fenxi.compute("MA1", df, 7))


@pytest.mark.parametrize("change, words", [
    (lambda d: d.assign(close=d["close"].where(d.index != d.index[5], np.nan)), "bar 5: close is nan"),
    (lambda d: d.assign(open=d["open"].where(d.index != d.index[7], -1.0)), "bar 7: open -1 is negative"),
    (lambda d: d.assign(high=d["high"].where(d.index != d.index[9], 0.5)), "bar 9: high 0.5 is below low"),
    (lambda d: d.drop(columns=["close"]), "missing column(s) close"),
])
def test_bad_bars_name_the_first_bad_index(df, change, words):
    with pytest.raises(ValueError, match=words.replace("(", r"\(").replace(")", r"\)")):
        fenxi.MACD(change(df))


def test_bad_parameters_and_names(df):
    with pytest.raises(ValueError, match=r"N=0 is outside 1\.\.10000"):
        fenxi.MA1(df, 0)
    with pytest.raises(ValueError, match="unknown operation 'NOPE'"):
        fenxi.compute("NOPE", df)
    with pytest.raises(ValueError, match="takes 3 parameters"):
        fenxi.KDJ(df, 9, 3, 3, 1)


@pytest.mark.parametrize("op, params", [("MACD", (12, 26, 9)), ("KDJ", (9, 3, 3)), ("BOLL", (20, 2, -2)),
                                        ("SAR", (10,)), ("MA5", ())])
def test_streams_equal_a_recompute(df, op, params):
    rng = random.Random(7)
    rows = df.iloc[:300].reset_index(drop=True)
    stream = fenxi.Stream(op, *params, unit=100)
    for i in range(len(rows)):
        got = stream.append(rows.iloc[i])
        if rng.random() < 0.1:
            forming = rows.iloc[i].copy()
            forming["close"] = round(forming["low"] + (forming["high"] - forming["low"]) * rng.random(), 2)
            got = stream.replace_last(forming)
            want = fenxi.compute(op, pd.concat([rows.iloc[:i], forming.to_frame().T]), *params, unit=100)
            assert all(same(got[k], want[k].iloc[-1]) for k in got)
            got = stream.replace_last(rows.iloc[i])
    want = fenxi.compute(op, rows, *params, unit=100)
    assert all(same(got[k], want[k].iloc[-1]) for k in got)
    assert len(stream) == len(rows)


def test_signals_tips_tactics_charts(df):
    points = fenxi.signals(df, "short", code="002032")
    assert len(points) == 69 and set(points["kind"]) == {"D", "K"}
    tips = fenxi.tips(df, code="002032")
    assert "操作提示" in tips["long"]["text"] and tips["long"]["threshold"] > 0
    pool = fenxi.tactics(df, "long")
    assert list(pool["kind"][:2]) == ["entry", "exit"]
    bricks = fenxi.chart(df, "break", 3)
    assert len(bricks) > 10 and (bricks["high"] >= bricks["low"]).all()


@pytest.fixture()
def files(tmp_path):
    for name in ("daily_sz002032.csv", "daily_ASML.AS.csv"):
        shutil.copy(os.path.join(os.environ["FENXI_DATA_DIR"], name), tmp_path / name)
    (tmp_path / "broken.csv").write_text("date,open,high,low,close\n20200102,1,abc,1,1\n")
    return sorted(str(p) for p in tmp_path.iterdir())


def test_scan_on_threads_reports_and_skips_a_bad_file(files):
    table = fenxi.scan(files, jobs=2, progress=False)
    assert list(table["security"]) == [os.path.basename(f) for f in files]
    broken = table.set_index("security").loc["broken.csv"]
    assert "broken.csv:2:" in broken["error"]
    good = table.set_index("security").loc["daily_sz002032.csv"]
    assert good["code"] == "002032" and good["bars"] == 2813 and good["long_point"] in ("D", "K")


def test_scan_on_a_dask_cluster_gives_the_same_table(files):
    distributed = pytest.importorskip("distributed")
    with distributed.LocalCluster(n_workers=1, threads_per_worker=2, processes=False,
                                  dashboard_address=None) as cluster, distributed.Client(cluster) as client:
        on_dask = fenxi.scan(files, client=client, batch=2, progress=False)
    pd.testing.assert_frame_equal(on_dask, fenxi.scan(files, progress=False))
