# Opus subcommands; sourced by cli_test.sh (uses its expect, contains, tool, work).
sample="$(dirname "$0")/../../data/speech-16k.pcm"

expect 0 "opus-encode framed" -- "$tool" opus-encode "$sample" "$work/speech.opus" --framed
expect 0 "opus-decode framed" -- "$tool" opus-decode "$work/speech.opus" "$work/speech.pcm"
# 20 ms frames of 16 kHz mono decode to 640 bytes each.
size_multiple "$work/speech.pcm" 640 "opus round trip"

expect 0 "opus-encode back to back" -- "$tool" opus-encode "$sample" "$work/plain.opus"
expect 1 "opus-encode of a missing file" -- "$tool" opus-encode "$work/missing.pcm" "$work/x.opus"
contains "$work/err" "missing.pcm" "missing input named"
[ ! -e "$work/x.opus" ] || { echo "FAIL: output left after failure"; failures=$((failures + 1)); }
expect 1 "opus-encode into an unwritable path" -- "$tool" opus-encode "$sample" "$work/no/dir/x.opus"
expect 2 "opus-encode with an Opus-incompatible rate" -- "$tool" opus-encode "$sample" "$work/x.opus" --rate 44100
expect 2 "opus-encode with an unknown option" -- "$tool" opus-encode "$sample" "$work/x.opus" --bogus
expect 2 "opus-decode without output" -- "$tool" opus-decode "$work/speech.opus"
expect 1 "opus-decode of raw PCM (not records)" -- "$tool" opus-decode "$sample" "$work/y.pcm"
