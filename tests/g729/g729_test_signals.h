// A fresh encoder state and an LP analysis entry for the LP and LSP tests.
#pragma once

#include <cstring>
#include <memory>

#include "g729/tab_ld8k.h"
#include "kestrune/g729_coder.h"

namespace g729test {

// A record initialised by g729_coder_init, on the heap (it is several kilobytes).
inline std::unique_ptr<CoderState> freshState() {
  auto state = std::make_unique<CoderState>();
  g729_coder_init(state.get(), 0);
  return state;
}

inline void analyse(CoderState& state, const Word16* window) {
  std::memcpy(state.p_window, window, 240 * sizeof(Word16));
  Forwad_linearPrediction(&state);
}

}  // namespace g729test
