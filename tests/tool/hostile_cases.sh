#!/usr/bin/env bash
# Hostile inputs and outputs for every command of the kestrune tool, one group per CTest entry.
# Each run must end as the tool promises: exit 0 with its whole output, or one line on stderr,
# a non-zero exit and neither the output nor a temporary file left behind; never a signal, a
# hang or a half-written output presented as success. KESTRUNE_WRAP prefixes every run, e.g.
#   KESTRUNE_WRAP="valgrind --error-exitcode=99 --leak-check=full -q"
# Usage: hostile_cases.sh CASE TOOL PAD_OPUS_RECORDS SOUND_FIXTURE
. "$(dirname "$0")/cli_lib.sh"
export TMPDIR="$work/tmp"
mkdir "$TMPDIR" "$work/folder"
cd "$work" || exit 1
printf 'not a folder\n' >file.txt

kestrune() { timeout 60 ${KESTRUNE_WRAP:-} "$tool" "$@"; }

# noise N SEED: N bytes of a fixed linear congruential sequence; be32 N: N as 4 big-endian bytes.
noise() {
  local i seed=$2
  for ((i = 0; i < $1; i++)); do seed=$(((seed * 1103515245 + 12345) & 0x7fffffff)) && bytes $((seed >> 16)); done
}
be32() { bytes $(($1 >> 24)) $(($1 >> 16)) $(($1 >> 8)) "$1"; }

