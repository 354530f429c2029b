// The subcommands of the kestrune tool, called with their parsed arguments. Each returns the
// process exit status: 0, 1 when the job failed, 2 when the arguments cannot work together.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct OpusOptions {
  std::string input;
  std::string output;
  int rate = 16000;
  int channels = 1;
  int frameMs = 20;
  bool framed = false;    // opus-encode
  bool noHeader = false;  // opus-decode: fixed-size records of dataSize bytes
  int dataSize = 0;
};

int runDemo(const std::string& outputDir);
int runOpusEncode(const OpusOptions& options);
int runOpusDecode(const OpusOptions& options);
int runSpeexDecode(const std::string& input, const std::string& output);
// Inputs then one output file, or inputs then an output folder.
int runPcm2Wtg(const std::vector<std::string>& paths);
int runWtg2Pcm(const std::string& input, const std::string& output);

// Decodes a framed Speex file through TZSpeexDecoder and writes every frame its delegate
// received to output; bytes after the last whole block get a warning line. The number of
// frames, or nothing after printing why.
std::optional<size_t> speexDecodeToFile(const std::string& input, const std::string& output);
