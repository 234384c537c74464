#include "agent/scan/Progress.h"

#include <unistd.h>

#include <string>

#include "base/Descriptor.h"

namespace invscan::agent {
namespace {

constexpr std::chrono::milliseconds kSilence(150);
constexpr char kEraseLine[] = "\r\x1B[K";

}  // namespace

Progress::~Progress() {
  if (isShown_) writeAll(STDERR_FILENO, kEraseLine);
}

void Progress::show(const kelGroupDef* running, int done, int total) {
  const bool isSilent = std::chrono::steady_clock::now() - begin_ < kSilence;
  if (isSilent || !isatty(STDERR_FILENO)) return;
  isShown_ = true;
  const std::string count = std::to_string(done) + " of " + std::to_string(total) + " groups";
  writeAll(STDERR_FILENO, kEraseLine + count + (running ? ", " + std::string(running->name) : ""));
}

}  // namespace invscan::agent
