// Encode PCM with a stream encoder and receive the packets through a delegate on the main
// queue. Built and run by the test suite, so this example stays true.
#include <kestrune/kestrune.h>

#include <cstdio>
#include <vector>

struct PacketCounter : TZOpusEncoderDelegate {
  size_t packets = 0;
  void opusEncoder(TZOpusEncoder&, const TZBytes* data, const TZError* error) override {
    if (data != nullptr) ++packets;
    if (error != nullptr) std::fprintf(stderr, "%s\n", error->domain.c_str());
  }
};

int main() {
  TZLogManager::setLog(true, false, 2);  // keep the life-cycle lines quiet

  auto delegate = std::make_shared<PacketCounter>();
  auto encoder = TZOpusEncoder::initFormat(TZOpusFormat::defaultFormats(), {});
  if (!encoder) return 1;
  encoder->setDelegate(delegate);  // the delegate is held weakly

  std::vector<uint8_t> pcm(320, 0);  // one chunk: frameSize (320) bytes of 16 kHz mono PCM
  encoder->opusEncodeData(pcm);

  // This thread plays the application's main thread: run deliveries until the packet is in.
  TZMainQueue::runUntil([&] { return delegate->packets > 0; }, std::chrono::seconds(10));
  std::printf("received %zu packet(s)\n", delegate->packets);
  encoder->opusOnRelease();
  return delegate->packets == 1 ? 0 : 1;
}
