"""Minute bars made by repeating the shipped daily sample, each copy shifted
to open where the previous one closed, 240 bars a trading day.

Usage: python3 bench/minute_bars.py DAILY_CSV TARGET_CSV COUNT
"""
import csv
import datetime
import sys

source, target, count = sys.argv[1], sys.argv[2], int(sys.argv[3])
rows = list(csv.DictReader(open(source)))
minutes = [f"{h:02d}:{m:02d}" for h, m0, m1 in ((9, 31, 60), (10, 0, 60), (11, 0, 31), (13, 1, 60), (14, 0, 60))
           for m in range(m0, m1)] + ["15:00"]
assert len(minutes) == 240
day, shift, k = datetime.date(1990, 1, 1), 0.0, 0
with open(target, "w") as out:
    out.write("date,time,open,high,low,close,volume\n")
    while k < count:
        first = float(rows[0]["open"])
        for r in rows:
            if k == count:
                break
            if k % 240 == 0 and k:
                day += datetime.timedelta(days=1)
            o, h, l, c = (float(r[x]) + shift for x in ("open", "high", "low", "close"))
            out.write(f"{day:%Y-%m-%d},{minutes[k % 240]},{o:.2f},{h:.2f},{l:.2f},{c:.2f},{r['volume']}\n")
            k += 1
        shift += float(rows[-1]["close"]) - first
