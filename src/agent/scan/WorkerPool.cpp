#include "agent/scan/WorkerPool.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <list>
#include <string>
#include <system_error>

#include "agent/scan/Guard.h"
#include "agent/scan/SignalWatch.h"
#include "agent/scan/Wire.h"
#include "base/Descriptor.h"

namespace invscan::agent {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

// A killed worker that is stuck in the kernel (a dead file server, a broken disk) ends when the
// kernel lets it; the agent does not wait for that.
constexpr std::chrono::seconds kBurialPatience{1};

struct Pipe {
  Descriptor readEnd;
  Descriptor writeEnd;
};

// Reading from the pipe does not block; both ends are -1 when there is none.
Pipe makePipe() {
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) == 0) fcntl(ends[0], F_SETFL, O_NONBLOCK);
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

// What a command might ask or print is not for the agent's terminal, and whoever reads the agent's
// output shall not wait for a command that still has it open.
void emptyStandardStreams() {
  const Descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
  dup2(nothing.get(), STDIN_FILENO);
  dup2(nothing.get(), STDOUT_FILENO);
}

// An exception that escapes the work ends the worker here, and never reaches the agent's frames.
[[noreturn]] void runWorker(const Job& job, int answer, Guard& guard, pid_t agent) noexcept {
  setpgid(0, 0);
  guard.workerBegan();
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != agent) _exit(1);
  resetSignals();
  emptyStandardStreams();
  job.work(answer);
  _exit(0);
}

std::string describeEnd(const siginfo_t& end) {
  const int status = end.si_status;
  if (end.si_code != CLD_EXITED) {
    return "killed by signal " + std::to_string(status) + " (" + strsignal(status) + ")";
  }
  return "ended with status " + std::to_string(status) + " and without an answer";
}

std::string describeTimeout(double seconds) {
  char text[64];
  snprintf(text, sizeof text, "no answer within %g s", seconds);
  return text;
}

// A deadline that the clock can hold.
Clock::duration durationOf(double seconds) {
  constexpr double kYear = 365.0 * 24 * 60 * 60;
  return std::chrono::duration_cast<Clock::duration>(
      std::chrono::duration<double>(std::clamp(seconds, 0.0, kYear)));
}

struct Worker {
  std::size_t job;
  pid_t process;  // and its group
  Clock::time_point start;
  Descriptor answer;
  std::string bytes;  // of the answer, so far
  bool isDone = false;
};

class Pool {
 public:
  Pool(const std::vector<Job>& jobs, const ScannerOptions& options);
  ~Pool() { end(); }
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;

  std::vector<GroupResult> run();

 private:
  void startNext();
  void await(Clock::time_point until);
  void attend(Worker& worker);
  void receive(Worker& worker);
  void accept(const Worker& worker);
  void settle(std::size_t job, Clock::time_point start, Status status, std::string trouble);
  const kelGroupDef* longestRunning() const;
  void report(const kelGroupDef* running) const;
  void killGroup(const Worker& worker);
  void bury();
  void end();

  const std::vector<Job>& jobs_;
  const ScannerOptions& options_;
  const Clock::duration timeout_;
  std::vector<GroupResult> results_;
  std::size_t next_ = 0;  // job to start
  int done_ = 0;
  SignalWatch signals_;
  int interruption_ = 0;
  Guard guard_;
  std::list<Worker> workers_;  // in the order of their start
  std::vector<pid_t> killed_;  // and not yet reaped
};

Pool::Pool(const std::vector<Job>& jobs, const ScannerOptions& options)
    : jobs_(jobs), options_(options), timeout_(durationOf(options.timeoutSeconds)) {
  for (const Job& job : jobs) results_.emplace_back().group = job.group;
}

std::vector<GroupResult> Pool::run() {
  const auto limit = static_cast<std::size_t>(std::max(1, options_.jobs));
  while (!interruption_) {
    while (next_ < jobs_.size() && workers_.size() < limit) startNext();
    if (workers_.empty()) break;
    await(workers_.front().start + timeout_);
    for (Worker& worker : workers_) attend(worker);
    workers_.remove_if([](const Worker& worker) { return worker.isDone; });
    bury();
    report(longestRunning());
  }
  end();
  if (interruption_) throw Interruption{interruption_};
  return std::move(results_);
}

void Pool::startNext() {
  const std::size_t job = next_++;
  const auto start = Clock::now();
  report(jobs_[job].group);

  Pipe pipe = makePipe();
  const pid_t agent = getpid();
  const pid_t process = pipe.readEnd ? fork() : -1;
  if (process == 0) runWorker(jobs_[job], pipe.writeEnd.get(), guard_, agent);
  if (process < 0) {
    const std::string reason = std::system_category().message(errno);
    return settle(job, start, Status::Crash, "cannot start a worker: " + reason);
  }
  setpgid(process, process);  // here too: it may have to be killed before it ran at all
  workers_.push_back({job, process, start, std::move(pipe.readEnd), {}});
}

