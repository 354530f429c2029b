// What a stored framed Speex stream holds, cut as TZSpeexDecoder cuts it (see
// kestrune/TZSpeexDecoder.h for the blocks).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "kestrune/kestrune_export.h"

struct TZSpeexBlockWalk {
  size_t frames = 0;  // frames of the whole blocks, five per block
  // Bytes after the last whole block that the decoder keeps waiting for more: a block not yet
  // complete, or fewer bytes than a block header.
  size_t leftOver = 0;
};
KESTRUNE_API TZSpeexBlockWalk TZSpeexWalkBlocks(std::span<const uint8_t> stream);
