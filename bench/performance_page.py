#!/usr/bin/env python3
"""Writes docs/performance.md (to stdout) from the outputs that
scripts/performance.sh saves in build/perf/results/:
    python3 bench/performance_page.py build/perf/results > docs/performance.md
Every figure on the page comes from those files; the prose here is either
static (what a figure means) or computed from the figures."""
import json
import os
import re
import shlex
import statistics
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import report  # noqa: E402  (bench/report.py: the suite's tables)

results = sys.argv[1]
ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def read(name):
    path = os.path.join(results, name)
    return open(path).read() if os.path.exists(path) else None


def keyed(name):
    text = read(name) or ""
    return dict(line.split("=", 1) for line in text.splitlines() if "=" in line)


def command(name):
    """The command a section ran, as a shell line."""
    args = (read(name + ".cmd") or "").splitlines()
    env = []
    if args and args[0] == "env":  # env NAME=VALUE ... command: shown as NAME=VALUE command
        args = args[1:]
        while args and re.match(r"^[A-Z_]+=", args[0]):
            env.append(args.pop(0))
    return " ".join(env + [shlex.quote(a) for a in args])


def code(text):
    return "\n".join("    " + line for line in text.splitlines())


def ms(ns):
    return "%.2f ms" % (ns / 1e6)


machine = keyed("machine.txt")
seconds = keyed("seconds.txt")
quick = machine.get("quick") == "1"
out = []
emit = out.append

# --- header -----------------------------------------------------------------
emit("# Performance")
emit("")
if quick:
    emit("**Quick run** (`--quick`): one repetition and small sizes, made to check the chain that writes this "
         "page; its figures are not medians of a full run and are not to be quoted.")
    emit("")
emit("What fenxi's operations cost on one machine: the benchmark suite (every operation as a row generator, "
     "updater, columnar call and stream, beside the floor of writing its rows), the formulas, fenxi beside "
     "TA-Lib and Tulip Indicators, a market screen and scan over a folder of securities, the Python layer's "
     "overhead and the signal systems' peak memory. Every figure below comes from one run of "
     "`bash scripts/performance.sh%s`, which built the benchmarks in Release and wrote this page; the figures "
     "of earlier runs are in the page's history (`git log -p docs/performance.md`)."
     % (" --quick" if quick else ""))
emit("")
emit("| | |")
emit("|---|---|")
emit("| run | %s |" % ("quick (1 repetition, small sizes)" if quick else "full (medians of 7 repetitions)"))
emit("| date | %s |" % machine.get("date", "?"))
emit("| commit | %s |" % machine.get("commit", "?"))
emit("| cores (`nproc`) | %s |" % machine.get("nproc", "?"))
emit("| CPU | %s |" % machine.get("cpu", "?"))
emit("| compiler | %s |" % machine.get("compiler", "?"))
if "total" in seconds:
    emit("| run time | %d min %d s (builds excluded) |" % divmod(int(seconds["total"]), 60))
emit("")
emit("Regenerate with `bash scripts/performance.sh` (`--quick`: one repetition and small sizes, which checks the "
     "whole chain in a few minutes). The outputs the page was written from are kept in `build/perf/results/`.")
emit("")
sections = ["Targets", "The suite", "Formulas", "fenxi beside TA-Lib and Tulip Indicators", "Panels beside the peers",
            "A screen",
            "A scan", "Python overhead", "Peak memory", "Long series in the browser", "How long each step took"]
for s in sections:
    emit("- [%s](#%s)" % (s, re.sub(r"[^a-z0-9 -]", "", s.lower()).replace(" ", "-")))
emit("")

# --- inputs -----------------------------------------------------------------
suite = json.loads(read("suite.json") or '{"benchmarks": []}')
formulas = json.loads(read("formulas.json") or '{"benchmarks": []}')
suite_median = report.medians(suite)
peers_text = read("peers.md") or ""
panel_text = read("panel.md") or ""
peak_text = read("peak_memory.txt") or ""
python_text = read("python.md") or ""


def ratios_to_floor(size):
    """Generator name -> ratio to its floor at this size, from report's table."""
    got = {}
    col = 3 if size == 36500 else 4
    for line in report.tables(suite):
        cells = [c.strip() for c in line.strip("|").split("|")]
        if len(cells) == 5 and cells[0].startswith("Generate/") and cells[col].endswith("x"):
            got[cells[0][len("Generate/"):]] = float(cells[col][:-1])
    return got


# --- targets ----------------------------------------------------------------
emit("## Targets")
emit("")
emit("Each sentence is computed from the figures below.")
emit("")


def target(label, value, limit, unit, fmt="%.2f"):
    if value is None:
        return "- %s: not measured in this run (target %s %s)." % (label, fmt % limit, unit)
    verdict = "met" if value <= limit else "not met"
    return "- %s: %s %s against a target of %s %s, %s." % (label, fmt % value, unit, fmt % limit, unit, verdict)


