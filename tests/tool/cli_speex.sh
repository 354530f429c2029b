# Speex subcommand; sourced by cli_test.sh (uses its expect, contains, tool, work).
framed="$(dirname "$0")/../../data/speech-16k.spx-framed"

expect 0 "speex-decode of the bundled sample" -- "$tool" speex-decode "$framed" "$work/speex.pcm"
# Every block holds five frames of 320 samples: 5 x 640 bytes.
size_multiple "$work/speex.pcm" 3200 "speex-decode of the bundled sample"
expect 1 "speex-decode of a missing file" -- "$tool" speex-decode "$work/missing.spx" "$work/s.pcm"
contains "$work/err" "missing.spx" "missing input named"
head -c 100 /dev/urandom >"$work/noise.bin"
expect 1 "speex-decode of bytes with no block" -- "$tool" speex-decode "$work/noise.bin" "$work/s.pcm"
absent "$work/s.pcm" "no output after a failed decode"
expect 2 "speex-decode without output" -- "$tool" speex-decode "$framed"
