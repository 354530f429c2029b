#include "kestrune/TZThreadSafeStack.h"

void TZThreadSafeStack::push(std::shared_ptr<TZBytes> element) {
  if (!element) return;
  std::lock_guard<std::recursive_mutex> guard(lock_);
  _stack.push_back(std::move(element));
}

std::shared_ptr<const TZBytes> TZThreadSafeStack::pop() {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  if (_stack.empty()) return nullptr;
  // The copy is taken now, so the caller sees the buffer as it stands at pop time.
  auto copy = std::make_shared<const TZBytes>(*_stack.front());
  _stack.pop_front();
  return copy;
}

void TZThreadSafeStack::clear() {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  _stack.clear();
}

bool TZThreadSafeStack::isEmpty() {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  return _stack.empty();
}
