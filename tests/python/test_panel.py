"""Many securities in one call: lists, dicts and wide frames (both column
layouts and a dict of wide frames) equal one security at a time, bit for
bit, for registry operations, library entries and formula texts."""
import numpy as np
import pandas as pd
import pytest

import fenxi


@pytest.fixture(scope="module")
def market():
    df = fenxi.sample()
    a = df.iloc[:1500]
    b = df.iloc[700:].copy()
    for f in ("open", "high", "low", "close"):
        b[f] = b[f] + 1.25
    c = df.iloc[2790:]  # shorter than MACD's warm-up
    return {"A": a, "B": b, "C": c}


def wide_of(market, ticker_first=False):
    frame = pd.concat(market, axis=1)  # (ticker, field)
    return frame if ticker_first else frame.swaplevel(axis=1).sort_index(axis=1)


def equal(x, y):
    return np.array_equal(np.asarray(x, dtype=float), np.asarray(y, dtype=float), equal_nan=True)


@pytest.mark.parametrize("target,params", [("MACD", (12, 26, 9)), ("RSI", (6, 12)), ("KDJ", ()), ("BOLL", ()),
                                           ("ATR", (10,)), ("DIF:EMA(C,12)-EMA(C,26); DEA:EMA(DIF,9);", ())])
def test_lists_dicts_and_wide_frames_equal_one_at_a_time(market, target, params):
    one = {t: fenxi.compute_many(target, [frame], *params)[0] for t, frame in market.items()}
    by_list = fenxi.compute_many(target, list(market.values()), *params, jobs=2)
    by_dict = fenxi.compute_many(target, market, *params)
    for k, ticker in enumerate(market):
        assert by_list[k].equals(one[ticker]) and by_dict[ticker].equals(one[ticker])
    for wide in (wide_of(market), wide_of(market, ticker_first=True),
                 {f: wide_of(market)[f] for f in ("open", "high", "low", "close", "volume")}):
        result = fenxi.compute_many(target, wide, *params)
        assert result.columns.names == ["line", "ticker"]
        index = wide_of(market).index
        for ticker, frame in market.items():
            for line in one[ticker].columns:
                column = result[(line, ticker)]
                assert equal(column.reindex(frame.index), one[ticker][line]), (ticker, line)
                assert column.drop(frame.index).isna().all()
        assert list(result.index) == list(index)


def test_named_functions_take_wide_frames(market):
    wide = wide_of(market)
    assert fenxi.MACD(wide, 12, 26, 9)[("DEA", "B")].dropna().equals(fenxi.MACD(market["B"], 12, 26, 9)["DEA"].dropna())
    atr = fenxi.ATR(wide, 14)
    assert equal(atr[("ATR", "A")].reindex(market["A"].index), fenxi.ATR(market["A"], 14)["ATR"])
    assert equal(fenxi.formula(wide, "M:MA(C,5);")[("M", "C")].dropna(),
                 fenxi.formula(market["C"], "M:MA(C,5);")["M"].dropna())


def test_bad_input_names_the_ticker(market):
    broken = {t: f.copy() for t, f in market.items()}
    broken["B"].iloc[3, broken["B"].columns.get_loc("low")] = -1.0
    with pytest.raises(ValueError, match="B"):
        fenxi.compute_many("MACD", wide_of(broken))
    with pytest.raises(ValueError):
        fenxi.compute_many("MACD", list(market.values()), 0)
    with pytest.raises(fenxi.FormulaError):
        fenxi.compute_many("X:MA(C,", list(market.values()))
