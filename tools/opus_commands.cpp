// kestrune opus-encode / opus-decode: the Opus encoder's and decoder's file jobs.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>

#include "kestrune/TZLogManager.h"
#include "kestrune/TZMainQueue.h"
#include "kestrune/TZOpusDecoder.h"
#include "kestrune/TZOpusEncoder.h"
#include "kestrune/TZPlatform.h"
#include "opus/TZOpusFraming.h"
#include "tools/commands.h"
#include "tools/decoded_sink.h"
#include "tools/tool_io.h"

namespace {

namespace fs = std::filesystem;

constexpr int kUsageStatus = 2;

struct OpusOptions {
  std::string input;
  std::string output;
  int rate = 16000;
  int channels = 1;
  int frameMs = 20;
  bool framed = false;    // opus-encode
  bool noHeader = false;  // opus-decode
  std::optional<int> dataSize;
};

std::shared_ptr<TZOpusFormat> formatOf(const OpusOptions& options) {
  auto format = TZOpusFormat::defaultFormats();
  format->setSampleRate(options.rate);
  format->setChannels(options.channels);
  format->setFrameDuration(options.frameMs);
  return format;
}

int usageError(const std::string& command, const std::string& message) {
  toolFail(command + ": " + message);
  return kUsageStatus;
}

// Parses IN OUT and the options; on a usage error prints it and returns the exit status.
std::optional<int> parseOptions(const std::string& command, const ToolArgs& args, bool encoding,
                                OpusOptions& options) {
  std::vector<std::string> paths;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    int* numeric = arg == "--rate"       ? &options.rate
                   : arg == "--channels" ? &options.channels
                   : arg == "--frame-ms" ? &options.frameMs
                                         : nullptr;
    if (numeric != nullptr || (!encoding && arg == "--data-size")) {
      if (i + 1 == args.size()) return usageError(command, arg + " needs a number");
      const auto value = parseInt(args[++i]);
      if (!value) return usageError(command, arg + " needs a number, not '" + args[i] + "'");
      if (numeric != nullptr)
        *numeric = *value;
      else
        options.dataSize = *value;
    } else if (encoding && arg == "--framed") {
      options.framed = true;
    } else if (!encoding && arg == "--no-header") {
      options.noHeader = true;
    } else if (arg.starts_with("--")) {
      return usageError(command, "unknown option " + arg);
    } else {
      paths.push_back(arg);
    }
  }
  if (paths.size() != 2) return usageError(command, "takes an input and an output file");
  options.input = paths[0];
  options.output = paths[1];

  const int rates[] = {8000, 12000, 16000, 24000, 48000};
  if (std::find(std::begin(rates), std::end(rates), options.rate) == std::end(rates))
    return usageError(command, "--rate must be 8000, 12000, 16000, 24000 or 48000");
  if (options.channels != 1 && options.channels != 2)
    return usageError(command, "--channels must be 1 or 2");
  if (options.frameMs < 1 || options.frameMs > 1000)
    return usageError(command, "--frame-ms must be between 1 and 1000");
  if (options.noHeader != options.dataSize.has_value())
    return usageError(command, "--no-header and --data-size N go together");
  if (options.dataSize && *options.dataSize < 1)
    return usageError(command, "--data-size must be at least 1");
  if (encoding) {
    // One frame size counts both the PCM bytes of a chunk and the samples per channel that
    // Opus encodes from it; that sample count must be an Opus frame (2.5 to 120 ms).
    const int frameSize = formatOf(options)->frameSize();
    const int unit = options.rate / 400;
    const int multiples[] = {1, 2, 4, 8, 16, 24, 32, 40, 48};
    if (std::none_of(std::begin(multiples), std::end(multiples),
                     [&](int m) { return frameSize == m * unit; }))
      return usageError(command, "--frame-ms " + std::to_string(options.frameMs) +
                                     " gives frames of " + std::to_string(frameSize) +
                                     " samples per channel, which Opus cannot encode at " +
                                     std::to_string(options.rate) + " Hz");
  }
  return std::nullopt;
}

bool sizeIs(const std::string& path, uintmax_t expected) {
  std::error_code error;
  const auto size = fs::file_size(path, error);
  return !error && size == expected;
}

// A file of PCM for the encoder's file job, which reads its input from a path: the input
// itself, or the data of a .wav input in a temporary file removed afterwards.
class JobInput {
 public:
  JobInput(const std::string& input, const TZBytes& pcm) : path_(input) {
    std::error_code error;
    if (fs::file_size(input, error) == pcm.size() || error) return;
    temporary_ =
        (fs::temp_directory_path(error) / ("kestrune-" + std::to_string(getpid()) + "-input.pcm"))
            .string();
    path_ = writeOutputFile(temporary_, pcm) ? temporary_ : std::string();
  }
  ~JobInput() {
    std::error_code ignored;
    if (!temporary_.empty()) fs::remove(temporary_, ignored);
  }
  JobInput(const JobInput&) = delete;
  JobInput& operator=(const JobInput&) = delete;
  // Empty when the temporary file could not be written.
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  std::string temporary_;
};

