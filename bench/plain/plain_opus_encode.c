/* The Opus encoder's file job as a plain C program: the same libopus calls on the same data,
 * writing the same file (packets back to back). The reference `kestrune opus-encode` is timed
 * against. Usage: plain_opus_encode IN OUT (16 kHz mono s16le, 20 ms format: 320-byte chunks,
 * each at the start of a zeroed 320-sample frame). */
#include <opus.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "plain_io.h"

enum { kRate = 16000, kFrameSize = 320, kMaxPacket = 96000 };

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  size_t length = 0;
  unsigned char* pcm = plain_read_file(argv[1], &length, kFrameSize);
  if (pcm == NULL) return 1;
  /* The file job pads by the remainder itself (not up to a whole chunk). */
  const size_t padded = length + length % kFrameSize;
  memset(pcm + length, 0, padded - length);

  int error = 0;
  OpusEncoder* encoder = opus_encoder_create(kRate, 1, 2049, &error);
  FILE* out = fopen(argv[2], "wb");
  if (error != OPUS_OK || out == NULL) return 1;
  opus_int16 frame[kFrameSize];
  unsigned char packet[kMaxPacket];
  for (size_t offset = 0; offset + kFrameSize <= padded; offset += kFrameSize) {
    memset(frame, 0, sizeof frame);
    memcpy(frame, pcm + offset, kFrameSize);
    const int bytes = opus_encode(encoder, frame, kFrameSize, packet, kMaxPacket);
    if (bytes > 0) fwrite(packet, 1, (size_t)bytes, out);
  }
  opus_encoder_destroy(encoder);
  free(pcm);
  return fclose(out) == 0 ? 0 : 1;
}
