#!/usr/bin/env bash
# The kestrune tool run as a user runs it, one case per CTest entry: what each command makes of
# sound inputs. Hostile inputs and outputs are in hostile_cases.sh.
# Usage: cli_cases.sh CASE TOOL PAD_OPUS_RECORDS SOUND_FIXTURE
. "$(dirname "$0")/cli_lib.sh"

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

# usage ARGUMENT...: the tool refuses the arguments with status 2 and one line on stderr.
usage() {
  expect 2 "$*" -- "$tool" "$@"
  [ "$(wc -l <"$work/err")" = 1 ] || fail "$*: $(wc -l <"$work/err") lines on stderr, expected one"
}

case_bad_arguments() {
  cd "$work" || exit 1
  usage
  usage frobnicate; contains err "unknown command frobnicate" "unknown command named"
  usage opus-encode "$speech16" x.opus --bogus; contains err "--bogus" "unknown option named"
  usage opus-encode "$speech16" x.opus --rate
  usage opus-encode "$speech16" x.opus --rate fast
  contains err "'fast' is not a whole number" "non-number named"
  usage opus-encode "$speech16" x.opus --rate 44100
  usage opus-decode "$speech16" x.pcm --channels 3
  usage opus-encode "$speech16" x.opus --frame-ms 0
  usage opus-encode "$speech16" x.opus --frame-ms 7
  usage opus-decode "$speech16" x.pcm --no-header
  usage --quiet --verbose speex-decode "$speex" x.pcm
  usage speex-decode "$speex"
  usage demo a b
  usage pcm2wtg "$speech8" "$speech8" x.wtg
  usage wtg2pcm "$speech8" b.pcm --rate 8000
  absent x.opus "no output after a usage error"
}

case_log_switches() {
  expect 0 "speex-decode, verbose" -- "$tool" speex-decode "$speex" "$work/s.pcm" --verbose
  contains "$work/err" "TZ[DEBUG]  [-[TZSpeexDecoder" "library lines with their method"
  expect 0 "speex-decode" -- "$tool" speex-decode "$speex" "$work/s.pcm"
  [ -s "$work/err" ] && fail "library lines without --verbose"
  absent "$work/TZ_Log.txt" "no log file beside a command's output"
}

case_demo() {
  expect 0 "demo" -- "$tool" demo "$work/demo"
  contains "$work/out" "demo finished: every service ran" "demo summary"
  contains "$work/err" "TZ[INFO]" "the library's log lines"
  [ -s "$work/demo/TZ_Log.txt" ] || fail "demo wrote no TZ_Log.txt"
  expect 0 "demo, quiet" -- "$tool" --quiet demo "$work/demo"
  grep -q "TZ\[" "$work/err" && fail "library lines with --quiet"
  expect 1 "demo into a path that is a file" -- "$tool" demo "$speech16"
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
  [ -s "$work/err" ] && fail "a warning without clipping"
  # Four times louder: the peaks go past full scale and are held there, never wrapped.
  "$fixture" write wavfloat 8000 1 1 4 "$speech8" "$work/loud.wav"
  expect 0 "pcm2wtg of float samples past full scale" -- "$tool" pcm2wtg "$work/loud.wav" "$work/loud.wtg"
  contains "$work/err" "were clipped" "clipping reported"
  [ "$(wc -l <"$work/err")" = 1 ] || fail "clipping takes one line"
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
  # Speex decodes through the same writer, as 16 kHz mono.
  expect 0 "speex-decode into .wav" -- "$tool" speex-decode "$speex" "$work/speex.wav"
  "$fixture" read "$work/speex.wav" "$work/speex.pcm" | grep -q "16000 1 $((103 * 5 * 320))" ||
    fail "speex-decode into .wav of 16 kHz mono"
}

case_wtg2pcm() {
  local frames
  frames=$(($(stat -c %s "$speech8") / 160))
  "$tool" pcm2wtg "$speech8" "$work/a.wtg" >/dev/null 2>&1
  expect 0 "wtg2pcm to raw PCM" -- "$tool" wtg2pcm "$work/a.wtg" "$work/a.pcm"
  contains "$work/out" "($frames frames" "frames reported"
  size_is "$work/a.pcm" $((frames * 160)) "80 samples of 16 bits per 10-byte frame"
  expect 0 "wtg2pcm to .wav" -- "$tool" wtg2pcm "$work/a.wtg" "$work/a.wav"
  cmp -s <(head -c 44 "$work/a.wav") <(wav_header $((36 + frames * 160)) 1 8000 16 $((frames * 160))) ||
    fail ".wav header is not that of 8 kHz mono 16-bit samples"
  same_file <(tail -c +45 "$work/a.wav") "$work/a.pcm" ".wav samples and raw"
}

run_case
