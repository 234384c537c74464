#include "agent/scan/HelperErrand.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include <invscan/base/OrvCfg.h>
#include <invscan/helper.h>
#include <invscan/machine.h>

#include "agent/StartUp.h"
#include "base/ChildPipe.h"
#include "helpers/Answers.h"

namespace invscan::agent {
namespace {

constexpr std::size_t kOutputLimit = 64 << 20;

// What the file begins with, once all that follows is there.
struct Head {
  bool isWhole = false;
  double milliseconds = 0;
};

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

HelperErrand::HelperErrand(std::string name, unsigned need, Machine machine)
    : name_(std::move(name)),
      need_(need),
      machine_(machine),
      isOwn_(hasOwnHelpers()),
      file_(memfd_create("helper", MFD_CLOEXEC)) {
}

// A helper of the caller's may say something else, a trace is the program's to write, and a capture
// holds what the program said.
bool HelperErrand::needsProgram() const {
  return machine_ != Machine::Live || !isOwn_ ||
         OrvCfg::getKey("hwscanner.sources") != String("native") ||
         !OrvCfg::getKey("common_trace_path").isEmpty();
}

void HelperErrand::run() const {
  const auto start = std::chrono::steady_clock::now();
  std::string output = needsProgram() ? askHelper(name_) : answerOf(name_);
  if (output.empty() && machine_ == Machine::Replayed) output = answerOf(name_);
  if (machine_ == Machine::Recorded) answerOf(name_);
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
