// Every codec class under thread stress (see codec_stress.h), once per kind of host. Meant for
// ThreadSanitizer and AddressSanitizer (LeakSanitizer on) as much as for the checks
// themselves: nothing reaches an object after its release, every delivery keeps its class's
// contract, and a host that never drains the main queue is left holding nothing once the
// objects are gone.
#include "tests/lifecycle/codec_stress.h"

#include <gtest/gtest.h>

#include "kestrune/TZLogManager.h"
#include "kestrune/TZMainQueue.h"
#include "tests/support/test_files.h"

#if defined(__SANITIZE_ADDRESS__)
// Leaks fail the run even where LeakSanitizer is not on by default.
extern "C" const char* __asan_default_options() {
  return "detect_leaks=1";
}
#endif

namespace {

// Sanitized builds run several times slower on the shared two cores.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr uint32_t kRounds = 45;
#else
constexpr uint32_t kRounds = 150;
#endif

class CodecStress : public ::testing::TestWithParam<StressHost> {
 protected:
  void SetUp() override {
    TZLogManager::setLog(false, false, 1);  // thousands of objects' lines
    TZMainQueue::runPending();
  }
  void TearDown() override { TZLogManager::setLog(true, false, 1); }
  TempDocuments documents_;
};

TEST_P(CodecStress, FeedingReleaseAndDestructionFromManyThreads) {
  StressReport total;
  {
    StressHostRunner host(GetParam());
    for (uint32_t round = 0; round < kRounds; ++round) {
      const StressReport report = runStressRound(round, documents_.path());
      total.deliveries += report.deliveries;
      total.lateDeliveries += report.lateDeliveries;
      total.malformed += report.malformed;
    }
    // Every object is destroyed: none of their deliveries is left waiting.
    EXPECT_EQ(TZMainQueue::pendingCount(), 0u);
  }
  EXPECT_EQ(total.lateDeliveries, 0);
  EXPECT_EQ(total.malformed, 0);
  if (GetParam() == StressHost::Silent)
    EXPECT_EQ(total.deliveries, 0);
  else
    EXPECT_GT(total.deliveries, 0);
}

std::string hostName(const ::testing::TestParamInfo<StressHost>& info) {
  const char* names[] = {"Draining", "Silent", "EventLoop"};
  return names[static_cast<int>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(Hosts, CodecStress,
                         ::testing::Values(StressHost::Draining, StressHost::Silent,
                                           StressHost::EventLoop),
                         hostName);

}  // namespace