def suite_ms(name):
    t = suite_median.get(name)
    return None if t is None else t / 1e6


emit(target("`MountAdvSys`, long-term system, 36,500 bars", suite_ms("MountAdvSys/long/36500"), 1.2, "ms"))
emit(target("`ComputeDKDataForC`, 36,500 bars", suite_ms("ComputeDKDataForC/36500"), 2.0, "ms"))
growth = [float(x) for x in re.findall(r"grew by ([0-9.]+) MiB", peak_text)]
emit(target("Peak memory growth of `MountAdvSys` (long) and then `ComputeDKDataForC`, 36,500 bars", sum(growth) if growth else None, 64, "MiB", "%.1f"))
for size, limit in ((1000000, 1.3), (36500, 1.5)):
    r = ratios_to_floor(size)
    if not r:
        emit("- Row generators within %.1fx of the floor of the columns they write at %s bars: not measured in "
             "this run." % (limit, f"{size:,}"))
        continue
    above = sorted((v, k) for k, v in r.items() if v > limit + 1e-9)
    worst = list(reversed(above))[:10]
    emit("- Row generators within %.1fx of the floor of the columns they write at %s bars: %d of %d%s" % (
        limit, f"{size:,}", len(r) - len(above), len(r),
        "." if not above else "; %s: " % ("above it" if len(above) == len(worst) else "the furthest above it")
        + ", ".join("%s %.1fx" % (k, v) for v, k in worst)
        + ("" if len(above) == len(worst) else " (and %d more)" % (len(above) - len(worst))) + "."))
windows = {}
for name, t in suite_median.items():
    parts = name.split("/")
    if parts[0] == "Window" and len(parts) == 4:
        windows.setdefault(parts[1], {})[parts[3]] = t
if windows:
    best, met = [], 0
    for kind in sorted(windows):
        r = windows[kind]
        routes = [k for k in r if k not in ("plain", "baseline")] or ["baseline"]
        if "plain" in r and routes[0] in r:
            best.append("%s %.1fx" % (kind, r["plain"] / r[routes[0]]))
            met += r["plain"] / r[routes[0]] >= 4
    emit("- Ordered window sums in vector lanes at least 4x the plain per-window loop (period 20, %s route): "
         "met by %d of %d (%s)." % (routes[0], met, len(best), ", ".join(best)))
chain = re.search(r"(\d+) bars: the bare EMA division chain ([0-9.]+) ns per bar \(median\); "
                  r"fenxi's EMA columns ([0-9.]+), ([0-9.]+)x the chain", peers_text)
if chain:
    found = re.findall(r"(\d+) bars: the bare EMA division chain ([0-9.]+) ns per bar \(median\); "
                       r"fenxi's EMA columns ([0-9.]+), ([0-9.]+)x the chain", peers_text)
    emit("- EMA through the columnar API within 1.2x of its bare division chain: "
         + "; ".join("%s at %s bars (%s against %s ns per bar, %s)" % (
             "met" if float(x) <= 1.2 else "not met", f"{int(n):,}", e, c, x + "x") for n, c, e, x in found) + ".")
emit("")

# --- suite ------------------------------------------------------------------
emit("## The suite")
emit("")
emit("Command (then `python3 bench/report.py build/perf/results/suite.json`, which writes these tables):")
emit("")
emit(code(command("suite")))
emit("")
emit("- **Input.** The shipped daily series repeated to n bars (36,500 and 1,000,000%s), each copy shifted so its "
     "prices continue from the previous close; every operation at the tool's default parameters (`fenxi list`)."
     % ("; the quick run times 36,500 only" if quick else ""))
emit("- **Figures.** Median wall time of the repetitions divided by the bar count: ns per bar. `Update` and `Tip` "
     "rows are one call (ns per call): an updater recomputes the newest bar, a tip reads a mounted system.")
emit("- **Rows.** `Generate/X`: the row generator on a reused engine, called four times before timing so its rows "
     "and scratch are faulted in. `Columnar/X`: `fenxi::Compute` into fresh columns. `Stream/X`: one append per "
     "bar (36,500 only). `KLINE/t`: chart type t. `MountAdvSys`, `Tactics`, `Tip` and the flat C calls "
     "(`ComputeDKDataForC`, `Generate...ForC`): the signal systems, 36,500 bars only. MIKE keeps its engine's "
     "lock and has no `Generate` row; its `Columnar` and `Stream` rows time it.")
emit("- **Floor.** The time to write k double columns into the engine's n rows (424 bytes a row) with the "
     "kernels' write prefetch. A generator's ratio to the floor divides its time by the floor of as many columns "
     "as its kernel writes (the `columns` counter of its benchmark, at most 12). At 1,000,000 bars the floor is "
     "bound by memory: each row costs a cache line read for ownership and a write back whatever is written into "
     "it. At 36,500 the rows stay in the last-level cache and the arithmetic is the bound.")
