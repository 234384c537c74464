#include "agent/scan/Guard.h"

#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <set>

#include "base/ChildPipe.h"

namespace invscan::agent {
namespace {

// A message is the id of a group that began, or the negative id of one that ended. A socket rather
// than a pipe keeps messages apart and raises no SIGPIPE when the guard itself was killed.
void send(const Descriptor& line, pid_t message) {
  ::send(line.get(), &message, sizeof(message), MSG_NOSIGNAL);
}

[[noreturn]] void guard(int line) noexcept {
  setpgid(0, 0);
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_SETMASK, &all, nullptr);
  dup2(line, STDIN_FILENO);
  closefrom(STDIN_FILENO + 1);

  std::set<pid_t> groups;
  pid_t message;
  // Only an end of the line is the agent's end; an error that stays is taken for one, too.
  constexpr int kMostErrors = 10;
  for (int errors = 0; errors < kMostErrors;) {
    const ssize_t size = recv(STDIN_FILENO, &message, sizeof message, 0);
    if (size == 0) break;
    if (size != static_cast<ssize_t>(sizeof message)) {
      ++errors;
      continue;
    }
    if (message > 0) {
      groups.insert(message);
    } else {
      groups.erase(-message);
    }
  }
  for (const pid_t group : groups) kill(-group, SIGKILL);
  _exit(0);
}

}  // namespace

Guard::Guard() : line_(start()) {
}

// Returns the agent's end of the line.
int Guard::start() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return -1;
  const Descriptor guardEnd(ends[1]);
  process_ = fork();
  if (process_ == 0) guard(guardEnd.get());
  return ends[0];
}

Guard::~Guard() {
  if (process_ <= 0) return;
  // It ends by itself, too, where no signal is allowed to reach it.
  kill(process_, SIGKILL);
  line_.close();
  int status = 0;
  awaitEnd(process_, status, kBurialPatience);
}

void Guard::workerBegan() {
  send(line_, getpid());
  line_.close();
}

void Guard::workerEnded(pid_t group) const {
  send(line_, -group);
}

}  // namespace invscan::agent
