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
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "agent/Environment.h"
#include "agent/scan/Graves.h"
#include "agent/scan/Guard.h"
#include "agent/scan/Room.h"
#include "agent/scan/SignalWatch.h"
#include "agent/scan/Strays.h"
#include "agent/scan/Wire.h"
#include "base/ChildPipe.h"
#include "base/Descriptor.h"

namespace invscan::agent {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A worker costs more than most jobs that share one: another starts where jobs still wait by then.
constexpr milliseconds kPatience{50};

// What a command might ask or print is not for the agent's terminal, and whoever reads the agent's
// output shall not wait for a command that still has it open.
void emptyStandardStreams() {
  const Descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
  dup2(nothing.get(), STDIN_FILENO);
  dup2(nothing.get(), STDOUT_FILENO);
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
  Room* room;
  pid_t process;  // and its group
  Clock::time_point start;
  bool isFirst;  // of those that its room has at a time
  Descriptor answer;
  Descriptor orders;       // which room to go on with; none for one that ends with its room
  std::string bytes = {};  // that have come and were not understood yet
  // Since the start, which is the start of that then.
  std::optional<std::size_t> inHand = {};
  bool isWaiting = false;    // for orders: its room's queue is empty
  bool hasAnswered = false;  // any job
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
  Room* nextRoom();
  bool goesOn(Worker& worker);
  void leave(Room& room);
  void closeRooms();
  bool isReady(const Room& room, bool forOne) const;
  bool takesMore(const Room& room) const;
  bool hasRoomForMore() const;
  void startWorker(Room& room);
  [[noreturn]] void work(const Room* room, int answer, int orders, pid_t agent) noexcept;
  bool workIn(const Room& room, Outbox& outbox) const;
  Clock::time_point nextMoment() const;
  void await(Clock::time_point until);
  void attend(Worker& worker);
  std::string receive(Worker& worker);
  std::string understand(Worker& worker);
  bool begin(Worker& worker, std::size_t job);
  bool wait(Worker& worker);
  bool accept(Worker& worker, std::string_view payload);
  void fail(Worker& worker, Status status, const std::string& trouble);
  void settle(Room& room, std::size_t job, Status status, std::string trouble = "");
  void tryAlone(Room& room, std::size_t job);
  void dismiss(Worker& worker);
  void report() const;
  void end();

  const std::vector<Job>& jobs_;
  const ScannerOptions& options_;
  const Clock::duration timeout_;
  std::vector<GroupResult> results_;
  std::vector<bool> isSettled_;
  int groups_ = 0, groupsDone_ = 0;
  SignalWatch signals_;
  int interruption_ = 0;
  std::optional<Strays> strays_;
  std::optional<Guard> guard_;
  std::list<Room> rooms_;
  std::list<Worker> workers_;
  Clock::time_point lastStart_, lastEnd_;
  bool isShort_ = false;  // of processes or descriptors: the last start failed
  std::optional<Clock::time_point> shortSince_;  // when the first of those in a row did
};

Pool::Pool(const std::vector<Job>& jobs, const ScannerOptions& options)
    : jobs_(jobs),
      options_(options),
      timeout_(durationOf(options.timeoutSeconds)),
      isSettled_(jobs.size(), false) {
  std::map<int, Room> shared;
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    const Job& job = jobs[i];
    results_.emplace_back().group = job.group;
    groups_ += job.group != nullptr;
    Room& room = job.room == kOwnRoom ? rooms_.emplace_back() : shared[job.room];
    room.jobs.push_back(i);
    room.startsPrograms |= job.startsPrograms;
    room.takesMore &= !job.isInTurn;
    // Before the rooms take descriptors that they could do without.
    if (job.startsPrograms && !guard_) {
      strays_.emplace();
      guard_.emplace();
    }
  }
  // What shares a worker is mostly done before others have begun.
  for (auto room = shared.rbegin(); room != shared.rend(); ++room) {
    rooms_.push_front(std::move(room->second));
    rooms_.front().openToAll();
  }
}

