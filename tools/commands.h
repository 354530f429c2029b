// The subcommands of the kestrune tool. Each returns the process exit status.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

using ToolArgs = std::vector<std::string>;

struct ToolCommand {
  const char* name;
  const char* usage;  // the arguments after the name
  int (*run)(const ToolArgs& args);
};

int runDemo(const ToolArgs& args);
int runOpusEncode(const ToolArgs& args);
int runOpusDecode(const ToolArgs& args);
int runSpeexDecode(const ToolArgs& args);
int runPcm2Wtg(const ToolArgs& args);
int runWtg2Pcm(const ToolArgs& args);

// Decodes a framed Speex file through TZSpeexDecoder's file job and writes every frame its
// delegate received to output. The number of frames, or nothing after printing why.
std::optional<size_t> speexDecodeToFile(const std::string& input, const std::string& output);
