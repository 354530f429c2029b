// The Speex block cutting on arbitrary bytes fed in arbitrary pieces: every frame must lie
// inside the input and be at most 128 bytes long, and however the bytes are split, the
// frames and the bytes held back are those of one single call.
#include <algorithm>
#include <cstdlib>
#include <span>
#include <vector>

#include "speex/TZSpeexBlocks.h"

namespace {

struct Cut {
  std::vector<TZBytes> frames;
  TZSpeexBlockCutter cutter;
  size_t fedBytes = 0;

  void feed(std::span<const uint8_t> piece) {
    fedBytes += piece.size();
    cutter.append(piece, [this](std::span<const uint8_t> frame) {
      if (frame.size() > kTZSpeexLongestFrame) std::abort();
      frames.emplace_back(frame.begin(), frame.end());
    });
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  // The first byte chooses the piece sizes; the rest is the stream.
  const size_t step = data[0] % 32 + 1;
  const std::span<const uint8_t> stream(data + 1, size - 1);

  Cut whole;
  whole.feed(stream);
  size_t framedBytes = whole.cutter.pending().size();
  for (const auto& frame : whole.frames) framedBytes += frame.size();
  if (framedBytes > stream.size()) std::abort();

  Cut pieces;
  for (size_t at = 0; at < stream.size(); at += step)
    pieces.feed(stream.subspan(at, std::min(step, stream.size() - at)));
  if (pieces.frames != whole.frames || pieces.cutter.pending() != whole.cutter.pending())
    std::abort();
  return 0;
}
