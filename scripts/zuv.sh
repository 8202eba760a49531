#!/usr/bin/env bash
# Sets up the machine, builds Zuv and runs the zuv tool with the given arguments (none: the
# built-in sample).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh >&2
cmake --preset default >/dev/null
cmake --build --preset default --target zuv_tool >&2
exec build/default/bin/zuv "$@"
