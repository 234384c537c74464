// Lets the agent learn of ended workers and of interruptions between two steps of its work.
#pragma once

#include <signal.h>

#include "base/Descriptor.h"

namespace invscan::agent {

// Thrown when a signal asks the agent to end, so that what it began is taken back on the way out;
// whoever catches it ends the process with dieBy().
struct Interruption {
  int signal;
};

// While it lives, SIGCHLD and those of SIGINT, SIGTERM and SIGHUP that are not ignored wait at a
// descriptor instead of being delivered to this thread.
class SignalWatch {
 public:
  SignalWatch();
  ~SignalWatch();
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;

  // Becomes readable with a signal; -1 when there are no descriptors left.
  int descriptor() const { return descriptor_.get(); }

  // Takes the signals that came, and returns the one that interrupts, or 0.
  int takeInterruption() const;

 private:
  int start();

  sigset_t maskBefore_;
  struct sigaction childActionBefore_;
  Descriptor descriptor_;
};

// For a forked worker: the dispositions that its commands expect, and nothing blocked.
void resetSignals();

// A write to a pipe that nobody reads, or beyond the limit of a file, fails and does not end the
// process. A handler, unlike ignoring, is not inherited by commands.
void surviveFailedWrites();

// Ends this process by the signal, so that whoever started it sees why it ended.
[[noreturn]] void dieBy(int signal);

}  // namespace invscan::agent
