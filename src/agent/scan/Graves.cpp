#include "agent/scan/Graves.h"

#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "base/Descriptor.h"

namespace invscan::agent {

void Graves::bury() {
  std::erase_if(workers_, [](pid_t worker) {
    pid_t ended;
    do {
      ended = waitpid(-worker, nullptr, WNOHANG);
    } while (ended > 0);
    return ended < 0;
  });
}

// Where the worker has ended, and a child has not, it naps.
void Graves::awaitEnds() {
  using Clock = std::chrono::steady_clock;
  constexpr int kMostNaps = 100;
  const auto end = Clock::now() + kPatience;
  int naps = 0;
  for (bury(); !isEmpty() && Clock::now() < end && naps < kMostNaps; bury()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    const Descriptor worker(static_cast<int>(syscall(SYS_pidfd_open, workers_.front(), 0)));
    const bool hasEnded = !worker && errno == ESRCH;
    pollfd event{worker.get(), POLLIN, 0};
    poll(&event, 1, worker ? static_cast<int>(left.count()) : 1);
    naps += hasEnded;
  }
  workers_.clear();
}

Graves& graves() {
  static Graves instance;
  return instance;
}

}  // namespace invscan::agent
