#include "speex/TZSpeexBlocks.h"

#include <algorithm>

#include "kestrune/TZSpeexStream.h"

namespace {

bool startsWithMarker(const uint8_t* bytes) {
  return std::equal(kTZSpeexBlockMarker.begin(), kTZSpeexBlockMarker.end(), bytes);
}

}  // namespace

bool TZSpeexBlockCutter::append(std::span<const uint8_t> bytes, const FrameSink& onFrame) {
  _pending.insert(_pending.end(), bytes.begin(), bytes.end());
  const size_t size = _pending.size();
  if (size < kTZSpeexBlockHeaderSize) return false;

  // Every pass starts with a whole header in the buffer, so reading it never runs past the
  // end; the frames are only read once the whole block is known to be there.
  const uint8_t* data = _pending.data();
  size_t position = 0;
  do {
    if (!startsWithMarker(data + position)) {
      ++position;
      continue;
    }
    const auto lengthField = static_cast<uint16_t>(data[position + 4] | data[position + 5] << 8);
    const size_t frameLength = TZSpeexFrameLength(lengthField);
    const size_t blockEnd =
        position + kTZSpeexBlockHeaderSize + kTZSpeexFramesPerBlock * frameLength;
    if (blockEnd > size) break;
    for (size_t i = 0; i < kTZSpeexFramesPerBlock; ++i)
      onFrame({data + position + kTZSpeexBlockHeaderSize + i * frameLength, frameLength});
    position = blockEnd;
  } while (position + kTZSpeexBlockHeaderSize <= size);

  _pending.erase(_pending.begin(), _pending.begin() + static_cast<std::ptrdiff_t>(position));
  return true;
}

TZSpeexBlockWalk TZSpeexWalkBlocks(std::span<const uint8_t> stream) {
  TZSpeexBlockCutter cutter;
  TZSpeexBlockWalk walk;
  cutter.append(stream, [&walk](std::span<const uint8_t>) { ++walk.frames; });
  walk.leftOver = cutter.pending().size();
  return walk;
}
