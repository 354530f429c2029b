// Shared pieces of the Speex tests: a private Documents directory, a delegate that keeps
// what it receives, streams made with libspeex's own wideband encoder and the reference
// decode they are compared with.
#pragma once

#include <gtest/gtest.h>
#include <speex/speex.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <vector>

#include "kestrune/TZMainQueue.h"
#include "kestrune/TZPlatform.h"
#include "kestrune/TZSpeexDecoder.h"
#include "speex/TZSpeexFramedEncoder.h"
#include "tests/support/test_files.h"

namespace speex_test {

constexpr size_t kFrameBytes = 640;

// Keeps every frame in arrival order. Called on the main queue, which the test thread drains.
class FrameCollector : public TZSpeexDelegate {
 public:
  void speexDecoder(TZSpeexDecoder&, const TZBytes* Data, const TZError* error) override {
    if (error != nullptr) ++errors;
    if (Data != nullptr) pcm.insert(pcm.end(), Data->begin(), Data->end());
    ++frames;
  }
  TZBytes pcm;
  size_t frames = 0;
  size_t errors = 0;
};

// Each test gets its own Documents directory, so log and default output files stay apart.
class SpeexTest : public ::testing::Test {
 protected:
  void TearDown() override { TZMainQueue::runPending(); }
  std::string path(const std::string& name) const { return documents_.file(name); }

  TempDocuments documents_;
};

// The first frames of the bundled speech, encoded at a constant rate.
inline std::vector<TZBytes> encodeSpeech(size_t frameCount, int quality = 5) {
  const TZBytes raw = readFile(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-16k.pcm");
  std::vector<int16_t> samples(raw.size() / 2);
  std::memcpy(samples.data(), raw.data(), samples.size() * 2);
  samples.resize(std::min(samples.size(), frameCount * TZSpeexFramedEncoder::kFrameSamples));
  TZSpeexFramedEncoder encoder(quality);
  return encoder.encodeFrames(samples);
}

// The same frames through libspeex's usual reading path, one fresh decoder set up alike.
inline TZBytes directDecode(std::span<const TZBytes> frames) {
  void* decoder = speex_decoder_init(speex_lib_get_mode(SPEEX_MODEID_WB));
  int on = 1;
  speex_decoder_ctl(decoder, SPEEX_SET_ENH, &on);
  speex_decoder_ctl(decoder, SPEEX_SET_HIGHPASS, &on);
  SpeexBits bits;
  speex_bits_init(&bits);
  TZBytes pcm;
  for (const auto& frame : frames) {
    speex_bits_read_from(&bits, reinterpret_cast<const char*>(frame.data()),
                         static_cast<int>(frame.size()));
    spx_int16_t samples[320] = {};
    speex_decode_int(decoder, &bits, samples);
    const auto* bytes = reinterpret_cast<const uint8_t*>(samples);
    pcm.insert(pcm.end(), bytes, bytes + sizeof samples);
  }
  speex_bits_destroy(&bits);
  speex_decoder_destroy(decoder);
  return pcm;
}

// Drains the main queue until the collector holds frameCount frames.
inline bool waitForFrames(const FrameCollector& collector, size_t frameCount) {
  return TZMainQueue::runUntil([&] { return collector.frames >= frameCount; },
                               std::chrono::seconds(30));
}

// Lets the worker finish what it was given and runs everything it posted.
inline void settle(TZSpeexDecoder& decoder) {
  ASSERT_TRUE(decoder.waitUntilIdle(std::chrono::seconds(30)));
  TZMainQueue::runPending();
}

}  // namespace speex_test
