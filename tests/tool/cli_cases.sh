#!/usr/bin/env bash
# The kestrune tool run as a user runs it, one case per CTest entry (the functions named
# case_*; CMake registers each). Inputs are the bundled samples and bytes made here, never
# random ones. Usage: cli_cases.sh CASE TOOL PAD_OPUS_RECORDS SOUND_FIXTURE
set -u
name=$1 tool=$2 pad_records=$3 fixture=$4
here=$(cd "$(dirname "$0")" && pwd)
data="$here/../../data"
speech8="$data/speech-8k.pcm"
speech16="$data/speech-16k.pcm"
speex="$data/speech-16k.spx-framed"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export KESTRUNE_DOCUMENTS_DIR="$work/documents"
. "$here/cli_lib.sh"

# Framed Opus records of the bundled speech, and how many PCM bytes they decode to.
make_records() {
  "$tool" opus-encode "$speech16" "$work/speech.opus" --framed >/dev/null 2>&1
  "$tool" opus-decode "$work/speech.opus" "$work/speech.pcm" >/dev/null 2>&1
  pcm_bytes=$(stat -c %s "$work/speech.pcm")
}

case_version_and_help() {
  expect 0 "version" -- "$tool" --version
  contains "$work/out" "Kestrune 1.1.0" "version line"
  expect 0 "help" -- "$tool" --help
  for command in demo pcm2wtg opus-encode opus-decode speex-decode; do
    contains "$work/out" "$command" "help lists $command"
  done
  expect 0 "opus-encode help" -- "$tool" opus-encode --help
  contains "$work/out" "{8000,12000,16000,24000,48000}=16000" "--rate with its values and default"
  contains "$work/out" "[1 - 1000]=20" "--frame-ms with its range and default"
  expect 0 "demo help" -- "$tool" demo --help
  contains "$work/out" "=kestrune-demo" "demo's default folder"
}

# expect_usage_error DESCRIPTION -- COMMAND...: exit status 2 and one line on stderr.
expect_usage_error() {
  expect 2 "$@"
  if [ "$(wc -l <"$work/err")" != 1 ]; then
    echo "FAIL: $1: $(wc -l <"$work/err") lines on stderr, expected one"; failures=$((failures + 1))
  fi
}

case_bad_arguments() {
  expect_usage_error "no arguments" -- "$tool"
  expect_usage_error "unknown command" -- "$tool" frobnicate
  contains "$work/err" "unknown command frobnicate" "unknown command named"
  expect_usage_error "unknown option" -- "$tool" opus-encode "$speech16" "$work/x.opus" --bogus
  contains "$work/err" "--bogus" "unknown option named"
  expect_usage_error "missing value" -- "$tool" opus-encode "$speech16" "$work/x.opus" --rate
  expect_usage_error "not a number" -- "$tool" opus-encode "$speech16" "$work/x.opus" --rate fast
  contains "$work/err" "'fast' is not a whole number" "non-number named"
  expect_usage_error "rate Opus does not take" -- "$tool" opus-encode "$speech16" "$work/x.opus" --rate 44100
  expect_usage_error "three channels" -- "$tool" opus-decode "$speech16" "$work/x.pcm" --channels 3
  expect_usage_error "frame of 0 ms" -- "$tool" opus-encode "$speech16" "$work/x.opus" --frame-ms 0
  expect_usage_error "frame Opus cannot encode" -- "$tool" opus-encode "$speech16" "$work/x.opus" --frame-ms 7
  expect_usage_error "--no-header alone" -- "$tool" opus-decode "$speech16" "$work/x.pcm" --no-header
  expect_usage_error "--quiet and --verbose" -- "$tool" --quiet --verbose speex-decode "$speex" "$work/x.pcm"
  expect_usage_error "missing output" -- "$tool" speex-decode "$speex"
  expect_usage_error "extra argument" -- "$tool" demo "$work/a" "$work/b"
  absent "$work/x.opus" "no output after a usage error"
}

