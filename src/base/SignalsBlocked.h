// Keeps signals from threads and forks that a host does not know of: its handlers are not to run in
// them, and a signal that it waits for would be lost there.
#pragma once

#include <pthread.h>
#include <signal.h>

namespace invscan {

// As long as it lives this thread has every signal blocked, and so have threads that it starts.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
  }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

}  // namespace invscan
