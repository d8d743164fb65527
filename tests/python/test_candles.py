"""Candlestick patterns (formulas/candles.fx) on hand-built bars, and the session
VWAP of formulas/charts.fx on hand-built minute bars.

Each pattern table is a trend lead-in (12 small-bodied bars, falling or rising)
followed by the pattern's own bars; the pattern must be 1 on its last bar and 0
on the bar before it."""
import datetime
import math
import os

import fenxi
import pandas as pd
import pytest

REPO = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
CANDLES = os.path.join(REPO, "formulas", "candles.fx")
CHARTS = os.path.join(REPO, "formulas", "charts.fx")


def dates(n, start=datetime.date(2024, 1, 2)):
    return [(start + datetime.timedelta(days=i)).strftime("%Y%m%d") for i in range(n)]


def pattern_values(name, bars):
    """The values of entry NAME's last output line over BARS, NaN as math.nan.

    BARS are (open, high, low, close) tuples, given consecutive dates from
    20240102 and volume 1000, or full rows (date, time, open, high, low, close,
    volume). The one place where an entry is run: the package's function of it."""
    if len(bars[0]) == 4:
        rows = [(d, 0, o, h, l, c, 1000) for d, (o, h, l, c) in zip(dates(len(bars)), bars)]
    else:
        rows = bars
    frame = pd.DataFrame([(int(d), int(t), round(o, 2), round(h, 2), round(l, 2), round(c, 2), float(v))
                          for d, t, o, h, l, c, v in rows],
                         columns=["date", "time", "open", "high", "low", "close", "volume"])
    lines = getattr(fenxi, name)(frame, unit=100)
    return [float(v) for v in lines[lines.columns[-1]]]


def decline(n=12, top=20.0):
    """Falling small black bars (body 0.2, range 0.4); the last closes at 14.40, low 14.30."""
    return [tuple(round(p + d, 2) for d in (0.1, 0.2, -0.2, -0.1)) for p in (top - 0.5 * i for i in range(n))]


def rise(n=12, bottom=10.0):
    """Rising small white bars (body 0.2, range 0.4); the last closes at 15.60, high 15.70."""
    return [tuple(round(p + d, 2) for d in (-0.1, 0.2, -0.2, 0.1)) for p in (bottom + 0.5 * i for i in range(n))]


DN, UP = decline(), rise()
LONG_BLACK = (14.3, 14.35, 13.25, 13.3)   # after DN: body 1.0
LONG_WHITE = (15.7, 16.75, 15.65, 16.7)   # after UP: body 1.0

