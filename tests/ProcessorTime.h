// Using processor time, and measuring its share.
#pragma once

#include <time.h>

#include <chrono>
#include <fstream>

namespace invscan {

inline std::chrono::nanoseconds usedProcessorTime() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

inline void useProcessor(std::chrono::nanoseconds time) {
  for (const auto end = usedProcessorTime() + time; usedProcessorTime() < end;) {
  }
}

// The share of one processor that this process used since the meter was made.
class ShareMeter {
 public:
  std::chrono::duration<double> time() const { return std::chrono::steady_clock::now() - start_; }
  double share() const { return busy() / time(); }
  // The same without the time for which a busy machine had no processor for this thread.
  double shareOfWhatWasThere() const { return busy() / (time() - (delayedTime() - delayed_)); }

 private:
  static std::chrono::nanoseconds delayedTime() {
    long ran = 0, delayed = 0;
    std::ifstream("/proc/thread-self/schedstat") >> ran >> delayed;
    return std::chrono::nanoseconds(delayed);
  }
  std::chrono::duration<double> busy() const { return usedProcessorTime() - used_; }

  std::chrono::nanoseconds delayed_ = delayedTime();
  std::chrono::nanoseconds used_ = usedProcessorTime();
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace invscan