case_log_switches() {
  expect 0 "speex-decode, verbose" -- "$tool" speex-decode "$speex" "$work/s.pcm" --verbose
  contains "$work/err" "TZ[DEBUG]  [-[TZSpeexDecoder" "library lines with their method"
  expect 0 "speex-decode" -- "$tool" speex-decode "$speex" "$work/s.pcm"
  [ -s "$work/err" ] && { echo "FAIL: library lines without --verbose"; failures=$((failures + 1)); }
  expect 0 "demo, quiet" -- "$tool" --quiet demo "$work/demo"
  if grep -q "TZ\[" "$work/err"; then echo "FAIL: library lines with --quiet"; failures=$((failures + 1)); fi
  absent "$work/TZ_Log.txt" "no log file beside a command's output"
}

case_demo() {
  expect 0 "demo" -- "$tool" demo "$work/demo"
  contains "$work/out" "demo finished: every service ran" "demo summary"
  contains "$work/err" "TZ[INFO]" "the library's log lines"
  [ -s "$work/demo/TZ_Log.txt" ] || { echo "FAIL: demo wrote no TZ_Log.txt"; failures=$((failures + 1)); }
  expect 1 "demo into a path that is a file" -- "$tool" demo "$speech16"
}

case_opus_round_trip() {
  expect 0 "opus-encode framed" -- "$tool" opus-encode "$speech16" "$work/speech.opus" --framed
  expect 0 "opus-decode framed" -- "$tool" opus-decode "$work/speech.opus" "$work/speech.pcm"
  # 20 ms frames of 16 kHz mono decode to 640 bytes each, one per packet.
  local packets
  packets=$(sed -n 's/^opus-decode: \([0-9]*\) packets.*/\1/p' "$work/out")
  size_is "$work/speech.pcm" $((packets * 640)) "opus round trip"
  expect 0 "opus-encode back to back" -- "$tool" opus-encode "$speech16" "$work/plain.opus"
}

case_opus_bad_arguments_and_files() {
  expect 1 "opus-encode of a missing file" -- "$tool" opus-encode "$work/missing.pcm" "$work/x.opus"
  contains "$work/err" "missing.pcm" "missing input named"
  absent "$work/x.opus" "no output after a missing input"
  expect 1 "opus-encode into an unwritable path" -- "$tool" opus-encode "$speech16" "$work/no/dir/x.opus"
  expect 1 "opus-decode of raw PCM (not records)" -- "$tool" opus-decode "$speech16" "$work/y.pcm"
}

case_opus_decode_cut_short() {
  make_records
  local size
  size=$(stat -c %s "$work/speech.opus")
  head -c $((size - 5)) "$work/speech.opus" >"$work/cut.opus"
  expect 0 "opus-decode of a stream whose last record is cut short" -- "$tool" opus-decode "$work/cut.opus" "$work/cut.pcm"
  contains "$work/err" "warning" "cut record reported"
  size_is "$work/cut.pcm" $((pcm_bytes - 640)) "the whole records of a cut stream"
}

case_opus_decode_stray_bytes() {
  make_records
  local record_bytes
  record_bytes=$("$pad_records" "$work/speech.opus" "$work/fixed.opus")
  expect 0 "opus-decode of fixed-size records" -- "$tool" opus-decode "$work/fixed.opus" "$work/fixed.pcm" --no-header --data-size "$record_bytes"
  size_is "$work/fixed.pcm" "$pcm_bytes" "fixed-size records decoded"
  head -c 13 /dev/zero >>"$work/fixed.opus"
  expect 0 "opus-decode of fixed-size records and 13 stray bytes" -- "$tool" opus-decode "$work/fixed.opus" "$work/fixed13.pcm" --no-header --data-size "$record_bytes"
  contains "$work/err" "the last 13 bytes" "stray bytes counted"
  size_is "$work/fixed13.pcm" "$pcm_bytes" "stray bytes ignored"
}

