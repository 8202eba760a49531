#!/usr/bin/env bash
# Times `zuv copy` and `zuv move` against cp, cp -r and mv, and the library's tree copy with and
# without a progress callback (zuv_bench), and prints one table: each figure, the medians of zuv
# and of its reference, their ratio, the goal and whether it is met.
#
# Fixtures: a tree of 10,000 files of 4 KiB in 100 folders, a card (100 RAW of 25 MB, 100 JPEG of
# 6 MB, 100 XMP of 6 KB) and a file of 1 GiB, with incompressible content. They lie in a scratch
# folder on the file system of the build (the machine's main one), on a tmpfs mounted for the run
# and on a loop-mounted XFS image, all undone at the end.
#
# Each row alternates zuv and its reference, one hyperfine run of each at a time. Before every run
# the destination is removed (a moved source put back) and the file systems are synced, so that no
# run pays for the writeback of another; the sources stay in the page cache (warm) for both, as
# the warmup run reads them. A destination on the main file system is written into the page cache
# and not waited for, by either tool; only the move across file systems waits, as it is durable
# before its source goes (`mv` is followed by `sync` there). Peak memory is /usr/bin/time -v's
# maximum resident size. The --verify rows run only when the tool offers --verify.
#
# Usage: scripts/bench-copy.sh [--quick]     (--quick: a tenth of the fixtures and 3 runs a row)
# Needs root (tmpfs and loop mounts), hyperfine, /usr/bin/time (time), mkfs.xfs (xfsprogs),
# filefrag (e2fsprogs) and script (util-linux): scripts/setup.sh installs them.
# ZUV_BENCH_SCRATCH: the folder to work in instead of the build folder (its file system is the one
# measured as the main one).
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/bench-common.sh"

quick=false
[[ "${1:-}" == --quick ]] && quick=true
scale=1 runs=5 files=10k big="1 GiB"
if $quick; then scale=10 runs=3 files=1k big="100 MiB"; fi

if [[ "$(id -u)" -ne 0 ]]; then
  echo "bench-copy: needs root, to mount a tmpfs and an XFS image" >&2
  exit 1
fi
for tool in hyperfine /usr/bin/time mkfs.xfs filefrag script; do
  if ! command -v "$tool" >/dev/null; then
    echo "bench-copy: $tool is missing (scripts/setup.sh installs it)" >&2
    exit 1
  fi
done

bench_build zuv_tool zuv_bench
zuv="$build_dir/bin/zuv"

scratch="$(mktemp -d "${ZUV_BENCH_SCRATCH:-$build_dir}/bench-copy-XXXXXX")"
main="$scratch/main" card_fs="$scratch/tmpfs" xfs="$scratch/xfs"
cleanup() {
  umount "$card_fs" "$xfs" 2>/dev/null || true
  rm -rf "$scratch"
}
trap cleanup EXIT
mkdir -p "$main" "$card_fs" "$xfs"
mount -t tmpfs -o size=5g tmpfs "$card_fs"
truncate -s 4G "$scratch/xfs.img"
mkfs.xfs -q -m reflink=1 "$scratch/xfs.img"
mount -o loop "$scratch/xfs.img" "$xfs"

echo "bench-copy: making the fixtures (load: $(cut -d' ' -f1-3 /proc/loadavg))"
python3 - "$scale" "$main/tree" "$card_fs/card" "$main/big" <<'PY'
import os
import sys

scale = int(sys.argv[1])
block = os.urandom(4 << 20)
twice = memoryview(block + block)

def write(path, size, seed):
    # Incompressible and different in every file: the random block, turned by the seed.
    with open(path, "wb") as file:
        start = seed * 4099 % len(block)
        while size > 0:
            piece = twice[start:start + min(size, len(block))]
            file.write(piece)
            size -= len(piece)

