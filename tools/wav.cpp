#include "tools/wav.h"

#include <cstring>

namespace {

uint32_t le32(const uint8_t* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
uint16_t le16(const uint8_t* p) {
  return uint16_t(p[0] | p[1] << 8);
}

void put32(std::vector<uint8_t>& out, uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) out.push_back(uint8_t(value >> shift));
}
void put16(std::vector<uint8_t>& out, uint16_t value) {
  out.push_back(uint8_t(value));
  out.push_back(uint8_t(value >> 8));
}
void putTag(std::vector<uint8_t>& out, const char* tag) {
  for (int i = 0; i < 4; ++i) out.push_back(uint8_t(tag[i]));
}

}  // namespace

bool looksLikeWav(std::span<const uint8_t> bytes) {
  return bytes.size() >= 12 && std::memcmp(bytes.data(), "RIFF", 4) == 0 &&
         std::memcmp(bytes.data() + 8, "WAVE", 4) == 0;
}

std::optional<WavInfo> parseWav(std::span<const uint8_t> bytes, std::string* why) {
  auto fail = [why](const char* text) -> std::optional<WavInfo> {
    if (why != nullptr) *why = text;
    return std::nullopt;
  };
  if (!looksLikeWav(bytes)) return fail("not a RIFF/WAVE file");
  WavInfo info;
  bool haveFormat = false;
  size_t offset = 12;
  while (bytes.size() - offset >= 8) {
    const uint8_t* chunk = bytes.data() + offset;
    const uint64_t size = le32(chunk + 4);
    const size_t body = offset + 8;
    const size_t available = bytes.size() - body;
    if (std::memcmp(chunk, "fmt ", 4) == 0) {
      if (size < 16 || available < 16) return fail("truncated fmt chunk");
      info.formatTag = le16(chunk + 8);
      info.channels = le16(chunk + 10);
      info.sampleRate = static_cast<int>(le32(chunk + 12));
      info.bitsPerSample = le16(chunk + 22);
      haveFormat = true;
    } else if (std::memcmp(chunk, "data", 4) == 0) {
      if (!haveFormat) return fail("data chunk before fmt chunk");
      info.dataOffset = body;
      info.dataSize = size < available ? static_cast<size_t>(size) : available;
      return info;
    }
    // Chunks are padded to an even length.
    const uint64_t next = uint64_t(body) + size + (size & 1);
    if (next > bytes.size()) break;
    offset = static_cast<size_t>(next);
  }
  return fail(haveFormat ? "no data chunk" : "no fmt chunk");
}

std::vector<uint8_t> makeWav(std::span<const int16_t> samples, int sampleRate, int channels) {
  constexpr uint32_t kHeader = 44;
  const auto dataSize = uint32_t(samples.size() * 2);
  const auto blockAlign = uint16_t(channels * 2);
  std::vector<uint8_t> out;
  out.reserve(kHeader + dataSize);
  putTag(out, "RIFF");
  put32(out, kHeader - 8 + dataSize);
  putTag(out, "WAVE");
  putTag(out, "fmt ");
  put32(out, 16);  // size of the PCM format chunk
  put16(out, 1);   // PCM
  put16(out, uint16_t(channels));
  put32(out, uint32_t(sampleRate));
  put32(out, uint32_t(sampleRate) * blockAlign);  // bytes per second
  put16(out, blockAlign);
  put16(out, 16);  // bits per sample
  putTag(out, "data");
  put32(out, dataSize);
  for (const int16_t sample : samples) put16(out, uint16_t(sample));
  return out;
}
