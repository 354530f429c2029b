// The locked first-in, first-out hand-over queue between a codec object's callers and its
// worker thread. Despite the name, pop always takes the element pushed earliest.
#pragma once

#include <deque>
#include <memory>
#include <mutex>

#include "kestrune/TZTypes.h"
#include "kestrune/kestrune_export.h"

class KESTRUNE_API TZThreadSafeStack {
 public:
  TZThreadSafeStack() = default;
  TZThreadSafeStack(const TZThreadSafeStack&) = delete;
  TZThreadSafeStack& operator=(const TZThreadSafeStack&) = delete;

  // Keeps the very buffer given (shared ownership, no copy). A null element is ignored.
  void push(std::shared_ptr<TZBytes> element);
  // The oldest element as it stands now, removed from the queue: a copy, or the buffer
  // itself when no one else holds it (nothing can change it then); null at once when the
  // queue is empty (it never waits). Every call may come from any thread.
  std::shared_ptr<const TZBytes> pop();
  void clear();
  bool isEmpty();

 private:
  std::recursive_mutex lock_;
  std::deque<std::shared_ptr<TZBytes>> _stack;
};
