# Opus subcommands; sourced by cli_test.sh (uses its expect, contains, tool, work).
sample="$(dirname "$0")/../../data/speech-16k.pcm"

expect 0 "opus-encode framed" -- "$tool" opus-encode "$sample" "$work/speech.opus" --framed
expect 0 "opus-decode framed" -- "$tool" opus-decode "$work/speech.opus" "$work/speech.pcm"
# 20 ms frames of 16 kHz mono decode to 640 bytes each.
size_multiple "$work/speech.pcm" 640 "opus round trip"

expect 0 "opus-encode back to back" -- "$tool" opus-encode "$sample" "$work/plain.opus"
expect 1 "opus-encode of a missing file" -- "$tool" opus-encode "$work/missing.pcm" "$work/x.opus"
contains "$work/err" "missing.pcm" "missing input named"
absent "$work/x.opus" "no output after a missing input"
expect 1 "opus-encode into an unwritable path" -- "$tool" opus-encode "$sample" "$work/no/dir/x.opus"
expect 2 "opus-encode with an Opus-incompatible rate" -- "$tool" opus-encode "$sample" "$work/x.opus" --rate 44100
expect 2 "opus-encode with an unknown option" -- "$tool" opus-encode "$sample" "$work/x.opus" --bogus
expect 2 "opus-decode without output" -- "$tool" opus-decode "$work/speech.opus"
expect 1 "opus-decode of raw PCM (not records)" -- "$tool" opus-decode "$sample" "$work/y.pcm"

# A recording cut short decodes up to its last whole record, warns and succeeds.
records=$(stat -c %s "$work/speech.pcm"); records=$((records / 640))
size=$(stat -c %s "$work/speech.opus")
head -c $((size - 5)) "$work/speech.opus" >"$work/cut.opus"
expect 0 "opus-decode of a stream whose last record is cut short" -- "$tool" opus-decode "$work/cut.opus" "$work/cut.pcm"
contains "$work/err" "warning" "cut record reported"
size_is "$work/cut.pcm" $(((records - 1) * 640)) "the whole records of a cut stream"

record_bytes=$("$pad_records" "$work/speech.opus" "$work/fixed.opus")
expect 0 "opus-decode of fixed-size records" -- "$tool" opus-decode "$work/fixed.opus" "$work/fixed.pcm" --no-header --data-size "$record_bytes"
size_is "$work/fixed.pcm" $((records * 640)) "fixed-size records decoded"
head -c 13 /dev/zero >>"$work/fixed.opus"
expect 0 "opus-decode of fixed-size records and 13 stray bytes" -- "$tool" opus-decode "$work/fixed.opus" "$work/fixed13.pcm" --no-header --data-size "$record_bytes"
contains "$work/err" "the last 13 bytes" "stray bytes counted"
size_is "$work/fixed13.pcm" $((records * 640)) "stray bytes ignored"

head -c 5 "$work/speech.opus" >"$work/stub.opus"
expect 1 "opus-decode of a stream with no whole record" -- "$tool" opus-decode "$work/stub.opus" "$work/stub.pcm"
absent "$work/stub.pcm" "no output after a stream with no whole record"
expect 1 "opus-decode of fewer bytes than one fixed-size record" -- "$tool" opus-decode "$work/stub.opus" "$work/stub.pcm" --no-header --data-size 60
absent "$work/stub.pcm" "no output after a short fixed-size stream"
