#include "tools/pcm_format.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

PcmContainer pcmContainerOf(const std::string& path) {
  std::string extension = std::filesystem::path(path).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (extension.empty() || extension == ".pcm" || extension == ".raw") return PcmContainer::Raw;
  if (extension == ".wav") return PcmContainer::Wav;
  if (extension == ".flac") return PcmContainer::Flac;
  return PcmContainer::Other;
}
