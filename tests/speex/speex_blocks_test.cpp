// Cutting the framed stream into frames, without the decoder around it.
#include "kestrune/TZSpeexStream.h"
#include "speex/TZSpeexBlocks.h"
#include "speex_test_support.h"

namespace {

using speex_test::concat;
using Frames = std::vector<TZBytes>;

// Five frames of the given length, each filled with its own byte.
Frames patternFrames(size_t length) {
  Frames frames;
  for (size_t i = 0; i < kTZSpeexFramesPerBlock; ++i)
    frames.emplace_back(length, uint8_t(0x10 + i));
  return frames;
}

TZBytes block(uint16_t lengthField, size_t frameLength) {
  TZBytes stream;
  TZSpeexFramedEncoder::appendBlock(stream, lengthField, patternFrames(frameLength));
  return stream;
}

// Feeds the pieces in turn: every frame handed out, then the bytes left held.
std::pair<Frames, TZBytes> cut(std::initializer_list<std::span<const uint8_t>> pieces) {
  std::pair<Frames, TZBytes> out;
  TZSpeexBlockCutter cutter;
  for (const auto piece : pieces)
    cutter.append(piece, [&](auto frame) { out.first.emplace_back(frame.begin(), frame.end()); });
  out.second = cutter.pending();
  return out;
}

TEST(SpeexBlocks, FramesAndHeldBytesHoweverTheStreamIsSplit) {
  // Near-markers overlap the real one, so only a one-byte step finds the block after them.
  const TZBytes garbage = {0xAA, 0xAA, 0xEA, 0xBD, 0xAA, 0xEA, 0xBD};
  TZBytes incomplete = block(8, 8);
  incomplete.pop_back();  // held whole until its last byte comes
  // Fields above 128 mean 42, 128 is used as is and 0 gives empty frames. Short fields only
  // read right as little-endian.
  const TZBytes stream = concat({garbage, block(129, 42), block(0xFFFF, 42), garbage, block(2, 2),
                                 block(128, 128), block(0, 0), garbage, incomplete});
  const auto expected = std::pair(concat({patternFrames(42), patternFrames(42), patternFrames(2),
                                          patternFrames(128), Frames(5)}),
                                  incomplete);
  ASSERT_EQ(cut({stream}), expected);
  // Walked as a stored stream: as many frames, the incomplete block left over.
  const TZSpeexBlockWalk walk = TZSpeexWalkBlocks(stream);
  EXPECT_EQ(walk.frames, expected.first.size());
  EXPECT_EQ(walk.leftOver, incomplete.size());
  const std::span<const uint8_t> all(stream);
  for (size_t at = 0; at <= all.size(); ++at) {
    // The middle piece is shorter than a header, so headers also span three calls.
    const size_t next = std::min(at + 5, all.size());
    ASSERT_EQ(cut({all.first(at), all.subspan(at, next - at), all.subspan(next)}), expected)
        << "split at " << at;
  }
}

}  // namespace
