// Pipes to and from children, and waiting for these.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <utility>

#include "base/Descriptor.h"

namespace invscan {

struct Pipe {
  Descriptor readEnd = Descriptor();
  Descriptor writeEnd = Descriptor();

  explicit operator bool() const { return readEnd && writeEnd; }
};

// A host that has closed its standard streams gets their numbers for the next files that are
// opened; in a child these would be overwritten, or taken for the streams.
inline Descriptor aboveStandardStreams(Descriptor descriptor) {
  if (!descriptor || descriptor.get() > STDERR_FILENO) return descriptor;
  return Descriptor(fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

// The pipe has no ends, and errno tells why, when there is none to be had. Beside being closed on
// exec, both have these flags.
inline Pipe makePipe(int flags = 0) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC | flags) != 0) return {};
  Descriptor readEnd(ends[0]), writeEnd(ends[1]);
  return {aboveStandardStreams(std::move(readEnd)), aboveStandardStreams(std::move(writeEnd))};
}

inline bool setNonBlocking(const Descriptor& descriptor) {
  const int flags = fcntl(descriptor.get(), F_GETFL);
  return flags >= 0 && fcntl(descriptor.get(), F_SETFL, flags | O_NONBLOCK) == 0;
}

// While it stands, writing to a pipe that nobody reads gives this thread EPIPE and no more: the
// signal that comes with it is held back and taken away, whatever the host does about it.
class BrokenPipeSilence {
 public:
  BrokenPipeSilence() {
    sigemptyset(&signal_);
    sigaddset(&signal_, SIGPIPE);
    wasPending_ = isPending();
    pthread_sigmask(SIG_BLOCK, &signal_, &maskBefore_);
  }
  BrokenPipeSilence(const BrokenPipeSilence&) = delete;
  BrokenPipeSilence& operator=(const BrokenPipeSilence&) = delete;
  ~BrokenPipeSilence() {
    const int callersErrno = errno;
    const timespec now{};
    if (!wasPending_ && isPending()) sigtimedwait(&signal_, nullptr, &now);
    pthread_sigmask(SIG_SETMASK, &maskBefore_, nullptr);
    errno = callersErrno;
  }

 private:
  static bool isPending() {
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
  }

  sigset_t signal_, maskBefore_;
  bool wasPending_;
};

// Waits for a child to end, at most that long, with a look every millisecond. Returns its id when
// it was reaped, 0 while it runs, and -1 when it is no child any more because the host had it
// reaped: then its id may already be another's.
inline pid_t awaitEnd(pid_t child, int& status, std::chrono::milliseconds patience) {
  const auto end = std::chrono::steady_clock::now() + patience;
  for (;;) {
    const pid_t found = waitpid(child, &status, WNOHANG);
    if (found == child || (found < 0 && errno != EINTR)) return found;
    if (std::chrono::steady_clock::now() >= end) return 0;
    const timespec pause{0, 1'000'000};
    nanosleep(&pause, nullptr);
  }
}

// How long a killed child is waited for: most end at once, and one that is stuck in the kernel ends
// when that lets it.
inline constexpr std::chrono::milliseconds kBurialPatience{100};

}  // namespace invscan
