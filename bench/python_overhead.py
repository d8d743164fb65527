"""The Python layer's overhead over the direct C++ columnar call.

For every registry operation at its defaults over 1,000,000 bars (the daily
sample repeated; the second argument sets another count): repetitions of
fenxi.compute(name, DataFrame) and of fenxi::Compute(name, {}, PriceColumns)
on the same columns (prices, volume and amount), each side in a run of its
own after a warm-up (interleaving them lets one side's freed blocks decide
whether the other faults its pages in afresh); the table gives the fastest of
each and their ratio. Run with the package on the path:
    PYTHONPATH=build/release/python /usr/bin/python3 bench/python_overhead.py [repeats] [bars]
"""
import os
import sys
import time

# Both sides allocate their result arrays on every call. glibc hands large
# blocks back to the system on free, so each call would fault its pages in
# afresh or not, by the allocator's history rather than by either side's
# work; keeping freed memory makes both sides equally warm.
_KEEP = {"MALLOC_MMAP_THRESHOLD_": "4294967296", "MALLOC_TRIM_THRESHOLD_": "68719476736"}
if any(os.environ.get(k) != v for k, v in _KEEP.items()):
    os.execve(sys.executable, [sys.executable] + sys.argv, {**os.environ, **_KEEP})

import pandas as pd

import fenxi
from fenxi import _fenxi

repeats = int(sys.argv[1]) if len(sys.argv) > 1 else 15
bars = int(sys.argv[2]) if len(sys.argv) > 2 else 1_000_000
sample = fenxi.sample()
frame = pd.concat([sample] * (bars // len(sample) + 1), ignore_index=True).iloc[:bars]
columns = [frame[k].to_numpy() for k in ("open", "high", "low", "close", "volume", "amount")]
print("| operation | C++ columnar ms | Python ms | overhead |")
print("|---|---|---|---|")
worst = 0.0
for op in fenxi.operations():
    name = op["name"]
    fenxi.compute(name, frame)  # warm the thread's engine for this size
    native = _fenxi._time_compute(name, *columns, repeats)
    python = 1e300
    for _ in range(repeats):
        start = time.perf_counter()
        fenxi.compute(name, frame)
        python = min(python, time.perf_counter() - start)
    worst = max(worst, python / native - 1)
    print(f"| {name} | {native * 1e3:.1f} | {python * 1e3:.1f} | {100 * (python / native - 1):+.1f} % |")
print(f"\nlargest overhead: {100 * worst:+.1f} %")
