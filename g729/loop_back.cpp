// Loop-back check of the speech codec: one test frame through a fresh encoder and a fresh
// decoder, both printed.
#include <cstdio>

#include "kestrune/g729_coder.h"
#include "kestrune/g729_decoder.h"

extern "C" {

int testfun(void) {
  // A triangle: up from 400 to 16000 in steps of 400, then down from 15600 to 0.
  Word16 frame[80];
  for (int i = 0; i < 40; ++i) frame[i] = static_cast<Word16>(400 * (i + 1));
  for (int i = 40; i < 80; ++i) frame[i] = static_cast<Word16>(15600 - 400 * (i - 40));

  CoderState encoder;
  DecoderState decoder;
  g729_coder_init(&encoder, 1);
  g729dec_init(&decoder);

  UWord16 words[5];
  g729coder_run(&encoder, frame, words, 0);
  std::printf("\n coder_out: ");
  for (const UWord16 word : words) std::printf("%d,", word);

  std::printf("\n coder_out2 \n ");
  const Word16* decoded = g729_dec_run(&decoder, words);
  for (int i = 0; i < 80; ++i) std::printf("%d,", decoded[i]);
  return 0;
}

}  // extern "C"
