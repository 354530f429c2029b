#include "kestrune/TZThreadSafeStack.h"

void TZThreadSafeStack::push(std::shared_ptr<TZBytes> element) {
  if (!element) return;
  std::lock_guard<std::recursive_mutex> guard(lock_);
  _stack.push_back(std::move(element));
}

std::shared_ptr<const TZBytes> TZThreadSafeStack::pop() {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  if (_stack.empty()) return nullptr;
  // The caller gets the buffer as it stands at pop time. When the queue holds the only
  // reference nobody can change it any more, so the buffer itself is that snapshot;
  // otherwise a copy is taken now.
  std::shared_ptr<TZBytes>& front = _stack.front();
  std::shared_ptr<const TZBytes> element =
      front.use_count() == 1 ? std::move(front) : std::make_shared<const TZBytes>(*front);
  _stack.pop_front();
  return element;
}

void TZThreadSafeStack::clear() {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  _stack.clear();
}

bool TZThreadSafeStack::isEmpty() {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  return _stack.empty();
}
