#include "core/TZCodecEngine.h"

#include <pthread.h>

#include "core/TZMainQueueOwned.h"

TZCodecEngine::~TZCodecEngine() {
  release([] {});
}

void TZCodecEngine::start(std::weak_ptr<const void> owner, UnitStep unit, IdleStep idle) {
  startTasks(std::move(owner), [this, unit = std::move(unit), idle = std::move(idle)] {
    if (stack_.isEmpty()) {
      idle();
      return false;
    }
    // The wake-up count may run ahead of the queue, so an empty pop is a pass with nothing to
    // do. A unit popped while release is under way is dropped.
    const auto next = stack_.pop();
    if (next && !stop_) unit(*next);
    return true;
  });
}

void TZCodecEngine::startTasks(std::weak_ptr<const void> owner, TaskStep next,
                               const std::string& name) {
  owner_ = std::move(owner);
  worker_.start([this, next = std::move(next), name = name.substr(0, 15)] {
    if (!name.empty()) pthread_setname_np(pthread_self(), name.c_str());
    run(next);
  });
}

void TZCodecEngine::run(const TaskStep& next) {
  if (stop_) return;
  do {
    if (!next()) worker_.wait();
  } while (!stop_);
}

void TZCodecEngine::release(const std::function<void()>& teardown) {
  stop_ = true;
  // A delivery under way on another thread ends before release returns, so that nothing
  // reaches the delegate afterwards. One under way on this thread is the caller itself.
  { const std::lock_guard<std::recursive_mutex> delivered(deliveryMutex_); }
  std::lock_guard<std::mutex> guard(releaseMutex_);
  if (released_) return;
  stack_.clear();
  // Joined before the teardown, so no pass can use a freed coder state.
  worker_.wakeAndJoin();
  teardown();
  outputFile_.close();
  // Only the worker posts, so nothing of this engine reaches the queue any more: what still
  // waits there would only be skipped when it runs, and a host may never run it.
  TZMainQueueDropOwned(this);
  released_ = true;
}

void TZCodecEngine::post(std::function<void()> task) {
  TZMainQueuePostOwned(this, [owner = owner_, this, task = std::move(task)] {
    // The owner keeps this engine alive while the task runs; the lock is let go first.
    const auto alive = owner.lock();
    if (!alive) return;
    const std::lock_guard<std::recursive_mutex> delivering(deliveryMutex_);
    if (!stop_) task();
  });
}
