// Makes framed wideband streams as the device sends them, with libspeex's own encoder. The
// library only decodes; this is for the sample maker, the tests and the benchmark.
#pragma once

#include <speex/speex.h>

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "kestrune/TZTypes.h"
#include "speex/TZSpeexBlocks.h"

class TZSpeexFramedEncoder {
 public:
  static constexpr size_t kFrameSamples = 320;  // 20 ms at 16 kHz

  // Constant bit rate, so every frame has the same length: quality 5 gives the device's
  // 42-byte frames.
  explicit TZSpeexFramedEncoder(int quality = 5)
      : _state(speex_encoder_init(speex_lib_get_mode(SPEEX_MODEID_WB))) {
    speex_encoder_ctl(_state, SPEEX_SET_QUALITY, &quality);
    speex_bits_init(&_bits);
  }
  ~TZSpeexFramedEncoder() {
    speex_bits_destroy(&_bits);
    speex_encoder_destroy(_state);
  }
  TZSpeexFramedEncoder(const TZSpeexFramedEncoder&) = delete;
  TZSpeexFramedEncoder& operator=(const TZSpeexFramedEncoder&) = delete;

  // One frame for every whole 320 samples; a partial tail is left out.
  std::vector<TZBytes> encodeFrames(std::span<const int16_t> pcm) {
    std::vector<TZBytes> frames;
    for (size_t start = 0; start + kFrameSamples <= pcm.size(); start += kFrameSamples) {
      spx_int16_t samples[kFrameSamples];
      std::copy_n(pcm.begin() + static_cast<std::ptrdiff_t>(start), kFrameSamples, samples);
      speex_bits_reset(&_bits);
      speex_encode_int(_state, samples, &_bits);
      char packet[kTZSpeexLongestFrame * 4];
      const int length = speex_bits_write(&_bits, packet, sizeof packet);
      frames.emplace_back(packet, packet + length);
    }
    return frames;
  }

  // Frames in blocks of five, each block headed by the marker and the frames' length; a
  // tail of fewer than five frames is left out.
  static TZBytes frameBlocks(std::span<const TZBytes> frames) {
    TZBytes stream;
    for (size_t start = 0; start + kTZSpeexFramesPerBlock <= frames.size();
         start += kTZSpeexFramesPerBlock) {
      const auto block = frames.subspan(start, kTZSpeexFramesPerBlock);
      appendBlock(stream, static_cast<uint16_t>(block[0].size()), block);
    }
    return stream;
  }

  // Appends one block: marker, lengthField, then the frames back to back, written as given
  // whatever the field says.
  static void appendBlock(TZBytes& stream, uint16_t lengthField, std::span<const TZBytes> frames) {
    for (const uint8_t byte : kTZSpeexBlockMarker) stream.push_back(byte);
    stream.push_back(static_cast<uint8_t>(lengthField & 0xFF));
    stream.push_back(static_cast<uint8_t>(lengthField >> 8));
    for (const auto& frame : frames) stream.insert(stream.end(), frame.begin(), frame.end());
  }

 private:
  void* _state;
  SpeexBits _bits;
};