# check: runs the rows on stdin, "RESULT SIZE COMMAND IN OUT [OPTION...]" (# comments skipped).
# RESULT 0: exit 0, nothing on stderr and OUT of SIZE bytes (- for any size); w: the same with
# one warning line; 1 or 2: that status, one line on stderr (naming IN when it is missing),
# nothing on stdout and no OUT (a folder, a /proc file or the input stays as it was). No run
# may leave a temporary file. libspeex's own "notification:" lines about corrupt frames are
# not the tool's and not counted.
check() {
  local result size command in out options what lines
  while read -r result size command in out options; do
    [[ -z $result || $result == \#* ]] && continue
    what="$command $in $out $options"
    [[ $out == */* || $out == "$in" || -L $out || -d $out ]] || rm -f "$out" # an earlier row's
    expect "${result/w/0}" "$what" -- kestrune "$command" "$in" "$out" $options
    lines=$(grep -vc '^notification: ' "$work/err")
    case $result in
      0) [ "$lines" = 0 ] || fail "$what: $lines lines on stderr" ;;
      w) [ "$lines" = 1 ] && grep -q "warning: " "$work/err" || fail "$what: no lone warning line" ;;
      *)
        [ "$lines" = 1 ] || fail "$what: $lines lines on stderr"
        [ -s "$work/out" ] && fail "$what: output on stdout"
        [ -e "$in" ] || contains "$work/err" "$in" "$what: missing input named"
        [[ -d $out || $out == /proc/* || $out == "$in" ]] || absent "$out" "$what" ;;
    esac
    [[ $result == [0w] && $size != - ]] && size_is "$out" "$size" "$what"
    [ -z "$(ls -A "$TMPDIR")" ] || fail "$what: $(ls "$TMPDIR") left in the temporary folder"
  done
}

case_tiny_files() {
  : >empty.pcm && printf x >one.pcm && cp empty.pcm empty.wav && cp one.pcm one.wav
  check <<'EOF'
# Fewer samples than a frame encode to nothing; a byte of WTG is no frame.
0 0 pcm2wtg empty.pcm e.wtg
0 0 pcm2wtg one.pcm e.wtg
0 0 wtg2pcm empty.pcm e.pcm
1 - wtg2pcm one.pcm e.pcm
0 0 opus-encode empty.pcm e.opus
0 0 opus-encode one.pcm e.opus --framed
1 - pcm2wtg empty.wav e.wtg
1 - opus-encode one.wav e.opus
# No record or block, but one byte is an Opus packet: its table of contents, 20 ms of 16 kHz.
1 - opus-decode empty.pcm e.pcm
1 - opus-decode one.pcm e.pcm
1 - opus-decode empty.pcm e.pcm --no-header --data-size 1
0 640 opus-decode one.pcm e.pcm --no-header --data-size 1
1 - speex-decode empty.pcm e.pcm
1 - speex-decode one.pcm e.pcm
EOF
  kestrune opus-decode empty.pcm e.pcm 2>&1 | grep -q "no complete Opus record: the file is empty" ||
    fail "an empty stream named as such"
}

case_random_bytes() {
  noise 5000 7 >noise.pcm
  cp noise.pcm noise.wav
  # Random bytes are samples (31 frames of 80; as WTG 500 frames of 80 samples) but no sound
  # file, Opus record or packet, or Speex block.
  check <<'EOF'
0 310 pcm2wtg noise.pcm n.wtg
0 80000 wtg2pcm noise.pcm n.pcm
0 - opus-encode noise.pcm n.opus --framed
1 - pcm2wtg noise.wav n.wtg
1 - opus-encode noise.wav n.opus
1 - opus-decode noise.pcm n.pcm
1 - opus-decode noise.pcm n.pcm --no-header --data-size 100
1 - speex-decode noise.pcm n.pcm
EOF
}

case_opus_records() {
  kestrune opus-encode "$speech16" speech.opus --framed >/dev/null
  # 20 ms frames of 16 kHz mono decode to 640 bytes each, one per packet.
  kestrune opus-decode speech.opus speech.pcm >"$work/out"
  size_is speech.pcm $(($(sed -n 's/^opus-decode: \([0-9]*\) packets.*/\1/p' "$work/out") * 640)) "opus round trip"
  local pcm size record length lengths="0 4294967295 4294967288 2147483648 2147483647" rows=""
  pcm=$(stat -c %s speech.pcm) size=$(stat -c %s speech.opus)
  head -c $((size - 5)) speech.opus >cut.opus
  head -c 5 speech.opus >stub.opus
  { cat speech.opus; be32 3; be32 0; printf '\xff\xff\xff'; } >bad.opus
  record=$("$pad_records" speech.opus fixed.opus)
  { cat fixed.opus; head -c 13 /dev/zero; } >stray.opus
  # Record lengths of 0, -1, -8 and the 32-bit extremes, after whole records and alone.
  for length in $lengths; do
    { cat speech.opus; be32 "$length"; be32 0; printf abc; } >"after-$length.opus"
    { be32 "$length"; be32 0; printf abc; } >"alone-$length.opus"
    rows+="w $pcm opus-decode after-$length.opus p.pcm"$'\n'"1 - opus-decode alone-$length.opus p.pcm"$'\n'
  done
  check <<EOF
$rows
# A last record cut short is left out (20 ms of 16 kHz); an undecodable packet fails the file.
w $((pcm - 640)) opus-decode cut.opus p.pcm
1 - opus-decode stub.opus p.pcm
1 - opus-decode bad.opus p.pcm
0 $pcm opus-decode fixed.opus p.pcm --no-header --data-size $record
w $pcm opus-decode stray.opus p.pcm --no-header --data-size $record
1 - opus-decode stub.opus p.pcm --no-header --data-size 60
1 - opus-decode fixed.opus p.pcm --no-header --data-size 2147483647
2 - opus-decode fixed.opus p.pcm --no-header --data-size 0
2 - opus-decode fixed.opus p.pcm --no-header --data-size -1
2 - opus-encode $speech16 p.opus --frame-ms 4294967296
2 - opus-decode fixed.opus p.pcm --no-header --data-size 4294967295
EOF
  contains "$work/err" "'4294967295' is out of range" "a size past the 32-bit range"
}

case_speex_streams() {
  local marker='\xaa\xea\xbd\xac'
  head -c 1000 "$speex" >cut.spx
  { noise 100 3; cat "$speex"; } >prefixed.spx
  printf "$marker\x00\x00" >empty-frames.spx
  { printf "$marker\x2a\x00"; noise 210 4; } >garbage.spx
  { printf "$marker\xff\xff"; noise 210 5; } >long.spx
  { printf "$marker\x2a\x00"; noise 100 6; } >short.spx
  # Garbage before the blocks is skipped; a block cut short at the end is left out; complete
  # blocks of garbage (frames of 0 or 42 bytes; a length past 128 stands for 42) decode, as
  # libspeex makes of them, to 5 frames of 640 bytes.
  check <<EOF
0 $((103 * 5 * 640)) speex-decode prefixed.spx s.pcm
w $((4 * 5 * 640)) speex-decode cut.spx s.pcm
0 3200 speex-decode empty-frames.spx s.pcm
0 3200 speex-decode garbage.spx s.pcm
0 3200 speex-decode long.spx s.pcm
1 - speex-decode short.spx s.pcm
1 - speex-decode $speech16 s.pcm
EOF
}

case_sound_inputs() {
  head -c 1001 "$speech8" >odd.pcm
  cp "$speech8" raw.wav
  "$fixture" write flac 8000 1 1 1 "$speech8" whole.flac
  head -c $(($(stat -c %s whole.flac) / 2)) whole.flac >cut.flac
  "$fixture" write wav16 8000 6 1 1 "$speech8" six.wav
  # .wav headers that lie about 8000 bytes of 8 kHz speech (50 WTG frames): RESULT BYTES and
  # the header's RIFF_SIZE CHANNELS RATE BITS DATA_SIZE.
  local result bytes lie n=0 rows=""
  while read -r result bytes lie; do
    n=$((n + 1))
    { wav_header $lie; head -c 8000 "$speech8"; } >"lie$n.wav"
    rows+="$result $bytes pcm2wtg lie$n.wav l.wtg"$'\n'
  done <<'EOF'
0 500 8036 1 8000 16 4000000000
0 500 8036 1 8000 16 4294967295
0 500 0 1 8000 16 8000
0 500 4294967295 1 8000 16 8000
1 - 8036 0 8000 16 8000
1 - 8036 65535 8000 16 8000
1 - 8036 1 0 16 8000
1 - 8036 1 4294967295 16 8000
1 - 8036 1 8000 0 8000
1 - 8036 1 8000 65535 8000
EOF
  check <<EOF
$rows
0 - opus-encode lie1.wav l.opus
1 - opus-encode lie5.wav l.opus
# An odd byte is no sample; raw samples are no .wav; six channels make no stereo.
0 60 pcm2wtg odd.pcm o.wtg
0 - opus-encode odd.pcm o.opus --channels 2
1 - pcm2wtg raw.wav o.wtg
w - pcm2wtg cut.flac o.wtg
1 - opus-encode six.wav o.opus --channels 2
EOF
  # A pipe in place of a raw file (the encoders read their input by path, the WTG one twice)
  # gives what the file gives.
  local job
  for job in "pcm2wtg $speech8 wtg" "opus-encode $speech16 opus"; do
    set -- $job
    rm -f pipe.pcm && mkfifo pipe.pcm
    cat "$2" >pipe.pcm &
    expect 0 "$1 from a pipe" -- kestrune "$1" pipe.pcm "pipe.$3"
    kill $! 2>/dev/null
    kestrune "$1" "$2" "file.$3" >/dev/null
    same_file "pipe.$3" "file.$3" "$1 from a pipe and from the file"
  done
}

case_missing_inputs() {
  local command
  check < <(for command in pcm2wtg wtg2pcm opus-encode opus-decode speex-decode; do
    echo "1 - $command missing.pcm m.out"
    echo "1 - $command folder m.out"
  done; echo "1 - pcm2wtg missing.wav m.wtg")
  # One input of several missing: nothing is converted, the others' outputs are not left.
  expect 1 "pcm2wtg with one input missing" -- kestrune pcm2wtg "$speech8" missing.pcm folder/
  absent folder/speech-8k.wtg "no output of the other inputs"
}

case_bad_outputs() {
  cp "$speech8" in8.pcm && cp "$speech16" in16.pcm
  kestrune pcm2wtg in8.pcm in.wtg >/dev/null
  kestrune opus-encode in16.pcm in.opus --framed >/dev/null
  local job jobs=("pcm2wtg in8.pcm" "wtg2pcm in.wtg" "opus-encode in16.pcm" "opus-decode in.opus"
    "speex-decode $speex")
  for job in "${jobs[@]}"; do
    set -- $job
    # A missing folder, a path under a file, the input itself, a folder (pcm2wtg writes into
    # one) and a file nobody can write to (open for root, but every write fails).
    check <<EOF
1 - $1 $2 no/folder/x.out
1 - $1 $2 file.txt/x.out
1 - $1 $2 $2
$([ "$1" = pcm2wtg ] || echo "1 - $1 $2 folder")
$([ -e /proc/version ] && echo "1 - $1 $2 /proc/version")
EOF
    # Writes past a 4 KiB file size limit fail (the signal they raise is ignored).
    (trap '' XFSZ; ulimit -f 4; f=$failures; check <<<"1 - $1 $2 big.out"; [ "$failures" = "$f" ]) || fail "$1 over the size limit"
  done
  # An output that is a link: a failed run leaves it where it was.
  ln -s target.pcm link.pcm
  check <<<"1 - opus-decode file.txt link.pcm"
  [ -L link.pcm ] || fail "a failed run removed the link it wrote through"
}

run_case
