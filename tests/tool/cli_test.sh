#!/usr/bin/env bash
# Runs the kestrune tool the way a user does and checks exit statuses, messages and outputs.
set -u
tool=$1
pad_records=$2  # pads Opus packets to one size (fixed-size records)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export KESTRUNE_DOCUMENTS_DIR="$work/documents"
failures=0
checks=0

# expect STATUS DESCRIPTION -- COMMAND...: the command exits with STATUS.
expect() {
  local status=$1 what=$2
  shift 3
  checks=$((checks + 1))
  "$@" >"$work/out" 2>"$work/err" </dev/null
  local got=$?
  if [ "$got" != "$status" ]; then
    echo "FAIL: $what: exit $got, expected $status"; sed 's/^/  stderr: /' "$work/err" | head -5
    failures=$((failures + 1))
  fi
}

# contains FILE TEXT DESCRIPTION
contains() {
  checks=$((checks + 1))
  if ! grep -qF -- "$2" "$1"; then
    echo "FAIL: $3: '$2' not in $(basename "$1")"; failures=$((failures + 1))
  fi
}

# size_multiple FILE N DESCRIPTION: FILE is not empty and its size is a multiple of N.
size_multiple() {
  checks=$((checks + 1))
  local size
  size=$(stat -c %s "$1" 2>/dev/null || echo 0)
  if [ "$size" = 0 ] || [ $((size % $2)) != 0 ]; then
    echo "FAIL: $3: $size bytes"; failures=$((failures + 1))
  fi
}

# size_is FILE N DESCRIPTION: FILE holds exactly N bytes.
size_is() {
  checks=$((checks + 1))
  local size
  size=$(stat -c %s "$1" 2>/dev/null || echo missing)
  if [ "$size" != "$2" ]; then
    echo "FAIL: $3: $size bytes, expected $2"; failures=$((failures + 1))
  fi
}

# absent FILE DESCRIPTION: FILE does not exist.
absent() {
  checks=$((checks + 1))
  if [ -e "$1" ]; then echo "FAIL: $2: $1 exists"; failures=$((failures + 1)); fi
}

expect 0 "version" -- "$tool" --version
contains "$work/out" "Kestrune 1.1.0" "version line"
expect 2 "no arguments" -- "$tool"
contains "$work/err" "usage:" "usage message"
expect 2 "unknown subcommand" -- "$tool" frobnicate
expect 2 "version with extra argument" -- "$tool" --version extra

expect 0 "demo" -- "$tool" demo "$work/demo"
contains "$work/out" "demo finished: every service ran" "demo summary"
[ -s "$work/demo/TZ_Log.txt" ] || { echo "FAIL: demo wrote no TZ_Log.txt"; failures=$((failures + 1)); }
expect 1 "demo into a path that is a file" -- "$tool" demo "$work/out"

# Subcommand checks added by each service live in cli_*.sh beside this file.
for extra in "$(dirname "$0")"/cli_*.sh; do
  [ "$extra" = "$0" ] || [ ! -f "$extra" ] || . "$extra"
done

echo "$((checks - failures)) passed, $failures failed"
[ "$failures" = 0 ]
