// Shared pieces of the Speex tests: a decoder and its delegate in a private Documents directory,
// streams made with libspeex's own wideband encoder and the reference decode of their frames.
#pragma once

#include <gtest/gtest.h>
#include <speex/speex.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <span>
#include <vector>

#include "kestrune/TZMainQueue.h"
#include "kestrune/TZSpeexDecoder.h"
#include "speex/TZSpeexFramedEncoder.h"
#include "tests/support/test_files.h"

namespace speex_test {

constexpr size_t kFrameBytes = 640;

// Keeps every frame in arrival order. Called on the main queue, which the test thread drains.
struct FrameCollector : TZSpeexDelegate {
  void speexDecoder(TZSpeexDecoder&, const TZBytes* Data, const TZError* error) override {
    EXPECT_EQ(error, nullptr);
    ASSERT_NE(Data, nullptr);
    EXPECT_EQ(Data->size(), kFrameBytes);
    pcm.insert(pcm.end(), Data->begin(), Data->end());
  }
  TZBytes pcm;
};

class SpeexTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(decoder, nullptr); }
  void TearDown() override {
    decoder.reset();
    TZMainQueue::runPending();
  }
  std::string path(const std::string& name) const { return documents_.file(name); }

  TempDocuments documents_;  // first, so the decoder's default output path lands in it
  std::shared_ptr<FrameCollector> collector = std::make_shared<FrameCollector>();
  std::shared_ptr<TZSpeexDecoder> decoder = TZSpeexDecoder::initWithDelegate(collector);
};

template <typename T>
T concat(std::initializer_list<T> parts) {
  T out;
  for (const auto& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

// The first frames of the bundled speech, encoded at a constant rate.
inline std::vector<TZBytes> encodeSpeech(size_t frameCount, int quality = 5) {
  const TZBytes raw = readFile(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-16k.pcm");
  std::vector<int16_t> samples(std::min(raw.size() / 2, frameCount * 320));
  std::memcpy(samples.data(), raw.data(), samples.size() * 2);
  return TZSpeexFramedEncoder(quality).encodeFrames(samples);
}

// The same frames through libspeex's usual reading path, one fresh decoder set up alike. Each
// frame's samples start zeroed: libspeex leaves them so when it reports an error.
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

// Lets the worker finish what it was given and runs everything it posted.
inline void settle(TZSpeexDecoder& decoder) {
  ASSERT_TRUE(decoder.waitUntilIdle(std::chrono::seconds(30)));
  TZMainQueue::runPending();
}

}  // namespace speex_test
