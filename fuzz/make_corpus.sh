#!/usr/bin/env bash
# Writes the seed corpus of every fuzz target into OUT/<target>/: valid streams made with the
# kestrune tool from the bundled speech, and mutations of them (cut short, bits flipped, lying
# lengths, odd formats). Each seed starts with the control bytes its target reads first.
# Usage: fuzz/make_corpus.sh KESTRUNE_TOOL PAD_OPUS_RECORDS SOUND_FIXTURE OUT
set -euo pipefail
tool=$1 pad_records=$2 sound_fixture=$3 out=$4
data="$(cd "$(dirname "$0")/../data" && pwd)"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# seed TARGET NAME CONTROL_BYTES [FILE]: CONTROL_BYTES (printf escapes) then FILE's bytes.
seed() {
  mkdir -p "$out/$1"
  { printf "$3"; [ $# -lt 4 ] || cat "$4"; } >"$out/$1/$2"
}
# flip FILE OFFSET: a copy of FILE with the byte at OFFSET inverted, printed as its path.
flip() {
  local copy="$1.flip$2"
  cp "$1" "$copy"
  local byte
  byte=$(od -An -tu1 -j "$2" -N1 "$1" | tr -d ' ')
  printf "$(printf '\\%03o' $((255 - byte)))" | dd of="$copy" bs=1 seek="$2" conv=notrunc status=none
  echo "$copy"
}

# Opus: 30 header-framed records of 16 kHz mono speech, the same padded to fixed-size records,
# and 48 kHz stereo records.
head -c 19200 "$data/speech-16k.pcm" >"$work/speech16.pcm"
"$tool" --quiet opus-encode "$work/speech16.pcm" "$work/mono.opus" --framed >/dev/null
"$tool" --quiet opus-encode "$work/speech16.pcm" "$work/stereo.opus" --framed --rate 48000 --channels 2 >/dev/null
fixed=$("$pad_records" "$work/mono.opus" "$work/fixed.opus")
head -c $(($(stat -c %s "$work/mono.opus") - 5)) "$work/mono.opus" >"$work/cut.opus"
{ printf '\xff\xff\xff\xff\0\0\0\0'; cat "$work/mono.opus"; } >"$work/huge-length.opus"
{ printf '\0\0\0\0\0\0\0\0'; cat "$work/mono.opus"; } >"$work/empty-packet.opus"
fixed_lo=$(printf '\\x%02x' $((fixed & 255))) fixed_hi=$(printf '\\x%02x' $((fixed >> 8)))
# Control: byte 0 switches (bit 0 header, bits 1-3 rate, 4-5 channels, 6 swap, 7 file job),
# bytes 1-2 dataSize, byte 3 piece length - 1.
seed fuzz_opus_decoder mono '\x05\x28\x00\xff' "$work/mono.opus"
seed fuzz_opus_decoder mono-file '\x85\x28\x00\xff' "$work/mono.opus"
seed fuzz_opus_decoder mono-bytewise '\x05\x28\x00\x00' "$work/mono.opus"
seed fuzz_opus_decoder mono-swapped '\x45\x28\x00\xff' "$work/mono.opus"
seed fuzz_opus_decoder mono-44100 '\x0b\x28\x00\xff' "$work/mono.opus"
seed fuzz_opus_decoder stereo '\x19\x28\x00\xff' "$work/stereo.opus"
seed fuzz_opus_decoder fixed "\\x04$fixed_lo$fixed_hi\\xff" "$work/fixed.opus"
seed fuzz_opus_decoder fixed-file "\\x84$fixed_lo$fixed_hi\\xff" "$work/fixed.opus"
seed fuzz_opus_decoder fixed-negative '\x04\xf0\xff\xff' "$work/fixed.opus"
seed fuzz_opus_decoder cut '\x05\x28\x00\xff' "$work/cut.opus"
seed fuzz_opus_decoder huge-length '\x05\x28\x00\xff' "$work/huge-length.opus"
seed fuzz_opus_decoder empty-packet '\x05\x28\x00\xff' "$work/empty-packet.opus"
seed fuzz_opus_decoder flipped '\x05\x28\x00\xff' "$(flip "$work/mono.opus" 20)"
# Control: byte 0 switches (bit 0 header, bit 1 flip between pieces), bytes 1-4 dataSize,
# byte 5 piece length - 1.
seed fuzz_opus_framing mono '\x01\x28\0\0\0\xff' "$work/mono.opus"
seed fuzz_opus_framing fixed "\\x00$fixed_lo$fixed_hi\\0\\0\\x40" "$work/fixed.opus"
seed fuzz_opus_framing flipping '\x03\xff\xff\xff\xff\x07' "$work/cut.opus"

# Speex: the first blocks of the bundled stream, cut short, with garbage between blocks, a
# frame length of 200 (read as 42) and of 0, and flipped frame bits.
head -c 1500 "$data/speech-16k.spx-framed" >"$work/blocks.spx"
head -c 1200 "$work/blocks.spx" >"$work/cut.spx"
{ head -c 400 "$work/blocks.spx"; printf 'garbage\xaa\xea\xbd'; tail -c +401 "$work/blocks.spx"; } >"$work/garbage.spx"
{ printf '\xaa\xea\xbd\xac\xc8\x00'; head -c 300 "$work/blocks.spx" | tail -c 210; } >"$work/long.spx"
{ printf '\xaa\xea\xbd\xac\x00\x00'; cat "$work/blocks.spx"; } >"$work/zero.spx"
# Control: byte 0 bit 7 a file job, bits 0-6 piece length (x8, +1).
seed fuzz_speex_decoder blocks '\x7f' "$work/blocks.spx"
seed fuzz_speex_decoder blocks-file '\xff' "$work/blocks.spx"
seed fuzz_speex_decoder blocks-bytewise '\x00' "$work/blocks.spx"
seed fuzz_speex_decoder cut '\x7f' "$work/cut.spx"
seed fuzz_speex_decoder garbage '\x05' "$work/garbage.spx"
seed fuzz_speex_decoder long-length '\x7f' "$work/long.spx"
seed fuzz_speex_decoder zero-length '\x7f' "$work/zero.spx"
seed fuzz_speex_decoder flipped '\x7f' "$(flip "$work/blocks.spx" 30)"
seed fuzz_speex_decoder flipped-more '\x7f' "$(flip "$(flip "$work/blocks.spx" 100)" 520)"
# Control: byte 0 the piece length.
seed fuzz_speex_blocks blocks '\x1f' "$work/blocks.spx"
seed fuzz_speex_blocks garbage '\x02' "$work/garbage.spx"
seed fuzz_speex_blocks long-length '\x00' "$work/long.spx"

# WTG: 50 frames of coded speech, silence patterns and flipped bits; no control bytes.
head -c 8000 "$data/speech-8k.pcm" >"$work/speech8.pcm"
"$tool" --quiet pcm2wtg "$work/speech8.pcm" "$work/speech.wtg" >/dev/null
head -c 100 /dev/zero >"$work/zeros.wtg"
head -c 100 /dev/zero | tr '\0' '\377' >"$work/ones.wtg"
for target in fuzz_wtg_decoder fuzz_wtg_frame; do
  seed "$target" speech '' "$work/speech.wtg"
  seed "$target" zeros '' "$work/zeros.wtg"
  seed "$target" ones '' "$work/ones.wtg"
  seed "$target" flipped '' "$(flip "$(flip "$work/speech.wtg" 3)" 207)"
done

# Sound files: 0.1 s of speech in every container the input reads, at 16 kHz, then a WAV whose
# data chunk claims more than it holds, one with a zero channel count and a cut FLAC.
head -c 3200 "$data/speech-16k.pcm" >"$work/short16.pcm"
for type in wav16 wav24 wavfloat wavex aiff flac ogg; do
  "$sound_fixture" write "$type" 16000 1 1 1 "$work/short16.pcm" "$work/sound.$type"
done
"$sound_fixture" write wav16 44100 2 1 1 "$work/short16.pcm" "$work/stereo.wav"
cp "$work/sound.wav16" "$work/lying-size.wav"
printf '\xff\xff\xff\x7f' | dd of="$work/lying-size.wav" bs=1 seek=40 conv=notrunc status=none
cp "$work/sound.wav16" "$work/no-channels.wav"
printf '\0\0' | dd of="$work/no-channels.wav" bs=1 seek=22 conv=notrunc status=none
head -c 1000 "$work/sound.flac" >"$work/cut.flac"
# Control: byte 0 the target format (0 8 kHz mono, 1 16 kHz mono, 2 48 kHz stereo, 3 12 kHz stereo).
control=0
for name in wav16 wav24 wavfloat wavex aiff flac ogg; do
  seed fuzz_sound_input "$name" "\\x0$control" "$work/sound.$name"
  control=$(((control + 1) % 4))
done
seed fuzz_sound_input stereo-44100 '\x00' "$work/stereo.wav"
seed fuzz_sound_input lying-size '\x02' "$work/lying-size.wav"
seed fuzz_sound_input no-channels '\x00' "$work/no-channels.wav"
seed fuzz_sound_input cut-flac '\x01' "$work/cut.flac"
