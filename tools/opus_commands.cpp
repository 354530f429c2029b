// kestrune opus-encode / opus-decode: the Opus encoder's and decoder's file jobs.
#include <algorithm>
#include <iostream>

#include "kestrune/TZOpusRecords.h"
#include "tools/commands.h"
#include "tools/opus_jobs.h"
#include "tools/pcm_input.h"
#include "tools/tool_io.h"

namespace {

std::shared_ptr<TZOpusFormat> formatOf(const OpusOptions& options) {
  auto format = TZOpusFormat::defaultFormats();
  format->setSampleRate(options.rate);
  format->setChannels(options.channels);
  format->setFrameDuration(options.frameMs);
  return format;
}

// One frame size counts both the PCM bytes of a chunk and the samples per channel that Opus
// encodes from it; that sample count must be an Opus frame (2.5 to 120 ms).
bool encodableFrame(const OpusOptions& options) {
  const int frameSize = formatOf(options)->frameSize();
  const int unit = options.rate / 400;
  const int multiples[] = {1, 2, 4, 8, 16, 24, 32, 40, 48};
  return std::any_of(std::begin(multiples), std::end(multiples),
                     [&](int m) { return frameSize == m * unit; });
}

}  // namespace

int runOpusEncode(const OpusOptions& options) {
  if (!encodableFrame(options))
    return usageFail("opus-encode: --frame-ms " + std::to_string(options.frameMs) +
                     " gives frames of " + std::to_string(formatOf(options)->frameSize()) +
                     " samples per channel, which Opus cannot encode at " +
                     std::to_string(options.rate) + " Hz");
  const auto input = PcmInput::open(options.input, {options.rate, options.channels});
  if (!input || !prepareJobOutput(options.input, options.output)) return 1;

  // With --framed the packets are taken from the delegate: the file job writes them back to
  // back without their lengths, so its output cannot be cut into packets again.
  const auto encoded =
      encodeOpusFile(input->path(), options.output, formatOf(options), options.framed);
  if (!encoded) return 1;
  if (options.framed && !writeOutputFile(options.output, TZOpusFrameRecords(encoded->kept)))
    return 1;
  std::cout << "opus-encode: " << encoded->packets << " packets, " << encoded->bytes
            << " bytes of Opus" << (options.framed ? " in framed records" : "") << " -> "
            << options.output << "\n";
  return 0;
}

int runOpusDecode(const OpusOptions& options) {
  const auto stream = readInputFile(options.input);
  if (!stream) return 1;

  auto format = formatOf(options);
  format->setHasDataHeader(!options.noHeader);
  // With headers the decoder cuts a record once dataSize bytes are buffered; the smallest
  // whole record (a header and one byte) lets it cut every record of the stream, the short
  // ones at its end included.
  format->setDataSize(options.noHeader ? options.dataSize : kOpusRecordHeaderSize + 1);
  if (!prepareJobOutput(options.input, options.output)) return 1;
  const auto decoded = decodeOpusRecords(*stream, options.input, options.output, format);
  if (!decoded) return 1;
  if (decoded->walk.leftOver > 0)
    std::cerr << "kestrune: warning: " << options.input << ": the last " << decoded->walk.leftOver
              << " bytes are not a whole record and were ignored (" << decoded->walk.why << ")\n";
  std::cout << "opus-decode: " << decoded->packets << " packets, " << decoded->bytes
            << " bytes of PCM -> " << options.output << "\n";
  return 0;
}
