// Cutting the framed stream into frames, without the decoder around it.
#include <gtest/gtest.h>

#include <vector>

#include "speex/TZSpeexBlocks.h"
#include "speex/TZSpeexFramedEncoder.h"

namespace {

using Frames = std::vector<TZBytes>;

TZBytes bytes(std::initializer_list<int> values) {
  return TZBytes(values.begin(), values.end());
}

Frames patternFrames(size_t length) {
  Frames frames;
  for (size_t i = 0; i < kTZSpeexFramesPerBlock; ++i)
    frames.emplace_back(length, uint8_t(0x10 + i));
  return frames;
}

TZBytes block(uint16_t lengthField, const Frames& frames) {
  TZBytes stream;
  TZSpeexFramedEncoder::appendBlock(stream, lengthField, frames);
  return stream;
}

TZBytes concat(std::initializer_list<TZBytes> parts) {
  TZBytes out;
  for (const auto& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

// Feeds the pieces in turn and collects every frame handed out.
struct Feeder {
  Frames frames;
  TZSpeexBlockCutter cutter;
  bool feed(const TZBytes& piece) {
    return cutter.append(
        piece, [this](std::span<const uint8_t> f) { frames.emplace_back(f.begin(), f.end()); });
  }
};

TEST(SpeexBlocks, HeaderIsReadOnlyOnceSixBytesAreHeld) {
  const TZBytes stream = block(3, patternFrames(3));
  Feeder feeder;
  EXPECT_FALSE(feeder.feed({stream.begin(), stream.begin() + 5}));
  EXPECT_EQ(feeder.cutter.pending().size(), 5u);
  EXPECT_TRUE(feeder.feed({stream.begin() + 5, stream.begin() + 6}));
  EXPECT_TRUE(feeder.frames.empty());
  EXPECT_EQ(feeder.cutter.pending().size(), 6u);  // the marker waits for its frames
  feeder.feed({stream.begin() + 6, stream.end()});
  EXPECT_EQ(feeder.frames, patternFrames(3));
  EXPECT_TRUE(feeder.cutter.pending().empty());
}

TEST(SpeexBlocks, LengthFieldsAboveOneHundredTwentyEightMeanFortyTwo) {
  for (const uint16_t field : {uint16_t{129}, uint16_t{0x1234}, uint16_t{0xFFFF}}) {
    Feeder feeder;
    feeder.feed(concat({block(field, patternFrames(42)), block(2, patternFrames(2))}));
    Frames expected = patternFrames(42);
    for (auto& frame : patternFrames(2)) expected.push_back(frame);
    EXPECT_EQ(feeder.frames, expected) << "field " << field;
    EXPECT_TRUE(feeder.cutter.pending().empty());
  }
  Feeder longest;
  longest.feed(concat({block(128, patternFrames(128)), block(0, {})}));
  Frames expected = patternFrames(128);
  expected.insert(expected.end(), kTZSpeexFramesPerBlock, TZBytes{});
  EXPECT_EQ(longest.frames, expected);
}

TEST(SpeexBlocks, GarbageIsSkippedByteByByteAndTailsAreKept) {
  // Near-markers overlap the real one, so only a one-byte step finds it.
  const TZBytes garbage = bytes({0xAA, 0xAA, 0xEA, 0xBD, 0xAA, 0xEA, 0xBD});
  const TZBytes tail = bytes({0xAA, 0xEA, 0xBD, 0xAC, 4});
  Feeder feeder;
  feeder.feed(
      concat({garbage, block(4, patternFrames(4)), garbage, block(1, patternFrames(1)), tail}));
  Frames expected = patternFrames(4);
  for (auto& frame : patternFrames(1)) expected.push_back(frame);
  EXPECT_EQ(feeder.frames, expected);
  EXPECT_EQ(feeder.cutter.pending(), tail);
}

TEST(SpeexBlocks, IncompleteBlockIsKeptWholeAndExactEndIsTaken) {
  const TZBytes full = block(8, patternFrames(8));
  Feeder feeder;
  feeder.feed(concat({bytes({1, 2, 3}), TZBytes(full.begin(), full.end() - 1)}));
  EXPECT_TRUE(feeder.frames.empty());
  EXPECT_EQ(feeder.cutter.pending(), TZBytes(full.begin(), full.end() - 1));
  feeder.feed({full.back()});
  EXPECT_EQ(feeder.frames, patternFrames(8));
  EXPECT_TRUE(feeder.cutter.pending().empty());
}

TEST(SpeexBlocks, AnySplitGivesTheFramesOfOneCall) {
  const TZBytes stream =
      concat({bytes({0xAC, 0xAA, 0xEA}), block(5, patternFrames(5)), bytes({0xAA, 0xEA, 0xBD}),
              block(300, patternFrames(42)), block(0, {}), bytes({0xAA, 0xEA})});
  Feeder whole;
  whole.feed(stream);
  for (size_t first = 0; first <= stream.size(); ++first) {
    for (size_t second = first; second <= stream.size(); second += 7) {
      Feeder split;
      split.feed({stream.begin(), stream.begin() + first});
      split.feed({stream.begin() + first, stream.begin() + second});
      split.feed({stream.begin() + second, stream.end()});
      ASSERT_EQ(split.frames, whole.frames) << first << "/" << second;
      ASSERT_EQ(split.cutter.pending(), whole.cutter.pending()) << first << "/" << second;
    }
  }
}

}  // namespace
