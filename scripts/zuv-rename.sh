#!/usr/bin/env bash
# Sets up the machine, builds the rename example and starts it on FOLDER: every file of the folder
# in a rename field; type a new name and press Return to rename the file on disk.
set -euo pipefail
if [ $# -ne 1 ] || [ ! -d "$1" ]; then
  echo "usage: scripts/zuv-rename.sh FOLDER" >&2
  exit 2
fi
folder="$(cd "$1" && pwd)"
cd "$(dirname "$0")/.."

scripts/setup.sh >&2
cmake --preset default >/dev/null
cmake --build --preset default --target rename_field >&2
exec build/default/bin/rename_field "$folder"
