// The device's Speex block framing: the marker AA EA BD AC, a 16-bit little-endian frame
// length, then five frames of that length.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

#include "kestrune/TZTypes.h"

inline constexpr std::array<uint8_t, 4> kTZSpeexBlockMarker = {0xAA, 0xEA, 0xBD, 0xAC};
inline constexpr size_t kTZSpeexBlockHeaderSize = 6;
inline constexpr size_t kTZSpeexFramesPerBlock = 5;
// Lengths above this are not trusted and read as the device's usual frame length.
inline constexpr size_t kTZSpeexLongestFrame = 128;
inline constexpr size_t kTZSpeexUsualFrame = 42;

// The frame length a block's length field stands for.
constexpr size_t TZSpeexFrameLength(uint16_t lengthField) {
  return lengthField > kTZSpeexLongestFrame ? kTZSpeexUsualFrame : lengthField;
}

// Holds received bytes until they form complete blocks and cuts those into frames.
class TZSpeexBlockCutter {
 public:
  using FrameSink = std::function<void(std::span<const uint8_t> frame)>;

  // Appends bytes, then hands every frame of every complete block to onFrame in stream
  // order. Bytes that do not start a block are skipped one at a time; an incomplete block is
  // kept whole for a later call. Returns false, having cut nothing, while fewer bytes are
  // held than a block header needs.
  bool append(std::span<const uint8_t> bytes, const FrameSink& onFrame);
  // Forgets every held byte.
  void reset() { _pending.clear(); }
  // The bytes held for a later call.
  const TZBytes& pending() const { return _pending; }

 private:
  TZBytes _pending;
};
