#include "agent/scan/SignalWatch.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>

namespace invscan::agent {
namespace {

// A signal that is blocked reaches a signalfd even when it is ignored.
bool isIgnored(int signal) {
  struct sigaction action;
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

SignalWatch::SignalWatch() : descriptor_(start()) {
}

int SignalWatch::start() {
  sigset_t watched;
  sigemptyset(&watched);
  sigaddset(&watched, SIGCHLD);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    if (!isIgnored(signal)) sigaddset(&watched, signal);
  }
  pthread_sigmask(SIG_BLOCK, &watched, &maskBefore_);
  // Where SIGCHLD is ignored, ended children vanish before they can be asked for their status.
  struct sigaction byDefault = {};
  byDefault.sa_handler = SIG_DFL;
  sigaction(SIGCHLD, &byDefault, &childActionBefore_);
  return signalfd(-1, &watched, SFD_CLOEXEC | SFD_NONBLOCK);
}

SignalWatch::~SignalWatch() {
  pthread_sigmask(SIG_SETMASK, &maskBefore_, nullptr);
  sigaction(SIGCHLD, &childActionBefore_, nullptr);
}

int SignalWatch::takeInterruption() const {
  int interruption = 0;
  signalfd_siginfo info;
  const auto next = [&] { return read(descriptor_.get(), &info, sizeof info); };
  while (uninterrupted(next) == static_cast<ssize_t>(sizeof info)) {
    if (info.ssi_signo != SIGCHLD) interruption = static_cast<int>(info.ssi_signo);
  }
  return interruption;
}

void resetSignals() {
  for (int signal = 1; signal < NSIG; ++signal) std::signal(signal, SIG_DFL);
  surviveFailedWrites();
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

void surviveFailedWrites() {
  for (const int signal : {SIGPIPE, SIGXFSZ}) std::signal(signal, [](int) {});
}

void dieBy(int signal) {
  std::signal(signal, SIG_DFL);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, signal);
  pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
  raise(signal);
  _exit(128 + signal);
}

}  // namespace invscan::agent
