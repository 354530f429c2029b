/* The Speex decoder's file job as a plain C program: blocks of the marker AA EA BD AC, a
 * little-endian 16-bit frame length (129 or more read as 42) and five frames, each decoded by
 * libspeex's wideband decoder into 320 samples appended to OUT; other bytes are skipped one at a
 * time. The reference `kestrune speex-decode` is timed against. Usage: plain_speex_decode IN OUT */
#include <speex/speex.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "plain_io.h"

enum { kFrameSamples = 320, kFramesPerBlock = 5 };

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  size_t length = 0;
  unsigned char* stream = plain_read_file(argv[1], &length, 0);
  if (stream == NULL) return 1;
  void* decoder = speex_decoder_init(speex_lib_get_mode(SPEEX_MODEID_WB));
  int option = 1;
  speex_decoder_ctl(decoder, SPEEX_SET_ENH, &option);
  speex_decoder_ctl(decoder, SPEEX_SET_HIGHPASS, &option);
  speex_decoder_ctl(decoder, SPEEX_GET_LOOKAHEAD, &option);
  FILE* out = fopen(argv[2], "wb");
  if (out == NULL) return 1;
  static const unsigned char kMarker[4] = {0xAA, 0xEA, 0xBD, 0xAC};
  SpeexBits bits;
  speex_bits_init(&bits);
  spx_int16_t pcm[kFrameSamples];
  size_t p = 0;
  while (p + 6 <= length) {
    size_t size = (size_t)stream[p + 4] | ((size_t)stream[p + 5] << 8);
    if (size >= 129) size = 42;
    if (memcmp(stream + p, kMarker, 4) != 0) {
      ++p;
      continue;
    }
    if (p + 6 + kFramesPerBlock * size > length) break;
    for (int i = 0; i < kFramesPerBlock; ++i) {
      speex_bits_read_from(&bits, (char*)stream + p + 6 + (size_t)i * size, (int)size);
      memset(pcm, 0, sizeof pcm);
      speex_decode_int(decoder, &bits, pcm);
      fwrite(pcm, sizeof pcm[0], kFrameSamples, out);
    }
    p += 6 + kFramesPerBlock * size;
  }
  speex_bits_destroy(&bits);
  speex_decoder_destroy(decoder);
  free(stream);
  return fclose(out) == 0 ? 0 : 1;
}
