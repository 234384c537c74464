// The first steps of a forked child. A process with threads may fork, so these only call the
// system. All of it is inline: the library and the agent each compile it in.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace invscan {

// Signals as a fresh process has them: a host's handlers are not to run in the child, nor is
// anything that it blocks or ignores to stay so. Only a broken pipe is dealt with as asked for.
inline void resetSignals(void (*onBrokenPipe)(int) = SIG_DFL) {
  struct sigaction action {};
  for (int number = 1; number < NSIG; ++number) {
    action.sa_handler = number == SIGPIPE ? onBrokenPipe : SIG_DFL;
    sigaction(number, &action, nullptr);
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Ends this process when the parent ends, now if it has.
inline void dieWith(pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
}

// The standard streams up to that one read and write nothing; they are closed where there is no
// /dev/null.
inline void emptyStandardStreams(int last) {
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (int stream = STDIN_FILENO; stream <= last; ++stream) {
    if (nothing < 0) {
      close(stream);
    } else {
      dup2(nothing, stream);
    }
  }
  if (nothing > last) close(nothing);
}

}  // namespace invscan
