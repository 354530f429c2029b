// LSP decoder: the quantized LSPs of a frame from its two LSP indices, through the same
// two-stage codebook and switched MA predictor as the encoder's quantizer, and the repetition
// of the last good vector for a lost frame.
#include <algorithm>

#include "g729/basic_op_inline.h"
#include "g729/ld8k_lp.h"
#include "g729/tab_ld8k.h"
#include "kestrune/g729_coder.h"
#include "kestrune/g729_decoder.h"

using namespace g729ops;

extern "C" {

void Lsp_decw_reset(LspDecoderMemory* memory) {
  for (auto& row : memory->freq_prev) std::copy_n(freq_prev_reset, M, row);
  memory->prev_ma = 0;
  std::copy_n(freq_prev_reset, M, memory->prev_lsp);
}

void Lsp_iqua_cs(Word16 prm[], Word16 lsp_q[], Word16 erase, LspDecoderMemory* memory) {
  if (erase == 0) {
    // prm[0]: predictor switch (bit 7) and first stage; prm[1]: the two second-stage halves.
    const Word16 mode_index = static_cast<Word16>(shr(prm[0], NC0_B) & 1);
    const auto code0 = static_cast<Word16>(prm[0] & (NC0 - 1));
    const auto code1 = static_cast<Word16>(shr(prm[1], NC1_B) & (NC1 - 1));
    const auto code2 = static_cast<Word16>(prm[1] & (NC1 - 1));
    Lsp_get_quant(lspcb1, lspcb2, code0, code1, code2, fg[mode_index], memory->freq_prev, lsp_q,
                  fg_sum[mode_index]);
    std::copy_n(lsp_q, M, memory->prev_lsp);
    memory->prev_ma = mode_index;
    return;
  }

  // Lost frame: the last good vector again, and the predictor memory moved on as if that vector
  // had been coded with the last good predictor.
  std::copy_n(memory->prev_lsp, M, lsp_q);
  Word16 buf[M];
  Lsp_prev_extract(memory->prev_lsp, buf, fg[memory->prev_ma], memory->freq_prev,
                   fg_sum_inv[memory->prev_ma]);
  Lsp_prev_update(buf, memory->freq_prev);
}

void D_lsp(Word16 prm[], Word16 lsp_q[], Word16 erase, LspDecoderMemory* memory) {
  Word16 lsf_q[M];  // Q13 radians
  Lsp_iqua_cs(prm, lsf_q, erase, memory);
  Lsf_lsp2(lsf_q, lsp_q, M);
}

void Get_decfreq_prev(Word16 x[4][10], const LspDecoderMemory* memory) {
  for (int k = 0; k < MA_NP; ++k) std::copy_n(memory->freq_prev[k], M, x[k]);
}

void Update_decfreq_prev(const Word16 x[4][10], LspDecoderMemory* memory) {
  for (int k = 0; k < MA_NP; ++k) std::copy_n(x[k], M, memory->freq_prev[k]);
}

}  // extern "C"