std::vector<GroupResult> Pool::run() {
  while (!interruption_) {
    while (Room* const room = nextRoom()) startWorker(*room);
    if (workers_.empty() && (!isShort_ || rooms_.empty())) break;
    await(nextMoment());
    for (Worker& worker : workers_) attend(worker);
    for (Worker& worker : workers_) {
      const bool hasDone = worker.isWaiting || worker.room->jobs.empty();
      if (!worker.isDone && hasDone && !goesOn(worker)) dismiss(worker);
    }
    workers_.remove_if([](const Worker& worker) { return worker.isDone; });
    rooms_.remove_if([](const Room& room) { return room.jobs.empty() && room.workers == 0; });
    graves().bury();
    report();
  }
  end();
  if (interruption_) throw Interruption{interruption_};
  return std::move(results_);
}

// Where the next worker is to start; null when none is to.
Room* Pool::nextRoom() {
  if (isShort_ && Clock::now() < lastStart_ + kPatience) return nullptr;
  if (workers_.size() >= static_cast<std::size_t>(std::max(1, options_.jobs))) return nullptr;
  for (Room& room : rooms_) {
    if (room.workers == 0 && isReady(room, true)) return &room;
  }
  if (!hasRoomForMore() || Clock::now() < lastStart_ + kPatience) return nullptr;
  for (Room& room : rooms_) {
    if (takesMore(room)) return &room;
  }
  return nullptr;
}

// Starting a worker costs more than most jobs, so one that has nothing left to do in its room goes
// on with another. It is a copy of this process: the room stands at the same address there.
bool Pool::goesOn(Worker& worker) {
  if (!worker.isWaiting) return false;
  for (Room& room : rooms_) {
    const bool waits = room.workers == 0 && room.isOpen();
    if (!waits || !isReady(room, true)) continue;
    const BrokenPipeSilence silence;  // the worker may have died
    const Room* const order = &room;
    const auto bytes = reinterpret_cast<const char*>(&order);
    if (!writeAll(worker.orders.get(), {bytes, sizeof order})) return false;
    leave(*worker.room);
    worker.room = &room;
    ++room.workers;
    worker.start = Clock::now();
    worker.isWaiting = false;
    return true;
  }
  return false;
}

// What another worker had taken from the queue, and came to grief before it began with it, is found
// in a new one.
void Pool::leave(Room& room) {
  if (--room.workers > 0 || room.jobs.empty()) return;
  room.close();
}

// Where descriptors are short, rooms have queues only while they have workers.
void Pool::closeRooms() {
  for (Room& room : rooms_) {
    if (room.workers == 0) room.close();
  }
}

// A single worker comes to the jobs of a room in their order: what another one of them waits for is
// done by then, or was given up.
bool Pool::isReady(const Room& room, bool forOne) const {
  const auto isDone = [&](std::size_t job) {
    const auto& own = room.jobs;
    return isSettled_[job] || (forOne && std::find(own.begin(), own.end(), job) != own.end());
  };
  return !room.jobs.empty() && std::all_of(room.jobs.begin(), room.jobs.end(), [&](auto job) {
    return std::all_of(jobs_[job].after.begin(), jobs_[job].after.end(), isDone);
  });
}

bool Pool::takesMore(const Room& room) const {
  return room.takesMore && room.workers > 0 && room.jobs.size() > room.workers &&
         isReady(room, false);
}

// Whether there are jobs for one worker more than there are in some room.
bool Pool::hasRoomForMore() const {
  return workers_.size() < static_cast<std::size_t>(std::max(1, options_.jobs)) &&
         std::any_of(rooms_.begin(), rooms_.end(),
                     [this](const Room& room) { return takesMore(room); });
}

void Pool::startWorker(Room& room) {
  lastStart_ = Clock::now();
  const bool isFirst = room.workers == 0;
  if (!room.queue || !*room.queue) room.queue.emplace(room.jobs);
  const bool canGoOn = room.isOpen();
  Pipe answer = *room.queue ? makePipe() : Pipe();
  Pipe orders = answer && canGoOn ? makePipe() : Pipe();
  const bool isPrepared = answer && bool(orders) == canGoOn && setNonBlocking(answer.readEnd);
  const pid_t agent = getpid();
  const pid_t process = isPrepared ? fork() : -1;
  if (process == 0) {
    orders.writeEnd.close();
    work(&room, answer.writeEnd.get(), orders.readEnd.get(), agent);
  }
  if (process < 0) {
    const int error = errno;
    const std::string reason = std::system_category().message(error);
    if (error == EMFILE || error == ENFILE) closeRooms();
    if (!shortSince_) shortSince_ = lastStart_;
    // What others have is free again soon, also what other programs take for a moment.
    const bool isFreedSoon = lastStart_ < *shortSince_ + Graves::kPatience ||
                             (!graves().isEmpty() && lastStart_ < lastEnd_ + Graves::kPatience);
    isShort_ = !workers_.empty() || isFreedSoon;
    if (isFirst && !isShort_) {
      room.close();
      settle(room, room.jobs.front(), Status::Crash, "cannot start a worker: " + reason);
    }
    return;
  }
  isShort_ = false;
  shortSince_.reset();
  setpgid(process, process);  // here too: it may have to be killed before it ran at all
  ++room.workers;
  workers_.push_back(
      {&room, process, lastStart_, isFirst, std::move(answer.readEnd), std::move(orders.writeEnd)});
}

