#include "tools/wtg_commands.h"

#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>

#include "kestrune/TZMainQueue.h"
#include "kestrune/TZPcmToWtg.h"
#include "tools/commands.h"
#include "tools/resample.h"
#include "tools/tool_io.h"
#include "tools/wav.h"

namespace {

namespace fs = std::filesystem;

constexpr int kUsageStatus = 2;
constexpr int kWtgRate = 8000;

// Raw PCM files for the service, which reads its inputs from paths: an input already raw is
// used as it is; a .wav input's samples (converted to 8 kHz mono) go to a temporary file,
// removed with this object.
class ServiceInputs {
 public:
  ~ServiceInputs() {
    std::error_code ignored;
    for (const auto& path : temporary_) fs::remove(path, ignored);
  }
  // The raw 8 kHz mono PCM path for input, or nothing after printing why.
  std::optional<std::string> prepare(const std::string& input) {
    const auto bytes = readInputFile(input);
    if (!bytes) return std::nullopt;
    if (!looksLikeWav(*bytes)) return input;  // raw PCM: no header to tell, taken as 8 kHz mono
    std::string why;
    const auto wav = parseWav(*bytes, &why);
    if (!wav) return fail(input + ": unusable .wav file: " + why);
    if (wav->formatTag != 1 || wav->bitsPerSample != 16)
      return fail(input + ": only 16-bit PCM .wav files are accepted");
    std::vector<int16_t> samples(wav->dataSize / 2);
    std::memcpy(samples.data(), bytes->data() + wav->dataOffset, samples.size() * 2);
    if (wav->sampleRate != kWtgRate || wav->channels != 1) {
      auto converted = toMono(samples, wav->channels, wav->sampleRate, kWtgRate, &why);
      if (!converted) return fail(input + ": " + why);
      samples = std::move(*converted);
    }
    const std::string path =
        (fs::temp_directory_path() / ("kestrune-" + std::to_string(getpid()) + "-" +
                                      std::to_string(temporary_.size()) + ".pcm"))
            .string();
    TZBytes raw(samples.size() * 2);
    std::memcpy(raw.data(), samples.data(), raw.size());
    if (!writeOutputFile(path, raw)) return std::nullopt;
    temporary_.push_back(path);
    return path;
  }

 private:
  static std::optional<std::string> fail(const std::string& message) {
    toolFail(message);
    return std::nullopt;
  }
  std::vector<std::string> temporary_;
};

struct Completions : TZPcmToWtgDelegate {
  size_t count = 0;
  void convertPcmToWtgDone(std::shared_ptr<TZPcm2WtgModel>) override { ++count; }
};

void removeAll(const std::vector<WtgJob>& jobs, size_t upTo) {
  std::error_code ignored;
  for (size_t i = 0; i < upTo; ++i) fs::remove(jobs[i].output, ignored);
}

}  // namespace

std::optional<std::vector<size_t>> convertToWtg(const std::vector<WtgJob>& jobs) {
  // Every input and output is checked before anything is queued: the file encoder ends the
  // process on a file it cannot open, so it must never meet one.
  ServiceInputs inputs;
  std::vector<std::string> rawInputs;
  for (size_t i = 0; i < jobs.size(); ++i) {
    const auto raw = inputs.prepare(jobs[i].input);
    if (!raw || !prepareJobOutput(jobs[i].input, jobs[i].output)) {
      removeAll(jobs, i);  // the outputs made so far; never job i's, which may be its input
      return std::nullopt;
    }
    rawInputs.push_back(*raw);
  }

  const auto done = std::make_shared<Completions>();
  auto service = TZPcmToWtg::initWithDelegate(done);
  for (size_t i = 0; i < jobs.size(); ++i)
    service->convertPcmToWtg(std::make_shared<TZPcm2WtgModel>(rawInputs[i], jobs[i].output));
  const bool progress = showProgress() && jobs.size() > 1;
  while (!TZMainQueue::runUntil([&] { return done->count == jobs.size(); },
                                std::chrono::milliseconds(200))) {
    if (progress)
      std::cerr << "\rconverting: " << done->count << " of " << jobs.size() << std::flush;
  }
  if (progress) std::cerr << "\rconverting: " << done->count << " of " << jobs.size() << "\n";

  std::vector<size_t> frames;
  for (const auto& job : jobs) {
    std::error_code error;
    frames.push_back(static_cast<size_t>(fs::file_size(job.output, error)) / 10);
  }
  return frames;
}

int runPcm2Wtg(const ToolArgs& args) {
  for (const auto& arg : args)
    if (arg.starts_with("--")) return toolFail("pcm2wtg: unknown option " + arg), kUsageStatus;
  if (args.size() < 2) {
    toolFail(
        "pcm2wtg: takes an input and an output file, or inputs and a folder: pcm2wtg IN OUT | "
        "IN... DIR/");
    return kUsageStatus;
  }
  const std::string& last = args.back();
  std::error_code error;
  const bool intoFolder = last.ends_with('/') || fs::is_directory(last, error);
  if (!intoFolder && args.size() != 2) {
    toolFail("pcm2wtg: several inputs need an output folder (ending in /)");
    return kUsageStatus;
  }
  std::vector<WtgJob> jobs;
  for (size_t i = 0; i + 1 < args.size(); ++i) {
    std::string output = last;
    if (intoFolder)
      output = (fs::path(last) / fs::path(args[i]).filename().replace_extension(".wtg")).string();
    for (const auto& job : jobs)
      if (job.output == output) return toolFail(output + ": named for two inputs");
    jobs.push_back({args[i], output});
  }
  if (intoFolder && !fs::is_directory(last, error)) return toolFail(last + ": no such folder");

  const auto frames = convertToWtg(jobs);
  if (!frames) return 1;
  for (size_t i = 0; i < jobs.size(); ++i)
    std::cout << "pcm2wtg: " << jobs[i].input << " -> " << jobs[i].output << " (" << (*frames)[i]
              << " frames, " << (*frames)[i] * 10 << " bytes)\n";
  return 0;
}
