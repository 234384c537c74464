#include <invscan/base/Event.h>

#include <algorithm>
#include <chrono>

// Notifies while it holds the mutex: the waiter, which cannot return before the mutex is released,
// may delete the event right after.
void Event::signal() {
  const std::lock_guard lock(mutex_);
  isSignalled_ = true;
  signalled_.notify_all();
}

int Event::wait(int limit) {
  const std::chrono::milliseconds longest(std::max(limit, 0));
  std::unique_lock lock(mutex_);
  const bool isSignalled = signalled_.wait_for(lock, longest, [this] { return isSignalled_; });
  return isSignalled ? 0 : kEventTimedOut;
}
