#include "tools/pcm_input.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>

#include "tools/sound_conversion.h"
#include "tools/tool_io.h"

namespace {

// A new empty file in the temporary directory, or nothing after printing why.
std::optional<std::string> makeTemporaryFile() {
  std::error_code error;
  std::string path = (std::filesystem::temp_directory_path(error) / "kestrune-XXXXXX.pcm").string();
  const int fd = error ? -1 : mkstemps(path.data(), 4);
  if (fd < 0) {
    toolFail("cannot make a temporary file for the converted input");
    return std::nullopt;
  }
  close(fd);
  return path;
}

}  // namespace

std::optional<PcmInput> PcmInput::open(const std::string& input, PcmFormat format) {
  const bool raw = pcmContainerOf(input) == PcmContainer::Raw;
  if (raw) {
    if (const auto problem = inputProblem(input)) {
      toolFail(*problem);
      return std::nullopt;
    }
    // A raw file is handed over as it is: no copy, no conversion.
    std::error_code error;
    if (std::filesystem::is_regular_file(input, error)) return PcmInput(input, false);
  }
  // The encoders read their input by path, the WTG one twice: anything but a raw file (a pipe,
  // a sound file) becomes a temporary raw file first.
  const auto bytes = readInputFile(input);
  if (!bytes) return std::nullopt;
  const auto temporary = makeTemporaryFile();
  if (!temporary) return std::nullopt;
  PcmInput converted(*temporary, true);
  if (raw)
    return writeOutputFile(*temporary, *bytes) ? std::optional(std::move(converted)) : std::nullopt;
  std::string why;
  const auto conversion = convertSoundFile(*bytes, format, *temporary, &why);
  if (!conversion) {
    toolFail(input + ": " + why);
    return std::nullopt;
  }
  if (!conversion->cutShort.empty())
    std::cerr << "kestrune: warning: " << input << ": decoding stopped before the end ("
              << conversion->cutShort << "); what came before is used\n";
  if (conversion->clipped > 0)
    std::cerr << "kestrune: warning: " << input << ": " << conversion->clipped
              << " sample(s) at or beyond 16-bit full scale were clipped\n";
  return converted;
}

PcmInput::~PcmInput() {
  std::error_code ignored;
  if (temporary_) std::filesystem::remove(path_, ignored);
}

PcmInput::PcmInput(PcmInput&& other) noexcept
    : path_(std::move(other.path_)), temporary_(other.temporary_) {
  other.temporary_ = false;
}
