// Runs the codec stress rounds for a while, under one kind of host or cycling through the
// three, and prints the process's peak and current resident memory after the first minute and at
// the end: over a long run both must stay flat. Not part of the test suite. Usage: codec_soak
// [SECONDS [draining|silent|eventloop|mixed]]   (600 s, mixed by default)
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "kestrune/TZLogManager.h"
#include "tests/lifecycle/codec_stress.h"
#include "tests/support/test_files.h"

namespace {

// VmHWM and VmRSS from /proc/self/status.
void printMemory(const char* when, double seconds, uint32_t rounds) {
  std::ifstream status("/proc/self/status");
  std::string line, peak, current;
  while (std::getline(status, line)) {
    if (line.starts_with("VmHWM:")) peak = line.substr(6);
    if (line.starts_with("VmRSS:")) current = line.substr(6);
  }
  std::printf("%-6s %7.1f s %6u rounds  VmHWM %s  VmRSS %s\n", when, seconds, rounds, peak.c_str(),
              current.c_str());
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const double duration = argc > 1 ? std::atof(argv[1]) : 600.0;
  const double baselineAt = std::min(60.0, duration / 2);
  TZLogManager::setLog(false, false, 1);
  TempDocuments documents;
  const std::string mode = argc > 2 ? argv[2] : "mixed";
  const std::map<std::string, std::vector<StressHost>> modes = {
      {"draining", {StressHost::Draining}},
      {"silent", {StressHost::Silent}},
      {"eventloop", {StressHost::EventLoop}},
      {"mixed", {StressHost::Draining, StressHost::Silent, StressHost::EventLoop}}};
  if (!modes.contains(mode)) {
    std::fprintf(stderr, "unknown host %s\n", mode.c_str());
    return 2;
  }
  const std::vector<StressHost>& hosts = modes.at(mode);
  const auto start = std::chrono::steady_clock::now();
  const auto elapsed = [&] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  StressReport total;
  uint32_t round = 0;
  bool baselinePrinted = false;
  while (elapsed() < duration) {
    StressReport report;
    {
      StressHostRunner host(hosts[round % hosts.size()]);
      report = runStressRound(round, documents.path());
    }
    total.deliveries += report.deliveries;
    total.lateDeliveries += report.lateDeliveries;
    total.malformed += report.malformed;
    ++round;
    if (!baselinePrinted && elapsed() >= baselineAt) {
      printMemory("start", elapsed(), round);
      baselinePrinted = true;
    }
  }
  printMemory("end", elapsed(), round);
  std::printf(
      "deliveries %lld, late %lld, malformed %lld\n", static_cast<long long>(total.deliveries),
      static_cast<long long>(total.lateDeliveries), static_cast<long long>(total.malformed));
  return total.lateDeliveries == 0 && total.malformed == 0 ? 0 : 1;
}
