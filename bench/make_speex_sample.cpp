// Makes the bundled framed Speex sample from the bundled 16 kHz speech:
//   make_speex_sample data/speech-16k.pcm data/speech-16k.spx-framed
// libspeex's wideband encoder at quality 5 (constant rate, 42-byte frames, as the device
// sends them), five frames per block.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

#include "speex/TZSpeexFramedEncoder.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: make_speex_sample IN.pcm OUT.spx-framed\n";
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  const TZBytes raw((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (!in.is_open() || in.bad() || raw.empty()) {
    std::cerr << argv[1] << ": cannot be read\n";
    return 1;
  }
  std::vector<int16_t> samples(raw.size() / 2);
  std::memcpy(samples.data(), raw.data(), samples.size() * sizeof(int16_t));

  TZSpeexFramedEncoder encoder;
  const TZBytes stream = TZSpeexFramedEncoder::frameBlocks(encoder.encodeFrames(samples));
  std::ofstream out(argv[2], std::ios::binary);
  out.write(reinterpret_cast<const char*>(stream.data()),
            static_cast<std::streamsize>(stream.size()));
  out.close();
  if (!out) {
    std::cerr << argv[2] << ": cannot be written\n";
    return 1;
  }
  std::cout << argv[2] << ": " << stream.size() << " bytes\n";
  return 0;
}
