// The one worker thread of a codec object and the counting semaphore that wakes it.
//
// The semaphore is built on a mutex and a condition variable rather than
// std::counting_semaphore so that a host can also ask whether the worker has gone idle:
// parked in wait() with no signal pending, or ended.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

class TZWorker {
 public:
  TZWorker() = default;
  // Joins the thread if the owner has not done so.
  ~TZWorker();
  TZWorker(const TZWorker&) = delete;
  TZWorker& operator=(const TZWorker&) = delete;

  // Starts the thread on body. The semaphore starts with a count of 1, so the body's first
  // wait() returns at once.
  void start(std::function<void()> body);

  // Semaphore signal: lets one wait() through.
  void signal();
  // Semaphore wait without time limit; called by the body only.
  void wait();

  // Signals once so that a parked body can see its owner's stop flag, then joins the
  // thread. Does nothing when the thread has ended already or when called from the worker
  // itself (which then ends on its own after the current pass).
  void wakeAndJoin();

  // Waits until the worker is parked in wait() with no signal pending, or has ended.
  // Returns false when the timeout passes first.
  bool waitUntilIdle(std::chrono::milliseconds timeout);

 private:
  bool idleLocked() const { return ended_ || (parked_ && count_ == 0); }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable idle_;
  int count_ = 1;
  bool parked_ = false;
  bool ended_ = false;
  std::thread thread_;
};
