# Assertions for the command-line cases: each prints what failed and counts it; the case
# fails when any did. Sourced by cli_cases.sh.
failures=0

# expect STATUS DESCRIPTION -- COMMAND...: the command exits with STATUS; its output is kept
# in $work/out and $work/err.
expect() {
  local status=$1 what=$2
  shift 3
  "$@" >"$work/out" 2>"$work/err" </dev/null
  local got=$?
  if [ "$got" != "$status" ]; then
    echo "FAIL: $what: exit $got, expected $status"; sed 's/^/  stderr: /' "$work/err" | head -5
    failures=$((failures + 1))
  fi
}

# contains FILE TEXT DESCRIPTION
contains() {
  if ! grep -qF -- "$2" "$1"; then
    echo "FAIL: $3: '$2' not in $(basename "$1")"; failures=$((failures + 1))
  fi
}

# size_is FILE N DESCRIPTION: FILE holds exactly N bytes.
size_is() {
  local size
  size=$(stat -c %s "$1" 2>/dev/null || echo missing)
  if [ "$size" != "$2" ]; then
    echo "FAIL: $3: $size bytes, expected $2"; failures=$((failures + 1))
  fi
}

# absent FILE DESCRIPTION: FILE does not exist.
absent() {
  if [ -e "$1" ]; then echo "FAIL: $2: $1 exists"; failures=$((failures + 1)); fi
}