# name: bars, (open, high, low, close)
PATTERNS = {
    "CDLDOJI": DN + [(14.3, 14.8, 13.8, 14.32)],
    "CDLDRAGONFLY": DN + [(14.3, 14.32, 13.3, 14.31)],
    "CDLGRAVESTONE": DN + [(14.3, 15.3, 14.29, 14.31)],
    "CDLLONGLEGGEDDOJI": DN + [(14.3, 14.9, 13.7, 14.32)],
    "CDLHAMMER": DN + [(14.0, 14.22, 13.2, 14.2)],
    "CDLHANGINGMAN": UP + [(15.6, 15.82, 14.8, 15.8)],
    "CDLINVERTEDHAMMER": DN + [(14.0, 15.2, 13.98, 14.2)],
    "CDLSHOOTINGSTAR": UP + [(15.8, 16.8, 15.58, 15.6)],
    "CDLBULLENGULF": DN + [(14.3, 14.35, 13.9, 14.0), (13.9, 14.6, 13.85, 14.5)],
    "CDLBEARENGULF": UP + [(15.7, 16.05, 15.65, 16.0), (16.1, 16.15, 15.5, 15.6)],
    "CDLBULLHARAMI": DN + [LONG_BLACK, (13.6, 13.9, 13.5, 13.8)],
    "CDLBEARHARAMI": UP + [LONG_WHITE, (16.2, 16.45, 16.1, 16.4)],
    "CDLPIERCING": DN + [LONG_BLACK, (13.1, 13.95, 13.05, 13.9)],
    "CDLDARKCLOUD": UP + [LONG_WHITE, (16.9, 16.95, 16.05, 16.1)],
    "CDLMORNINGSTAR": DN + [LONG_BLACK, (13.1, 13.2, 12.95, 13.05), (13.3, 14.05, 13.25, 14.0)],
    "CDLEVENINGSTAR": UP + [LONG_WHITE, (16.9, 17.05, 16.85, 16.95), (16.7, 16.75, 15.95, 16.0)],
    "CDLMORNINGDOJISTAR": DN + [LONG_BLACK, (13.1, 13.2, 12.95, 13.11), (13.3, 14.05, 13.25, 14.0)],
    "CDLEVENINGDOJISTAR": UP + [LONG_WHITE, (16.9, 17.05, 16.8, 16.91), (16.7, 16.75, 15.95, 16.0)],
    "CDL3WHITESOLDIERS": DN + [(14.3, 15.12, 14.25, 15.1), (14.8, 15.92, 14.75, 15.9), (15.6, 16.72, 15.55, 16.7)],
    "CDL3BLACKCROWS": UP + [(15.7, 15.75, 14.88, 14.9), (15.2, 15.25, 14.08, 14.1), (14.4, 14.45, 13.28, 13.3)],
    "CDLWHITEMARUBOZU": DN + [(14.3, 15.32, 14.28, 15.3)],
    "CDLBLACKMARUBOZU": DN + [(14.3, 14.32, 13.28, 13.3)],
    "CDLSPINNINGTOP": DN + [(14.3, 14.6, 14.0, 14.4)],
    "CDLTWEEZERTOP": UP + [(15.6, 16.0, 15.55, 15.95), (15.9, 16.0, 15.5, 15.55)],
    "CDLTWEEZERBOTTOM": DN + [(14.4, 14.45, 14.0, 14.05), (14.1, 14.5, 14.0, 14.45)],
    "CDL3INSIDEUP": DN + [LONG_BLACK, (13.6, 13.9, 13.5, 13.8), (13.8, 14.45, 13.75, 14.4)],
    "CDL3INSIDEDOWN": UP + [LONG_WHITE, (16.2, 16.45, 16.1, 16.4), (16.3, 16.35, 15.55, 15.6)],
    "CDL3OUTSIDEUP": DN + [(14.3, 14.35, 13.9, 14.0), (13.9, 14.6, 13.85, 14.5), (14.5, 14.85, 14.45, 14.8)],
    "CDL3OUTSIDEDOWN": UP + [(15.7, 16.05, 15.65, 16.0), (16.1, 16.15, 15.5, 15.6), (15.6, 15.65, 15.25, 15.3)],
    "CDLBULLKICKING": DN + [(14.3, 14.32, 13.28, 13.3), (14.5, 15.52, 14.48, 15.5)],
    "CDLBEARKICKING": DN + [(14.3, 15.32, 14.28, 15.3), (14.1, 14.12, 13.08, 13.1)],
    "CDLRISING3METHODS": UP + [(15.6, 16.65, 15.55, 16.6), (16.5, 16.55, 16.3, 16.4), (16.4, 16.45, 16.2, 16.3),
                               (16.3, 16.35, 16.1, 16.2), (16.25, 17.25, 16.2, 17.2)],
    "CDLFALLING3METHODS": DN + [(14.4, 14.45, 13.35, 13.4), (13.5, 13.7, 13.45, 13.6), (13.6, 13.8, 13.55, 13.7),
                                (13.7, 13.9, 13.65, 13.8), (13.75, 13.8, 12.75, 12.8)],
    "CDLBULLABANDONEDBABY": DN + [LONG_BLACK, (13.0, 13.1, 12.9, 13.01), (13.3, 13.85, 13.2, 13.8)],
    "CDLBEARABANDONEDBABY": UP + [LONG_WHITE, (17.0, 17.1, 16.9, 16.99), (16.8, 16.85, 16.2, 16.3)],
}

# The same shapes in the opposite setting: a bullish table must not fire the
# bearish entry and the other way round (trend rule or colours).
OPPOSITES = [
    ("CDLHAMMER", "CDLHANGINGMAN"), ("CDLINVERTEDHAMMER", "CDLSHOOTINGSTAR"),
    ("CDLBULLENGULF", "CDLBEARENGULF"), ("CDLBULLHARAMI", "CDLBEARHARAMI"),
    ("CDLPIERCING", "CDLDARKCLOUD"), ("CDLMORNINGSTAR", "CDLEVENINGSTAR"),
    ("CDLMORNINGDOJISTAR", "CDLEVENINGDOJISTAR"), ("CDL3WHITESOLDIERS", "CDL3BLACKCROWS"),
    ("CDLWHITEMARUBOZU", "CDLBLACKMARUBOZU"), ("CDLTWEEZERBOTTOM", "CDLTWEEZERTOP"),
    ("CDL3INSIDEUP", "CDL3INSIDEDOWN"), ("CDL3OUTSIDEUP", "CDL3OUTSIDEDOWN"),
    ("CDLBULLKICKING", "CDLBEARKICKING"), ("CDLFALLING3METHODS", "CDLRISING3METHODS"),
    ("CDLBULLABANDONEDBABY", "CDLBEARABANDONEDBABY"), ("CDLDRAGONFLY", "CDLGRAVESTONE"),
]