for folder in range(100 // scale):
    os.makedirs(f"{sys.argv[2]}/folder{folder:03}")
    for n in range(100):
        write(f"{sys.argv[2]}/folder{folder:03}/IMG_{n:04}.jpg", 4096, folder * 100 + n)
os.makedirs(f"{sys.argv[3]}/DCIM/100CANON")
for n in range(100 // scale):
    for ext, size in (("CR3", 25_000_000), ("JPG", 6_000_000), ("XMP", 6_000)):
        write(f"{sys.argv[3]}/DCIM/100CANON/IMG_{n:04}.{ext}", size, n)
write(sys.argv[4], (1 << 30) // scale, 1)
PY
cp -r "$main/tree" "$card_fs/tree.orig"
cp "$main/big" "$card_fs/big"
cp "$main/big" "$xfs/big"
sync

rows="$scratch/rows.tsv"
: >"$rows"

# row FIGURE GOAL PREPARE ZUV_COMMAND REFERENCE_COMMAND: zuv and its reference, one run of each a
# round (hyperfine runs one command's runs before the next's), the first of the two alternating.
# GOAL is "<= R" for a ratio to the reference, "<= N ms" for zuv's own median, or empty.
row() {
  local base="$scratch/row$(wc -l <"$rows")" round
  local -a warmup order
  echo "bench-copy: $1" >&2
  for ((round = 1; round <= runs; round++)); do
    warmup=()
    if ((round == 1)); then warmup=(--warmup 1); fi
    order=(-n zuv "$4" -n reference "$5")
    if ((round % 2 == 0)); then order=(-n reference "$5" -n zuv "$4"); fi
    hyperfine --style none --runs 1 "${warmup[@]}" --prepare "$3 && sync" \
      --export-json "$base.$round.json" "${order[@]}"
  done
  printf '%s\t%s\t%s\n' "$1" "$2" "$base" >>"$rows"
}

# A copy of the tree goes to a new folder of $copies named by the process id of its run's shell,
# and none is removed before the end: ext4 makes a new file slowly beside inodes that were freed
# within the last minute (it checks each such inode's deletion time), which a copy after the
# removal of the last one would pay for throughout.
tree="$main/tree" copy="$main/copy" copies="$main/copies"
mkdir "$copies"
row "start of the tool alone, zuv time format 0 / cp --version" "" "true" \
  "'$zuv' time format 0" "cp --version"
row "tree $files x 4 KiB, zuv copy (counts first) / cp -r" "<= 0.8" "true" \
  "'$zuv' copy '$tree' '$copies/'\$\$" "cp -r '$tree' '$copies/'\$\$"
# Without a terminal the tool counts its items but draws nothing; under script(1) it draws.
row "the same on a terminal (script -qc), bar drawn" "<= 0.8" "true" \
  "script -qec \"'$zuv' copy '$tree' '$copies/'\$\$\" /dev/null" \
  "script -qec \"cp -r '$tree' '$copies/'\$\$\" /dev/null"
row "card, tmpfs to main, zuv copy / cp -r" "<= 1.0" "rm -rf '$copy'" \
  "'$zuv' copy '$card_fs/card' '$copy'" "cp -r '$card_fs/card' '$copy'"
row "$big, same file system, zuv copy / cp" "<= 0.9" "rm -rf '$copy'" \
  "'$zuv' copy '$main/big' '$copy'" "cp '$main/big' '$copy'"
row "$big, tmpfs to main, zuv copy / cp" "<= 1.0" "rm -rf '$copy'" \
  "'$zuv' copy '$card_fs/big' '$copy'" "cp '$card_fs/big' '$copy'"
row "$big on XFS (both clone), zuv copy / cp" "<= 1.0" "rm -rf '$xfs/copy'" \
  "'$zuv' copy '$xfs/big' '$xfs/copy'" "cp '$xfs/big' '$xfs/copy'"
"$zuv" copy "$xfs/big" "$xfs/shared"
extents="$(filefrag -v "$xfs/shared" | grep -cE '^ *[0-9]+:' || true)"
shared="$(filefrag -v "$xfs/shared" | grep -cE '^ *[0-9]+:.*shared' || true)"
printf 'the copy on XFS shares %s of its %s extents\tall shared\tcheck %s\n' "$shared" "$extents" \
  "$([[ $extents -gt 0 && $shared -eq $extents ]] && echo met || echo missed)" >>"$rows"

if { "$zuv" copy --help; "$zuv" --help; } 2>&1 | grep -q -- --verify; then
  row "card, zuv copy --verify / cp -r" "<= 2.0" "rm -rf '$copy'" \
    "'$zuv' copy --verify '$card_fs/card' '$copy'" "cp -r '$card_fs/card' '$copy'"
  row "tree, zuv copy --verify / zuv copy" "<= 1.5" "true" \
    "'$zuv' copy --verify '$tree' '$copies/'\$\$" "'$zuv' copy '$tree' '$copies/'\$\$"
  row "$big, zuv copy --verify / zuv copy" "<= 2.2" "rm -rf '$copy'" \
    "'$zuv' copy --verify '$main/big' '$copy'" "'$zuv' copy '$main/big' '$copy'"
else
  printf 'zuv copy --verify: not offered by this build\t\t\n' >>"$rows"
fi

# A move on one file system is put back by renaming; one from the tmpfs by a fresh copy.
row "move of the tree, one file system, zuv move / mv" "<= 5 ms" \
  "if [ -e '$copy' ]; then mv '$copy' '$tree'; fi" \
  "'$zuv' move '$tree' '$copy'" "mv '$tree' '$copy'"
if [[ -e "$copy" ]]; then mv "$copy" "$tree"; fi
row "move of the tree, tmpfs to main, zuv move / mv + sync" "<= 1.0" \
  "rm -rf '$card_fs/tree' && cp -r '$card_fs/tree.orig' '$card_fs/tree'" \
  "'$zuv' move '$card_fs/tree' '$copies/'\$\$" "mv '$card_fs/tree' '$copies/'\$\$ && sync"

# Peak memory: the larger of three runs of each.
peak() {
  local most=0 kib run
  for run in 1 2 3; do
    /usr/bin/time -v -o "$scratch/time.txt" "$@" "$copies/peak-${1##*/}-$run" >/dev/null 2>&1
    kib="$(awk '/Maximum resident set size/ {print $NF}' "$scratch/time.txt")"
    ((kib > most)) && most=$kib
  done
  echo "$most"
}
printf 'peak memory, tree, zuv copy / cp -r\t<= 2.0\tmemory %s %s\n' \
  "$(peak "$zuv" copy "$tree")" "$(peak cp -r "$tree")" >>"$rows"

# The callback's cost inside the library, alternating the two over the repetitions.
"$build_dir/bin/zuv_bench" --benchmark_filter=CopyTreeCallback --benchmark_repetitions="$runs" \
  --benchmark_enable_random_interleaving=true --benchmark_format=json \
  >"$scratch/callback.json" 2>/dev/null
printf 'tree, ZuvCopyPath with a callback / without\t<= 1.05\tbench %s\n' \
  "$scratch/callback.json" >>"$rows"

echo "bench-copy: done (load: $(cut -d' ' -f1-3 /proc/loadavg)); medians of $runs runs"
python3 - "$rows" <<'PY'
import glob
import json
import statistics
import sys

def milliseconds(seconds):
    return f"{seconds * 1e3:9.1f} ms"

table = [("figure", "zuv", "reference", "ratio", "goal", "")]
for line in open(sys.argv[1]):
    figure, goal, source = (line.rstrip("\n").split("\t") + [""] * 3)[:3]
    kind, *rest = source.split(" ")
    if kind in ("", "check"):
        table.append((figure, "", "", "", goal, " ".join(rest)))
        continue
    if kind == "memory":
        zuv, ref = (int(kib) for kib in rest)
        ratio = zuv / ref
        cells = (f"{zuv / 1024:9.1f} MiB", f"{ref / 1024:9.1f} MiB")
        zuv_value = None
    elif kind == "bench":
        runs = {}
        for run in json.load(open(rest[0]))["benchmarks"]:
            if run.get("aggregate_name") == "median":
                side = run["run_name"].removesuffix("/real_time").rpartition("/")[2]
                runs[side] = run["real_time"] / 1e3  # reported in milliseconds
        zuv_value, ref = runs["zuv"], runs["ref"]
        ratio = zuv_value / ref
        cells = (milliseconds(zuv_value), milliseconds(ref))
    else:
        times = {"zuv": [], "reference": []}
        for round in glob.glob(kind + ".*.json"):
            for result in json.load(open(round))["results"]:
                times[result["command"]] += result["times"]
        zuv_value = statistics.median(times["zuv"])
        ref = statistics.median(times["reference"])
        ratio = zuv_value / ref
        cells = (milliseconds(zuv_value), milliseconds(ref))
    if not goal:
        table.append((figure, *cells, f"{ratio:.2f}", "", ""))
        continue
    limit = float(goal.split()[1])
    met = zuv_value * 1e3 <= limit if goal.endswith("ms") else ratio <= limit
    table.append((figure, *cells, f"{ratio:.2f}", goal, "met" if met else "missed"))

widths = [max(len(row[column]) for row in table) for column in range(5)]
for row in table:
    cells = [row[0].ljust(widths[0]), row[1].rjust(widths[1]), row[2].rjust(widths[2]),
             row[3].rjust(widths[3]), row[4].ljust(widths[4]), row[5]]
    print("  ".join(cells).rstrip())
PY
