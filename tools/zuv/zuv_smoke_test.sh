#!/usr/bin/env bash
# Runs the zuv tool's commands on a scratch folder as a user would, and checks their output, their
# exit statuses, their one-line failures and the state of the disk afterwards.
# Usage: zuv_smoke_test.sh PATH-OF-ZUV
set -u
zuv="$1"
scratch="$(mktemp -d)"
stdout="$(mktemp)"
trap 'cd / && rm -rf "$scratch" "$stdout"' EXIT
cd "$scratch" || exit 1
failures=0

fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}

# succeeds PATTERN ARGS...: zuv ARGS exits 0 and its standard output matches the extended regular
# expression PATTERN.
succeeds() {
  local pattern="$1" output status
  shift
  output="$("$zuv" "$@" 2>&1)"
  status=$?
  if [[ $status -ne 0 ]] || ! grep -Eq -- "$pattern" <<<"$output"; then
    fail "zuv $* exited $status, expected 0 and /$pattern/:"$'\n'"$output"
  fi
}

# fails STATUS COMMAND PATTERN ARGS...: zuv ARGS exits STATUS and prints nothing on standard output;
# for status 1 its standard error is the one line "zuv COMMAND: PATH: reason (kZuvErrName number)",
# matching PATTERN; for status 2, a usage message matching PATTERN.
fails() {
  local expected="$1" command="$2" pattern="$3" output errors status
  shift 3
  errors="$("$zuv" "$@" 2>&1 >"$stdout")"
  status=$?
  output="$(cat "$stdout")"
  if [[ $status -ne $expected || -n $output ]] || ! grep -Eq -- "$pattern" <<<"$errors"; then
    fail "zuv $* exited $status, expected $expected and /$pattern/:"$'\n'"$output$errors"
  elif [[ $expected -eq 1 ]] &&
    ! grep -Eqx -- "zuv $command: .*: [a-z'].* \(kZuvErr[A-Za-z]+ [0-9]+\)" <<<"$errors"; then
    fail "zuv $*: not one failure line:"$'\n'"$errors"
  fi
}

# The photo library the commands work on.
mkdir -p album/import elsewhere/photos
touch album/a.jpg album/import/b.jpg elsewhere/photos/p1.jpg
ln -s "$scratch/elsewhere" album/shortcut
inventory() { find "$scratch" | sort; }
before="$(inventory)"

# Exit statuses, each listed in the help.
help="$("$zuv" --help)" || fail "zuv --help did not exit 0"
for line in "0  success" "1  an operation failed" "2  a usage error"; do
  grep -q -- "$line" <<<"$help" || fail "the help does not list '$line'"
done
fails 2 "" "unknown command 'bogus'" bogus
fails 2 rm "no PATH given" rm
fails 2 swap "give two files" swap album/a.jpg

# An empty path is a failure of its own, never the working folder.
fails 1 info "'': the path is empty \(kZuvErrEmptyPath 4100\)" info ''
fails 1 rm "'': the path is empty" rm ''
fails 1 swap "'': the path is empty" swap '' ''
fails 1 rename "'': the path is empty" rename '' n
fails 1 mkdir "'': the path is empty" mkdir '' n

# "." and ".." as the last component are refused, whatever the spelling; nothing is touched.
for path in album/shortcut/.. album/import/.. album/import/../ album/.//.. album/. . .. ./ \
  "$scratch/album/.."; do
  fails 1 rm "$path: a path that ends in '.' or '..' is refused \(kZuvErrInvalidName 4612\)" \
    rm "$path"
done
fails 1 rename "refused" rename album/import/.. renamed
fails 1 swap "refused" swap album/a.jpg album/import/..
[[ "$(inventory)" == "$before" ]] || fail "a refused path changed the disk"

# The root folder is a failure, not a usage error.
fails 1 rm "^zuv rm: /: the root folder is never removed \(kZuvErrAccessDenied 4610\)$" rm /
fails 1 rm "//: the root folder" rm //

# Plain reasons.
fails 1 rm "missing: permission denied or no such item \(kZuvErrAccessDenied 4610\)" rm missing
fails 1 mkdir "missing/x: permission denied or no such item" mkdir missing x
fails 1 mkdir "album/a.jpg: not a folder" mkdir album/a.jpg x
fails 1 mkdir "album/import: an item of that name already exists \(kZuvErrFolderExists 4611\)" \
  mkdir album import
fails 1 swap "album/a.jpg and album/import: only files are swapped" swap album/a.jpg album/import
fails 1 info "missing: no such item \(kZuvErrNotFound 4353\)" info missing
fails 1 time "garbage: not a valid local date and time" time parse garbage
[[ "$(inventory)" == "$before" ]] || fail "a failed command changed the disk"

# A ".." after a link goes where the kernel takes it, not where the text seems to point: through
# album/shortcut it leads to the scratch folder's victim.jpg, and album/victim.jpg stays.
touch victim.jpg album/victim.jpg
succeeds "^$" rm album/shortcut/../victim.jpg
[[ ! -e victim.jpg && -e album/victim.jpg ]] || fail "rm album/shortcut/../victim.jpg removed the wrong file"

