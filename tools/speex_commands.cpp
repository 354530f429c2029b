// kestrune speex-decode: the device's framed Speex wideband stream to 16 kHz PCM through
// TZSpeexDecoder's file job.
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>

#include "kestrune/TZLogManager.h"
#include "kestrune/TZMainQueue.h"
#include "kestrune/TZPlatform.h"
#include "kestrune/TZSpeexDecoder.h"
#include "tools/commands.h"
#include "tools/tool_io.h"

namespace {

namespace fs = std::filesystem;

constexpr int kUsageStatus = 2;

struct SpeexPcmCollector : TZSpeexDelegate {
  void speexDecoder(TZSpeexDecoder&, const TZBytes* Data, const TZError*) override {
    if (Data != nullptr) pcm.insert(pcm.end(), Data->begin(), Data->end());
    ++frames;
  }
  TZBytes pcm;
  size_t frames = 0;
};

}  // namespace

std::optional<size_t> speexDecodeToFile(const std::string& input, const std::string& output) {
  if (const auto problem = inputProblem(input)) {
    toolFail(*problem);
    return std::nullopt;
  }
  const auto collector = std::make_shared<SpeexPcmCollector>();
  auto decoder = TZSpeexDecoder::initWithDelegate(collector);
  if (!decoder) {
    toolFail("speex-decode: libspeex cannot create a wideband decoder");
    return std::nullopt;
  }
  std::optional<TZError> failure;
  decoder->speexConvertToPcm(input, &output, [&](const std::string*, const TZError* error) {
    if (error != nullptr) failure = *error;
  });
  // The job's completion is not waited for: it never comes when the input holds no
  // complete block, nor when the worker decodes every frame before the job's file flag goes
  // up. The worker going idle ends every job; its deliveries then wait on the main queue.
  drainWorker(*decoder, "decoding", "frames", collector->frames);
  decoder.reset();  // closes the job's file before it is replaced below

  if (failure) {
    failAndRemove(output, input + ": " + failure->domain);
    return std::nullopt;
  }
  if (collector->frames == 0) {
    failAndRemove(output, input + ": no complete Speex block (AA EA BD AC, length, 5 frames)");
    return std::nullopt;
  }
  // The job's file may lack the first frames (those decoded before its file flag went up);
  // the delegate saw them all, in order.
  if (!writeOutputFile(output, collector->pcm)) return std::nullopt;
  return collector->frames;
}

int runSpeexDecode(const ToolArgs& args) {
  if (args.size() != 2 || args[0].starts_with("--") || args[1].starts_with("--")) {
    toolFail("speex-decode: takes an input and an output file: speex-decode IN OUT");
    return kUsageStatus;
  }
  const std::string& input = args[0];
  const std::string& output = args[1];
  if (const auto problem = inputProblem(input)) return toolFail(*problem);
  if (!prepareJobOutput(input, output)) return 1;

  const auto frames = speexDecodeToFile(input, output);
  if (!frames) return 1;
  std::cout << "speex-decode: " << *frames << " frames, " << *frames * 640 << " bytes of PCM -> "
            << output << "\n";
  return 0;
}
