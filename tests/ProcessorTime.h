// Using processor time, and measuring its share.
#pragma once

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
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

// The time since the meter was made, and the share of one processor that this process used of it. A
// busy machine makes the time longer and the share smaller, so bounds that it would break are for
// the time and the share without what it had no processor for this thread.
class ShareMeter {
 public:
  using Duration = std::chrono::duration<double>;

  Duration time() const { return std::chrono::steady_clock::now() - start_; }
  Duration timeWithProcessor() const {
    const Duration all = time();
    return all - (delayedTime() - delayed_);
  }
  double share() const { return busy() / time(); }
  double shareWithProcessor() const { return busy() / timeWithProcessor(); }

 private:
  static std::chrono::nanoseconds delayedTime() {
    long ran = 0, delayed = 0;
    std::ifstream("/proc/thread-self/schedstat") >> ran >> delayed;
    return std::chrono::nanoseconds(delayed);
  }
  Duration busy() const { return usedProcessorTime() - used_; }

  std::chrono::nanoseconds delayed_ = delayedTime();
  std::chrono::nanoseconds used_ = usedProcessorTime();
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// Takes steps for some time: they use that share of one processor, never more and, where a busy
// machine disturbs some attempts, in another no less; but for a tenth.
template <class Begin, class Step>
void expectShare(double share, std::chrono::milliseconds time, Begin begin, Step step) {
  double used = 0;
  for (int attempt = 0; attempt < 5 && used < share * 0.9; ++attempt) {
    const ShareMeter meter;
    begin();
    while (meter.time() < time) step();
    EXPECT_LT(meter.share(), share * 1.1);
    used = std::max(used, meter.shareWithProcessor());
  }
  EXPECT_GE(used, share * 0.9);
}

}  // namespace invscan
