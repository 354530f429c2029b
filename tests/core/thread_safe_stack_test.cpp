#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "kestrune/TZThreadSafeStack.h"

namespace {

std::shared_ptr<TZBytes> bytes(std::initializer_list<uint8_t> values) {
  return std::make_shared<TZBytes>(values);
}

TEST(ThreadSafeStack, PopsInArrivalOrderThenNullWithoutWaitingAndClears) {
  TZThreadSafeStack stack;
  stack.clear();
  EXPECT_TRUE(stack.isEmpty());
  EXPECT_EQ(stack.pop(), nullptr);

  stack.push(bytes({'A'}));
  stack.push(bytes({'B'}));
  stack.push(bytes({'C'}));
  EXPECT_FALSE(stack.isEmpty());
  EXPECT_EQ(*stack.pop(), TZBytes{'A'});
  EXPECT_EQ(*stack.pop(), TZBytes{'B'});
  EXPECT_EQ(*stack.pop(), TZBytes{'C'});
  EXPECT_EQ(stack.pop(), nullptr);
  EXPECT_TRUE(stack.isEmpty());

  stack.push(bytes({1}));
  stack.push(bytes({2}));
  stack.clear();
  EXPECT_TRUE(stack.isEmpty());
  EXPECT_EQ(stack.pop(), nullptr);
}

TEST(ThreadSafeStack, KeepsTheBufferAndCopiesItAtPopTime) {
  TZThreadSafeStack stack;
  auto buffer = bytes({1, 2});
  stack.push(buffer);
  buffer->push_back(3);  // a change after push is seen: the stack holds this very buffer
  auto popped = stack.pop();
  EXPECT_EQ(*popped, (TZBytes{1, 2, 3}));
  buffer->push_back(4);  // a change after pop is not: the caller owns a snapshot
  EXPECT_EQ(*popped, (TZBytes{1, 2, 3}));
}

TEST(ThreadSafeStack, SeveralProducersOneConsumerLoseNothingAndKeepEachProducersOrder) {
  constexpr int kProducers = 4;
  constexpr int kPerProducer = 2000;
  TZThreadSafeStack stack;
  std::atomic<int> producersDone{0};

  std::vector<std::thread> producers;
  for (int p = 0; p < kProducers; ++p) {
    producers.emplace_back([&, p] {
      for (int i = 0; i < kPerProducer; ++i) {
        stack.push(bytes({uint8_t(p), uint8_t(i >> 8), uint8_t(i & 0xFF)}));
      }
      producersDone.fetch_add(1);
    });
  }

  std::vector<int> nextFromProducer(kProducers, 0);
  int received = 0;
  while (received < kProducers * kPerProducer) {
    // Read the producers' count first: once all are done, an empty stack stays empty.
    if (producersDone.load() == kProducers && stack.isEmpty()) break;
    auto element = stack.pop();
    if (!element) continue;
    ASSERT_EQ(element->size(), 3u);
    const int producer = (*element)[0];
    const int index = (*element)[1] << 8 | (*element)[2];
    ASSERT_EQ(index, nextFromProducer[producer]) << "producer " << producer;
    ++nextFromProducer[producer];
    ++received;
  }
  for (auto& producer : producers) producer.join();
  EXPECT_EQ(received, kProducers * kPerProducer);
  EXPECT_TRUE(stack.isEmpty());
}

}  // namespace
