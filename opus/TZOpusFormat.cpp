#include "kestrune/TZOpusFormat.h"

namespace {

// 32-bit two's-complement product: wraps on overflow like the 32-bit hardware multiply.
int32_t wrappingMultiply(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

}  // namespace

std::shared_ptr<TZOpusFormat> TZOpusFormat::defaultFormats() {
  return std::make_shared<TZOpusFormat>();
}

int32_t TZOpusFormat::frameSize() const {
  return wrappingMultiply(wrappingMultiply(sampleRate(), frameDuration()) / 1000, channels());
}
