"""Formulas against an independent model: the window sums, deviations and
recurrences recomputed here with exact rationals (Fraction) on real series at
several units and on adversarial columns, then the Python API itself (errors,
streams, formula files) and the tool's output."""
import json
import math
import os
import random
import subprocess
from fractions import Fraction

import numpy as np
import pytest

import fenxi

NAN = math.nan
DATA = os.environ["FENXI_DATA_DIR"]
SAMPLE = os.path.join(DATA, "daily_sz002032.csv")


def same(a, b):
    return (math.isnan(a) and math.isnan(b)) or (a == b and math.copysign(1, a) == math.copysign(1, b))


def xsum(terms, d):
    """The exact sum over d rounded once; NaN where that overflows."""
    try:
        return float(sum((Fraction(t) for t in terms), Fraction(0)) / d)
    except OverflowError:
        return NAN


def finite(v):
    return v if math.isfinite(v) else NAN


def windows(xs, n):
    for i in range(len(xs)):
        w = xs[i - n + 1:i + 1] if i >= n - 1 else None
        yield None if w is None or any(math.isnan(v) for v in w) else w


def centred(w, n, what):
    m = xsum(w, n)
    ds = [finite(v - m) for v in w]
    qs = [finite(abs(d)) if what == "AVEDEV" else finite(d * d) for d in ds]
    if any(math.isnan(q) for q in qs):
        return NAN
    d = {"DEVSQ": 1, "VARP": n, "STDP": n, "VAR": n - 1, "STD": n - 1, "AVEDEV": n}[what]
    v = xsum(qs, d)
    return math.sqrt(v) if what in ("STD", "STDP") and not math.isnan(v) else v


