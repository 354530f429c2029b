// Shared pieces of the Opus tests: a temporary Documents directory, the bundled speech, the
// same libopus calls made directly for comparison, and delegates that record deliveries.
#pragma once

#include <gtest/gtest.h>
#include <opus.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "kestrune/TZMainQueue.h"
#include "kestrune/TZOpusDecoder.h"
#include "kestrune/TZOpusEncoder.h"
#include "kestrune/TZPlatform.h"
#include "opus/TZOpusFraming.h"
#include "tests/support/test_files.h"

namespace opus_test {

using namespace std::chrono_literals;

// The first bytes of the bundled 16 kHz speech.
inline TZBytes speech(size_t bytes) {
  TZBytes pcm = readFile(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-16k.pcm");
  if (pcm.size() > bytes) pcm.resize(bytes);
  return pcm;
}

inline std::vector<TZBytes> chunksOf(const TZBytes& pcm, size_t chunkBytes) {
  std::vector<TZBytes> chunks;
  for (size_t offset = 0; offset + chunkBytes <= pcm.size(); offset += chunkBytes)
    chunks.emplace_back(pcm.begin() + static_cast<std::ptrdiff_t>(offset),
                        pcm.begin() + static_cast<std::ptrdiff_t>(offset + chunkBytes));
  return chunks;
}

inline TZBytes concat(const std::vector<TZBytes>& parts) {
  TZBytes all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// One encoder fed the chunks in order, each at the start of a zeroed frame of frameSize
// samples per channel: the calls the library is expected to make.
inline std::vector<TZBytes> directEncode(const std::vector<TZBytes>& chunks, int rate, int channels,
                                         int frameSize) {
  int error = 0;
  OpusEncoder* encoder = opus_encoder_create(rate, channels, OPUS_APPLICATION_VOIP, &error);
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

// One decoder fed the packets in order, with the library's frame size of 96000.
inline std::vector<TZBytes> directDecode(const std::vector<TZBytes>& packets, int rate,
                                         int channels) {
  int error = 0;
  OpusDecoder* decoder = opus_decoder_create(rate, channels, &error);
  std::vector<TZBytes> pcm;
  std::vector<opus_int16> samples(static_cast<size_t>(96000 * channels));
  for (const auto& packet : packets) {
    const int count = opus_decode(decoder, packet.data(), static_cast<opus_int32>(packet.size()),
                                  samples.data(), 96000, 0);
    const auto* bytes = reinterpret_cast<const uint8_t*>(samples.data());
    pcm.emplace_back(bytes, bytes + std::max(count, 0) * channels * 2);
  }
  opus_decoder_destroy(decoder);
  return pcm;
}

// Header records: 4-byte big-endian length, 4 reserved bytes, the packet.
inline TZBytes framed(const std::vector<TZBytes>& packets, uint8_t reserved = 0) {
  return TZOpusFrameRecords(packets, reserved);
}

struct EncoderRecorder : TZOpusEncoderDelegate {
  std::vector<TZBytes> packets;
  std::vector<TZError> errors;
  void opusEncoder(TZOpusEncoder&, const TZBytes* Data, const TZError* error) override {
    if (Data != nullptr) packets.push_back(*Data);
    if (error != nullptr) errors.push_back(*error);
  }
};

struct DecoderRecorder : TZOpusDecoderDelegate {
  std::vector<TZBytes> pcm;
  std::vector<TZError> errors;
  void opusDecoder(TZOpusDecoder&, const TZBytes* Data, const TZError* error) override {
    if (Data != nullptr) pcm.push_back(*Data);
    if (error != nullptr) errors.push_back(*error);
  }
};

// Lets the worker finish what is queued, then runs what it posted to the main queue.
template <class Codec>
void drain(Codec& codec) {
  ASSERT_TRUE(codec.waitUntilIdle(30s));
  TZMainQueue::runPending();
}

// Every test runs with its own empty Documents directory.
class OpusTest : public ::testing::Test {
 protected:
  void SetUp() override { TZMainQueue::runPending(); }
  void TearDown() override { TZMainQueue::runPending(); }
  std::string path(const std::string& name) const { return documents_.file(name); }
  std::string logText() const { return readTextFile(path("TZ_Log.txt")); }
  static size_t occurrences(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
      ++count;
    return count;
  }

  TempDocuments documents_;
};

}  // namespace opus_test
