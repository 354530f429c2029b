// kestrune opus-encode / opus-decode: the Opus encoder's and decoder's file jobs.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <optional>

#include "kestrune/TZOpusRecords.h"
#include "tools/commands.h"
#include "tools/opus_jobs.h"
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

}  // namespace

int runOpusEncode(const ToolArgs& args) {
  OpusOptions options;
  if (const auto status = parseOptions("opus-encode", args, true, options)) return *status;
  const auto pcm = readPcmInput(options.input, options.rate, options.channels);
  if (!pcm) return 1;
  const JobInput jobInput(options.input, *pcm);
  if (jobInput.path().empty()) return 1;
  if (!prepareJobOutput(options.input, options.output)) return 1;

  // With --framed the packets are taken from the delegate: the file job writes them back to
  // back without their lengths, so its output cannot be cut into packets again.
  const auto encoded =
      encodeOpusFile(jobInput.path(), options.output, formatOf(options), options.framed);
  if (!encoded) return 1;
  if (options.framed && !writeOutputFile(options.output, TZOpusFrameRecords(encoded->kept)))
    return 1;
  std::cout << "opus-encode: " << encoded->packets << " packets, " << encoded->bytes
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
  format->setDataSize(options.noHeader ? *options.dataSize : kOpusRecordHeaderSize + 1);
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
