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

namespace opus_test {

using namespace std::chrono_literals;

inline TZBytes readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return TZBytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::string& path, const TZBytes& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

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
  TZBytes stream;
  for (const auto& packet : packets) {
    const auto n = static_cast<uint32_t>(packet.size());
    stream.insert(stream.end(), {uint8_t(n >> 24), uint8_t(n >> 16), uint8_t(n >> 8), uint8_t(n),
                                 reserved, reserved, reserved, reserved});
    stream.insert(stream.end(), packet.begin(), packet.end());
  }
  return stream;
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
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = info->name();
    std::replace(name.begin(), name.end(), '/', '_');  // parameterised tests: "Name/0"
    documents_ = std::filesystem::temp_directory_path() /
                 ("kestrune-opus-" + std::to_string(getpid()) + "-" + name);
    std::filesystem::remove_all(documents_);
    std::filesystem::create_directories(documents_);
    TZPlatform::setDocumentsDirectory(documents_.string());
    TZMainQueue::runPending();
  }
  void TearDown() override {
    TZMainQueue::runPending();
    TZPlatform::setDocumentsDirectory("");
    std::filesystem::remove_all(documents_);
  }
  std::string path(const std::string& name) const { return (documents_ / name).string(); }
  std::string logText() const {
    const TZBytes log = readFile(path("TZ_Log.txt"));
    return std::string(log.begin(), log.end());
  }
  static size_t occurrences(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
      ++count;
    return count;
  }

  std::filesystem::path documents_;
};

}  // namespace opus_test
