#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include <invscan/process.h>

#include "base/ChildPipe.h"

int execForked(void (*function)(void), int seconds, pid_t* pidOut) noexcept {
  const pid_t child = fork();
  if (child < 0) return -1;
  if (child == 0) {
    function();
    return -1;
  }
  if (pidOut) *pidOut = child;
  int status = 0;
  const pid_t ended = invscan::awaitEnd(child, status, std::chrono::seconds(std::max(1, seconds)));
  if (ended == child) return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  if (ended == 0) {
    kill(child, SIGKILL);
    invscan::awaitEnd(child, status, invscan::kBurialPatience);
  }
  return -1;
}
