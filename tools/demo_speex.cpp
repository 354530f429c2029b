// Demo step: the bundled framed Speex sample (the bundled speech as the device would send
// it) through the Speex decoder's file job.
#include <filesystem>
#include <iomanip>
#include <iostream>

#include "tools/commands.h"
#include "tools/demo.h"

bool demoSpeex(const DemoContext& context) {
  namespace fs = std::filesystem;
  const std::string input = context.sampleDir + "/speech-16k.spx-framed";
  const std::string output = (fs::path(context.outputDir) / "speech-16k-speex.pcm").string();
  std::error_code error;
  const auto inputBytes = fs::file_size(input, error);
  const auto frames = speexDecodeToFile(input, output);
  if (!frames) return false;
  const auto outputBytes = fs::file_size(output, error);
  std::cout << std::fixed << std::setprecision(1) << "  decoded " << inputBytes
            << " bytes of framed Speex (" << *frames / 5 << " blocks of five frames) into "
            << *frames << " frames, " << outputBytes << " bytes of 16 kHz PCM (" << *frames * 0.02
            << " s) -> " << output << "\n";
  return !error && outputBytes == *frames * 640;
}
