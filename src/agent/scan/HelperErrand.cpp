#include "agent/scan/HelperErrand.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include <invscan/base/OrvCfg.h>
#include <invscan/helper.h>
#include <invscan/machine.h>

#include "agent/StartUp.h"
#include "agent/Text.h"
#include "agent/reasons/Reasons.h"
#include "base/ChildPipe.h"
#include "helpers/Answers.h"

namespace invscan::agent {
namespace {

constexpr std::size_t kOutputLimit = 65 << 20;  // a helper may print 64 MiB

// What the file begins with, once all that follows is there: what stood in the way of the answer,
// and the answer.
struct Head {
  bool isWhole = false;
  double milliseconds = 0;
  std::size_t refusals = 0;  // the length of their text
};

// Not by the file's own offset: all workers share that.
std::string readFrom(int file) {
  struct stat status = {};
  fstat(file, &status);
  std::string text(std::min(static_cast<std::size_t>(status.st_size), kOutputLimit), '\0');
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = uninterrupted([&] {
      return pread(file, text.data() + done, text.size() - done, static_cast<off_t>(done));
    });
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  text.resize(done);
  return text;
}

std::string_view bytesOf(const Head& head) {
  return {reinterpret_cast<const char*>(&head), sizeof head};
}

// What this process was refused, or waited for in vain, since it takes notes of that, or the first
// few of it.
std::string refusals() {
  constexpr std::size_t kMostNamed = 3;
  std::vector<std::string> refused;
  for (const Access& access : accessLog()) {
    const Obstacle obstacle = obstacleIn(access);
    const bool isRefused = obstacle == Obstacle::Denied || obstacle == Obstacle::Unanswered;
    if (!isRefused || refused.size() == kMostNamed) continue;
    refused.push_back(access.source + ": " + access.outcome);
  }
  return joined(refused, "; ");
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
  startObstacleLog();
  std::string output = needsProgram() ? askHelper(name_) : answerOf(name_);
  if (output.empty() && machine_ == Machine::Replayed) output = answerOf(name_);
  if (machine_ == Machine::Recorded) answerOf(name_);
  const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - start;
  const std::string refused = refusals();
  const Head none, head{true, spent.count(), refused.size()};
  const int file = file_.get();
  // A worker before this one may have come to grief here.
  const bool isKept =
      ftruncate(file, 0) == 0 && lseek(file, 0, SEEK_SET) == 0 &&
      writeAll(file, std::string(bytesOf(none)) + refused + output) &&
      uninterrupted([&] { return pwrite(file, &head, sizeof head, 0); }) == ssize_t{sizeof head};
  if (!isKept) _exit(1);
}

void HelperErrand::deliver() const {
  std::string output = readFrom(file_.get());
  Head head;
  if (output.size() >= sizeof head) std::memcpy(&head, output.data(), sizeof head);
  output.erase(0, head.isWhole ? sizeof head : output.size());
  std::string outcome = output.substr(0, head.refusals);
  output.erase(0, head.refusals);
  if (outcome.empty()) {
    outcome = !head.isWhole ? "gave no answer" : output.empty() ? "printed nothing" : "ok";
  }
  giveHelperOutput(name_, std::move(output), {"helper " + name_, outcome, head.milliseconds});
}

}  // namespace invscan::agent
