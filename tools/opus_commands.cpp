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
#include "tools/tool_io.h"

namespace {

namespace fs = std::filesystem;

constexpr int kUsageStatus = 2;
constexpr size_t kRecordHeaderBytes = 8;

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

// What a codec object delivers: counts and sizes of its results and errors, and the results
// themselves when asked to keep them.
struct Collector : TZOpusEncoderDelegate, TZOpusDecoderDelegate {
  explicit Collector(bool keep) : keep(keep) {}
  void opusEncoder(TZOpusEncoder&, const TZBytes* Data, const TZError* error) override {
    take(Data, error);
  }
  void opusDecoder(TZOpusDecoder&, const TZBytes* Data, const TZError* error) override {
    take(Data, error);
  }
  void take(const TZBytes* Data, const TZError* error) {
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

// The records of a framed stream: how many, or why the stream is malformed.
std::optional<size_t> countRecords(const OpusOptions& options, const TZBytes& stream,
                                   std::string* why) {
  if (options.noHeader) {
    const auto size = static_cast<size_t>(*options.dataSize);
    if (stream.size() % size == 0) return stream.size() / size;
    *why = std::to_string(stream.size()) + " bytes are not a whole number of " +
           std::to_string(size) + "-byte records";
    return std::nullopt;
  }
  size_t records = 0;
  for (size_t offset = 0; offset < stream.size(); ++records) {
    const std::string at = "the record at byte " + std::to_string(offset);
    if (stream.size() - offset < kRecordHeaderBytes) {
      *why = at + " has no complete header";
      return std::nullopt;
    }
    const auto header = TZOpusDecoder::data(stream, static_cast<int64_t>(offset), 4);
    const auto length = static_cast<int32_t>(TZOpusDecoder::dataToInt(header ? &*header : nullptr));
    if (length < 1) {
      *why = at + " announces a packet of " + std::to_string(length) + " bytes";
      return std::nullopt;
    }
    if (stream.size() - offset - kRecordHeaderBytes < static_cast<size_t>(length)) {
      *why = at + " is cut short";
      return std::nullopt;
    }
    offset += kRecordHeaderBytes + static_cast<size_t>(length);
  }
  return records;
}

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
  drainWorker(*encoder, "encoding", "packets", collector->count);
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
  std::string why;
  const auto records = countRecords(options, *stream, &why);
  if (!records) return toolFail(options.input + ": malformed Opus stream: " + why);
  if (!prepareJobOutput(options.input, options.output)) return 1;

  auto format = formatOf(options);
  format->setHasDataHeader(!options.noHeader);
  // With headers the decoder cuts a record only once dataSize bytes are buffered; the
  // smallest whole record (a header and one byte) lets it cut every record of the file.
  format->setDataSize(options.noHeader ? *options.dataSize
                                       : static_cast<int>(kRecordHeaderBytes) + 1);
  const auto collector = std::make_shared<Collector>(false);
  auto decoder = TZOpusDecoder::initDecoder(format, collector);
  if (!decoder) return failAndRemove(options.output, "opus-decode: Opus refuses this format");
  std::optional<TZError> failure;
  decoder->opusDecodeFile(options.input, &options.output,
                          [&](const std::string*, const TZError* error) {
                            if (error != nullptr) failure = *error;
                          });
  if (failure) return failAndRemove(options.output, options.input + ": " + failure->domain);
  drainWorker(*decoder, "decoding", "packets", collector->count);
  decoder.reset();

  if (collector->errors > 0)
    return failAndRemove(options.output,
                         std::to_string(collector->errors) +
                             " packet(s) could not be decoded: " + collector->lastError.domain +
                             " " + std::to_string(collector->lastError.code));
  if (collector->count != *records)
    return failAndRemove(options.output, "opus-decode: " + std::to_string(collector->count) +
                                             " of " + std::to_string(*records) +
                                             " packets were decoded");
  if (!sizeIs(options.output, collector->bytes))
    return failAndRemove(options.output, options.output + ": write error");
  std::cout << "opus-decode: " << collector->count << " packets, " << collector->bytes
            << " bytes of PCM -> " << options.output << "\n";
  return 0;
}