// The worker's whole life. An exception that escapes a job ends it, and never reaches the agent's
// frames.
void Pool::work(const Room* room, int answer, int orders, pid_t agent) noexcept {
  setpgid(0, 0);
  if (guard_) room->startsPrograms ? guard_->workerBegan() : guard_->leave();
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != agent) _exit(1);
  workers_.clear();  // whose pipes are the agent's
  resetSignals();
  emptyStandardStreams();
  keepKnownVariables();
  Outbox outbox(answer);
  const auto next = [&] { return read(orders, &room, sizeof room); };
  while (workIn(*room, outbox) && orders >= 0) {
    if (!outbox.wait() || uninterrupted(next) != ssize_t{sizeof room}) break;
  }
  outbox.send();
  _exit(0);
}

// Returns whether the agent can be told.
bool Pool::workIn(const Room& room, Outbox& outbox) const {
  while (const auto job = room.queue->take()) {
    if (*job >= jobs_.size() || !outbox.begin(*job)) return false;
    jobs_[*job].work(outbox);
  }
  return true;
}

// When there is something to do also if nothing happens.
Clock::time_point Pool::nextMoment() const {
  auto moment = Clock::time_point::max();
  for (const Worker& worker : workers_) moment = std::min(moment, worker.start + timeout_);
  if (!isShort_ && !hasRoomForMore()) return moment;
  // What could be started by now has been.
  const auto now = Clock::now(), next = lastStart_ + kPatience;
  return std::min(moment, next > now ? next : now + kPatience);
}

