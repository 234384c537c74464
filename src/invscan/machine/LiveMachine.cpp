#include "invscan/machine/LiveMachine.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "base/ChildPipe.h"
#include "common/vartree/HelperPlace.h"
#include "common/vartree/ProgramOutput.h"
#include "invscan/machine/FileMapping.h"

namespace invscan {
namespace {

// Attributes of a child that starts with no signal blocked, and with those as in a fresh process
// that commands live by, whatever its parent ignores.
class SpawnAttributes {
 public:
  SpawnAttributes() {
    posix_spawnattr_init(&attributes_);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes_, &signals);
    sigaddset(&signals, SIGPIPE);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGCHLD);
    posix_spawnattr_setsigdefault(&attributes_, &signals);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

class SpawnActions {
 public:
  explicit SpawnActions(int output) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions_, output, 1);
    posix_spawn_file_actions_addopen(&actions_, 2, "/dev/null", O_WRONLY, 0);
  }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;
  ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }

  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

// A process id to be waited for, or 0 when the shell could not be started.
pid_t startShell(const std::string& line, int output) {
  const SpawnActions actions(output);
  const SpawnAttributes attributes;
  std::string shell = "sh", option = "-c", command = line;
  char* const arguments[] = {shell.data(), option.data(), command.data(), nullptr};
  pid_t pid = 0;
  const int result = uninterrupted([&] {
    errno = posix_spawn(&pid, "/bin/sh", actions.get(), attributes.get(), arguments, environ);
    return errno == 0 ? 0 : -1;
  });
  return result == 0 ? pid : 0;
}

int exitCodeOf(int status) {
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int waitFor(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return 0;  // the host has its children reaped for it
  }
  return exitCodeOf(status);
}

// What a command prints until it ends or comes to a limit. Others that it started may go on, with
// the pipe still open: they are not waited for.
void readAndWait(pid_t pid, Pipe& pipe, const CommandLimits& limits, CommandOutput& result) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + limits.time;
  const auto left = [&] {
    return std::max(std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()),
                    std::chrono::milliseconds(0));
  };
  setNonBlocking(pipe.readEnd);
  pollfd event{pipe.readEnd.get(), POLLIN, 0};
  std::string part;
  bool isOpen = true;
  while (isOpen && result.text.size() < limits.bytes && left().count() > 0) {
    if (poll(&event, 1, static_cast<int>(std::min<long>(left().count(), INT_MAX))) <= 0) continue;
    isOpen = readAll(event.fd, part, limits.bytes - result.text.size()) ? false : errno == EAGAIN;
    result.text += part;
  }
  pipe.readEnd.close();
  const bool isAtLimit = isOpen || result.text.size() >= limits.bytes;
  int status = 0;
  pid_t ended = awaitEnd(pid, status, isAtLimit ? std::chrono::milliseconds(0) : left());
  if (ended == 0) {
    kill(pid, SIGKILL);
    ended = awaitEnd(pid, status, kBurialPatience);
  }
  result.status = ended == pid ? exitCodeOf(status) : 128 + SIGKILL;
}

// A range through a mapping, which reaches what reading the device does not; nullopt when the
// device does not map it.
std::optional<std::string> copyMapped(const Descriptor& device, unsigned long address,
                                      unsigned long length) {
  const unsigned long skipped = address % FileMapping::pageSize();
  const auto pages = FileMapping::ofDevice(device, address - skipped, skipped + length);
  if (!pages) return std::nullopt;
  return std::string(static_cast<const char*>(pages->address()) + skipped, length);
}

}  // namespace

FileText LiveMachine::doReadFile(const std::string& path, std::size_t limit) {
  const Descriptor file = openExisting(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  return readFileText(file, limit);
}

int LiveMachine::doExists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0 ? 0 : errno;
}

FileText LiveMachine::doReadLink(const std::string& path) {
  char target[PATH_MAX];
  const ssize_t length = readlink(path.c_str(), target, sizeof target);
  if (length < 0) return {errno, {}};
  return {0, std::string(target, static_cast<std::size_t>(length))};
}

Listing LiveMachine::doListDirectory(const std::string& path) {
  return directoriesIn(openExisting(path, O_RDONLY | O_DIRECTORY | O_NONBLOCK));
}

FileText LiveMachine::doReadMemory(unsigned long address, unsigned long length) {
  const Descriptor device = openExisting(kMemoryDevice, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  struct stat status;
  // A regular file in the device's place is read: touching a mapping beyond its end would end the
  // process.
  if (device && fstat(device.get(), &status) == 0 && S_ISCHR(status.st_mode)) {
    if (auto bytes = copyMapped(device, address, length)) return {0, std::move(*bytes)};
  }
  return readRange(device, address, length);
}

CommandOutput LiveMachine::doRunCommand(const std::string& line, const CommandLimits& limits) {
  Pipe pipe = makePipe();
  const pid_t pid = pipe ? startShell(line, pipe.writeEnd.get()) : 0;
  pipe.writeEnd.close();
  if (pid <= 0) return {};
  CommandOutput result{true, 0, {}};
  if (limits.isTimed()) {
    readAndWait(pid, pipe, limits, result);
    return result;
  }
  readAll(pipe.readEnd.get(), result.text, limits.bytes);
  pipe.readEnd.close();
  // A command that has more to say than anybody asked for need not finish.
  if (result.text.size() >= limits.bytes) kill(pid, SIGKILL);
  result.status = waitFor(pid);
  return result;
}

HelperOutput LiveMachine::doRunHelper(const std::string& command, const char* arguments,
                                      const char* tracePath) {
  const std::string path = helperProgram(command);
  if (path.empty()) return {true, {}};
  auto text = readProgramOutput(path.c_str(), arguments, tracePath, kHelperOutputLimit);
  if (!text) return {};
  return {true, std::move(*text)};
}

void LiveMachine::doAsk(Question& question) {
  question.askLive();
}

LocaleName LiveMachine::doSetLocale(int category) {
  if (const char* name = setlocale(category, "")) return {true, name};
  const char* current = setlocale(category, nullptr);
  return {false, current ? current : ""};
}

TimeZone LiveMachine::doSetTimeZone() {
  return invscan::setTimeZone();
}

void LiveMachine::doLetTimePass(std::chrono::microseconds time) {
  std::this_thread::sleep_for(time);
}

}  // namespace invscan
