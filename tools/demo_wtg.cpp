// Demo step: the bundled 8 kHz speech into a WTG file through the conversion service.
#include <filesystem>
#include <iomanip>
#include <iostream>

#include "tools/demo.h"
#include "tools/wtg_commands.h"

bool demoWtg(const DemoContext& context) {
  namespace fs = std::filesystem;
  const std::string input = context.sampleDir + "/speech-8k.pcm";
  const std::string output = (fs::path(context.outputDir) / "speech-8k.wtg").string();
  const auto frames = convertToWtg({{input, output}});
  if (!frames) return false;
  std::error_code error;
  const auto samples = fs::file_size(input, error) / 2;
  const double seconds = static_cast<double>(samples) / 8000;
  std::cout << std::fixed << std::setprecision(1) << "  converted " << seconds
            << " s of 8 kHz speech into " << frames->front() << " frames of 10 bytes ("
            << frames->front() * 80 / seconds / 1000 << " kbit/s) -> " << output << "\n";
  return !error && frames->front() == samples / 80;
}