// Returns when there may be something to do, at the latest then.
void Pool::await(Clock::time_point until) {
  // Without its descriptor the ends of workers and interruptions are found by looking.
  const milliseconds longest(signals_.descriptor() < 0 ? 10 : options_.progress ? 100 : 60'000);
  const auto left = std::chrono::ceil<milliseconds>(until - Clock::now());
  const auto wait = std::clamp(left, milliseconds(0), longest);

  std::vector<pollfd> events{{signals_.descriptor(), POLLIN, 0}};
  for (const Worker& worker : workers_) events.push_back({worker.answer.get(), POLLIN, 0});
  poll(events.data(), events.size(), static_cast<int>(wait.count()));
  if (const int signal = signals_.takeInterruption()) interruption_ = signal;
}

// Takes what the worker says, and sees whether more can come.
void Pool::attend(Worker& worker) {
  // Asked before reading: what an ended worker has written is in the pipe by then. It is not reaped
  // yet, so that its id stays the group's.
  siginfo_t ended = {};
  waitid(P_PID, static_cast<id_t>(worker.process), &ended, WEXITED | WNOHANG | WNOWAIT);
  const std::string trouble = receive(worker);
  if (!trouble.empty()) return fail(worker, Status::Crash, trouble);
  if (ended.si_pid != 0) return fail(worker, Status::Crash, describeEnd(ended));
  if (Clock::now() >= worker.start + timeout_) {
    fail(worker, Status::Timeout, describeTimeout(options_.timeoutSeconds));
  }
}

// Takes what has come; what is wrong with it, if anything.
std::string Pool::receive(Worker& worker) {
  static char buffer[1 << 16];  // which a small stack would not hold
  while (worker.answer) {
    const ssize_t got = read(worker.answer.get(), buffer, sizeof buffer);
    if (got < 0) break;
    if (got == 0) worker.answer.close();
    worker.bytes.append(buffer, static_cast<std::size_t>(got));
    const std::string trouble = understand(worker);
    if (!trouble.empty()) return trouble;
  }
  return "";
}

std::string Pool::understand(Worker& worker) {
  std::string_view rest = worker.bytes;
  for (;;) {
    const Message message = firstMessage(rest);
    if (message.kind == Message::Kind::Partial) break;
    if (message.kind == Message::Kind::TooLarge) return "answer too large";
    const bool makesSense = message.kind == Message::Kind::Begin  ? begin(worker, message.job)
                            : message.kind == Message::Kind::Wait ? wait(worker)
                                                                  : accept(worker, message.payload);
    if (!makesSense) return "answer makes no sense";
    rest.remove_prefix(message.size);
  }
  worker.bytes.erase(0, worker.bytes.size() - rest.size());
  return "";
}

bool Pool::begin(Worker& worker, std::size_t job) {
  const auto& open = worker.room->jobs;
  const bool isOpen = std::find(open.begin(), open.end(), job) != open.end();
  const bool isTaken = std::any_of(workers_.begin(), workers_.end(),
                                   [&](const Worker& other) { return other.inHand == job; });
  if (worker.inHand || worker.isWaiting || !isOpen || isTaken) return false;
  worker.inHand = job;
  worker.start = Clock::now();
  report();
  return true;
}

bool Pool::wait(Worker& worker) {
  worker.isWaiting = bool(worker.orders);
  return worker.isWaiting && !worker.inHand;
}

bool Pool::accept(Worker& worker, std::string_view payload) {
  if (!worker.inHand) return false;
  GroupResult& result = results_[*worker.inHand];
  if (!decodePayload(payload, result)) return false;
  settle(*worker.room, *worker.inHand, result.status);
  worker.inHand.reset();
  worker.hasAnswered = true;
  worker.start = Clock::now();
  return true;
}

// Nothing more comes from the worker, for whatever reason.
void Pool::fail(Worker& worker, Status status, const std::string& trouble) {
  dismiss(worker);
  Room& room = *worker.room;
  room.isOpenToAll = false;
  if (!worker.hasAnswered) room.takesMore = false;
  if (worker.inHand) {
    if (status == Status::Crash && worker.hasAnswered) return tryAlone(room, *worker.inHand);
    const std::chrono::duration<double, std::milli> spent = Clock::now() - worker.start;
    results_[*worker.inHand].milliseconds = spent.count();
    settle(room, *worker.inHand, status, trouble);
  } else if (!worker.hasAnswered && worker.isFirst && room.workers == 0 && !room.jobs.empty()) {
    // It did not even begin. Another might not either, for ever.
    settle(room, room.jobs.front(), status, trouble);
  }
}

void Pool::settle(Room& room, std::size_t job, Status status, std::string trouble) {
  std::erase(room.jobs, job);
  isSettled_[job] = true;
  groupsDone_ += jobs_[job].group != nullptr;
  results_[job].status = status;
  results_[job].trouble = std::move(trouble);
}

void Pool::tryAlone(Room& room, std::size_t job) {
  std::erase(room.jobs, job);
  Room& own = rooms_.emplace_back();
  own.jobs.push_back(job);
  own.startsPrograms = room.startsPrograms;
}

// Kills the worker and all that it started. It is reaped only afterwards: until then no other group
// can have its id.
void Pool::dismiss(Worker& worker) {
  kill(-worker.process, SIGKILL);
  if (guard_ && worker.room->startsPrograms) guard_->workerEnded(worker.process);
  graves().add(worker.process);
  lastEnd_ = Clock::now();
  leave(*worker.room);
  worker.isDone = true;
}

// Tells which group the scan has waited for longest.
void Pool::report() const {
  if (!options_.progress) return;
  const kelGroupDef* longest = nullptr;
  auto since = Clock::time_point::max();
  for (const Worker& worker : workers_) {
    if (worker.isDone || !worker.inHand || worker.start >= since) continue;
    longest = jobs_[*worker.inHand].group;
    since = worker.start;
  }
  options_.progress(longest, groupsDone_, groups_);
}

// Leaves no worker running.
void Pool::end() {
  for (Worker& worker : workers_) {
    if (!worker.isDone) dismiss(worker);
  }
  workers_.clear();
  // What they started is known when they have ended, and what they were recording is whole.
  if (guard_ || interruption_ || !options_.recording.empty()) graves().awaitEnds();
  guard_.reset();
  strays_.reset();
}

}  // namespace

std::vector<GroupResult> runJobs(const std::vector<Job>& jobs, const ScannerOptions& options) {
  return Pool(jobs, options).run();
}

}  // namespace invscan::agent