# The commands that change the disk, and the disk afterwards.
succeeds "^$scratch/album/new$" mkdir album new
[[ -d album/new ]] || fail "mkdir made no folder"
succeeds "^$scratch/album/renamed$" rename album/new renamed
[[ -d album/renamed && ! -e album/new ]] || fail "rename did not rename"
printf one >album/x.txt
printf two >album/y.txt
succeeds "^$" swap album/x.txt "$scratch/album/y.txt"
[[ "$(cat album/x.txt)" == two && "$(cat album/y.txt)" == one ]] || fail "swap did not swap"
succeeds "size +3 bytes" info album/x.txt
succeeds "^$" rm album/shortcut
[[ ! -L album/shortcut && -e elsewhere/photos/p1.jpg ]] || fail "rm of a link followed it"
fails 1 rm "album/missing: permission denied" rm album/import album/missing album/renamed
[[ ! -e album/import && ! -e album/renamed ]] || fail "rm stopped at a failure"

# Copy and move: into a folder under their own names, or one item to a new path; an item already
# there is kept unless --replace is given. Not on a terminal, they print nothing when they succeed.
mkdir -p lib/2024 lib/backup
printf pixels >lib/2024/a.jpg
printf raw >lib/2024/b.nef
mkdir lib/2024/edits
printf edit >lib/2024/edits/a.xmp
fails 2 copy "give SOURCE... and DEST" copy lib/2024
fails 2 move "unknown option '--force'" move --force lib/2024 lib/backup
succeeds "^$" copy lib/2024 lib/backup
[[ "$(cat lib/backup/2024/edits/a.xmp)" == edit && -e lib/2024/edits/a.xmp ]] ||
  fail "copy did not copy the tree"
fails 1 copy "lib/backup/2024: an item is already there .* \(kZuvErrAlreadyExists 4357\)" \
  copy lib/2024 lib/backup
succeeds "^$" copy lib/2024/a.jpg lib/backup/renamed.jpg
[[ "$(cat lib/backup/renamed.jpg)" == pixels ]] || fail "copy to a new path"
succeeds "^$" copy --verify lib/2024 lib/backup/verified
printf old >lib/backup/2024/b.nef
succeeds "^$" copy --replace lib/2024/b.nef lib/backup/2024
[[ "$(cat lib/backup/2024/b.nef)" == raw ]] || fail "copy --replace did not replace"
fails 1 copy "lib/2024/a.jpg: not a folder, and several sources" copy lib/2024/b.nef lib/2024 \
  lib/2024/a.jpg
fails 1 move "lib/missing: no such item \(kZuvErrNotFound 4353\)" move lib/missing lib/backup
fails 1 copy "the destination is inside the source folder \(kZuvErrSubFolder 4881\)" \
  copy lib/2024 lib/2024/edits
succeeds "^$" move lib/2024/a.jpg lib/2024/b.nef lib/backup/renamed.jpg lib/2024/edits
[[ "$(ls lib/2024/edits | tr '\n' ' ')" == "a.jpg a.xmp b.nef renamed.jpg " && ! -e lib/2024/a.jpg ]] ||
  fail "move of several sources into a folder"

# Ctrl-C during the copy cancels it: 130, nothing at the new path and the source whole; or, if the
# copy was done before the signal came, the whole copy.
mkdir many
for i in $(seq 1 3000); do printf "$i" >"many/$i.jpg"; done
"$zuv" copy many lib >/dev/null 2>"$stdout" &
for _ in $(seq 1 1000); do [[ -e lib/many ]] && break; sleep 0.01; done  # the copy has begun
kill -INT $!
wait $!
status=$?
if [[ $status -eq 130 ]]; then
  [[ ! -e lib/many ]] || fail "a canceled copy left lib/many"
  grep -q "canceled; nothing is left at $scratch/lib/many" "$stdout" || fail "no cancel message"
elif [[ $status -ne 0 || $(ls lib/many | wc -l) -ne 3000 ]]; then
  fail "an interrupted copy exited $status"
fi
[[ $(ls many | wc -l) -eq 3000 ]] || fail "a canceled copy touched its source"

# The other commands, once each.
succeeds '^"ABC"$' text upper abc
TZ=UTC succeeds "1904/01/01" time format 0
succeeds "kZuvFileTypeJpeg +album/a.jpg" types album/a.jpg
mkdir -m 700 tmp
TMPDIR="$scratch/tmp" succeeds "^$scratch/tmp/zuv-[0-9]+/.*/ZuvTmp[0-9]{4}\.txt$" \
  tempfile --suffix .txt

# A working folder that has been removed: relative paths fail plainly, absolute ones work.
mkdir gone
cd gone && rmdir ../gone
fails 1 rm "^zuv rm: x: the working folder cannot be found \(kZuvErrNotFound 4353\)$" rm x
fails 1 info "the working folder cannot be found" info .
succeeds "^$scratch/album/a.jpg$" info "$scratch/album/a.jpg"

if [[ $failures -ne 0 ]]; then
  echo "$failures failed"
  exit 1
fi
echo "all passed"
