#!/usr/bin/env python3
"""Turns the suite's JSON output (--benchmark_out) into the tables of
docs/performance.md: median ns per bar at each size and each generator's
ratio to the floor of writing as many columns as it writes, with the
kernels' write prefetch. A size the run left out (a quick run) shows "-".
    python3 bench/report.py suite.json
bench/performance_page.py imports tables(), medians() and median_entries()."""
import json
import sys

SIZES = (36500, 1000000)
NS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def median_entries(data):
    """Each benchmark's median aggregate; a run of one repetition has no
    aggregates, and its one iteration entry stands in."""
    entries = [b for b in data["benchmarks"] if b.get("aggregate_name") == "median"]
    named = {b["run_name"] for b in entries}
    entries += [b for b in data["benchmarks"]
                if b.get("run_type", "iteration") == "iteration" and b.get("run_name", b["name"]) not in named]
    return entries


def medians(data):
    """Median real time in ns by run name."""
    return {b.get("run_name", b["name"]): b["real_time"] * NS[b.get("time_unit", "ns")] for b in median_entries(data)}


def tables(data):
    """The suite's tables as Markdown lines."""
    median = medians(data)
    floors = {}
    for name, t in median.items():
        if name.startswith("Floor/"):
            _, k, n = name.split("/")
            floors[(int(k), int(n))] = t / int(n)

    # Columns each generator writes (the "columns" counter of its benchmark),
    # for the ratio to the floor of writing as many.
    columns = {}
    for b in median_entries(data):
        if b["name"].startswith("Generate/") and "columns" in b:
            columns["/".join(b.get("run_name", b["name"]).split("/")[:-1])] = int(b["columns"])

    windows = {}
    rows = {}
    for name, t in median.items():
        parts = name.split("/")
        if parts[0] == "Floor":
            continue
        if parts[0] == "Window":
            windows.setdefault("/".join(parts[1:3]), {})[parts[3]] = t / 999981
            continue
        if not parts[-1].isdigit():
            continue  # not a suite benchmark (no bar count in its name)
        n = int(parts[-1])
        key = "/".join(parts[:-1])
        per_bar = t if parts[0] in ("Update", "Tip") else t / n
        rows.setdefault(key, {})[n] = per_bar

    out = ["| operation | ns/bar at 36,500 | ns/bar at 1,000,000 | ratio to floor (36,500) | ratio to floor (1M) |",
           "|---|---|---|---|---|"]
    most = max((c for c, _ in floors), default=1)
    for key in sorted(rows):
        r = rows[key]
        k = max(1, min(most, columns.get(key, 1)))
        ratio = {n: "%.1fx" % (r[n] / floors[(k, n)]) if n in r and key in columns and (k, n) in floors else ""
                 for n in SIZES}
        fmt = lambda v: "%.1f" % v if v is not None else "-"
        out.append("| %s | %s | %s | %s | %s |" % (key, fmt(r.get(SIZES[0])), fmt(r.get(SIZES[1])), ratio[SIZES[0]],
                                                   ratio[SIZES[1]]))
    if floors:
        out += ["", "| floor: k columns | ns/bar at 36,500 | ns/bar at 1,000,000 |", "|---|---|---|"]
        fmt = lambda v: "%.2f" % v if v is not None else "-"
        for k in sorted({c for c, _ in floors}):
            out.append("| %d | %s | %s |" % (k, fmt(floors.get((k, SIZES[0]))), fmt(floors.get((k, SIZES[1])))))

    if windows:
        out += ["", "| window sum (period 20, 1,000,000 bars) | plain, ns/window | lanes, ns/window | plain / lanes |",
                "|---|---|---|---|"]
        for key in sorted(windows):
            r = windows[key]
            for route in sorted(k for k in r if k != "plain"):
                out.append("| %s, %s route | %.2f | %.2f | %.1fx |" % (key, route, r["plain"], r[route],
                                                                       r["plain"] / r[route]))
    return out


if __name__ == "__main__":
    print("\n".join(tables(json.load(open(sys.argv[1])))))
