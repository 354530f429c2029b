// Stream decoding: the PCM that reaches the delegate equals libspeex's own decode of the
// same frames, however the stream is framed, padded or split; and who receives it.
#include <random>

#include "speex_test_support.h"

namespace {

using namespace speex_test;
using Frames = std::vector<TZBytes>;

TZBytes framed(std::span<const TZBytes> frames, uint16_t lengthField) {
  TZBytes stream;
  for (size_t i = 0; i + 5 <= frames.size(); i += 5)
    TZSpeexFramedEncoder::appendBlock(stream, lengthField, frames.subspan(i, 5));
  return stream;
}

using SpeexStream = SpeexTest;

TEST_F(SpeexStream, PcmEqualsTheDirectDecode) {
  const Frames speech = encodeSpeech(20);
  ASSERT_EQ(speech[0].size(), 42u);  // the device's frame length
  const std::span<const TZBytes> first(speech.begin(), 10), last(speech.begin() + 10, 10);
  const TZBytes clean = framed(speech, 42);

  const TZBytes garbage = {0x00, 0xAA, 0xAA, 0xEA, 0xBD, 0x7F, 0xAC};  // near-markers included
  Frames split;
  for (size_t at = 0; at < clean.size(); at += 13)
    split.emplace_back(clean.begin() + at, clean.begin() + std::min(at + 13, clean.size()));

  Frames padded = encodeSpeech(10, 10);  // the longest constant-rate frames, padded to 128
  for (auto& frame : padded) frame.resize(128, 0);

  // The bundled sample is blocks of five 42-byte frames and nothing else.
  const TZBytes sample = readFile(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-16k.spx-framed");
  Frames sampleFrames;
  for (size_t at = 0; at + 216 <= sample.size(); at += 216)
    for (size_t i = 0; i < 5; ++i)
      sampleFrames.emplace_back(sample.begin() + at + 6 + 42 * i,
                                sample.begin() + at + 48 + 42 * i);
  ASSERT_FALSE(sample.empty());
  EXPECT_TRUE(TZSpeexFramedEncoder::frameBlocks(sampleFrames) == sample) << "sample framing";

  const struct {
    const char* name;
    Frames pieces;
    Frames frames;
  } rows[] = {
      {"clean", {clean}, speech},
      {"garbage before and between blocks",
       {concat({garbage, framed(first, 42), garbage, framed(last, 42)})},
       speech},
      {"blocks split over calls", split, speech},
      {"length field 128", {framed(padded, 128)}, padded},
      {"length fields 129 and 0xFFFF",
       {concat({framed(first, 129), framed(last, 0xFFFF)})},
       speech},
      // Empty frames make libspeex report an error: they still arrive, as silence.
      {"undecodable frames",
       {concat({framed(first, 42), framed(Frames(5), 0), framed(last, 42)})},
       concat({Frames(first.begin(), first.end()), Frames(5), Frames(last.begin(), last.end())})},
      {"bundled sample", {sample}, sampleFrames},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    collector = std::make_shared<FrameCollector>();
    decoder = TZSpeexDecoder::initWithDelegate(collector);
    for (const auto& piece : row.pieces) decoder->speexInputData(piece);
    settle(*decoder);
    EXPECT_TRUE(collector->pcm == directDecode(row.frames))
        << collector->pcm.size() / kFrameBytes << " frames differ from the direct decode of "
        << row.frames.size();
  }
  // The empty frames' decode error, logged as a warning.
  EXPECT_NE(readTextFile(path("TZ_Log.txt")).find("TZ[WARN]  speex decode error:-"),
            std::string::npos);
}

// Random frame bytes drive libspeex's wideband decoder into frames it reports as decoded
// without writing every sample. Whatever libspeex makes of them, the PCM must not depend on
// leftover memory: two decoders give the same bytes, and the valgrind run of this test
// (speex.random_frames_valgrind) finds no uninitialised value.
TEST_F(SpeexStream, RandomFrameBytesDecodeTheSameEveryTime) {
  std::mt19937 random(7);
  Frames frames(200, TZBytes(42));
  for (auto& frame : frames)
    for (auto& byte : frame) byte = static_cast<uint8_t>(random());
  const TZBytes stream = framed(frames, 42);
  TZBytes runs[2];
  for (auto& run : runs) {
    collector = std::make_shared<FrameCollector>();
    decoder = TZSpeexDecoder::initWithDelegate(collector);
    decoder->speexInputData(stream);
    settle(*decoder);
    run = collector->pcm;
  }
  EXPECT_EQ(runs[0].size(), frames.size() * kFrameBytes);
  EXPECT_TRUE(runs[0] == runs[1]);
}

TEST_F(SpeexStream, OnlyALiveDelegateReceivesFrames) {
  const TZBytes stream = TZSpeexFramedEncoder::frameBlocks(encodeSpeech(10));
  collector.reset();  // the decoder held it weakly: it is gone now
  decoder->speexInputData({stream.begin(), stream.begin() + 216});
  settle(*decoder);
  auto replacement = std::make_shared<FrameCollector>();
  decoder->setDelegate(replacement);
  decoder->speexInputData({stream.begin() + 216, stream.end()});
  settle(*decoder);
  EXPECT_EQ(replacement->pcm.size(), 5 * kFrameBytes);  // the second block only
}

TEST_F(SpeexStream, NothingIsDeliveredAfterReleaseOrDestruction) {
  const TZBytes stream = TZSpeexFramedEncoder::frameBlocks(encodeSpeech(100));
  auto dropped = TZSpeexDecoder::initWithDelegate(collector);
  for (auto* stopping : {decoder.get(), dropped.get()}) {
    stopping->speexInputData(stream);
    ASSERT_TRUE(stopping->waitUntilIdle(std::chrono::seconds(30)));  // deliveries queued
    stopping->speexInputData(stream);                                // more frames under way
  }
  decoder->speexOnRelease();
  decoder->speexInputData(stream);  // ignored once released
  dropped.reset();  // joins the worker; deliveries already posted find the decoder gone
  TZMainQueue::runPending();
  EXPECT_TRUE(collector->pcm.empty());
}

}  // namespace