case_opus_decode_no_whole_record() {
  make_records
  head -c 5 "$work/speech.opus" >"$work/stub.opus"
  expect 1 "opus-decode of a stream with no whole record" -- "$tool" opus-decode "$work/stub.opus" "$work/stub.pcm"
  absent "$work/stub.pcm" "no output after a stream with no whole record"
  expect 1 "opus-decode of fewer bytes than one fixed-size record" -- "$tool" opus-decode "$work/stub.opus" "$work/stub.pcm" --no-header --data-size 60
  absent "$work/stub.pcm" "no output after a short fixed-size stream"
}

case_speex_decode() {
  expect 0 "speex-decode of the bundled sample" -- "$tool" speex-decode "$speex" "$work/speex.pcm"
  # 103 blocks of five frames of 320 samples.
  size_is "$work/speex.pcm" $((103 * 5 * 640)) "speex-decode of the bundled sample"
}

case_speex_decode_failures() {
  expect 1 "speex-decode of a missing file" -- "$tool" speex-decode "$work/missing.spx" "$work/s.pcm"
  contains "$work/err" "missing.spx" "missing input named"
  # Speech samples hold no block marker.
  expect 1 "speex-decode of bytes with no block" -- "$tool" speex-decode "$speech16" "$work/s.pcm"
  absent "$work/s.pcm" "no output after a failed decode"
}

case_pcm2wtg() {
  expect 0 "pcm2wtg" -- "$tool" pcm2wtg "$speech8" "$work/a.wtg"
  # One 10-byte frame per whole 80 samples.
  size_is "$work/a.wtg" $(($(stat -c %s "$speech8") / 160 * 10)) "pcm2wtg frames"
  mkdir "$work/folder"
  cp "$speech8" "$work/b.raw"
  expect 0 "pcm2wtg of two files into a folder" -- "$tool" pcm2wtg "$speech8" "$work/b.raw" "$work/folder/"
  cmp -s "$work/a.wtg" "$work/folder/speech-8k.wtg" || { echo "FAIL: folder output differs"; failures=$((failures + 1)); }
  size_is "$work/folder/b.wtg" $(($(stat -c %s "$speech8") / 160 * 10)) "second file of the folder"
}

# make_wav RATE CHANNELS PCM OUT: a 16-bit PCM .wav file around raw samples.
make_wav() {
  local rate=$1 channels=$2 size
  size=$(stat -c %s "$3")
  le32() { printf "\\x%02x\\x%02x\\x%02x\\x%02x" $(($1 & 255)) $(($1 >> 8 & 255)) $(($1 >> 16 & 255)) $(($1 >> 24 & 255)); }
  le16() { printf "\\x%02x\\x%02x" $(($1 & 255)) $(($1 >> 8 & 255)); }
  {
    printf "RIFF$(le32 $((36 + size)))WAVEfmt $(le32 16)$(le16 1)$(le16 "$channels")"
    printf "$(le32 "$rate")$(le32 $((rate * channels * 2)))$(le16 $((channels * 2)))$(le16 16)"
    printf "data$(le32 "$size")"
    cat "$3"
  } >"$4"
}

