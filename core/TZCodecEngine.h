// What every codec object and the conversion service have in common: one worker thread and
// the semaphore that wakes it, the first-in, first-out queue of work, the stop flag, the job's
// output file, release and destruction serialised, and guarded posts to TZMainQueue.
//
// A codec object plugs in what its worker does with one unit of bytes and what it does when
// the engine's queue has run dry; a service with a task list of its own plugs in a step that
// takes and runs its next task. Each pass of the worker runs that step; a pass that finds no
// work waits on the semaphore (which starts at 1, so the first wait returns at once). The
// loop ends when the stop flag is seen at the bottom of a pass.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "core/TZOutputFile.h"
#include "core/TZWorker.h"
#include "kestrune/TZThreadSafeStack.h"

class TZCodecEngine {
 public:
  using UnitStep = std::function<void(const TZBytes& unit)>;
  using IdleStep = std::function<void()>;
  // Takes and runs the next task; false when there was none.
  using TaskStep = std::function<bool()>;

  TZCodecEngine() = default;
  // Releases without a teardown if the owner has not released.
  ~TZCodecEngine();
  TZCodecEngine(const TZCodecEngine&) = delete;
  TZCodecEngine& operator=(const TZCodecEngine&) = delete;

  // Starts the worker on the engine's own queue: unit runs on each unit popped (unless the
  // engine is stopping), idle whenever the queue is found empty. owner is the object this
  // engine belongs to: tasks given to post() run only while it lives. The worker itself never
  // holds it.
  void start(std::weak_ptr<const void> owner, UnitStep unit, IdleStep idle);
  // Starts the worker on the owner's own task list; the worker thread is named after name
  // (cut to the 15 characters a thread name holds).
  void startTasks(std::weak_ptr<const void> owner, TaskStep next, const std::string& name = "");

  void push(std::shared_ptr<TZBytes> unit) { stack_.push(std::move(unit)); }
  bool isEmpty() { return stack_.isEmpty(); }
  void clear() { stack_.clear(); }
  // Lets the worker through one wait.
  void signal() { worker_.signal(); }

  bool stopped() const { return stop_.load(); }

  // Stops for good: raises the stop flag, waits for a delivery under way on another thread,
  // drops the queue, wakes and joins the worker, runs teardown (which frees the coder state:
  // no unit step can use it afterwards), closes the output file and takes back the engine's
  // tasks still waiting on TZMainQueue. Only the first call does this; any other, concurrent
  // ones included, returns once it is done. Safe from any thread and from inside a delegate
  // callback.
  void release(const std::function<void()>& teardown);

  // The job's output file, written by the unit steps.
  TZOutputFile& outputFile() { return outputFile_; }

  // Posts task to TZMainQueue. When it comes to run, it does nothing if the owner is gone or
  // the engine released: nothing is delivered after release. A task runs under a lock that
  // release waits for, so a host whose threads run tasks of two objects at once must not
  // release each one from the other's delegate call.
  void post(std::function<void()> task);

  // Waits until the worker is parked with no wake-up pending, or has ended. False when the
  // timeout passes first.
  bool waitUntilIdle(std::chrono::milliseconds timeout) { return worker_.waitUntilIdle(timeout); }

 private:
  void run(const TaskStep& next);

  TZWorker worker_;
  TZThreadSafeStack stack_;
  std::atomic<bool> stop_{false};
  std::mutex releaseMutex_;
  std::recursive_mutex deliveryMutex_;  // held while a delivery runs
  bool released_ = false;
  TZOutputFile outputFile_;
  std::weak_ptr<const void> owner_;
};
