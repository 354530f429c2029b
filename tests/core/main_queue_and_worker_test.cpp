#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "core/TZWorker.h"
#include "kestrune/TZMainQueue.h"

namespace {

using namespace std::chrono_literals;

TEST(MainQueue, RunsTasksFromOtherThreadsInPostingOrderOnTheDrainingThread) {
  TZMainQueue::runPending();
  std::vector<int> order;
  std::thread::id ranOn;
  std::thread([&] {
    for (int i = 0; i < 5; ++i)
      TZMainQueue::post([&order, &ranOn, i] {
        order.push_back(i);
        ranOn = std::this_thread::get_id();
      });
  }).join();
  EXPECT_EQ(TZMainQueue::runPending(), 5u);
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
  EXPECT_EQ(ranOn, std::this_thread::get_id());
  EXPECT_EQ(TZMainQueue::runPending(), 0u);
}

TEST(MainQueue, RunUntilWaitsForLateTasksAndGivesUpAtTheTimeout) {
  bool done = false;
  std::thread late([&] {
    std::this_thread::sleep_for(20ms);
    TZMainQueue::post([&done] { done = true; });
  });
  EXPECT_TRUE(TZMainQueue::runUntil([&] { return done; }, 10s));
  late.join();
  EXPECT_FALSE(TZMainQueue::runUntil([] { return false; }, 10ms));
}

TEST(MainQueue, DispatcherReceivesWaitingAndLaterTasksInOrder) {
  TZMainQueue::runPending();
  std::vector<int> order;
  TZMainQueue::post([&order] { order.push_back(1); });
  std::vector<TZMainQueue::Task> forwarded;
  TZMainQueue::setDispatcher(
      [&forwarded](TZMainQueue::Task task) { forwarded.push_back(std::move(task)); });
  TZMainQueue::post([&order] { order.push_back(2); });
  TZMainQueue::setDispatcher(nullptr);
  EXPECT_EQ(TZMainQueue::pendingCount(), 0u);
  for (auto& task : forwarded) task();
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(Worker, FirstWaitPassesThenParksUntilSignalled) {
  TZWorker worker;
  std::atomic<int> passes{0};
  std::atomic<bool> stop{false};
  worker.start([&] {
    while (!stop.load()) {
      worker.wait();
      passes.fetch_add(1);
    }
  });
  // The initial count of 1 lets the first wait through; the second one parks.
  ASSERT_TRUE(worker.waitUntilIdle(10s));
  EXPECT_EQ(passes.load(), 1);
  worker.signal();
  ASSERT_TRUE(worker.waitUntilIdle(10s));
  EXPECT_EQ(passes.load(), 2);
  stop.store(true);
  worker.wakeAndJoin();
  EXPECT_EQ(passes.load(), 3);
  EXPECT_TRUE(worker.waitUntilIdle(0ms));  // an ended worker is idle
}

TEST(Worker, DestructionWakesAndJoinsAParkedWorker) {
  std::atomic<bool> stop{false};
  std::atomic<bool> ended{false};
  {
    TZWorker worker;
    worker.start([&] {
      while (!stop.load()) worker.wait();
      ended.store(true);
    });
    ASSERT_TRUE(worker.waitUntilIdle(10s));
    stop.store(true);
  }
  EXPECT_TRUE(ended.load());
}

}  // namespace