// What the encoder delivers: counts and sizes of its packets and errors, and the packets
// themselves when asked to keep them.
struct Collector : TZOpusEncoderDelegate {
  explicit Collector(bool keep) : keep(keep) {}
  void opusEncoder(TZOpusEncoder&, const TZBytes* Data, const TZError* error) override {
    if (error != nullptr) {
      errors++;
      lastError = *error;
      return;
    }
    count++;
    bytes += Data->size();
    if (keep) packets.push_back(*Data);
  }
  bool keep;
  size_t count = 0;
  uintmax_t bytes = 0;
  size_t errors = 0;
  TZError lastError;
  std::vector<TZBytes> packets;
};

}  // namespace

int runOpusEncode(const ToolArgs& args) {
  OpusOptions options;
  if (const auto status = parseOptions("opus-encode", args, true, options)) return *status;
  const auto pcm = readPcmInput(options.input, options.rate, options.channels);
  if (!pcm) return 1;
  const JobInput jobInput(options.input, *pcm);
  if (jobInput.path().empty()) return 1;
  if (!prepareJobOutput(options.input, options.output)) return 1;

  auto encoder = TZOpusEncoder::initFormat(formatOf(options), {});
  if (!encoder) return failAndRemove(options.output, "opus-encode: Opus refuses this format");
  // With --framed the packets are taken from the delegate: the file job writes them back to
  // back without their lengths, so its output cannot be cut into packets again.
  const auto collector = std::make_shared<Collector>(options.framed);
  encoder->setDelegate(collector);
  bool completed = false;
  std::optional<TZError> failure;
  encoder->opusEncodeFile(jobInput.path(), &options.output,
                          [&](const std::string*, const TZError* error) {
                            completed = true;
                            if (error != nullptr) failure = *error;
                          });
  if (failure) return failAndRemove(options.output, options.input + ": " + failure->domain);
  drainWorker(*encoder, "encoding", "packets", [&] { return collector->count; });
  encoder.reset();

  if (collector->errors > 0)
    return failAndRemove(
        options.output, std::to_string(collector->errors) +
                            " frame(s) could not be encoded: " + collector->lastError.domain + " " +
                            std::to_string(collector->lastError.code));
  // A job that queued nothing (input shorter than one frame) ends without a callback.
  if (collector->count > 0 && !completed)
    return failAndRemove(options.output, "opus-encode: the encoder did not finish its job");
  if (!sizeIs(options.output, collector->bytes))
    return failAndRemove(options.output, options.output + ": write error");
  if (options.framed) {
    if (!writeOutputFile(options.output, TZOpusFrameRecords(collector->packets))) return 1;
  }
  std::cout << "opus-encode: " << collector->count << " packets, " << collector->bytes
            << " bytes of Opus" << (options.framed ? " in framed records" : "") << " -> "
            << options.output << "\n";
  return 0;
}

int runOpusDecode(const ToolArgs& args) {
  OpusOptions options;
  if (const auto status = parseOptions("opus-decode", args, false, options)) return *status;
  const auto stream = readInputFile(options.input);
  if (!stream) return 1;

  auto format = formatOf(options);
  format->setHasDataHeader(!options.noHeader);
  // With headers the decoder cuts a record once dataSize bytes are buffered; the smallest
  // whole record (a header and one byte) lets it cut every record of the stream, the short
  // ones at its end included.
  format->setDataSize(options.noHeader ? *options.dataSize
                                       : static_cast<int>(kOpusRecordHeaderSize) + 1);
  // Only the whole records are fed: a recording cut short decodes up to its last whole record.
  const auto walk = TZOpusWalkRecords(*stream, *format);
  if (walk.records == 0) return toolFail(options.input + ": no complete Opus record: " + walk.why);
  if (!prepareJobOutput(options.input, options.output)) return 1;

  const auto sink = DecodedSink::open(options.output);
  if (!sink) return 1;
  auto decoder = TZOpusDecoder::initDecoder(format, sink);
  if (!decoder) return failAndRemove(options.output, "opus-decode: Opus refuses this format");
  decoder->opusDecoderInputData(std::span(*stream).first(walk.wholeBytes));
  drainWorker(*decoder, "decoding", "packets", [&] { return sink->blocks(); });
  decoder.reset();

  if (!sink->close()) return failAndRemove(options.output, options.output + ": not written");
  if (sink->errors() > 0)
    return failAndRemove(options.output,
                         std::to_string(sink->errors()) +
                             " packet(s) could not be decoded: " + sink->lastError().domain + " " +
                             std::to_string(sink->lastError().code));
  if (sink->blocks() != walk.records)
    return failAndRemove(options.output, "opus-decode: " + std::to_string(sink->blocks()) + " of " +
                                             std::to_string(walk.records) +
                                             " packets were decoded");
  if (walk.leftOver > 0)
    std::cerr << "kestrune: warning: " << options.input << ": the last " << walk.leftOver
              << " bytes are not a whole record and were ignored (" << walk.why << ")\n";
  std::cout << "opus-decode: " << sink->blocks() << " packets, " << sink->bytes()
            << " bytes of PCM -> " << options.output << "\n";
  return 0;
}
