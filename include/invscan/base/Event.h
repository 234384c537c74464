// A one-shot signal between threads.
#pragma once

#include <condition_variable>
#include <mutex>

#include <invscan/export.h>

// What Event::wait returns when the limit passed without a signal.
inline constexpr int kEventTimedOut = -172;

// Remembers the signal: a wait that begins after it returns at once, and so does every later one.
// The waiter may delete the event as soon as its wait has returned 0.
class INVSCAN_EXPORT Event {
 public:
  Event() = default;
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  void signal();

  // Waits at most limit milliseconds by a monotonic clock. Returns 0 when signalled, kEventTimedOut
  // otherwise; a limit of 0 or less only looks.
  int wait(int limit);

 private:
  std::mutex mutex_;
  std::condition_variable signalled_;
  bool isSignalled_ = false;
};
