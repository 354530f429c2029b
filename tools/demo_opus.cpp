// Demo step: the bundled 16 kHz speech through the Opus encoder and decoder, as the tool's
// commands run them.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <iomanip>
#include <iostream>

#include "kestrune/TZOpusRecords.h"
#include "tools/demo.h"
#include "tools/opus_jobs.h"
#include "tools/tool_io.h"

namespace {

std::vector<int16_t> samplesOf(const TZBytes& pcm) {
  std::vector<int16_t> samples(pcm.size() / 2);
  std::memcpy(samples.data(), pcm.data(), samples.size() * 2);
  return samples;
}

// Signal-to-noise ratio in dB of decoded against reference delayed by lag samples.
double snrAt(const std::vector<int16_t>& reference, const std::vector<int16_t>& decoded, size_t lag,
             size_t count) {
  double signal = 0, noise = 0;
  for (size_t i = 0; i < count && i + lag < decoded.size() && i < reference.size(); ++i) {
    const double error = double(decoded[i + lag]) - reference[i];
    signal += double(reference[i]) * reference[i];
    noise += error * error;
  }
  return 10 * std::log10((signal + 1) / (noise + 1));
}

}  // namespace

bool demoOpus(const DemoContext& context) {
  namespace fs = std::filesystem;
  const std::string input = context.sampleDir + "/speech-16k.pcm";
  const auto pcm = readInputFile(input);
  if (!pcm) return false;
  const std::string opusPath = (fs::path(context.outputDir) / "speech-16k.opus").string();
  const std::string framedPath = (fs::path(context.outputDir) / "speech-16k.opus-framed").string();
  const std::string decodedPath = (fs::path(context.outputDir) / "speech-16k-decoded.pcm").string();

  // Encode: 16 kHz mono, 20 ms, so frameSize is 320.
  auto format = TZOpusFormat::defaultFormats();
  const auto encoded = encodeOpusFile(input, opusPath, format, true);
  if (!encoded) return false;
  const auto& packets = encoded->kept;
  const double seconds = double(pcm->size()) / 2 / format->sampleRate();
  std::cout << std::fixed << std::setprecision(1) << "  encoded " << seconds << " s of speech ("
            << pcm->size() << " bytes) into " << packets.size() << " packets, " << encoded->bytes
            << " bytes (" << encoded->bytes * 8 / seconds / 1000 << " kbit/s of input) -> "
            << opusPath << "\n"
            << "  each packet is a 320-byte chunk (10 ms) heard as a 320-sample frame: 10 ms of"
               " speech, then 10 ms of silence\n";

  // Frame the packets with the 8-byte record header and decode the framed records.
  const TZBytes records = TZOpusFrameRecords(packets);
  if (!writeOutputFile(framedPath, records)) return false;
  auto decoderFormat = TZOpusFormat::defaultFormats();
  decoderFormat->setDataSize(kOpusRecordHeaderSize + 1);  // every whole record is cut
  if (!decodeOpusRecords(records, framedPath, decodedPath, decoderFormat)) return false;
  const auto decoded = readInputFile(decodedPath);
  if (!decoded) return false;
  std::cout << "  decoded " << records.size() << " bytes of framed records into " << decoded->size()
            << " bytes of PCM -> " << decodedPath << "\n";

  // What the encoder heard: each chunk followed by as many zero samples. Opus delays its
  // output by a few milliseconds; find the delay, then measure how close the decoder came.
  std::vector<int16_t> heard;
  auto speech = samplesOf(*pcm);
  speech.resize(std::max(speech.size(), packets.size() * 160), 0);  // the file job's padding
  for (size_t chunk = 0; chunk < packets.size(); ++chunk) {
    heard.insert(heard.end(), speech.begin() + chunk * 160, speech.begin() + chunk * 160 + 160);
    heard.insert(heard.end(), 160, 0);
  }
  const auto output = samplesOf(*decoded);
  size_t delay = 0;
  double best = -1e9;
  for (size_t lag = 0; lag <= 480; ++lag) {
    const double snr = snrAt(heard, output, lag, 32000);
    if (snr > best) best = snr, delay = lag;
  }
  const double snr = snrAt(heard, output, delay, heard.size());
  std::cout << std::setprecision(1) << "  the decoded speech follows what the encoder heard "
            << delay << " samples later, at an SNR of " << snr << " dB\n";
  return !packets.empty() && decoded->size() == packets.size() * 640 && snr > 3;
}