emit("- **Window sums.** `Window/...`: ordered window sums (sums, squared and absolute deviations) of the "
     "1,000,000-bar close column at period 20, the plain per-window loop against the vector lanes on the "
     "baseline (SSE2) route and on the route the CPU supports; ns per window.")
emit("- Ratios near a threshold move from run to run on a shared virtual machine; one run does not decide them.")
emit("")
out.extend(report.tables(suite))
emit("")

# --- formulas ---------------------------------------------------------------
emit("## Formulas")
emit("")
emit("Command:")
emit("")
emit(code(command("formulas")))
emit("")
emit("Over the shipped daily sample (2,813 bars). The MACD formula is "
     "`DIF:EMA(CLOSE,12)-EMA(CLOSE,26); DEA:EMA(DIF,9); MACD:(DIF-DEA)*2;`.")
emit("")
what = {
    "FormulaCompile": ("compiling a 20-statement text", "per compile"),
    "FormulaStreamAppend": ("one append to the MACD formula's stream", "per append"),
    "BuiltinMacdColumns": ("the built-in MACD's columns, for comparison", "per call"),
}
fmed = report.medians(formulas)
# Bars per call: items/s counts bars against CPU time; the figures are wall time.
bars = {b["run_name"]: round(b["items_per_second"] * b["cpu_time"] * report.NS[b.get("time_unit", "ns")] / 1e9)
        for b in report.median_entries(formulas) if b.get("items_per_second")}
emit("| benchmark | what | median | ns per bar |")
emit("|---|---|---|---|")
for name in sorted(fmed, key=lambda n: (not n.startswith("Formula"), n)):
    desc, per = what.get(name, ("a whole run of `%s` over the bars" % name.split("/")[-1], "per run"))
    t = fmed[name]
    shown = "%.0f ns" % t if t < 1e4 else "%.1f us" % (t / 1e3)
    bar = "%.2f" % (t / bars[name]) if bars.get(name) else "-"
    emit("| %s | %s | %s %s | %s |" % (name, desc, shown, per, bar))
if "FormulaRun/MACD" in fmed and "BuiltinMacdColumns" in fmed:
    emit("")
    emit("The MACD formula takes %.2fx the time of the built-in MACD's columns." %
         (fmed["FormulaRun/MACD"] / fmed["BuiltinMacdColumns"]))
emit("")

# --- peers ------------------------------------------------------------------
emit("## fenxi beside TA-Lib and Tulip Indicators")
emit("")
pinned = re.search(r"set\(peer_packages ([^)]*)\)", open(os.path.join(ROOT, "bench", "CMakeLists.txt")).read())
emit("Command (`build/perf-peers` is configured as `bench/peers.sh` configures `build/peers`, with "
     "`-DFENXI_BENCH_PEERS=ON`, which fetches the npm packages %s with `npm pack` into the build tree and builds "
     "their C sources there):" % (" and ".join("`%s`" % p for p in pinned.group(1).split()) if pinned else "`talib` and `tulind`"))
emit("")
emit(code(command("peers")))
emit("")
emit("- The four routes run in turn on the same bars (the daily sample extended to n), the order rotating each "
     "repetition, the first round a warm-up; figures are ns per bar, median (minimum).")
emit("- \"rows\" is the class API's generator on a reused engine; \"columns\" is `ComputeInto` into the caller's "
     "arrays (the peers also write into arrays allocated once). \"/ peer\" divides by the faster peer's median.")
emit("- The peers read four contiguous double arrays; fenxi reads its 48-byte bar records.")
emit("- \"values\" gives the largest |fenxi - peer| / max(1, |peer|) where the formulas coincide, or why they differ.")
emit("- The bare EMA division chain is fenxi's EMA arithmetic `((p-1)*prev + 2x)/(p+1)` over a contiguous array: "
     "the latency floor of every EMA-style line.")
emit("- The formula table runs each formula and the route it is set beside, interleaved.")
emit("")
emit(peers_text.strip())
emit("")

# --- panel ------------------------------------------------------------------
emit("## Panels beside the peers")
emit("")
emit("Command (the same build as the peers' table):")
emit("")
emit(code(command("panel")))
emit("")
emit("- A market of securities made from the daily sample, each a window of the extended series starting at its own "
     "bar with its prices shifted by its own amount. fenxi's panel call (`ComputeManyInto`, one thread, then two) "
     "runs the whole market; fenxi's columnar call and the peers run once per security. Every route writes every "
     "security's lines into arrays of its own. Figures are ns per security-bar, median of the interleaved "
     "repetitions; \"panel / peer\" divides fenxi's one-thread panel by the faster peer.")
