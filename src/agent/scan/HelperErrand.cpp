#include "agent/scan/HelperErrand.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <utility>

#include <invscan/helper.h>
#include <invscan/machine.h>

#include "agent/StartUp.h"
#include "base/ChildPipe.h"

namespace invscan::agent {
namespace {

constexpr std::size_t kOutputLimit = 64 << 20;

// What the file begins with, once all that follows is there.
struct Head {
  bool isWhole = false;
  double milliseconds = 0;
};

// What our own helper prints with an option and a directory; empty when it cannot.
std::string runOwn(const std::string& program, const char* option, const std::string& directory) {
  Pipe pipe = makePipe();
  const pid_t child = pipe ? fork() : -1;
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The other streams are empty ones already, but what it complains about would be ours.
    dup2(pipe.writeEnd.get(), STDOUT_FILENO);
    dup2(STDIN_FILENO, STDERR_FILENO);
    execl(program.c_str(), program.c_str(), option, directory.c_str(), nullptr);
    _exit(127);
  }
  pipe.writeEnd.close();
  if (child < 0) return "";
  std::string output;
  const bool isRead = readAll(pipe.readEnd.get(), output, kOutputLimit + 1);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  return isRead && output.size() <= kOutputLimit ? output : "";
}

// Not by the file's own offset: all workers share that.
std::string readFrom(int file, off_t offset) {
  struct stat status = {};
  fstat(file, &status);
  const off_t rest = std::max<off_t>(status.st_size - offset, 0);
  std::string text(std::min(static_cast<std::size_t>(rest), kOutputLimit), '\0');
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t count =
        pread(file, text.data() + done, text.size() - done, offset + static_cast<off_t>(done));
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  text.resize(done);
  return text;
}

}  // namespace

HelperErrand::HelperErrand(std::string name, unsigned need, std::string capture,
                           std::string recording)
    : name_(std::move(name)),
      program_(helperPath(name_)),
      need_(need),
      capture_(std::move(capture)),
      recording_(std::move(recording)),
      file_(memfd_create("helper", MFD_CLOEXEC)) {
}

void HelperErrand::run() const {
  const auto start = std::chrono::steady_clock::now();
  std::string output = askHelper(name_);
  if (output.empty() && !capture_.empty()) output = runOwn(program_, "--machine", capture_);
  // The answer is recorded as it is; what our helper asks besides serves later ones.
  if (!recording_.empty()) runOwn(program_, "--record", recording_);
  const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - start;
  const Head head{true, spent.count()};
  const Head none;
  const bool isKept =
      writeAll(file_.get(), {reinterpret_cast<const char*>(&none), sizeof none}) &&
      writeAll(file_.get(), output) &&
      pwrite(file_.get(), &head, sizeof head, 0) == static_cast<ssize_t>(sizeof head);
  if (!isKept) _exit(1);
}

void HelperErrand::deliver() const {
  Head head;
  const bool isWhole =
      pread(file_.get(), &head, sizeof head, 0) == static_cast<ssize_t>(sizeof head) &&
      head.isWhole;
  std::string output = isWhole ? readFrom(file_.get(), sizeof head) : "";
  const char* const outcome = !isWhole         ? "gave no answer"
                              : output.empty() ? "printed nothing"
                                               : "ok";
  giveHelperOutput(name_, std::move(output), {"helper " + name_, outcome, head.milliseconds});
}

}  // namespace invscan::agent
