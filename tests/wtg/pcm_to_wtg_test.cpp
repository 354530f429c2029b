// The conversion service: first in, first out, one at a time, each completion on the main
// queue with the worker's copy of its task.
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>
#include <vector>

#include "kestrune/TZMainQueue.h"
#include "kestrune/TZPcmToWtg.h"
#include "tests/support/test_files.h"

namespace {

using namespace std::chrono_literals;

struct Done : TZPcmToWtgDelegate {
  std::vector<std::shared_ptr<TZPcm2WtgModel>> models;
  void convertPcmToWtgDone(std::shared_ptr<TZPcm2WtgModel> model) override {
    models.push_back(std::move(model));
  }
};

class PcmToWtg : public ::testing::Test {
 protected:
  void SetUp() override {
    const TZBytes speech = readFile(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-8k.pcm");
    writeFile(path("speech.pcm"), speech);
    writeFile(path("short.pcm"), TZBytes(158, 1));  // 79 samples: an empty WTG file
    // Two minutes of speech: long enough to add a task while it converts.
    TZBytes longSpeech;
    for (int i = 0; i < 12; ++i) longSpeech.insert(longSpeech.end(), speech.begin(), speech.end());
    writeFile(path("long.pcm"), longSpeech);
  }
  void TearDown() override { TZMainQueue::runPending(); }
  std::string path(const std::string& name) const { return documents_.file(name); }
  std::shared_ptr<TZPcm2WtgModel> task(const std::string& in, const std::string& out) {
    return std::make_shared<TZPcm2WtgModel>(path(in), path(out));
  }

  TempDocuments documents_;
  std::shared_ptr<Done> done_ = std::make_shared<Done>();
  std::shared_ptr<TZPcmToWtg> service_ = TZPcmToWtg::initWithDelegate(done_);
};

TEST_F(PcmToWtg, TasksRunInOrderAndReportCopies) {
  const std::vector<std::shared_ptr<TZPcm2WtgModel>> tasks = {
      task("speech.pcm", "a.wtg"), task("short.pcm", "b.wtg"), task("speech.pcm", "c.wtg")};
  for (const auto& model : tasks) service_->convertPcmToWtg(model);
  tasks[2]->setWtgPath(path("renamed.wtg"));  // before the worker takes it (it is third)
  ASSERT_TRUE(TZMainQueue::runUntil([&] { return done_->models.size() == 3; }, 60s));

  const std::vector<std::string> written = {path("a.wtg"), path("b.wtg"), path("renamed.wtg")};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_NE(done_->models[i], tasks[i]) << "a copy, not the queued model";
    EXPECT_EQ(done_->models[i]->pcmPath(), tasks[i]->pcmPath());
    EXPECT_EQ(done_->models[i]->wtgPath(), written[i]);
  }
  EXPECT_EQ(readFile(path("a.wtg")).size(), readFile(path("speech.pcm")).size() / 160 * 10);
  EXPECT_TRUE(std::filesystem::exists(path("b.wtg")));
  EXPECT_TRUE(readFile(path("b.wtg")).empty());
}

TEST_F(PcmToWtg, ATaskAddedDuringAConversionWaitsForIt) {
  service_->convertPcmToWtg(task("long.pcm", "long.wtg"));
  while (!std::filesystem::exists(path("long.wtg"))) std::this_thread::yield();  // under way
  service_->convertPcmToWtg(task("speech.pcm", "next.wtg"));
  // The next conversion opens its output only once the long one has closed its file whole.
  while (!std::filesystem::exists(path("next.wtg"))) std::this_thread::yield();
  EXPECT_EQ(std::filesystem::file_size(path("long.wtg")),
            std::filesystem::file_size(path("long.pcm")) / 160 * 10);
  ASSERT_TRUE(TZMainQueue::runUntil([&] { return done_->models.size() == 2; }, 60s));
  EXPECT_EQ(done_->models[0]->wtgPath(), path("long.wtg"));
  EXPECT_EQ(done_->models[1]->wtgPath(), path("next.wtg"));
}

TEST_F(PcmToWtg, DestroyingTheServiceEndsAfterTheConversionUnderWay) {
  service_->convertPcmToWtg(task("long.pcm", "long.wtg"));
  service_->convertPcmToWtg(task("speech.pcm", "dropped.wtg"));
  while (!std::filesystem::exists(path("long.wtg"))) std::this_thread::yield();
  service_.reset();  // joins the worker once the long conversion is done
  TZMainQueue::runPending();
  EXPECT_TRUE(done_->models.empty());
  EXPECT_FALSE(std::filesystem::exists(path("dropped.wtg")));
}

}  // namespace
