#include <invscan/statistics.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/ChildPipe.h"
#include "base/SignalsBlocked.h"
#include "invscan/com/children/StatisticsService.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

namespace invscan {
namespace {

using Clock = std::chrono::steady_clock;

class Deadline {
 public:
  explicit Deadline(std::chrono::milliseconds patience) : end_(Clock::now() + patience) {}

  // Whether the pipe is ready before the time has passed. Signals do not lengthen the wait.
  bool await(const Descriptor& pipe, short event) const {
    pollfd ready{pipe.get(), event, 0};
    int count;
    do {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now());
      count = poll(&ready, 1, static_cast<int>(std::max<long>(left.count(), 0)));
    } while (count < 0 && errno == EINTR);
    return count > 0 && (ready.revents & event) != 0;
  }

 private:
  Clock::time_point end_;
};

struct PathQuestion {
  std::string path;
  bool use64 = false;

  bool operator==(const PathQuestion&) const = default;
};

bool isTooLong(const std::string& path) {
  return path.size() >= sizeof StatisticsRequest::path;
}

StatisticsRequest requestOf(const PathQuestion& question) {
  StatisticsRequest request{};
  request.use64 = question.use64;
  question.path.copy(request.path, sizeof request.path - 1);
  return request;
}

struct Child {
  pid_t creator;
  pid_t pid;
  Descriptor requests, answers;
  std::size_t room;  // for requests, whether it reads them or not
};

// Of a pipe whose pages a request may share with none.
std::size_t roomFor(std::size_t size, const Descriptor& pipe) {
  constexpr int kPage = 4096;
  const int pages = fcntl(pipe.get(), F_GETPIPE_SZ) / kPage;
  const std::size_t pagesOfOne = (size + kPage - 1) / kPage;
  return std::max<std::size_t>(1, static_cast<std::size_t>(std::max(pages, 0)) / pagesOfOne);
}

// The child of this process, and those that were killed but had not ended yet.
class StatisticsChild {
 public:
  // Makes sure that there is a child; false when none can be made.
  bool start();
  // What will be asked, in that order.
  void expect(std::deque<PathQuestion> questions);
  bool expects(const PathQuestion& question) const;
  // Sees to it that the child has the first of these questions, and some of those after it.
  bool send(const Deadline& deadline);
  // The answer to the first one.
  bool receive(orv_statvfs_info_t& info, const Deadline& deadline);
  void end();

 private:
  bool sendNext(const Deadline& deadline);
  void forgetAnothers();
  void forget();
  void bury();
  bool isRunning();
  bool create();

