// Demo step: the WTG file of the previous step back into 8 kHz speech, with its quality against
// the bundled input.
#include <filesystem>
#include <iomanip>
#include <iostream>

#include "tools/demo.h"
#include "tools/pcm_writer.h"
#include "tools/segmental_snr.h"
#include "tools/tool_io.h"
#include "tools/wtg_decode.h"

bool demoWtgDecode(const DemoContext& context) {
  namespace fs = std::filesystem;
  const std::string wtg = (fs::path(context.outputDir) / "speech-8k.wtg").string();
  const std::string output = (fs::path(context.outputDir) / "speech-8k-decoded.wav").string();
  const auto decoded = decodeWtgFile(wtg);
  const auto input = readInputFile(context.sampleDir + "/speech-8k.pcm");
  if (!decoded || !input) return false;
  if (!writePcmFile(output, {8000, 1}, *decoded)) return false;

  std::vector<int16_t> reference(input->size() / 2);
  for (size_t i = 0; i < reference.size(); ++i)
    reference[i] = int16_t((*input)[2 * i] | (*input)[2 * i + 1] << 8);
  // The codec delays the speech by its look-ahead; the best lag within 30 ms finds it.
  const auto snr = speech_quality::bestAlignedSnr(reference, *decoded, 240);
  std::cout << std::fixed << std::setprecision(1) << "  decoded " << decoded->size() / 80
            << " frames into " << double(decoded->size()) / 8000 << " s of 8 kHz speech -> "
            << output << "\n  segmental SNR against the input: " << snr.db << " dB (delay "
            << snr.lag << " samples; the silence flag takes the place of the first delay's\n"
            << "  parity bit, so the frames where the two differ decode with the previous delay)\n";
  return !decoded->empty();
}
