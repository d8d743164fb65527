#!/usr/bin/env python3
"""Turns the suite's JSON output (--benchmark_out) into the tables of
docs/performance.md: median ns per bar at each size and each generator's
ratio to the floor of writing as many columns as it writes, with the
kernels' write prefetch."""
import json
import sys

sys.path.insert(0, "")
data = json.load(open(sys.argv[1]))
median = {}
for b in data["benchmarks"]:
    if b.get("aggregate_name") == "median":
        median[b["run_name"]] = b["real_time"]  # ns

floors = {}
for name, t in median.items():
    if name.startswith("Floor/"):
        _, k, n = name.split("/")
        floors[(int(k), int(n))] = t / int(n)

# Columns each generator writes (the "columns" counter of its benchmark),
# for the ratio to the floor of writing as many.
columns = {}
for b in data["benchmarks"]:
    if b["name"].startswith("Generate/") and b.get("aggregate_name") == "median" and "columns" in b:
        columns["/".join(b["run_name"].split("/")[:-1])] = int(b["columns"])

windows = {}

print("| operation | ns/bar at 36,500 | ns/bar at 1,000,000 | ratio to floor (36,500) | ratio to floor (1M) |")
print("|---|---|---|---|---|")
rows = {}
for name, t in median.items():
    parts = name.split("/")
    if parts[0] == "Floor":
        continue
    if parts[0] == "Window":
        windows.setdefault("/".join(parts[1:3]), {})[parts[3]] = t / 999981
        continue
    n = int(parts[-1])
    key = "/".join(parts[:-1])
    per_bar = t if parts[0] in ("Update", "Tip") else t / n
    rows.setdefault(key, {})[n] = per_bar
for key in sorted(rows):
    r = rows[key]
    k = max(1, min(max(c for c, _ in floors), columns.get(key, 1)))
    ratio = {n: "%.1fx" % (r[n] / floors[(k, n)]) if n in r and key in columns else "" for n in (36500, 1000000)}
    fmt = lambda v: "%.1f" % v if v is not None else "-"
    print("| %s | %s | %s | %s | %s |" % (key, fmt(r.get(36500)), fmt(r.get(1000000)), ratio[36500], ratio[1000000]))
print()
print("| floor: k columns | ns/bar at 36,500 | ns/bar at 1,000,000 |")
print("|---|---|---|")
for k in sorted(c for c, n in floors if n == 36500):
    print("| %d | %.2f | %.2f |" % (k, floors[(k, 36500)], floors[(k, 1000000)]))

if windows:
    print()
    print("| window sum (period 20, 1,000,000 bars) | plain, ns/window | lanes, ns/window | plain / lanes |")
    print("|---|---|---|---|")
    for key in sorted(windows):
        r = windows[key]
        for route in sorted(k for k in r if k != "plain"):
            print("| %s, %s route | %.2f | %.2f | %.1fx |" % (key, route, r["plain"], r[route], r["plain"] / r[route]))
