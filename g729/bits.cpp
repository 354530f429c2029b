// Dense packing of the eleven parameters of a frame into five 16-bit words.
//
// The 80 bits form one string, parameter after parameter in bitsno order, each least
// significant bit first; string bit n is bit n % 16 of word n / 16. Fields that straddle a
// word boundary are split below.
#include "kestrune/g729_bits.h"

namespace {

// The parameter's low `width` bits, as an unsigned value.
inline uint32_t field(Word16 value, int width) {
  return static_cast<uint16_t>(value) & ((1u << width) - 1u);
}

}  // namespace

extern "C" {

void prm2bits_ld8k(Word16 prm[], UWord16 bits[]) {
  const uint32_t lsp1 = field(prm[1], 8);
  const uint32_t lsp2 = field(prm[2], 10);
  const uint32_t pitch1 = field(prm[3], 8);
  const uint32_t parity = field(prm[4], 1);
  const uint32_t code1 = field(prm[5], 13);
  const uint32_t sign1 = field(prm[6], 4);
  const uint32_t gain1 = field(prm[7], 7);
  const uint32_t pitch2 = field(prm[8], 5);
  const uint32_t code2 = field(prm[9], 13);
  const uint32_t sign2 = field(prm[10], 4);
  const uint32_t gain2 = field(prm[11], 7);

  bits[0] = static_cast<UWord16>(lsp1 | (lsp2 & 0xff) << 8);
  bits[1] = static_cast<UWord16>(lsp2 >> 8 | pitch1 << 2 | parity << 10 | (code1 & 0x1f) << 11);
  bits[2] = static_cast<UWord16>(code1 >> 5 | sign1 << 8 | (gain1 & 0xf) << 12);
  bits[3] = static_cast<UWord16>(gain1 >> 4 | pitch2 << 3 | (code2 & 0xff) << 8);
  bits[4] = static_cast<UWord16>(code2 >> 8 | sign2 << 5 | gain2 << 9);
}

void bits2prm_ld8k(UWord16 bits[], Word16 prm[]) {
  const uint32_t w0 = bits[0], w1 = bits[1], w2 = bits[2], w3 = bits[3], w4 = bits[4];
  prm[1] = static_cast<Word16>(w0 & 0xff);
  prm[2] = static_cast<Word16>(w0 >> 8 | (w1 & 0x3) << 8);
  prm[3] = static_cast<Word16>((w1 >> 2) & 0xff);
  prm[4] = static_cast<Word16>((w1 >> 10) & 0x1);
  prm[5] = static_cast<Word16>(w1 >> 11 | (w2 & 0xff) << 5);
  prm[6] = static_cast<Word16>((w2 >> 8) & 0xf);
  prm[7] = static_cast<Word16>(w2 >> 12 | (w3 & 0x7) << 4);
  prm[8] = static_cast<Word16>((w3 >> 3) & 0x1f);
  prm[9] = static_cast<Word16>(w3 >> 8 | (w4 & 0x1f) << 8);
  prm[10] = static_cast<Word16>((w4 >> 5) & 0xf);
  prm[11] = static_cast<Word16>(w4 >> 9);
}

}  // extern "C"