case_pcm2wtg_wav() {
  # 16 kHz speech, as mono and as two channels, converted to 8 kHz first: about half the
  # samples, so about as many frames as the bundled 8 kHz version of the same speech.
  make_wav 16000 1 "$speech16" "$work/mono.wav"
  make_wav 16000 2 "$speech16" "$work/stereo.wav"
  expect 0 "pcm2wtg of a 16 kHz .wav" -- "$tool" pcm2wtg "$work/mono.wav" "$work/mono.wtg"
  size_is "$work/mono.wtg" $(($(stat -c %s "$speech16") / 320 * 10)) "16 kHz mono to 8 kHz frames"
  expect 0 "pcm2wtg of a two-channel .wav" -- "$tool" pcm2wtg "$work/stereo.wav" "$work/stereo.wtg"
  size_is "$work/stereo.wtg" $(($(stat -c %s "$speech16") / 640 * 10)) "16 kHz stereo to 8 kHz mono frames"
  make_wav 8000 1 "$speech8" "$work/eight.wav"
  expect 0 "pcm2wtg of an 8 kHz mono .wav" -- "$tool" pcm2wtg "$work/eight.wav" "$work/eight.wtg"
  expect 0 "pcm2wtg of the same samples raw" -- "$tool" pcm2wtg "$speech8" "$work/raw.wtg"
  cmp -s "$work/eight.wtg" "$work/raw.wtg" || { echo "FAIL: .wav and raw differ"; failures=$((failures + 1)); }
}

case_pcm2wtg_failures() {
  expect 1 "pcm2wtg of a missing file" -- "$tool" pcm2wtg "$work/missing.pcm" "$work/x.wtg"
  contains "$work/err" "missing.pcm" "missing input named"
  absent "$work/x.wtg" "no output after a missing input"
  # A missing second input: nothing is converted, the first output is not left behind.
  mkdir "$work/folder"
  expect 1 "pcm2wtg with one input missing" -- "$tool" pcm2wtg "$speech8" "$work/missing.pcm" "$work/folder/"
  absent "$work/folder/speech-8k.wtg" "no output of the other inputs"
  expect 1 "pcm2wtg into a missing folder" -- "$tool" pcm2wtg "$speech8" "$work/no/dir/x.wtg"
  expect 2 "pcm2wtg with several inputs and a file" -- "$tool" pcm2wtg "$speech8" "$speech8" "$work/x.wtg"
  expect 2 "pcm2wtg with one argument" -- "$tool" pcm2wtg "$speech8"
}

# same_file A B DESCRIPTION
same_file() {
  cmp -s "$1" "$2" || { echo "FAIL: $3: $(basename "$1") and $(basename "$2") differ"; failures=$((failures + 1)); }
}

case_pcm2wtg_sound_files() {
  # The bundled 8 kHz speech in every sample type and container that holds it exactly: each
  # must encode byte for byte like the raw samples (two equal channels average to them too).
  "$tool" pcm2wtg "$speech8" "$work/raw.wtg" >/dev/null
  for type in wav24:wav wavfloat:wav wavex:wav aiff:aiff flac:flac; do
    "$fixture" write "${type%:*}" 8000 1 1 1 "$speech8" "$work/${type%:*}.${type#*:}"
    expect 0 "pcm2wtg of ${type%:*}" -- "$tool" pcm2wtg "$work/${type%:*}.${type#*:}" "$work/${type%:*}.wtg"
    same_file "$work/${type%:*}.wtg" "$work/raw.wtg" "${type%:*} and raw"
  done
  "$fixture" write wav16 8000 2 1 1 "$speech8" "$work/stereo.wav"
  expect 0 "pcm2wtg of two equal channels" -- "$tool" pcm2wtg "$work/stereo.wav" "$work/stereo.wtg"
  same_file "$work/stereo.wtg" "$work/raw.wtg" "two equal channels and raw"
  # Ogg Vorbis is lossy: the same length, not the same bytes.
  "$fixture" write ogg 8000 1 1 1 "$speech8" "$work/speech.ogg"
  expect 0 "pcm2wtg of Ogg Vorbis" -- "$tool" pcm2wtg "$work/speech.ogg" "$work/ogg.wtg"
  size_is "$work/ogg.wtg" "$(stat -c %s "$work/raw.wtg")" "Ogg Vorbis frames"
}

