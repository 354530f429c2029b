#include "tools/wtg_commands.h"

#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>

#include "kestrune/TZMainQueue.h"
#include "kestrune/TZPcmToWtg.h"
#include "tools/commands.h"
#include "tools/pcm_input.h"
#include "tools/tool_io.h"

namespace {

namespace fs = std::filesystem;

constexpr PcmFormat kWtgPcm = {8000, 1};  // what the speech encoder takes
constexpr size_t kWtgFrameBytes = 10;     // per frame of input
constexpr size_t kPcmFrameBytes = 160;    // a frame of input: 80 16-bit samples

struct Completions : TZPcmToWtgDelegate {
  size_t count = 0;
  void convertPcmToWtgDone(std::shared_ptr<TZPcm2WtgModel>) override { ++count; }
};

void removeAll(const std::vector<WtgJob>& jobs, size_t upTo) {
  for (size_t i = 0; i < upTo; ++i) removeOutput(jobs[i].output);
}

}  // namespace

std::optional<std::vector<size_t>> convertToWtg(const std::vector<WtgJob>& jobs) {
  // Every input and output is checked before anything is queued: the file encoder ends the
  // process on a file it cannot open, so it must never meet one.
  std::vector<PcmInput> inputs;
  for (size_t i = 0; i < jobs.size(); ++i) {
    auto input = PcmInput::open(jobs[i].input, kWtgPcm);
    if (!input || !prepareJobOutput(jobs[i].input, jobs[i].output)) {
      removeAll(jobs, i);  // the outputs made so far; never job i's, which may be its input
      return std::nullopt;
    }
    inputs.push_back(std::move(*input));
  }

  const auto done = std::make_shared<Completions>();
  auto service = TZPcmToWtg::initWithDelegate(done);
  for (size_t i = 0; i < jobs.size(); ++i)
    service->convertPcmToWtg(std::make_shared<TZPcm2WtgModel>(inputs[i].path(), jobs[i].output));
  const bool progress = showProgress() && jobs.size() > 1;
  while (!TZMainQueue::runUntil([&] { return done->count == jobs.size(); },
                                std::chrono::milliseconds(200))) {
    if (progress)
      std::cerr << "\rconverting: " << done->count << " of " << jobs.size() << std::flush;
  }
  if (progress) std::cerr << "\rconverting: " << done->count << " of " << jobs.size() << "\n";

  // The file encoder does not check its writes: a WTG file short of one frame per 80 input
  // samples was not written whole. (Only a regular file can be measured.)
  std::vector<size_t> frames;
  for (size_t i = 0; i < jobs.size(); ++i) {
    std::error_code error;
    const auto expected =
        static_cast<size_t>(fs::file_size(inputs[i].path(), error)) / kPcmFrameBytes;
    const auto written = fs::is_regular_file(jobs[i].output, error)
                             ? static_cast<size_t>(fs::file_size(jobs[i].output, error))
                             : expected * kWtgFrameBytes;
    if (written != expected * kWtgFrameBytes) {
      removeAll(jobs, jobs.size());
      toolFail(jobs[i].output + ": write error: " + std::to_string(written / kWtgFrameBytes) +
               " of " + std::to_string(expected) + " frames written");
      return std::nullopt;
    }
    frames.push_back(expected);
  }
  return frames;
}

int runPcm2Wtg(const std::vector<std::string>& paths) {
  const std::string& last = paths.back();
  std::error_code error;
  const bool intoFolder = last.ends_with('/') || fs::is_directory(last, error);
  if (!intoFolder && paths.size() != 2)
    return usageFail("pcm2wtg: several inputs need an output folder (ending in /)");
  std::vector<WtgJob> jobs;
  for (size_t i = 0; i + 1 < paths.size(); ++i) {
    std::string output = last;
    if (intoFolder)
      output = (fs::path(last) / fs::path(paths[i]).filename().replace_extension(".wtg")).string();
    for (const auto& job : jobs)
      if (job.output == output) return toolFail(output + ": named for two inputs");
    jobs.push_back({paths[i], output});
  }
  if (intoFolder && !fs::is_directory(last, error)) return toolFail(last + ": no such folder");

  const auto frames = convertToWtg(jobs);
  if (!frames) return 1;
  for (size_t i = 0; i < jobs.size(); ++i)
    std::cout << "pcm2wtg: " << jobs[i].input << " -> " << jobs[i].output << " (" << (*frames)[i]
              << " frames, " << (*frames)[i] * kWtgFrameBytes << " bytes)\n";
  return 0;
}
