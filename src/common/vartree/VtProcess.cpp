#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <invscan/helper.h>

#include "base/ChildPipe.h"
#include "base/ChildStart.h"
#include "base/SignalsBlocked.h"
#include "common/vartree/TraceFile.h"

namespace {

constexpr int kFirstOwn = STDERR_FILENO + 1;
constexpr std::size_t kMostArguments = 62;

void closeEnd(int& end) {
  if (end >= 0) close(std::exchange(end, -1));
}

void makePipe(int (&ends)[2]) {
  invscan::Pipe pipe = invscan::makePipe();
  ends[0] = pipe.readEnd.release();
  ends[1] = pipe.writeEnd.release();
}

bool hasPipes(const VtProcess& process) {
  for (const auto& ends : {process.inputPipe, process.outputPipe, process.errorPipe}) {
    if (ends[0] < 0 || ends[1] < 0) return false;
  }
  return true;
}

// All that the child needs, made before the fork: of a process with threads, the child may do
// nothing but call the system.
struct Launch {
  const char* path;
  std::vector<std::string> words{};
  std::vector<char*> arguments{};
  int standard[kFirstOwn]{};
};

void setArguments(Launch& launch, const char* text) {
  launch.words.emplace_back(launch.path);
  std::string word;
  for (const char* letter = text; letter && launch.words.size() <= kMostArguments; ++letter) {
    if (*letter != ' ' && *letter) {
      word += *letter;
      continue;
    }
    if (!word.empty()) launch.words.push_back(std::exchange(word, {}));
    if (!*letter) break;
  }
  for (std::string& each : launch.words) launch.arguments.push_back(each.data());
  launch.arguments.push_back(nullptr);
}

[[noreturn]] void becomeProgram(const Launch& launch) {
  constexpr int kNotThere = 255;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  invscan::resetSignals();
  for (int number = 0; number < kFirstOwn; ++number) {
    if (dup2(launch.standard[number], number) < 0) _exit(kNotThere);
  }
  closefrom(kFirstOwn);
  execv(launch.path, launch.arguments.data());
  _exit(kNotThere);
}

// With every signal blocked, so that none of the host's handlers runs in the child.
pid_t start(const Launch& launch) {
  const invscan::SignalsBlocked quiet;
  const pid_t pid = fork();
  if (pid == 0) becomeProgram(launch);
  return pid;
}

}  // namespace

VtProcess::VtProcess() : pid(-1), exitCode(-1) {
  for (auto* ends : {&inputPipe, &outputPipe, &errorPipe}) makePipe(*ends);
  input = new VtOStream_Unix(inputPipe[1]);
  output = new VtIStream_Unix(outputPipe[0]);
  error = new VtIStream_Unix(errorPipe[0]);
}

VtProcess::~VtProcess() {
  delete input;
  delete output;
  delete error;
}

VtProcess* VtProcess::create(const char* path, const char* arguments, const char* tracePath) {
  auto process = std::make_unique<VtProcess>();
  using invscan::Descriptor;
  const Descriptor trace =
      invscan::aboveStandardStreams(tracePath ? invscan::openTraceFile(tracePath) : Descriptor());
  Launch launch{path ? path : ""};
  setArguments(launch, arguments);
  launch.standard[0] = process->inputPipe[0];
  launch.standard[1] = process->outputPipe[1];
  launch.standard[2] = trace ? trace.get() : process->errorPipe[1];
  process->pid = hasPipes(*process) ? start(launch) : -1;
  process->closeUnusedHandles();
  if (process->pid > 0) return process.release();
  closeEnd(process->inputPipe[1]);
  closeEnd(process->outputPipe[0]);
  closeEnd(process->errorPipe[0]);
  return nullptr;
}

void VtProcess::destroy() {
  if (pid <= 0) return;
  kill(pid, SIGKILL);
  pid = exitCode = -1;
}

int VtProcess::exitValue() {
  return exitCode;
}

int VtProcess::waitFor() {
  if (pid <= 0 || exitCode >= 0) return exitValue();
  int status = 0;
  pid_t ended;
  do {
    ended = waitpid(pid, &status, 0);
  } while (ended < 0 && errno == EINTR);
  if (ended == pid && WIFEXITED(status)) exitCode = WEXITSTATUS(status);
  pid = -1;  // reaped, by us or by the host: another process may have the number now
  return exitValue();
}

void VtProcess::closeUnusedHandles() {
  closeEnd(inputPipe[0]);
  closeEnd(outputPipe[1]);
  closeEnd(errorPipe[1]);
}