  std::optional<Child> child_;
  std::vector<pid_t> killed_;
  // The child has the first few of these and answers beside who asks: taking turns for each would
  // cost more than all else.
  std::deque<PathQuestion> expected_;
  std::size_t sent_ = 0;
};

// Never destroyed: the child ends when its pipe does.
StatisticsChild& statisticsChild() {
  static auto* instance = new StatisticsChild;
  return *instance;
}

// Threads ask the one child by turns.
std::mutex& turn() {
  static auto* mutex = new std::mutex;
  return *mutex;
}

void endChild() {
  const std::lock_guard lock(turn());
  statisticsChild().end();
}

bool StatisticsChild::start() {
  const Trace trace(getCcLogHw(), "start()");
  forgetAnothers();
  bury();
  if (isRunning()) {
    trace.at().max("hardware Child exists pid=%d, reusing", child_->pid);
    return true;
  }
  return create();
}

// A forked copy of the process has the pipes of a child that is not its own: it may neither use nor
// signal it.
void StatisticsChild::forgetAnothers() {
  if (!child_ || child_->creator == getpid()) return;
  forget();
  killed_.clear();
}

void StatisticsChild::forget() {
  child_.reset();
  sent_ = 0;
}

void StatisticsChild::bury() {
  int status;
  std::erase_if(killed_, [&](pid_t pid) { return awaitEnd(pid, status, {}) != 0; });
}

// Forgets a child that something else has ended.
bool StatisticsChild::isRunning() {
  int status;
  if (child_ && awaitEnd(child_->pid, status, {}) != 0) forget();
  return child_.has_value();
}

bool StatisticsChild::create() {
  const Trace trace(getCcLogHw(), "create()");
  trace.at().max("hardware Creating new helper child.");
  Pipe requests = makePipe(), answers = makePipe();
  if (!requests || !answers || !setNonBlocking(requests.writeEnd) ||
      !setNonBlocking(answers.readEnd)) {
    trace.at().min("hardware ERROR! Failed to open pipes.");
    return false;
  }
  onMachineChange(endChild);
  machine();  // made before the fork, if this is the first question to it
  const pid_t creator = getpid();
  // The kernel takes the end of the thread that forked for the end of the parent. Of all threads
  // only the first one lasts as long as the process; the child of another ends by its pipe alone.
  const pid_t mortalParent = gettid() == creator ? creator : 0;
  const SignalsBlocked quiet;
  const pid_t pid = fork();
  if (pid < 0) {
    trace.at().min("hardware ERROR! Failed to fork a child.");
    return false;
  }
  if (pid == 0) {
    requests.writeEnd.close();
    answers.readEnd.close();
    serveStatistics(requests.readEnd.get(), answers.writeEnd.get(), mortalParent);
  }
  trace.at().max("hardware Created new helper child pid=%d", pid);
  const std::size_t room = roomFor(sizeof(StatisticsRequest), requests.writeEnd);
  child_.emplace(
      Child{creator, pid, std::move(requests.writeEnd), std::move(answers.readEnd), room});
  return true;
}

// Answers that nobody waits for any more go with the child.
void StatisticsChild::expect(std::deque<PathQuestion> questions) {
  if (sent_ > 0) end();
  expected_ = std::move(questions);
}

bool StatisticsChild::expects(const PathQuestion& question) const {
  return !expected_.empty() && expected_.front() == question;
}

bool StatisticsChild::send(const Deadline& deadline) {
  const BrokenPipeSilence silence;
  while (sent_ < std::min(expected_.size(), child_->room)) {
    if (!sendNext(deadline)) return false;
  }
  return true;
}

bool StatisticsChild::sendNext(const Deadline& deadline) {
  const StatisticsRequest request = requestOf(expected_[sent_]);
  const auto* bytes = reinterpret_cast<const char*>(&request);
  for (std::size_t done = 0; done < sizeof request;) {
    const ssize_t count = write(child_->requests.get(), bytes + done, sizeof request - done);
    if (count > 0) {
      done += static_cast<std::size_t>(count);
    } else if (errno == EAGAIN) {
      if (!deadline.await(child_->requests, POLLOUT)) return false;
    } else if (errno != EINTR) {
      return false;
    }
  }
  ++sent_;
  return true;
}

bool StatisticsChild::receive(orv_statvfs_info_t& info, const Deadline& deadline) {
  orv_statvfs_info_t answer;
  const auto size = static_cast<ssize_t>(sizeof answer);
  const auto take = [&] { return read(child_->answers.get(), &answer, sizeof answer); };
  ssize_t count = uninterrupted(take);
  if (count < 0 && errno == EAGAIN && deadline.await(child_->answers, POLLIN)) {
    count = uninterrupted(take);
  }
  if (count != size) return false;
  info = answer;
  expected_.pop_front();
  --sent_;
  return true;
}

// The pipes go with the child, so that an answer that comes too late is nobody's.
void StatisticsChild::end() {
  const Trace trace(getCcLogHw(), "end()");
  forgetAnothers();
  expected_.clear();
  if (!isRunning()) return;
  const pid_t pid = child_->pid;
  const int result = kill(pid, SIGKILL);
  trace.at().max("hardware kill(%d, 9) result=%d", pid, result);
  forget();
  int status = -1;
  const pid_t ended = awaitEnd(pid, status, kBurialPatience);
  trace.at().max("hardware Child destroyed, wait result=%d", ended);
  if (ended == 0) killed_.push_back(pid);
}

// Asks the child; null when it answered, otherwise what went wrong.
const char* askChild(const PathQuestion& question, int timeoutMicroseconds,
                     orv_statvfs_info_t& info) {
  const Trace trace(getCcLogHw(), "askChild()");
  const std::lock_guard lock(turn());
  StatisticsChild& child = statisticsChild();
  if (!child.expects(question)) child.expect({question});
  if (!child.start()) {
    trace.at().min("hardware ERROR! we shouldn't be here");
    return "could not be asked";
  }
  trace.at().max("hardware Sending new path='%s' to child", question.path.c_str());
  const Deadline deadline(std::chrono::milliseconds(std::max(1, timeoutMicroseconds / 1000)));
  const char* failure = nullptr;
  if (!child.send(deadline)) {
    trace.at().min("hardware ERROR! Failed to send request");
    failure = "could not be asked";
  } else {
    trace.at().max("hardware Waiting for response for %d us...", timeoutMicroseconds);
    if (child.receive(info, deadline)) return nullptr;
    trace.at().min("hardware ERROR! Timeout waiting for response, errno=%d killing child...",
                   errno);
    failure = "no answer in time";
  }
  child.end();
  return failure;
}

}  // namespace

ExpectedStatistics::ExpectedStatistics(const std::vector<std::string>& paths) {
  std::deque<PathQuestion> questions;
  for (const std::string& path : paths) {
    if (!isTooLong(path)) questions.push_back({path});
  }
  const std::lock_guard lock(turn());
  statisticsChild().expect(std::move(questions));
}

// What was read ahead must not answer a question of later on.
ExpectedStatistics::~ExpectedStatistics() {
  const std::lock_guard lock(turn());
  statisticsChild().expect({});
}

}  // namespace invscan

int timeout_statvfs(const char* path, orv_statvfs_info_t& info, int timeoutMicroseconds,
                    bool use64) noexcept {
  using namespace invscan;
  const Trace trace(getCcLogHw(), "timeout_statvfs()");
  if (!path) {
    trace.at().min("hardware ERROR! Argument path is NULL");
    return 1;
  }
  const PathQuestion asked{path, use64};
  if (isTooLong(asked.path)) {
    trace.at().min("hardware ERROR! Failed to send request");
    return 1;
  }
  // What the child notes is lost with it.
  const NotedQuestion noted("statvfs " + asked.path);
  const char* failure = askChild(asked, timeoutMicroseconds, info);
  const char* answer = !failure && info.result == 0 ? "ok" : "not available";
  noted.answered(failure ? failure : answer, failure != nullptr);
  trace.at().max("hardware retval=%d", failure ? 1 : 0);
  return failure ? 1 : 0;
}