emit("- EMA, SMA, MACD, RSI, KDJ and ADX run one security per vector lane (the lane count is in the table's heading); "
     "the other operations run one security after another.")
emit("- The floors: each security's closes read from its bar records (fenxi's input) or from a double array (the "
     "peers'), and written as one line.")
emit("- The formula rows run `RunManyInto` (EMA and SMA recurrences in lanes, the other functions per security) "
     "beside the MACD operation's panel.")
emit("")
emit(panel_text.strip())
emit("")

# --- screen -----------------------------------------------------------------
emit("## A screen")
emit("")
emit("Command:")
emit("")
emit(code(command("screen")))
emit("")
emit("The shipped daily series made into a folder of securities of 2,500 bars each (shifted prices and dates), "
     "screened by the tool (`fenxi scan --where`: wall time, reading included) and by `fenxi_screen_bench` "
     "(reading and evaluation apart, evaluation the median of five).")
emit("")
emit("| run | input | jobs | time | passing |")
emit("|---|---|---|---|---|")
for line in (read("screen.md") or "").splitlines():
    cells = [c.strip() for c in line.strip().strip("|").split("|")]
    if len(cells) == 6:  # fenxi_screen_bench: reading and evaluation in two cells
        cells = ["fenxi_screen_bench " + cells[0], cells[1], cells[2], cells[3] + ", " + cells[4], cells[5]]
    if len(cells) == 5:
        emit("| " + " | ".join(cells) + " |")
emit("")

# --- scan -------------------------------------------------------------------
emit("## A scan")
emit("")
emit("Command:")
emit("")
emit(code(command("scan")))
emit("")
emit("`fenxi scan` (both signal systems, both tips and the tactics pools on every file) over a folder of securities of 2,500 daily bars (windows of "
     "the daily sample at different offsets), on one thread and on two.")
emit("")
scan = re.findall(r"jobs (\d+): ([0-9.]+) s, ([0-9.]+) ms per security", read("scan.txt") or "")
emit("| jobs | wall | per security | speed-up |")
emit("|---|---|---|---|")
for jobs, wall, per in scan:
    emit("| %s | %s s | %s ms | %.2fx |" % (jobs, wall, per, float(scan[0][1]) / float(wall)))
emit("")

# --- python -----------------------------------------------------------------
emit("## Python overhead")
emit("")
emit("Command:")
emit("")
emit(code(command("python")))
emit("")
py = (read("python.cmd") or "").splitlines()
py = py[py.index("bench/python_overhead.py") + 1:] if "bench/python_overhead.py" in py else []
emit("Each registry operation at its defaults over %s bars, the fastest of %s calls a side: `fenxi.compute(name, DataFrame)` against the direct C++ columnar "
     "call on the same columns, each side in a run of its own after a warm-up, with freed "
     "memory kept by the allocator so neither side faults its pages in afresh (see `docs/python.md`)."
     % (f"{int(py[1]) if len(py) > 1 else 1000000:,}", py[0] if py else 15))
emit("")
overheads = [float(x) for x in re.findall(r"\| ([+-][0-9.]+) % \|", python_text)]
if overheads:
    emit("Median overhead %+.1f %%, largest %+.1f %% over %d operations." % (
        statistics.median(overheads), max(overheads), len(overheads)))
    emit("")
emit("\n".join(l for l in python_text.strip().splitlines() if l.startswith("|")))
emit("")

# --- peak memory ------------------------------------------------------------
emit("## Peak memory")
emit("")
emit("Command:")
emit("")
emit(code(command("peak_memory")))
emit("")
emit("The growth of the process's maximum resident set across each call:")
emit("")
for line in peak_text.strip().splitlines():
    emit("- " + line)
emit("")

# --- long series in the browser ------------------------------------------------
emit("## Long series in the browser")
emit("")
emit("Commands (headless Chromium; the series are the daily sample repeated as minute bars):")
emit("")
emit(code(command("view_large") + "\n" + command("serve_large")))
emit("")
emit("- `fenxi view`'s page for 239,550 bars: the tool writes it, Chromium opens it from disk; the time runs from "
     "navigation to the first frame after the chart is built.")
emit("- `fenxi serve` with a 1,000,000-bar file: from navigation to the drawn chart, the server reading the file "
     "(cold) and having read it (warm).")
emit("")
for name in ("view_large", "serve_large"):
    for line in (read(name + ".txt") or "").strip().splitlines():
        emit("- " + line)
emit("")

# --- durations --------------------------------------------------------------
if seconds:
    emit("## How long each step took")
    emit("")
    emit("| step | seconds |")
    emit("|---|---|")
    for k, v in seconds.items():
        emit("| %s | %s |" % (k, v))
    emit("")

sys.stdout.write("\n".join(out).rstrip() + "\n")
