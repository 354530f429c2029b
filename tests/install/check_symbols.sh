#!/usr/bin/env bash
# The shared library exports exactly the committed interface: its own strong symbols (classes,
# routines, data) compared with exported_symbols.txt beside this script. The template code of
# the standard library that the compiler emits as weak symbols is not part of the list.
# Usage: check_symbols.sh LIBRARY
set -euo pipefail
list="$(dirname "$0")/exported_symbols.txt"
if ! diff -u "$list" <(nm -D --defined-only "$1" | awk '$2 ~ /^[TDBRG]$/ {print $3}' | LC_ALL=C sort); then
  echo "the exported symbols differ from $list (+ exported now, - missing); names:"
  diff <(LC_ALL=C sort "$list") <(nm -D --defined-only "$1" | awk '$2 ~ /^[TDBRG]$/ {print $3}' | LC_ALL=C sort) | grep '^[<>]' | c++filt
  exit 1
fi