// Returns when there may be something to do, at the latest then.
void Pool::await(Clock::time_point until) {
  using std::chrono::milliseconds;
  // Without its descriptor the ends of workers and interruptions are found by looking.
  const milliseconds longest(signals_.descriptor() < 0 ? 10 : options_.progress ? 100 : 60'000);
  const auto left = std::chrono::ceil<milliseconds>(until - Clock::now());
  const auto wait = std::clamp(left, milliseconds(0), longest);

  std::vector<pollfd> events{{signals_.descriptor(), POLLIN, 0}};
  for (const Worker& worker : workers_) events.push_back({worker.answer.get(), POLLIN, 0});
  poll(events.data(), events.size(), static_cast<int>(wait.count()));
  if (const int signal = signals_.takeInterruption()) interruption_ = signal;
}

// Settles the worker's group when its answer is here, or will not come any more.
void Pool::attend(Worker& worker) {
  // Asked before reading: what an ended worker has written is in the pipe by then. It is not reaped
  // yet, so that its id stays the group's.
  siginfo_t ended = {};
  waitid(P_PID, static_cast<id_t>(worker.process), &ended, WEXITED | WNOHANG | WNOWAIT);
  receive(worker);
  const Reception reception = receptionOf(worker.bytes);
  const bool hasEnded = ended.si_pid != 0;
  const bool isLate = Clock::now() >= worker.start + timeout_;
  worker.isDone = reception != Reception::Partial || hasEnded || isLate;
  if (!worker.isDone) return;

  killGroup(worker);
  if (reception == Reception::Complete) {
    accept(worker);
  } else if (reception == Reception::TooLarge) {
    settle(worker.job, worker.start, Status::Crash, "answer too large");
  } else if (hasEnded) {
    settle(worker.job, worker.start, Status::Crash, describeEnd(ended));
  } else {
    settle(worker.job, worker.start, Status::Timeout, describeTimeout(options_.timeoutSeconds));
  }
}

// Takes what has come of the answer.
void Pool::receive(Worker& worker) {
  char buffer[1 << 16];
  while (worker.answer && receptionOf(worker.bytes) == Reception::Partial) {
    const ssize_t got = read(worker.answer.get(), buffer, sizeof(buffer));
    if (got < 0) return;
    if (got == 0) worker.answer.close();
    worker.bytes.append(buffer, static_cast<std::size_t>(got));
  }
}

void Pool::accept(const Worker& worker) {
  GroupResult& result = results_[worker.job];
  const auto payload = std::string_view(worker.bytes).substr(kAnswerHeaderSize);
  if (decodePayload(payload, result)) {
    settle(worker.job, worker.start, result.status, "");
  } else {
    settle(worker.job, worker.start, Status::Crash, "answer makes no sense");
  }
}

void Pool::settle(std::size_t job, Clock::time_point start, Status status, std::string trouble) {
  GroupResult& result = results_[job];
  result.status = status;
  result.trouble = std::move(trouble);
  result.milliseconds = Milliseconds(Clock::now() - start).count();
  ++done_;
}

// The group that the scan waits for; null when none is running.
const kelGroupDef* Pool::longestRunning() const {
  return workers_.empty() ? nullptr : jobs_[workers_.front().job].group;
}

void Pool::report(const kelGroupDef* running) const {
  if (options_.progress) options_.progress(running, done_, static_cast<int>(jobs_.size()));
}

// The group is the worker and all that it started. Its leader is reaped only afterwards: until then
// no other group can have its id.
void Pool::killGroup(const Worker& worker) {
  kill(-worker.process, SIGKILL);
  guard_.workerEnded(worker.process);
  killed_.push_back(worker.process);
}

void Pool::bury() {
  std::erase_if(killed_, [](pid_t process) { return waitpid(process, nullptr, WNOHANG) != 0; });
}

// Leaves no worker behind.
void Pool::end() {
  for (const Worker& worker : workers_) killGroup(worker);
  workers_.clear();
  const auto patience = Clock::now() + kBurialPatience;
  for (bury(); !killed_.empty() && Clock::now() < patience; bury()) await(patience);
}

}  // namespace

std::vector<GroupResult> runJobs(const std::vector<Job>& jobs, const ScannerOptions& options) {
  return Pool(jobs, options).run();
}

}  // namespace invscan::agent
