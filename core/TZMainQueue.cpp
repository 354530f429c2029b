#include "kestrune/TZMainQueue.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <iterator>
#include <mutex>

#include "core/TZMainQueueOwned.h"

namespace {

struct PostedTask {
  const void* owner;  // null for the host's own tasks
  TZMainQueue::Task task;
};

struct MainQueueState {
  std::mutex mutex;
  std::condition_variable posted;
  std::deque<PostedTask> tasks;
  TZMainQueue::Dispatcher dispatcher;
};

// Never destroyed: worker threads may still post while the process exits.
MainQueueState& state() {
  static auto* instance = new MainQueueState;
  return *instance;
}

bool runOne() {
  TZMainQueue::Task task;
  {
    std::lock_guard<std::mutex> guard(state().mutex);
    if (state().tasks.empty()) return false;
    task = std::move(state().tasks.front().task);
    state().tasks.pop_front();
  }
  task();
  return true;
}

}  // namespace

void TZMainQueue::post(Task task) {
  TZMainQueuePostOwned(nullptr, std::move(task));
}

void TZMainQueuePostOwned(const void* owner, TZMainQueue::Task task) {
  TZMainQueue::Dispatcher dispatcher;
  {
    std::lock_guard<std::mutex> guard(state().mutex);
    if (!state().dispatcher) {
      // A host waits only on an empty queue, so only the first task of a batch wakes it;
      // the rest are run in the same drain.
      const bool wasEmpty = state().tasks.empty();
      state().tasks.push_back({owner, std::move(task)});
      if (wasEmpty) state().posted.notify_all();
      return;
    }
    dispatcher = state().dispatcher;
  }
  dispatcher(std::move(task));
}

size_t TZMainQueueDropOwned(const void* owner) {
  std::deque<PostedTask> dropped;
  {
    std::lock_guard<std::mutex> guard(state().mutex);
    auto& tasks = state().tasks;
    const auto kept = std::stable_partition(tasks.begin(), tasks.end(),
                                            [owner](const auto& t) { return t.owner != owner; });
    std::move(kept, tasks.end(), std::back_inserter(dropped));
    tasks.erase(kept, tasks.end());
  }
  return dropped.size();
}

size_t TZMainQueue::runPending() {
  size_t count = 0;
  while (runOne()) ++count;
  return count;
}

bool TZMainQueue::runUntil(const std::function<bool()>& predicate,
                           std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    runPending();
    if (predicate()) return true;
    std::unique_lock<std::mutex> lock(state().mutex);
    if (state().tasks.empty() &&
        !state().posted.wait_until(lock, deadline, [] { return !state().tasks.empty(); })) {
      lock.unlock();
      return predicate();
    }
  }
}

void TZMainQueue::setDispatcher(Dispatcher dispatcher) {
  std::deque<PostedTask> waiting;
  {
    std::lock_guard<std::mutex> guard(state().mutex);
    state().dispatcher = dispatcher;
    if (dispatcher) waiting.swap(state().tasks);
  }
  for (auto& posted : waiting) dispatcher(std::move(posted.task));
}

size_t TZMainQueue::pendingCount() {
  std::lock_guard<std::mutex> guard(state().mutex);
  return state().tasks.size();
}
