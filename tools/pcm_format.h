// How the tool names PCM: the rate and channel count a command works at, and the container a
// file's name asks for. Raw PCM (.pcm, .raw or no extension) has no header: the command's rate
// and channel count describe it.
#pragma once

#include <string>

struct PcmFormat {
  int rate = 0;      // Hz
  int channels = 0;  // interleaved 16-bit samples per frame
};

enum class PcmContainer { Raw, Wav, Flac, Other };

// The container named by path's extension, in any letter case.
PcmContainer pcmContainerOf(const std::string& path);
