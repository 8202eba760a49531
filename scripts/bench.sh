#!/usr/bin/env bash
# Builds the default preset (RelWithDebInfo, benchmarks on), runs zuv_bench once, and prints each
# library measure beside its reference with the ratio of the two and the goal for that ratio.
# Times are CPU times, wall-clock times for the measures timed so (their names end in /real_time);
# with --benchmark_repetitions=N they are the medians of the N runs, which is what the goals are
# judged on (the machine is shared, so single runs are noisy).
#
# Usage: scripts/bench.sh [zuv_bench options, e.g. --benchmark_filter=Utf8Length
#                          --benchmark_repetitions=9]
# ZUV_BENCH_BUILD_DIR chooses another build directory than the preset's build/default;
# CMAKE_BUILD_PARALLEL_LEVEL limits the build jobs.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/bench-common.sh"

bench_build zuv_bench

results="$(mktemp)"
trap 'rm -f "$results"' EXIT
"$build_dir/bin/zuv_bench" --benchmark_format=json "$@" >"$results"

python3 - "$results" <<'PY'
import json
import sys

NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}

with open(sys.argv[1]) as file:
    report = json.load(file)

# Runs are named MEASURE/CASE/zuv and MEASURE/CASE/ref. Repeated runs are reported once each and
# then as aggregates (MEASURE/CASE/zuv_median, ...): the median stands for them all.
pairs = {}
for run in report["benchmarks"]:
    if run.get("run_type") == "aggregate" and run.get("aggregate_name") != "median":
        continue
    measure, _, side = run["run_name"].removesuffix("/real_time").rpartition("/")
    if run.get("run_type") == "aggregate" or side not in pairs.get(measure, {}):
        pairs.setdefault(measure, {})[side] = run

def nanoseconds(run):
    time = run["real_time"] if run["run_name"].endswith("/real_time") else run["cpu_time"]
    return time * NANOSECONDS[run["time_unit"]]

def describe(run):
    time = nanoseconds(run)
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("us", 1e3), ("ns", 1.0)):
        if time >= scale or unit == "ns":
            return f"{time / scale:8.2f} {unit:<2}  {run.get('label', '')}"

rows = [("measure", "zuv", "reference", "ratio", "goal", "")]
for measure, sides in pairs.items():
    if "zuv" not in sides or "ref" not in sides:
        rows.append((measure, "(no pair)", "", "", "", ""))
        continue
    ratio = nanoseconds(sides["zuv"]) / nanoseconds(sides["ref"])
    goal = sides["zuv"].get("goal")
    verdict = "" if goal is None else ("ok" if ratio <= goal else "over goal")
    rows.append((measure, describe(sides["zuv"]), describe(sides["ref"]), f"{ratio:.2f}",
                 "" if goal is None else f"{goal:g}", verdict))

widths = [max(len(row[column]) for row in rows) for column in range(5)]
for row in rows:
    cells = [row[0].ljust(widths[0]), row[1].ljust(widths[1]), row[2].ljust(widths[2]),
             row[3].rjust(widths[3]), row[4].rjust(widths[4]), row[5]]
    print("  ".join(cells).rstrip())
PY
