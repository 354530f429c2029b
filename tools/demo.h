// The steps of `kestrune demo`: a tour of the library's services on bundled sample audio.
#pragma once

#include <string>

struct DemoContext {
  std::string sampleDir;  // bundled sample audio
  std::string outputDir;  // where the demo writes (also the Documents directory)
};

// Each step prints what it did on stdout and returns false when something failed.
bool demoCore(const DemoContext& context);
bool demoOpus(const DemoContext& context);
bool demoSpeex(const DemoContext& context);
bool demoWtg(const DemoContext& context);
bool demoWtgDecode(const DemoContext& context);
