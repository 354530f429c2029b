// Quality of the speech codec on the bundled 8 kHz speech: segmental SNR of the decoded speech
// against the input, at the lag that aligns them best, for
//   1. our file encoder (wtg_encode_fun) and our decoder, on the frames as the WTG file holds
//      them (the silence flag in the parity bit's place, so the decoder distrusts the first
//      delay of about half the frames);
//   2. the same frames with that bit set to the first delay's parity before decoding, which
//      isolates the cost of the silence flag;
//   3. bcg729's encoder and decoder on the same input.
// Figures 2 and 3 measure the same standard's coding; they should lie within 1 dB.
extern "C" {
#include <bcg729/decoder.h>
#include <bcg729/encoder.h>
}

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "kestrune/g729_bits.h"
#include "kestrune/g729_decoder.h"
#include "kestrune/g729_pitch.h"
#include "kestrune/wtg_encode.h"
#include "tools/segmental_snr.h"

namespace {

constexpr size_t kFrame = 80;
constexpr size_t kMaxLag = 240;

using Samples = std::vector<int16_t>;
using Frame = std::array<UWord16, SERIAL_WORDS>;

Samples readSpeech(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), {});
  Samples s(bytes.size() / 2);
  std::memcpy(s.data(), bytes.data(), s.size() * 2);
  return s;
}

// The frames of the WTG file that the file encoder makes of the speech at path.
std::vector<Frame> encodeOurs(const std::string& path) {
  char wtg[] = "/tmp/g729_quality-XXXXXX";
  const int fd = mkstemp(wtg);
  if (fd < 0) return {};
  close(fd);
  wtg_encode_fun(path.c_str(), wtg);
  std::ifstream in(wtg, std::ios::binary);
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), {});
  std::remove(wtg);
  std::vector<Frame> frames(bytes.size() / sizeof(Frame));
  std::memcpy(frames.data(), bytes.data(), frames.size() * sizeof(Frame));
  return frames;
}

Samples decodeOurs(std::vector<Frame> frames) {
  auto state = std::make_unique<DecoderState>();
  g729dec_init(state.get());
  Samples out;
  for (auto& frame : frames) {
    const Word16* pcm = g729_dec_run(state.get(), frame.data());
    out.insert(out.end(), pcm, pcm + kFrame);
  }
  return out;
}

// The bit after the first delay index set to that index's parity, as the standard sends it.
std::vector<Frame> withParity(std::vector<Frame> frames) {
  for (auto& frame : frames) {
    Word16 prm[1 + PRM_SIZE];
    bits2prm_ld8k(frame.data(), prm);
    prm[4] = Parity_Pitch(prm[3]);
    prm2bits_ld8k(prm, frame.data());
  }
  return frames;
}

Samples roundTripBcg729(const Samples& speech) {
  bcg729EncoderChannelContextStruct* encoder = initBcg729EncoderChannel(0);
  bcg729DecoderChannelContextStruct* decoder = initBcg729DecoderChannel();
  Samples out(speech.size() / kFrame * kFrame);
  for (size_t f = 0; f < speech.size() / kFrame; ++f) {
    uint8_t bytes[10];
    uint8_t length = 0;
    bcg729Encoder(encoder, speech.data() + kFrame * f, bytes, &length);
    bcg729Decoder(decoder, bytes, length, 0, 0, 0, out.data() + kFrame * f);
  }
  closeBcg729EncoderChannel(encoder);
  closeBcg729DecoderChannel(decoder);
  return out;
}

// The decoder's gain predictor and postfilter memories are process-wide and never reset: each
// decoding runs in a child process, a copy of this one before any decoding, so that every
// figure starts from the memories as loaded.
template <typename Measure>
speech_quality::AlignedSnr inFreshProcess(Measure measure) {
  int fds[2];
  if (pipe(fds) != 0) return {speech_quality::kSnrFloorDb, 0};
  const pid_t pid = fork();
  if (pid == 0) {
    const speech_quality::AlignedSnr result = measure();
    _exit(write(fds[1], &result, sizeof result) == sizeof result ? 0 : 1);
  }
  close(fds[1]);
  speech_quality::AlignedSnr result{speech_quality::kSnrFloorDb, 0};
  if (read(fds[0], &result, sizeof result) != sizeof result) std::fprintf(stderr, "no result\n");
  close(fds[0]);
  waitpid(pid, nullptr, 0);
  return result;
}

void report(const char* what, speech_quality::AlignedSnr snr) {
  std::printf("  %-52s %6.2f dB  (lag %zu samples)\n", what, snr.db, snr.lag);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string path = argc > 1 ? argv[1] : std::string(KESTRUNE_SAMPLE_DIR) + "/speech-8k.pcm";
  const Samples speech = readSpeech(path);
  if (speech.size() < kFrame) {
    std::fprintf(stderr, "%s: no 8 kHz speech to code\n", path.c_str());
    return 1;
  }
  std::printf("segmental SNR of %s (%.1f s), decoded against the input:\n", path.c_str(),
              double(speech.size()) / 8000);
  const auto frames = encodeOurs(path);
  const auto ours = inFreshProcess(
      [&] { return speech_quality::bestAlignedSnr(speech, decodeOurs(frames), kMaxLag); });
  const auto repaired = inFreshProcess([&] {
    return speech_quality::bestAlignedSnr(speech, decodeOurs(withParity(frames)), kMaxLag);
  });
  const auto peer = inFreshProcess(
      [&] { return speech_quality::bestAlignedSnr(speech, roundTripBcg729(speech), kMaxLag); });
  report("kestrune, WTG frames (silence flag as parity)", ours);
  report("kestrune, parity bit restored", repaired);
  report("bcg729 encoder and decoder", peer);
  std::printf("  parity-restored kestrune minus bcg729: %+.2f dB\n", repaired.db - peer.db);
  return 0;
}