case_clipping_warning() {
  "$fixture" write wavfloat 8000 1 1 1 "$speech8" "$work/float.wav"
  expect 0 "pcm2wtg of float samples within full scale" -- "$tool" pcm2wtg "$work/float.wav" "$work/float.wtg"
  [ -s "$work/err" ] && { echo "FAIL: a warning without clipping"; failures=$((failures + 1)); }
  # Four times louder: the peaks go past full scale and are held there, never wrapped.
  "$fixture" write wavfloat 8000 1 1 4 "$speech8" "$work/loud.wav"
  expect 0 "pcm2wtg of float samples past full scale" -- "$tool" pcm2wtg "$work/loud.wav" "$work/loud.wtg"
  contains "$work/err" "were clipped" "clipping reported"
  [ "$(wc -l <"$work/err")" = 1 ] || { echo "FAIL: clipping takes one line"; failures=$((failures + 1)); }
}

case_opus_sound_files() {
  # 16 kHz speech as 48 kHz stereo (each sample three times on both channels), encoded at
  # the default 16 kHz mono and decoded into files a player opens.
  "$fixture" write wav16 48000 2 3 1 "$speech16" "$work/speech-48k-stereo.wav"
  expect 0 "opus-encode of 48 kHz stereo" -- "$tool" opus-encode "$work/speech-48k-stereo.wav" "$work/speech.opus" --framed
  local packets
  packets=$(sed -n 's/^opus-encode: \([0-9]*\) packets.*/\1/p' "$work/out")
  for container in wav flac; do
    expect 0 "opus-decode into .$container" -- "$tool" opus-decode "$work/speech.opus" "$work/back.$container"
    "$fixture" read "$work/back.$container" "$work/back-$container.pcm" >"$work/info"
    contains "$work/info" "16000 1 $((packets * 320))" ".$container of 16 kHz mono, one frame per packet"
  done
  expect 0 "opus-decode into raw" -- "$tool" opus-decode "$work/speech.opus" "$work/back.raw"
  same_file "$work/back-wav.pcm" "$work/back.raw" ".wav and raw samples"
  same_file "$work/back-flac.pcm" "$work/back.raw" ".flac and raw samples"
}

case_speex_sound_files() {
  "$tool" speex-decode "$speex" "$work/speex.pcm" >/dev/null
  for container in wav flac; do
    expect 0 "speex-decode into .$container" -- "$tool" speex-decode "$speex" "$work/speex.$container"
    "$fixture" read "$work/speex.$container" "$work/back-$container.pcm" >"$work/info"
    contains "$work/info" "16000 1 $((103 * 5 * 320))" ".$container of 16 kHz mono"
    same_file "$work/back-$container.pcm" "$work/speex.pcm" ".$container and raw samples"
  done
}

case_sound_file_failures() {
  cp "$speech8" "$work/raw.wav"
  expect 1 "pcm2wtg of raw samples named .wav" -- "$tool" pcm2wtg "$work/raw.wav" "$work/x.wtg"
  contains "$work/err" "not a sound file" "unreadable sound file reported"
  absent "$work/x.wtg" "no output after an unreadable sound file"
  # A FLAC file cut in half converts as far as it decodes, with a warning.
  "$fixture" write flac 8000 1 1 1 "$speech8" "$work/whole.flac"
  head -c $(($(stat -c %s "$work/whole.flac") / 2)) "$work/whole.flac" >"$work/cut.flac"
  expect 0 "pcm2wtg of a FLAC file cut short" -- "$tool" pcm2wtg "$work/cut.flac" "$work/cut.wtg"
  contains "$work/err" "decoding stopped before the end" "cut FLAC reported"
  "$fixture" write wav16 8000 6 1 1 "$speech8" "$work/six.wav"
  expect 1 "opus-encode of six channels into stereo" -- "$tool" opus-encode "$work/six.wav" "$work/x.opus" --channels 2
  absent "$work/x.opus" "no output after a refused conversion"
}

# le_field FILE OFFSET BYTES: the unsigned little-endian number at OFFSET.
le_field() {
  od -An -tu"$3" -j"$2" -N"$3" "$1" | tr -d ' '
}

