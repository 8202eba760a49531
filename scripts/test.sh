#!/usr/bin/env bash
# Sets up the machine, builds Zuv with its tests, and runs them. With an argument, uses that
# CMake preset (default, asan or tsan).
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-default}"

scripts/setup.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset"