def entry_names(path):
    with open(path) as f:
        return [ln.split()[1] for ln in f if ln.split()[:1] == ["FORMULA"]]


def test_every_entry_has_a_table():
    assert sorted(entry_names(CANDLES)) == sorted(PATTERNS)


@pytest.mark.parametrize("name", sorted(PATTERNS))
def test_pattern_completes_on_last_bar(name):
    v = pattern_values(name, PATTERNS[name])
    assert all(x in (0.0, 1.0) for x in v), v          # never NaN, even on the first bars
    assert v[-1] == 1.0 and v[-2] == 0.0, v[-4:]


@pytest.mark.parametrize("bull,bear", OPPOSITES)
def test_opposite_setting_does_not_fire(bull, bear):
    assert pattern_values(bear, PATTERNS[bull])[-1] == 0.0
    assert pattern_values(bull, PATTERNS[bear])[-1] == 0.0


@pytest.mark.parametrize("name", sorted(PATTERNS))
def test_nothing_on_a_one_price_series(name):
    assert pattern_values(name, [(10.0, 10.0, 10.0, 10.0)] * 30) == [0.0] * 30


@pytest.fixture(scope="module")
def real_bars():
    with open(os.path.join(REPO, "data", "daily_sz002032.csv")) as f:
        head = f.readline().strip().split(",")
        rows = [dict(zip(head, ln.strip().split(","))) for ln in f]
    return [tuple(float(r[k]) for k in ("open", "high", "low", "close")) for r in rows]


@pytest.mark.parametrize("name", sorted(PATTERNS))
def test_only_zero_or_one_on_a_real_series(name, real_bars):
    v = pattern_values(name, real_bars)
    assert all(x in (0.0, 1.0) for x in v), [i for i, x in enumerate(v) if x not in (0.0, 1.0)][:5]


def minute_rows(day, rows):
    """(time, open, high, low, close, volume) rows of one day."""
    return [(day, t, o, h, l, c, v) for t, o, h, l, c, v in rows]


def typical(row):
    return (row[3] + row[4] + row[5]) / 3


def test_vwap_restarts_each_day():
    day1 = minute_rows("20240102", [("093100", 10.0, 10.5, 9.8, 10.2, 500), ("093200", 10.2, 10.9, 10.1, 10.8, 1500),
                                    ("093300", 10.8, 11.0, 10.6, 10.7, 800)])
    day2 = minute_rows("20240103", [("093100", 12.0, 12.3, 11.9, 12.1, 700), ("093200", 12.1, 12.2, 11.5, 11.6, 300)])
    day3 = minute_rows("20240104", [("093100", 9.0, 9.3, 8.9, 9.1, 0), ("093200", 9.1, 9.4, 9.0, 9.2, 0),
                                    ("093300", 9.2, 9.5, 9.1, 9.4, 200)])
    rows = day1 + day2 + day3
    v = pattern_values("VWAP", rows)
    for i in (0, 3, 5):                                   # each day's first bar: its own typical price
        assert v[i] == typical(rows[i])
    for first, i in ((0, 1), (0, 2), (3, 4)):             # inside a day: only that day's bars count
        day = rows[first:i + 1]
        want = sum(typical(r) * r[6] for r in day) / sum(r[6] for r in day)
        assert v[i] == pytest.approx(want, rel=1e-12)
    assert v[6] == typical(rows[6])                       # no volume yet in the session: typical price
    assert v[7] == pytest.approx(typical(rows[7]), rel=1e-12)  # only this bar has volume


def test_vwap_is_the_typical_price_on_daily_bars():
    bars = DN + PATTERNS["CDL3WHITESOLDIERS"][-3:]
    assert pattern_values("VWAP", bars) == [(h + l + c) / 3 for o, h, l, c in bars]
