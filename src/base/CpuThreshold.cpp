#include <invscan/base/CpuThreshold.h>

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string>
#include <system_error>

namespace {

constexpr int64_t kSecond = 1'000'000'000;
constexpr int64_t kLongestPause = 2 * kSecond;

int64_t nanoseconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now.tv_sec * kSecond + now.tv_nsec;
}

void sleepUntil(int64_t wallNanoseconds) {
  const timespec end{wallNanoseconds / kSecond, wallNanoseconds % kSecond};
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
  }
}

// 0 for a text that sets no limit.
int parsePercent(const std::string& text) {
  int percent = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, percent);
  const bool isShare = error == std::errc{} && rest == end && percent > 0 && percent < 100;
  return isShare ? percent : 0;
}

}  // namespace

void CpuThreshold::initialize(const String& percent) {
  percent_ = parsePercent(percent.toNarrow());
  rebase();
}

void CpuThreshold::iteration() {
  if (percent_ == 0) return;
  if (process_ == getpid()) {
    const int64_t now = nanoseconds(CLOCK_MONOTONIC);
    const int64_t used = nanoseconds(CLOCK_PROCESS_CPUTIME_ID) - cpuNanoseconds_;
    const int64_t end = wallNanoseconds_ + used / percent_ * 100;
    if (end > now) sleepUntil(std::min(end, now + kLongestPause));
  }
  rebase();
}

void CpuThreshold::rebase() {
  process_ = getpid();
  wallNanoseconds_ = nanoseconds(CLOCK_MONOTONIC);
  cpuNanoseconds_ = nanoseconds(CLOCK_PROCESS_CPUTIME_ID);
}
