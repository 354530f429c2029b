// Shared pieces of the Opus tests: a temporary Documents directory, the bundled speech, the
// same libopus calls made directly for comparison, and delegates that record deliveries.
#pragma once

#include <gtest/gtest.h>
#include <opus.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "kestrune/TZMainQueue.h"
#include "kestrune/TZOpusDecoder.h"
#include "kestrune/TZOpusEncoder.h"
#include "opus/TZOpusFraming.h"
#include "tests/support/test_files.h"

namespace opus_test {

using namespace std::chrono_literals;

// The first bytes of the bundled 16 kHz speech.
inline TZBytes speech(size_t bytes) {
  TZBytes pcm = readFile(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-16k.pcm");
  pcm.resize(std::min(pcm.size(), bytes));
  return pcm;
}

inline std::vector<TZBytes> chunksOf(const TZBytes& pcm, size_t size) {
  std::vector<TZBytes> chunks;
  for (size_t at = 0; at + size <= pcm.size(); at += size)
    chunks.emplace_back(pcm.begin() + at, pcm.begin() + at + size);
  return chunks;
}

inline TZBytes concat(const std::vector<TZBytes>& parts) {
  TZBytes all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// One encoder fed the chunks in order, each at the start of a zeroed frame of frameSize
// samples per channel: the calls the library is expected to make. Constant bitrate at
// 16 kbit/s gives 40-byte packets of 20 ms.
inline std::vector<TZBytes> directEncode(const std::vector<TZBytes>& chunks, int rate = 16000,
                                         int channels = 1, int frameSize = 320,
                                         bool constantBitrate = false) {
  int error = 0;
  OpusEncoder* encoder = opus_encoder_create(rate, channels, OPUS_APPLICATION_VOIP, &error);
  if (constantBitrate) {
    opus_encoder_ctl(encoder, OPUS_SET_VBR(0));
    opus_encoder_ctl(encoder, OPUS_SET_BITRATE(16000));
  }
  std::vector<TZBytes> packets;
  std::vector<unsigned char> out(96000);
  for (const auto& chunk : chunks) {
    std::vector<opus_int16> frame(static_cast<size_t>(frameSize * channels), 0);
    std::memcpy(frame.data(), chunk.data(), std::min(chunk.size(), frame.size() * 2));
    const int length = opus_encode(encoder, frame.data(), frameSize, out.data(), 96000);
    packets.emplace_back(out.begin(), out.begin() + std::max(length, 0));
  }
  opus_encoder_destroy(encoder);
  return packets;
}

// 20 ms packets of the bundled speech, mono 16 kHz.
inline std::vector<TZBytes> speechPackets(size_t count, bool constantBitrate = false) {
  return directEncode(chunksOf(speech(count * 640), 640), 16000, 1, 320, constantBitrate);
}

// One decoder fed the packets in order, with the library's frame size of 96000.
inline std::vector<TZBytes> directDecode(const std::vector<TZBytes>& packets) {
  int error = 0;
  OpusDecoder* decoder = opus_decoder_create(16000, 1, &error);
  std::vector<TZBytes> pcm;
  std::vector<opus_int16> samples(96000);
  for (const auto& packet : packets) {
    const int count = opus_decode(decoder, packet.data(), static_cast<opus_int32>(packet.size()),
                                  samples.data(), 96000, 0);
    const auto* bytes = reinterpret_cast<const uint8_t*>(samples.data());
    pcm.emplace_back(bytes, bytes + std::max(count, 0) * 2);
  }
  opus_decoder_destroy(decoder);
  return pcm;
}

// Every delivery of an encoder or a decoder; calls outlives the recorder, so that a call
// made to a vanished one still shows.
struct Recorder : TZOpusEncoderDelegate, TZOpusDecoderDelegate {
  std::vector<TZBytes> data;
  std::vector<TZError> errors;
  std::shared_ptr<int> calls = std::make_shared<int>(0);
  void opusEncoder(TZOpusEncoder&, const TZBytes* D, const TZError* e) override { record(D, e); }
  void opusDecoder(TZOpusDecoder&, const TZBytes* D, const TZError* e) override { record(D, e); }
  void record(const TZBytes* Data, const TZError* error) {
    ++*calls;
    if (Data) data.push_back(*Data);
    if (error) errors.push_back(*error);
  }
};

// Lets the worker finish what is queued, then runs what it posted to the main queue.
template <class Codec>
void drain(Codec& codec) {
  ASSERT_TRUE(codec.waitUntilIdle(30s));
  TZMainQueue::runPending();
}

// Every test runs with its own empty Documents directory and leaves the main queue empty.
class OpusTest : public ::testing::Test {
 protected:
  void TearDown() override { TZMainQueue::runPending(); }
  std::string path(const std::string& name) const { return documents_.file(name); }
  // How many times the log holds text.
  size_t logged(const std::string& text) const {
    const std::string log = readTextFile(path("TZ_Log.txt"));
    size_t count = 0;
    for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) ++count;
    return count;
  }

  TempDocuments documents_;
};

}  // namespace opus_test
