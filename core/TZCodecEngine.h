// What every codec object has in common: one worker thread and the semaphore that wakes it,
// the first-in, first-out queue of work units, the stop flag, the job's output file, release
// and destruction serialised, and guarded posts to TZMainQueue. A codec object plugs in what
// its worker does with one unit and what it does when the queue has run dry.
//
// The worker loop: a pass finds the queue empty -> the idle step, then a wait on the
// semaphore (which starts at 1, so the first wait returns at once); then it takes the oldest
// unit, if any, and runs the unit step on it unless the engine is stopping. The loop ends
// when the stop flag is seen at the bottom of a pass.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>

#include "core/TZOutputFile.h"
#include "core/TZWorker.h"
#include "kestrune/TZThreadSafeStack.h"

class TZCodecEngine {
 public:
  using UnitStep = std::function<void(const TZBytes& unit)>;
  using IdleStep = std::function<void()>;

  TZCodecEngine() = default;
  // Releases without a teardown if the owner has not released.
  ~TZCodecEngine();
  TZCodecEngine(const TZCodecEngine&) = delete;
  TZCodecEngine& operator=(const TZCodecEngine&) = delete;

  // Starts the worker. owner is the codec object this engine belongs to: tasks given to
  // post() run only while it lives. The worker itself never holds it.
  void start(std::weak_ptr<const void> owner, UnitStep unit, IdleStep idle);

  void push(std::shared_ptr<TZBytes> unit) { stack_.push(std::move(unit)); }
  bool isEmpty() { return stack_.isEmpty(); }
  void clear() { stack_.clear(); }
  // Lets the worker through one wait.
  void signal() { worker_.signal(); }

  bool stopped() const { return stop_.load(); }

  // Stops for good: raises the stop flag, drops the queue, wakes and joins the worker, runs
  // teardown (which frees the coder state: no unit step can use it afterwards) and closes the
  // output file. Only the first call does this; any other, concurrent ones included, returns
  // once it is done. Safe from any thread and from inside a delegate callback.
  void release(const std::function<void()>& teardown);

  // The job's output file, written by the unit steps.
  TZOutputFile& outputFile() { return outputFile_; }

  // Posts task to TZMainQueue. When it comes to run, it does nothing if the owner is gone or
  // the engine released: nothing is delivered after release.
  void post(std::function<void()> task);

  // Waits until the worker is parked with no wake-up pending, or has ended. False when the
  // timeout passes first.
  bool waitUntilIdle(std::chrono::milliseconds timeout) { return worker_.waitUntilIdle(timeout); }

 private:
  void run(const UnitStep& unit, const IdleStep& idle);

  TZWorker worker_;
  TZThreadSafeStack stack_;
  std::atomic<bool> stop_{false};
  std::mutex releaseMutex_;
  bool released_ = false;
  TZOutputFile outputFile_;
  std::weak_ptr<const void> owner_;
};
