// The decoder's frame driver: in step with the encoder's synthesis, decoded speech quality,
// the process-wide memories and the loop-back check's printout.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <regex>
#include <vector>

#include "g729_test_signals.h"
#include "kestrune/g729_bits.h"
#include "kestrune/g729_decoder.h"
#include "kestrune/g729_pitch.h"
#include "tools/segmental_snr.h"

using namespace g729test;

namespace {

using Frame = std::array<UWord16, 5>;

struct Coded {
  std::vector<Frame> frames;
  std::vector<Word16> synthesis;  // the encoder's local synthesis, 80 samples a frame
};

// The speech coded by a fresh encoder with silence flag 0, as the WTG file encoder codes it.
Coded encode(const std::vector<Word16>& speech, size_t frames) {
  auto state = freshState();
  Coded out;
  for (size_t f = 0; f < frames; ++f) {
    Frame words;
    g729coder_run(state.get(), speech.data() + 80 * f, words.data(), 0);
    out.frames.push_back(words);
    out.synthesis.insert(out.synthesis.end(), state->synth, state->synth + 80);
  }
  return out;
}

// The bit after the first delay index set to that index's parity, as the standard sends it.
Frame withParity(Frame frame) {
  Word16 prm[1 + PRM_SIZE];
  bits2prm_ld8k(frame.data(), prm);
  prm[4] = Parity_Pitch(prm[3]);
  prm2bits_ld8k(prm, frame.data());
  return frame;
}

std::unique_ptr<DecoderState> freshDecoder() {
  auto state = std::make_unique<DecoderState>();
  EXPECT_EQ(g729dec_init(state.get()), 0);
  return state;
}

// Postfiltered output and synthesis (before the postfilter) of frames through a fresh decoder.
struct Decoded {
  std::vector<Word16> output, synthesis;
};
Decoded decode(const std::vector<Frame>& frames) {
  auto state = freshDecoder();
  Decoded out;
  for (Frame frame : frames) {
    const Word16* pcm = g729_dec_run(state.get(), frame.data());
    out.output.insert(out.output.end(), pcm, pcm + 80);
    out.synthesis.insert(out.synthesis.end(), state->synth, state->synth + 80);
  }
  return out;
}

// The process-wide gain predictors hold four gains: two frames through both align them.
void alignGainPredictors(const std::vector<Word16>& speech) {
  decode(encode(speech, 2).frames);
}

TEST(Decoder, SynthesisMatchesTheEncodersWhenTheParityIsSent) {
  const auto speech = loadSpeech8k();
  alignGainPredictors(speech);
  const size_t frames = 300;
  Coded coded = encode(speech, frames);
  for (Frame& frame : coded.frames) frame = withParity(frame);
  EXPECT_EQ(decode(coded.frames).synthesis, coded.synthesis);
}

TEST(Decoder, DecodedSpeechFollowsTheInput) {
  // As the WTG file holds it (no parity: half the first delays dropped) 1.3 dB; silence is 0.
  const auto speech = loadSpeech8k();
  const auto asStored = speech_quality::bestAlignedSnr(
      speech, decode(encode(speech, speech.size() / 80).frames).output, 240);
  EXPECT_GT(asStored.db, 1.0);
  EXPECT_EQ(asStored.lag, 40u);  // the encoder's 40 samples of look-ahead
}

TEST(Decoder, DecodersShareTheProcessWideMemories) {
  const auto speech = loadSpeech8k();
  const auto frames = encode(speech, 20).frames;

  // A second decoder in between changes the first one's output: the memories are the process's.
  alignGainPredictors(speech);
  const auto alone = decode(frames).output;
  alignGainPredictors(speech);
  auto first = freshDecoder();
  auto second = freshDecoder();
  std::vector<Word16> interleaved;
  for (size_t f = 0; f < frames.size(); ++f) {
    Frame a = frames[f], b = frames[frames.size() - 1 - f];
    const Word16* pcm = g729_dec_run(first.get(), a.data());
    interleaved.insert(interleaved.end(), pcm, pcm + 80);
    g729_dec_run(second.get(), b.data());
  }
  EXPECT_NE(interleaved, alone);

  // Initialisation keeps the gain predictor: decoded again, the first frame comes out different.
  alignGainPredictors(speech);
  const auto once = decode(frames).synthesis;
  const auto again = decode(frames).synthesis;
  EXPECT_FALSE(std::equal(once.begin(), once.begin() + 80, again.begin()));
}

TEST(Decoder, TestfunPrintsTheCodedWordsAndTheDecodedFrame) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(testfun(), 0);
  const std::string printed = testing::internal::GetCapturedStdout();
  const std::regex shape(R"(\n coder_out: (\d+,){5}\n coder_out2 \n (-?\d+,){80})");
  EXPECT_TRUE(std::regex_match(printed, shape)) << printed;  // words unsigned, samples signed
}

}  // namespace

TEST(Decoder, EveryValueOfEveryFieldDecodes) {
  // Any 80 bits: every value of each field, the others random, for the sanitizer builds; the
  // gain memory left by that garbage must not stop a decoder from following speech again.
  constexpr std::array<int, PRM_SIZE> kWidths = {8, 10, 8, 1, 13, 4, 7, 5, 13, 4, 7};
  std::srand(729);
  auto state = freshDecoder();
  for (int field = 0; field < PRM_SIZE; ++field) {
    for (int value = 0; value < 1 << kWidths[field]; ++value) {
      Word16 prm[1 + PRM_SIZE];
      for (int k = 0; k < PRM_SIZE; ++k) prm[1 + k] = Word16(std::rand() % (1 << kWidths[k]));
      prm[1 + field] = Word16(value);
      Frame frame;
      prm2bits_ld8k(prm, frame.data());
      g729_dec_run(state.get(), frame.data());
    }
  }
  const auto speech = loadSpeech8k();
  std::vector<Frame> frames = encode(speech, 300).frames;
  for (Frame& frame : frames) frame = withParity(frame);
  EXPECT_GT(speech_quality::bestAlignedSnr(speech, decode(frames).output, 240).db, 2.0);
}
