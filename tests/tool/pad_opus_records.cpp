// Test fixture: turns header-framed Opus records into a stream of fixed-size packets, the
// other framing the decoder reads. Every packet is padded (opus_packet_pad, which keeps what
// it decodes to) to the length of the longest; that length is printed.
// Usage: pad_opus_records FRAMED_IN FIXED_OUT
#include <opus.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::ifstream in(argv[1], std::ios::binary);
  const std::vector<unsigned char> stream((std::istreambuf_iterator<char>(in)), {});
  std::vector<std::vector<unsigned char>> packets;
  for (size_t at = 0; at + 8 <= stream.size();) {
    const size_t length = (size_t{stream[at]} << 24) | (size_t{stream[at + 1]} << 16) |
                          (size_t{stream[at + 2]} << 8) | stream[at + 3];
    if (at + 8 + length > stream.size()) return 1;
    packets.emplace_back(stream.begin() + at + 8, stream.begin() + at + 8 + length);
    at += 8 + length;
  }
  size_t longest = 0;
  for (const auto& packet : packets) longest = std::max(longest, packet.size());
  std::ofstream out(argv[2], std::ios::binary);
  for (auto& packet : packets) {
    const auto length = static_cast<opus_int32>(packet.size());
    packet.resize(longest);
    if (opus_packet_pad(packet.data(), length, static_cast<opus_int32>(longest)) != OPUS_OK)
      return 1;
    out.write(reinterpret_cast<const char*>(packet.data()), static_cast<std::streamsize>(longest));
  }
  std::cout << longest << "\n";
  return out ? 0 : 1;
}