def model(name, xs, n):
    """The value of NAME(X,N) at every bar, from the language's definitions."""
    out = []
    if name in ("EMA", "SMA3"):
        y = None
        for v in xs:
            if math.isnan(v):
                out.append(NAN)
                continue
            if y is None:
                y = v
                out.append(v)
                continue
            r = (2 * v + (n - 1) * y) / (n + 1) if name == "EMA" else (3 * v + (n - 3) * y) / n
            if math.isfinite(r):
                y = r
            out.append(finite(r))
        return out
    for i, w in enumerate(windows(xs, n)):
        if w is None:
            out.append(NAN)
        elif name == "MA":
            out.append(xsum(w, n))
        elif name == "SUM":
            out.append(xsum(w, 1))
        elif name == "WMA":
            out.append(xsum([Fraction(v) * (k + 1) for k, v in enumerate(w)], n * (n + 1) // 2))
        elif name == "SLOPE":
            out.append(xsum([Fraction(v) * (2 * k - n + 1) for k, v in enumerate(w)], n * (n * n - 1) // 6))
        elif name == "FORCAST":
            out.append(xsum([Fraction(v) * (3 * k - n + 2) for k, v in enumerate(w)], n * (n + 1) // 2))
        elif name in ("HHV", "LLV"):
            out.append(max(w) if name == "HHV" else min(w))
        else:
            out.append(centred(w, n, name))
    return out


FUNCTIONS = ["MA", "SUM", "WMA", "SLOPE", "FORCAST", "STD", "STDP", "VAR", "VARP", "DEVSQ", "AVEDEV", "EMA", "HHV",
             "LLV"]


def call(name, x, n):
    return f"SMA({x},{n},3)" if name == "SMA3" else f"{name}({x},{n})"


@pytest.mark.parametrize("file,unit", [("daily_sz002032.csv", 100), ("daily_sz002032.csv", 1000),
                                       ("daily_ASML.AS.csv", 10000)])
def test_real_series_equal_the_model(file, unit):
    df = fenxi.bars(os.path.join(DATA, file), unit)
    closes = fenxi.formula(df, "C", unit=unit)["LINE1"][:700]
    highs = fenxi.formula(df, "H", unit=unit)["LINE1"][:700]
    for n in (2, 5, 20):
        text = ";".join(f"{call(f, 'C', n)}" for f in FUNCTIONS + ["SMA3"] if not (f == "SMA3" and n < 3))
        text += f";MA(H-C,{n});STD(H/C,{n})"
        got = fenxi.formula(df, text, unit=unit)
        names = [f for f in FUNCTIONS + ["SMA3"] if not (f == "SMA3" and n < 3)]
        for k, f in enumerate(names):
            want = model(f, list(closes), n)
            line = got[f"LINE{k + 1}"][:700]
            bad = [i for i in range(700) if not same(line[i], want[i])]
            assert not bad, (file, unit, f, n, bad[:3], [(line[i], want[i]) for i in bad[:3]])
        spread = [float(h - c) for h, c in zip(highs, closes)]
        ratio = [float(h / c) for h, c in zip(highs, closes)]
        for k, (f, xs) in enumerate([("MA", spread), ("STD", ratio)]):
            want = model(f, xs, n)
            line = got[f"LINE{len(names) + k + 1}"][:700]
            assert all(same(line[i], want[i]) for i in range(700)), (file, unit, f, n)


def adversarial(seed, count):
    """Magnitudes from 2^-1074 to 1e308 mixed (seed 1), up to 1e20 (seed 2),
    and large values cancelling around small ones (seed 3)."""
    rng = random.Random(seed)
    pool = {1: [1e300, -1e300, 1e-300, 5e-324, 1.0, 0.1, 1e308, -1e308, 2.0 ** 70, -(2.0 ** -60)],
            2: [1e20, -1e20, 1e-20, 5e-324, 0.1, -0.1, 3.0, 123456.789, 1.0000000000000002, 2.0 ** -1022],
            3: [1e16, -1e16, 1.0, -1.0, 0.5, 1e16 + 2, -(1e16 + 2), 2.0 ** 53, 1e-5, 0.1]}[seed]
    out = []
    for _ in range(count):
        v = rng.choice(pool) * rng.choice([1, -1, 3, 0.5, 7])
        out.append(v if math.isfinite(v) else 1e308)
    return out


@pytest.mark.parametrize("seed", [1, 2, 3])
def test_exact_sums_on_adversarial_columns(seed):
    amounts = adversarial(seed, 160)
    n_bars = len(amounts)
    data = {"open": np.ones(n_bars), "high": np.ones(n_bars), "low": np.ones(n_bars), "close": np.ones(n_bars),
            "volume": np.ones(n_bars), "amount": np.array(amounts)}
    funcs = ["MA", "SUM", "WMA", "SLOPE", "FORCAST", "STD", "VARP", "DEVSQ", "AVEDEV"]
    for n in (2, 3, 7, 16):
        got = fenxi.formula(data, ";".join(call(f, "AMO", n) for f in funcs), unit=1)
        for k, f in enumerate(funcs):
            want = model(f, amounts, n)
            line = got[f"LINE{k + 1}"]
            bad = [i for i in range(n_bars) if not same(line[i], want[i])]
            assert not bad, (seed, f, n, [(amounts[i - n + 1:i + 1], line[i], want[i]) for i in bad[:2]])
    # A cumulative sum across the whole column.
    total = fenxi.formula(data, "SUM(AMO,0)", unit=1)["LINE1"]
    assert all(same(total[i], xsum(amounts[:i + 1], 1)) for i in range(n_bars))


def test_frames_streams_files_and_errors(tmp_path):
    df = fenxi.sample()
    text = "DIF:EMA(CLOSE,12)-EMA(CLOSE,26); DEA:EMA(DIF,9); MACD:(DIF-DEA)*2,COLORSTICK;"
    frame = fenxi.formula(df, text)
    assert list(frame.columns) == ["DIF", "DEA", "MACD"] and list(frame.index) == list(df.index)
    arrays = fenxi.formula({k: df[k].to_numpy() for k in df.columns}, text)
    assert isinstance(arrays, dict) and all(np.array_equal(arrays[k], frame[k], equal_nan=True) for k in arrays)

    f = fenxi.Formula(text)
    assert f.names == ["DIF", "DEA", "MACD"]
    s = f.stream(unit=100)
    for i in range(300):
        last = s.append(df.iloc[i])
        forming = df.iloc[i].copy()
        forming["close"] = forming["low"]
        s.replace_last(forming)
        last = s.replace_last(df.iloc[i])
    assert len(s) == 300
    whole = f.run(df.iloc[:300])
    assert all(same(last[k], whole[k].iloc[-1]) for k in f.names)

    # A user's file adds entries beside the shipped ones, a function each; it may not redefine a name.
    path = tmp_path / "mine.fxl"
    path.write_text('FORMULA MYBBI "多空指标" OVERLAY\nPARAM M1 3 1 100\nPARAM M2 6 1 100\n'
                    "MYBBI: (MA(CLOSE,M1)+MA(CLOSE,M2))/2;\nEND\n", encoding="utf-8")
    lib = fenxi.load_formulas(path)
    mine = next(e for e in lib.entries() if e["name"] == "MYBBI")
    assert "mybbi" in lib and mine["description"] == "多空指标" and not mine["shipped"]
    assert mine["parameters"][0] == {"name": "M1", "default": 3, "min": 1, "max": 100}
    assert lib["MYBBI"].parameters == mine["parameters"] and mine["lines"] == ["MYBBI"]
    five = lib["MYBBI"].run(df, M1=5)
    want = (fenxi.formula(df, "MA(C,5)")["LINE1"] + fenxi.formula(df, "MA(C,6)")["LINE1"]) / 2
    assert np.array_equal(five["MYBBI"].to_numpy(), want.to_numpy(), equal_nan=True)
    assert np.array_equal(fenxi.MYBBI(df, 5)["MYBBI"].to_numpy(), want.to_numpy(), equal_nan=True)
    assert any(e["name"] == "MYBBI" for e in fenxi.formulas())
    with pytest.raises(fenxi.FormulaError) as bad:
        lib["MYBBI"].run(df, M1=500)
    assert "M1" in bad.value.message
    assert np.array_equal(fenxi.formula(df, "X: MYBBI.MYBBI(5) - MA(C,20)")["X"],
                          five["MYBBI"] - fenxi.formula(df, "MA(C,20)")["LINE1"], equal_nan=True)
    for taken in ("MYBBI", "VWAP"):
        again = tmp_path / f"{taken}.fxl"
        again.write_text(f"FORMULA {taken}\nA:C;\nEND\n", encoding="utf-8")
        with pytest.raises(fenxi.FormulaError, match="is taken"):
            fenxi.load_formulas(again)

    with pytest.raises(fenxi.FormulaError) as err:
        fenxi.Formula("A:C;\nB:EMAA(C,2)")
    assert (err.value.line, err.value.column) == (2, 3) and "did you mean EMA" in err.value.message
    assert str(err.value).endswith("B:EMAA(C,2)\n  ^")


def test_tool_prints_values_that_read_back(tmp_path):
    cli = os.environ["FENXI_CLI"]
    text = "M:MA(C,5); S:STD(C,20)*1000, NODRAW"
    out = subprocess.run([cli, "formula", text, "--json", "-i", SAMPLE], capture_output=True, check=True,
                         text=True).stdout
    rows = json.loads(out)["rows"]
    mine = fenxi.formula(fenxi.bars(SAMPLE), text)
    for k in ("M", "S"):
        want = list(mine[k])
        got = [NAN if r[k] is None else r[k] for r in rows]
        assert all(same(g, w) for g, w in zip(got, want)), k
    bad = subprocess.run([cli, "formula", "A:MA(C,0)", "-i", SAMPLE], capture_output=True, text=True)
    assert bad.returncode == 2 and "1:8: MA: N must be a whole number" in bad.stderr and "^" in bad.stderr
