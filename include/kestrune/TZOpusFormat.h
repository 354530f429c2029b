// What an Opus encoder or decoder handles and how its Opus stream is cut into packets.
//
// Stream framing read by the decoder: with hasDataHeader, each record is a 4-byte big-endian
// packet length N, 4 reserved bytes, then the N-byte Opus packet; without it, each record is
// exactly dataSize bytes of one packet (a constant-bitrate sender). The encoder writes no
// header: the sender adds it.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "kestrune/kestrune_export.h"

class KESTRUNE_API TZOpusFormat : public std::enable_shared_from_this<TZOpusFormat> {
 public:
  // 16000 Hz, 1 channel, 20 ms frames, 40-byte packets, records with a data header.
  TZOpusFormat() = default;
  // A fresh descriptor with the defaults.
  static std::shared_ptr<TZOpusFormat> defaultFormats();

  // Each property is read again by the codec objects for every chunk or packet, so a change
  // takes effect on the next one (the Opus coder keeps the rate and channel count it was
  // created with). Nothing is validated. Loads and stores are atomic so that a host may
  // change a descriptor while a worker reads it.
  bool hasDataHeader() const { return hasDataHeader_.load(std::memory_order_relaxed); }
  void setHasDataHeader(bool value) { hasDataHeader_.store(value, std::memory_order_relaxed); }
  int32_t sampleRate() const { return sampleRate_.load(std::memory_order_relaxed); }
  void setSampleRate(int32_t value) { sampleRate_.store(value, std::memory_order_relaxed); }
  int32_t channels() const { return channels_.load(std::memory_order_relaxed); }
  void setChannels(int32_t value) { channels_.store(value, std::memory_order_relaxed); }
  // Milliseconds.
  int32_t frameDuration() const { return frameDuration_.load(std::memory_order_relaxed); }
  void setFrameDuration(int32_t value) { frameDuration_.store(value, std::memory_order_relaxed); }
  // Bytes: the fixed packet length without a header, and in both framings the number of
  // buffered bytes the decoder waits for before it cuts a record.
  int32_t dataSize() const { return dataSize_.load(std::memory_order_relaxed); }
  void setDataSize(int32_t value) { dataSize_.store(value, std::memory_order_relaxed); }

  // sampleRate × frameDuration / 1000 × channels in wrapping 32-bit arithmetic (320 by
  // default). The encoder uses this one number both as a PCM chunk's length in bytes and as
  // the samples per channel it asks Opus to encode.
  int32_t frameSize() const;

 private:
  std::atomic<bool> hasDataHeader_{true};
  std::atomic<int32_t> sampleRate_{16000};
  std::atomic<int32_t> channels_{1};
  std::atomic<int32_t> frameDuration_{20};
  std::atomic<int32_t> dataSize_{40};
};