case_wtg2pcm() {
  local frames
  frames=$(($(stat -c %s "$speech8") / 160))
  "$tool" pcm2wtg "$speech8" "$work/a.wtg" >/dev/null 2>&1
  expect 0 "wtg2pcm to raw PCM" -- "$tool" wtg2pcm "$work/a.wtg" "$work/a.pcm"
  contains "$work/out" "($frames frames" "frames reported"
  # 80 samples of 16 bits per 10-byte frame.
  size_is "$work/a.pcm" $((frames * 160)) "wtg2pcm samples"
  expect 0 "wtg2pcm to .wav" -- "$tool" wtg2pcm "$work/a.wtg" "$work/a.wav"
  size_is "$work/a.wav" $((44 + frames * 160)) "44-byte header and the samples"
  [ "$(head -c 4 "$work/a.wav")" = RIFF ] && [ "$(head -c 16 "$work/a.wav" | tail -c 8)" = "WAVEfmt " ] ||
    { echo "FAIL: no RIFF/WAVE header"; failures=$((failures + 1)); }
  local field expected
  for field in "4 4 $((36 + frames * 160))" "16 4 16" "20 2 1" "22 2 1" "24 4 8000" "28 4 16000" \
    "32 2 2" "34 2 16" "40 4 $((frames * 160))"; do
    set -- $field
    expected=$3
    [ "$(le_field "$work/a.wav" "$1" "$2")" = "$expected" ] ||
      { echo "FAIL: .wav header field at $1 is not $expected"; failures=$((failures + 1)); }
  done
  cmp -s <(tail -c +45 "$work/a.wav") "$work/a.pcm" || { echo "FAIL: .wav samples differ from raw"; failures=$((failures + 1)); }
  expect 0 "wtg2pcm to .flac" -- "$tool" wtg2pcm "$work/a.wtg" "$work/a.flac"
  "$fixture" read "$work/a.flac" "$work/flac.pcm" >"$work/info"
  contains "$work/info" "8000 1 $((frames * 80))" ".flac of 8 kHz mono"
  same_file "$work/flac.pcm" "$work/a.pcm" ".flac and raw samples"
  # An empty WTG file (from fewer than 80 samples) is zero frames.
  : >"$work/empty.wtg"
  expect 0 "wtg2pcm of an empty WTG file" -- "$tool" wtg2pcm "$work/empty.wtg" "$work/empty.pcm"
  size_is "$work/empty.pcm" 0 "no samples from no frames"
}

case_wtg2pcm_refuses_truncated_and_missing() {
  "$tool" pcm2wtg "$data/speech-8k.pcm" "$work/a.wtg" >/dev/null 2>&1
  head -c $(($(stat -c %s "$work/a.wtg") - 3)) "$work/a.wtg" >"$work/cut.wtg"
  expect 1 "wtg2pcm of a WTG file cut inside a frame" -- "$tool" wtg2pcm "$work/cut.wtg" "$work/cut.pcm"
  contains "$work/err" "10-byte frames" "truncated file explained"
  [ "$(wc -l <"$work/err")" = 1 ] || { echo "FAIL: more than one line on stderr"; failures=$((failures + 1)); }
  absent "$work/cut.pcm" "no output after a truncated file"
  expect 1 "wtg2pcm of a missing file" -- "$tool" wtg2pcm "$work/missing.wtg" "$work/m.wav"
  contains "$work/err" "missing.wtg" "missing input named"
  absent "$work/m.wav" "no output after a missing input"
  expect 2 "wtg2pcm with one argument" -- "$tool" wtg2pcm "$work/a.wtg"
  expect 2 "wtg2pcm with an unknown option" -- "$tool" wtg2pcm "$work/a.wtg" "$work/b.pcm" --rate 8000
}

if ! declare -F "case_$name" >/dev/null; then
  echo "no case $name"; exit 2
fi
"case_$name"
[ "$failures" = 0 ]
