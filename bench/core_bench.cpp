// Cost of the hand-over between a caller and a worker: the locked queue and the main queue.
#include <benchmark/benchmark.h>

#include "kestrune/TZMainQueue.h"
#include "kestrune/TZThreadSafeStack.h"

static void BM_StackPushPop(benchmark::State& state) {
  TZThreadSafeStack stack;
  auto chunk = std::make_shared<TZBytes>(static_cast<size_t>(state.range(0)), 0);
  for (auto _ : state) {
    stack.push(chunk);
    benchmark::DoNotOptimize(stack.pop());
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_StackPushPop)->Arg(320)->Arg(1920);

static void BM_MainQueuePostRun(benchmark::State& state) {
  int counter = 0;
  for (auto _ : state) {
    TZMainQueue::post([&counter] { ++counter; });
    TZMainQueue::runPending();
  }
  benchmark::DoNotOptimize(counter);
}
BENCHMARK(BM_MainQueuePostRun);
