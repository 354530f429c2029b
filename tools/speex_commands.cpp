// kestrune speex-decode: the device's framed Speex wideband stream to 16 kHz PCM through
// TZSpeexDecoder.
#include <iostream>
#include <memory>
#include <optional>

#include "kestrune/TZSpeexDecoder.h"
#include "kestrune/TZSpeexStream.h"
#include "tools/commands.h"
#include "tools/decoded_sink.h"
#include "tools/tool_io.h"

namespace {

constexpr PcmFormat kSpeexPcm = {16000, 1};  // wideband, as the device sends it

}  // namespace

std::optional<size_t> speexDecodeToFile(const std::string& input, const std::string& output) {
  const auto stream = readInputFile(input);
  if (!stream) return std::nullopt;
  const TZSpeexBlockWalk walk = TZSpeexWalkBlocks(*stream);
  if (walk.frames == 0) {
    failAndRemove(output, input + ": no complete Speex block (AA EA BD AC, length, 5 frames)");
    return std::nullopt;
  }
  const auto sink = DecodedSink::open(output, kSpeexPcm);
  if (!sink) return std::nullopt;
  auto decoder = TZSpeexDecoder::initWithDelegate(sink);
  if (!decoder) {
    failAndRemove(output, "speex-decode: libspeex cannot create a wideband decoder");
    return std::nullopt;
  }
  // The stream is fed whole and every frame is written as the delegate receives it. The file
  // job is not used: it may leave out the first frames (decoded before its file flag goes up)
  // and never ends when there are none after that.
  decoder->speexInputData(*stream);
  drainWorker(*decoder, "decoding", "frames", [&] { return sink->blocks(); });
  decoder.reset();

  if (!sink->close()) {
    failAndRemove(output, output + ": write error");
    return std::nullopt;
  }
  if (sink->blocks() != walk.frames) {
    failAndRemove(output, "speex-decode: " + std::to_string(sink->blocks()) + " of " +
                              std::to_string(walk.frames) + " frames were decoded");
    return std::nullopt;
  }
  if (walk.leftOver > 0)
    std::cerr << "kestrune: warning: " << input << ": the last " << walk.leftOver
              << " bytes are not a whole block and were ignored\n";
  return sink->blocks();
}

int runSpeexDecode(const std::string& input, const std::string& output) {
  if (const auto problem = inputProblem(input)) return toolFail(*problem);
  if (!prepareJobOutput(input, output)) return 1;

  const auto frames = speexDecodeToFile(input, output);
  if (!frames) return 1;
  std::cout << "speex-decode: " << *frames << " frames, " << *frames * 640 << " bytes of PCM -> "
            << output << "\n";
  return 0;
}
