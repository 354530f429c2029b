# The harness of the command-line scripts, sourced with their arguments: CASE TOOL
# PAD_OPUS_RECORDS SOUND_FIXTURE. A script defines its case_* functions (CMake registers each)
# and ends with run_case. Each assertion prints what failed and counts it; the case fails when
# any did. Inputs are the bundled samples and bytes made by the scripts, never random ones.
set -u
name=$1 tool=$2 pad_records=$3 fixture=$4
data=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../data" && pwd)
speech8="$data/speech-8k.pcm"
speech16="$data/speech-16k.pcm"
speex="$data/speech-16k.spx-framed"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export KESTRUNE_DOCUMENTS_DIR="$work/documents"
failures=0

# The checks: each prints what failed and counts it.
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }  # MESSAGE

# expect STATUS DESCRIPTION -- COMMAND...: the command exits with STATUS; its output is kept
# in $work/out and $work/err.
expect() {
  local status=$1 what=$2
  shift 3
  "$@" >"$work/out" 2>"$work/err" </dev/null
  local got=$?
  if [ "$got" != "$status" ]; then
    fail "$what: exit $got, expected $status"; sed 's/^/  stderr: /' "$work/err" | head -5
  fi
}

contains() { grep -qF -- "$2" "$1" || fail "$3: '$2' not in $(basename "$1")"; } # FILE TEXT WHAT
absent() { [ ! -e "$1" ] || fail "$2: $1 exists"; }                             # FILE WHAT
same_file() { cmp -s "$1" "$2" || fail "$3: $(basename "$1") and $(basename "$2") differ"; } # A B WHAT
# size_is FILE N DESCRIPTION: FILE holds exactly N bytes.
size_is() {
  local size
  size=$(stat -c %s "$1" 2>/dev/null || echo missing)
  [ "$size" = "$2" ] || fail "$3: $size bytes, expected $2"
}

# bytes N...: the low byte of each N; le N WIDTH: N as WIDTH little-endian bytes.
bytes() { local n b; for n; do printf -v b '\\x%02x' $((n & 255)); printf "$b"; done; }
le() { local i; for ((i = 0; i < $2; i++)); do bytes $(($1 >> 8 * i)); done; }

# wav_header RIFF_SIZE CHANNELS RATE BITS DATA_SIZE: the 44 bytes of a PCM .wav header with
# exactly these fields, true or not (the byte rate and block size follow from them).
wav_header() {
  printf RIFF; le "$1" 4; printf 'WAVEfmt '; le 16 4; le 1 2; le "$2" 2; le "$3" 4
  le $(($3 * $2 * $4 / 8)) 4; le $(($2 * $4 / 8)) 2; le "$4" 2; printf data; le "$5" 4
}

run_case() {
  declare -F "case_$name" >/dev/null || { echo "no case $name"; exit 2; }
  "case_$name"
  [ "$failures" = 0 ]
}
