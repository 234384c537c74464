#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include <invscan/process.h>

#include "base/ChildPipe.h"

const char* const StdErrRedir = " 2>/dev/null";

namespace invscan {
namespace {

constexpr std::size_t kMostArguments = 14;

// Path, arguments and the null behind them.
using ArgumentVector = std::array<char*, kMostArguments + 2>;

// What was read and not yet given out. Each byte is looked at once, however often a line is asked
// for before it is whole.
class PendingLines {
 public:
  // Reads what there is, at most one block. False when there is nothing now, or never again.
  bool read(int descriptor) {
    char block[1 << 14];
    ssize_t count;
    do {
      count = ::read(descriptor, block, sizeof block);
    } while (count < 0 && errno == EINTR);
    isAtEnd_ = count == 0 || (count < 0 && errno != EAGAIN);
    if (count <= 0) return false;
    bytes_.erase(0, begin_);
    scanned_ -= begin_;
    begin_ = 0;
    bytes_.append(block, static_cast<std::size_t>(count));
    return true;
  }

  // Copies the next line, or as much of it as there is room for, with a NUL behind it. False when
  // none is whole; the last line is, with or without an end.
  bool take(char* buffer, std::size_t room, bool isLast) {
    const std::size_t known = std::min(bytes_.size(), begin_ + room);
    scanned_ = std::min(scanned_, known);  // by a question with more room
    const void* end = std::memchr(bytes_.data() + scanned_, '\n', known - scanned_);
    scanned_ = end ? offsetOf(end) + 1 : known;
    const std::size_t length = scanned_ - begin_;
    if (length == 0 || (!end && length < room && !isLast)) return false;
    std::memcpy(buffer, bytes_.data() + begin_, length);
    buffer[length] = '\0';
    begin_ = scanned_;
    return true;
  }

  bool isAtEnd() const { return isAtEnd_; }

 private:
  std::size_t offsetOf(const void* place) const {
    return static_cast<std::size_t>(static_cast<const char*>(place) - bytes_.data());
  }

  std::string bytes_;
  std::size_t begin_ = 0;    // of what was not given out
  std::size_t scanned_ = 0;  // up to here there is no line end
  bool isAtEnd_ = false;
};

// A host that has closed a descriptor writes this into its field.
constexpr std::int32_t kNoDescriptor = 0;

// What a handle points at. Hosts know the fields up to the exit status and their places.
struct CommandPipe {
  std::int32_t pid;
  std::int32_t input, output;
  std::FILE* stream;  // null: lines come from the pending ones, as a stream cannot but block
  std::time_t startTime;
  std::int32_t timeLimit;
  std::int32_t hasExited;
  std::int32_t exitStatus;

  bool isBuried;  // its time had passed: it was killed and reaped, and never said to have exited
  PendingLines lines;

  bool isGone() const { return hasExited != 0 || isBuried; }
  bool takeLine(char* buffer, std::size_t room);
  bool isOverdue() const;
};
static_assert(offsetof(CommandPipe, stream) == 16 && offsetof(CommandPipe, exitStatus) == 40);

bool CommandPipe::takeLine(char* buffer, std::size_t room) {
  do {
    if (lines.take(buffer, room, false)) return true;
  } while (output != kNoDescriptor && lines.read(output));
  // What the child's own children still have open will not end a line for which nobody is left.
  return lines.take(buffer, room, lines.isAtEnd() || isGone());
}

bool CommandPipe::isOverdue() const {
  return startTime > 0 && timeLimit > 0 && startTime + timeLimit < std::time(nullptr);
}

// Between fork and exec: nothing that takes a lock, which another thread may have held.
[[noreturn]] void runProgram(ArgumentVector& arguments, int input, int output) {
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  close(STDERR_FILENO);
  execvp(arguments.front(), arguments.data());
  _exit(-1);
}

CommandPipe* start(ArgumentVector& arguments, int timeLimit) {
  Pipe input = makePipe(), output = makePipe();
  if (!input || !output || !setNonBlocking(output.readEnd)) return nullptr;
  const pid_t pid = fork();
  if (pid < 0) return nullptr;
  if (pid == 0) runProgram(arguments, input.readEnd.get(), output.writeEnd.get());
  auto* pipe = new CommandPipe{};
  pipe->pid = pid;
  pipe->input = input.writeEnd.release();
  pipe->output = output.readEnd.release();
  pipe->startTime = std::time(nullptr);
  pipe->timeLimit = timeLimit;
  return pipe;
}

// Ends a child whose time has passed. Waiting a moment spares the host a dead child that nobody
// reaps once the handle is closed.
void endChild(CommandPipe& pipe) {
  kill(pipe.pid, SIGKILL);
  int status;
  pipe.isBuried = awaitEnd(pipe.pid, status, kBurialPatience) != 0;
}

// What there is to say when no line is ready.
int tellState(CommandPipe& pipe) {
  if (pipe.isGone()) return -1;
  int status = -1;
  if (awaitEnd(pipe.pid, status, {}) != 0) {
    pipe.hasExited = 1;
    pipe.exitStatus = status;
    usleep(50);
    return 0;
  }
  if (!pipe.isOverdue()) return 0;
  endChild(pipe);
  return -1;
}

}  // namespace
}  // namespace invscan

void* slm_popen(const char* path, int timeLimitSeconds, ...) noexcept {
  if (!path) return nullptr;
  invscan::ArgumentVector arguments{const_cast<char*>(path)};
  va_list more;
  va_start(more, timeLimitSeconds);
  std::size_t count = 0;
  while (char* argument = va_arg(more, char*)) {
    if (++count > invscan::kMostArguments) break;
    arguments[count] = argument;
  }
  va_end(more);
  if (count > invscan::kMostArguments) return nullptr;
  return invscan::start(arguments, timeLimitSeconds);
}

int slm_pgets(char* buffer, int size, void* handle) noexcept {
  // With less room than that a line could not be told from none.
  constexpr int kSmallest = 3;
  if (!handle || !buffer || size < kSmallest) return 0;
  auto& pipe = *static_cast<invscan::CommandPipe*>(handle);
  if (pipe.takeLine(buffer, static_cast<std::size_t>(size) - 2)) return 1;
  return invscan::tellState(pipe);
}

void slm_pclose(void* handle) noexcept {
  auto* pipe = static_cast<invscan::CommandPipe*>(handle);
  if (!pipe) return;
  for (const int descriptor : {pipe->input, pipe->output}) {
    if (descriptor != invscan::kNoDescriptor) close(descriptor);
  }
  delete pipe;
}
