#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <invscan/helper.h>
#include <invscan/machine.h>

#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/StartUp.h"
#include "agent/Text.h"
#include "agent/commands/Commands.h"
#include "agent/redact/CaptureFile.h"
#include "agent/redact/Redactor.h"
#include "agent/scan/Wire.h"
#include "agent/scan/WorkerPool.h"
#include "base/Descriptor.h"

namespace invscan::agent {
namespace {

constexpr std::array kHelpers = {"cpuid", "diskscan"};

// In a worker, whose standard output is a file then: what it has printed counts when it answers.
void printAnswer(const std::string& name, const Descriptor& file, Outbox& outbox) {
  dup2(file.get(), STDOUT_FILENO);
  const bool hasAnswered = vtExecTest(name.c_str()) == 0 && std::fflush(stdout) == 0;
  if (!hasAnswered) _exit(1);
  outbox.answer(encodePayload(nullptr, 0, {}));
}

std::string readFromStart(const Descriptor& file) {
  constexpr std::size_t kLimit = 1 << 30;
  std::string text;
  if (lseek(file.get(), 0, SEEK_SET) != 0 || !readAll(file.get(), text, kLimit)) {
    throw Failure("helper: " + errorText(errno));
  }
  return text;
}

[[noreturn]] void failAnswer(const Options& options, const std::string& name,
                             const GroupResult& result) {
  if (result.status == Status::Timeout) {
    throw Failure("helper " + name + ": " + result.trouble + "; --timeout gives it longer");
  }
  throw Failure(options.machine.empty()
                    ? helperPath(name) + ": no valid answer; is it there?"
                    : options.machine + ": holds no valid answer of \"" + name + "\"");
}

}  // namespace

int runHelper(const Options& options) {
  const std::string& name = options.words.front();
  if (std::find(kHelpers.begin(), kHelpers.end(), name) == kHelpers.end()) {
    throw Failure("no helper \"" + name + "\"; there are cpuid and diskscan");
  }
  const std::optional<Redactor> redactor = makeRedactor(options);
  const Descriptor file(memfd_create("answer", MFD_CLOEXEC));
  Job job{nullptr, [&](Outbox& outbox) { printAnswer(name, file, outbox); }};
  job.startsPrograms = true;
  ScannerOptions limits;
  limits.timeoutSeconds = options.timeoutSeconds;
  limits.jobs = 1;
  const GroupResult result = std::move(runJobs({job}, limits).front());
  if (result.status != Status::Absent) failAnswer(options, name, result);
  std::string text = readFromStart(file);
  if (redactor) {
    Replacements replacements(*redactor);
    replacements.addHost(hostName());
    learnAnswer(text, replacements);
    text = redactAnswer(text, replacements);
  }
  writeOutput(options.output, printableLines(text));
  return kAnswered;
}

}  // namespace invscan::agent
