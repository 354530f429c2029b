/* The Opus decoder's file job as a plain C program: records of a 4-byte big-endian length,
 * 4 reserved bytes and the packet, each decoded with opus_decode into 16 kHz mono PCM appended
 * to OUT. The reference `kestrune opus-decode` is timed against. Usage: plain_opus_decode IN OUT */
#include <opus.h>
#include <stdio.h>
#include <stdlib.h>

#include "plain_io.h"

enum { kRate = 16000, kMaxSamples = 96000 };

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  size_t length = 0;
  unsigned char* stream = plain_read_file(argv[1], &length, 0);
  if (stream == NULL) return 1;
  int error = 0;
  OpusDecoder* decoder = opus_decoder_create(kRate, 1, &error);
  FILE* out = fopen(argv[2], "wb");
  if (error != OPUS_OK || out == NULL) return 1;
  static opus_int16 pcm[kMaxSamples];
  size_t offset = 0;
  while (length - offset >= 8) {
    const size_t size = ((size_t)stream[offset] << 24) | ((size_t)stream[offset + 1] << 16) |
                        ((size_t)stream[offset + 2] << 8) | stream[offset + 3];
    if (size > length - offset - 8) break;
    const int samples =
        opus_decode(decoder, stream + offset + 8, (opus_int32)size, pcm, kMaxSamples, 0);
    if (samples > 0) fwrite(pcm, sizeof pcm[0], (size_t)samples, out);
    offset += 8 + size;
  }
  opus_decoder_destroy(decoder);
  free(stream);
  return fclose(out) == 0 ? 0 : 1;
}
