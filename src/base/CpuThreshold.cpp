#include <invscan/base/CpuThreshold.h>

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <string>
#include <system_error>

namespace {

constexpr int64_t kSecond = 1'000'000'000;
constexpr int64_t kLongestPause = 2 * kSecond;
// Below this the sleep's own cost and delay would weigh more than what it is for.
constexpr int64_t kShortestPause = kSecond / 200;
// A busy machine may delay the end of a pause by so much.
constexpr int64_t kLongestDelay = kSecond / 20;

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

// Threads may pay at the same time. Which of their figures stays does not matter: each counts the
// whole process.
template <class Number>
Number shared(Number& number) {
  return std::atomic_ref(number).load(std::memory_order_relaxed);
}

template <class Number>
void share(Number& number, Number value) {
  std::atomic_ref(number).store(value, std::memory_order_relaxed);
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
  const int share = parsePercent(percent.toNarrow());
  stretch_ = share == 0 ? 0 : 100.0 / share;
  if (stretch_ != 0) rebase();
}

void CpuThreshold::divideAmong(int processes) {
  stretch_ *= std::max(processes, 1);
}

void CpuThreshold::iteration() {
  if (stretch_ == 0) return;
  if (shared(process_) != getpid()) return rebase();

  const int64_t cpu = nanoseconds(CLOCK_PROCESS_CPUTIME_ID);
  int64_t now = nanoseconds(CLOCK_MONOTONIC);
  const auto stretched = static_cast<double>(cpu - shared(cpuNanoseconds_)) * stretch_;
  const int64_t end = shared(wallNanoseconds_) + static_cast<int64_t>(stretched);
  if (end > now && end < now + kShortestPause) return;
  if (end > now) {
    sleepUntil(std::min(end, now + kLongestPause));
    now = nanoseconds(CLOCK_MONOTONIC);
  }
  // What a pause took too long is given back with the next; otherwise idle time is not saved up,
  // nor is what a bounded pause was too short.
  share(wallNanoseconds_, std::clamp(end, now - kLongestDelay, now));
  share(cpuNanoseconds_, cpu);
}

void CpuThreshold::rebase() {
  share(process_, static_cast<int>(getpid()));
  share(wallNanoseconds_, nanoseconds(CLOCK_MONOTONIC));
  share(cpuNanoseconds_, nanoseconds(CLOCK_PROCESS_CPUTIME_ID));
}
