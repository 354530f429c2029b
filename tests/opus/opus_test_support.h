// Shared pieces of the Opus tests: the same libopus calls made directly, and recording delegates.
#pragma once

#include <gtest/gtest.h>
#include <opus.h>

#include <algorithm>
#include <chrono>

#include "kestrune/TZMainQueue.h"
#include "kestrune/TZOpusDecoder.h"
#include "kestrune/TZOpusEncoder.h"
#include "opus/TZOpusFraming.h"
#include "tests/support/test_files.h"

namespace opus_test {

using namespace std::chrono_literals;

inline TZBytes speech(size_t bytes) {  // the first bytes of the bundled 16 kHz speech
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

// The encoder's calls: application 2049 (libopus's OPUS_APPLICATION_AUDIO), each chunk at the
// start of a zeroed frame of chunk-size samples per channel.
inline std::vector<TZBytes> directEncode(const std::vector<TZBytes>& chunks, int rate = 16000,
                                         int channels = 1) {
  int error = 0;
  OpusEncoder* encoder = opus_encoder_create(rate, channels, 2049, &error);
  std::vector<TZBytes> packets;
  std::vector<unsigned char> out(96000);
  for (const auto& chunk : chunks) {
    std::vector<opus_int16> frame(chunk.size() * channels, 0);
    std::copy(chunk.begin(), chunk.end(), reinterpret_cast<uint8_t*>(frame.data()));
    const int length =
        opus_encode(encoder, frame.data(), static_cast<int>(chunk.size()), out.data(), 96000);
    packets.emplace_back(out.begin(), out.begin() + std::max(length, 0));
  }
  opus_encoder_destroy(encoder);
  return packets;
}

inline std::vector<TZBytes> speechPackets(size_t count) {  // the default encoder's 20 ms packets
  return directEncode(chunksOf(speech(count * 320), 320));
}

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

// Every delivery; calls outlives the recorder, so that a call made to a vanished one shows.
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

class OpusTest : public ::testing::Test {
 protected:
  void TearDown() override { TZMainQueue::runPending(); }
  std::string path(const std::string& name) const { return documents_.file(name); }
  size_t logged(const std::string& text) const {  // how many times the log holds text
    const std::string log = readTextFile(path("TZ_Log.txt"));
    size_t count = 0;
    for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) ++count;
    return count;
  }

  TempDocuments documents_;
  std::shared_ptr<Recorder> recorder_ = std::make_shared<Recorder>();
};

}  // namespace opus_test
