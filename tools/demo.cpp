#include "tools/demo.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <thread>

#include "kestrune/TZAudioUnitInfo.h"
#include "kestrune/TZLogManager.h"
#include "kestrune/TZMainQueue.h"
#include "kestrune/TZPlatform.h"
#include "kestrune/TZThreadSafeStack.h"
#include "tools/commands.h"
#include "tools/tool_io.h"

namespace {

struct DemoStep {
  const char* title;
  bool (*run)(const DemoContext&);
};

const DemoStep kSteps[] = {
    {"core services", demoCore},
    {"Opus encode and decode", demoOpus},
    {"Speex wideband decode", demoSpeex},
    {"WTG conversion (G.729-derived speech encoder)", demoWtg},
    {"WTG decoding (speech decoder and postfilter)", demoWtgDecode},
};

std::string sampleDirectory() {
  if (const char* env = std::getenv("KESTRUNE_SAMPLE_DIR"); env != nullptr && *env != '\0')
    return env;
  return KESTRUNE_SAMPLE_DIR;
}

}  // namespace

bool demoCore(const DemoContext& context) {
  std::cout << "  Kestrune " << TZAudioUnitInfo::sdkVersion() << ", " << KestruneVersionString;
  TZLogManager::sdkVersion();
  TZLogManager::logSomething("demo output goes to " + context.outputDir);

  TZThreadSafeStack stack;
  for (const char* word : {"first", "in,", "first", "out"})
    stack.push(std::make_shared<TZBytes>(word, word + std::strlen(word)));
  std::string order;
  while (auto element = stack.pop()) order += std::string(element->begin(), element->end()) + " ";
  std::cout << "  thread-safe stack pops in arrival order: " << order << "\n";

  bool delivered = false;
  std::thread([&delivered] { TZMainQueue::post([&delivered] { delivered = true; }); }).join();
  TZMainQueue::runUntil([&] { return delivered; }, std::chrono::seconds(1));
  std::cout << "  a task posted from a worker thread ran on the main queue: "
            << (delivered ? "yes" : "no") << "\n";
  std::cout << "  log lines were written to " << TZPlatform::documentsPath("TZ_Log.txt") << "\n";
  return delivered;
}

int runDemo(const std::string& outputDir) {
  DemoContext context{sampleDirectory(), outputDir};
  std::error_code error;
  std::filesystem::create_directories(context.outputDir, error);
  if (error) return toolFail(context.outputDir + ": cannot be created: " + error.message());
  TZPlatform::setDocumentsDirectory(context.outputDir);

  // Unbuffered, so the steps and the library's log lines (standard error) stay in order.
  std::cout << std::unitbuf;
  bool ok = true;
  for (const auto& step : kSteps) {
    std::cout << "== " << step.title << "\n";
    const bool stepOk = step.run(context);
    if (!stepOk) std::cout << "  FAILED\n";
    ok = ok && stepOk;
  }
  std::cout << (ok ? "demo finished: every service ran" : "demo finished with failures") << "\n";
  return ok ? 0 : 1;
}
