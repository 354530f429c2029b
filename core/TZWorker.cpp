#include "core/TZWorker.h"

TZWorker::~TZWorker() {
  wakeAndJoin();
}

void TZWorker::start(std::function<void()> body) {
  thread_ = std::thread([this, body = std::move(body)] {
    body();
    std::lock_guard<std::mutex> guard(mutex_);
    ended_ = true;
    idle_.notify_all();
  });
}

void TZWorker::signal() {
  std::lock_guard<std::mutex> guard(mutex_);
  ++count_;
  wake_.notify_one();
}

void TZWorker::wait() {
  std::unique_lock<std::mutex> lock(mutex_);
  parked_ = true;
  if (count_ == 0) idle_.notify_all();
  wake_.wait(lock, [this] { return count_ > 0; });
  --count_;
  parked_ = false;
}

void TZWorker::wakeAndJoin() {
  if (!thread_.joinable() || thread_.get_id() == std::this_thread::get_id()) return;
  signal();
  thread_.join();
}

bool TZWorker::waitUntilIdle(std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (!thread_.joinable() && !ended_) return true;  // never started
  return idle_.wait_for(lock, timeout, [this] { return idleLocked(); });
}
