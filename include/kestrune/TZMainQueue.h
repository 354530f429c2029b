// The application's main thread. Every delegate call and completion of the library is
// posted here. A host either drains the queue on its own main thread (runPending, runUntil)
// or installs a dispatcher that forwards each task to its own event loop. The deliveries of a
// codec object or service that is released or destroyed are taken back from the queue, so a
// host that drains late, or never, holds nothing of the objects it no longer has.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>

#include "kestrune/kestrune_export.h"

class KESTRUNE_API TZMainQueue {
 public:
  using Task = std::function<void()>;
  using Dispatcher = std::function<void(Task)>;

  // Posts a task from any thread. With a dispatcher installed the task goes straight to it;
  // otherwise it waits in the queue until the host drains it.
  static void post(Task task);

  // Runs every task that is waiting, in posting order, including tasks that those tasks
  // post. Returns how many ran. Call it on the thread the host treats as main.
  static size_t runPending();

  // Runs tasks as they arrive until predicate() holds or the timeout passes. Returns the
  // final value of predicate().
  static bool runUntil(const std::function<bool()>& predicate, std::chrono::milliseconds timeout);

  // Installs a dispatcher that receives every later task (tasks already waiting are handed
  // to it at once, in order); an empty dispatcher returns to queueing. The dispatcher must
  // run tasks on the host's main thread, never inline on the posting thread.
  static void setDispatcher(Dispatcher dispatcher);

  // Number of tasks waiting to be drained.
  static size_t pendingCount();
};
