#!/usr/bin/env bash
# Times `zuv trash` against `gio trash` on the same 1,000 files of one folder, in one hyperfine run,
# and prints each one's time per file and the ratio (goal: zuv at most 1.0x gio). Both trash into
# a scratch home; before each run the files are made anew and the trash is emptied, so that no run
# pays for names taken by an earlier one. gio runs on GIO's local file system (GIO_USE_VFS=local),
# as the library does, so that loading the gvfs module, where installed, is not counted against it.
#
# Usage: scripts/bench-trash.sh [RUNS]
# ZUV_BENCH_BUILD_DIR: another build than build/default. ZUV_BENCH_SCRATCH: the folder to work in
# (default /tmp); a tmpfs such as /dev/shm measures the trash's own work without waiting on a disk
# that others share.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/bench-common.sh"
runs="${1:-10}"
files=1000

bench_build zuv_tool

scratch="$(mktemp -d "${ZUV_BENCH_SCRATCH:-/tmp}/zuv-bench-trash-XXXXXX")"
trap 'rm -rf "$scratch"' EXIT
export HOME="$scratch/home" XDG_DATA_HOME="$scratch/home/.local/share" GIO_USE_VFS=local
mkdir -p "$HOME"
photos="$scratch/photos"
prepare="rm -rf '$XDG_DATA_HOME/Trash' '$photos' && mkdir '$photos' && cd '$photos' && \
seq -f 'IMG_%04g.jpg' 1 $files | xargs -n 250 sh -c 'for f; do echo photo > \"\$f\"; done' _"

hyperfine --style basic --runs "$runs" --warmup 1 --prepare "$prepare" \
  --export-json "$scratch/results.json" \
  -n "zuv trash" "'$build_dir/bin/zuv' trash '$photos'/*" \
  -n "gio trash" "gio trash '$photos'/*"

python3 - "$scratch/results.json" "$files" <<'PY'
import json
import sys

results = {r["command"]: r for r in json.load(open(sys.argv[1]))["results"]}
files = int(sys.argv[2])
for name, r in results.items():
    print(f"{name}: {r['mean'] / files * 1e6:.1f} us per file (median {r['median'] / files * 1e6:.1f})")
ratio = results["zuv trash"]["mean"] / results["gio trash"]["mean"]
print(f"zuv/gio: {ratio:.2f}x (goal <= 1.0x)")
PY
