/* The peer of `kestrune pcm2wtg`: bcg729's G.729 Annex A encoder (Debian libbcg729-dev) on the
 * same 8 kHz mono PCM, as a plain C program: one 10-byte frame per whole 80 samples appended to
 * OUT. Usage: plain_bcg729_encode IN OUT */
#include <bcg729/encoder.h>
#include <stdio.h>
#include <stdlib.h>

#include "plain_io.h"

enum { kFrameSamples = 80 };

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  size_t length = 0;
  unsigned char* pcm = plain_read_file(argv[1], &length, 0);
  if (pcm == NULL) return 1;
  bcg729EncoderChannelContextStruct* encoder = initBcg729EncoderChannel(0);
  FILE* out = fopen(argv[2], "wb");
  if (encoder == NULL || out == NULL) return 1;
  const int16_t* samples = (const int16_t*)pcm;
  uint8_t frame[10];
  uint8_t frameLength = 0;
  for (size_t at = 0; at + kFrameSamples <= length / 2; at += kFrameSamples) {
    bcg729Encoder(encoder, samples + at, frame, &frameLength);
    fwrite(frame, 1, frameLength, out);
  }
  closeBcg729EncoderChannel(encoder);
  free(pcm);
  return fclose(out) == 0 ? 0 : 1;
}
