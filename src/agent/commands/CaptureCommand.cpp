#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include <invscan/machine.h>

#include "agent/Failure.h"
#include "agent/Names.h"
#include "agent/Output.h"
#include "agent/Text.h"
#include "agent/commands/Commands.h"
#include "agent/redact/CaptureRedaction.h"
#include "agent/redact/Redactor.h"
#include "agent/scan/ScanRun.h"
#include "agent/scan/SignalWatch.h"
#include "base/WrittenFile.h"

namespace invscan::agent {
namespace {

namespace fs = std::filesystem;

// The process works in another directory while this lives: what is done there is done to the one
// that is open, whatever its path leads to by now.
class WorkingDirectory {
 public:
  explicit WorkingDirectory(const Descriptor& directory)
      : before_(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    if (!before_ || fchdir(directory.get()) != 0) throw Failure("./: " + errorText(errno));
  }
  ~WorkingDirectory() { [[maybe_unused]] const int isBack = fchdir(before_.get()); }
  WorkingDirectory(const WorkingDirectory&) = delete;
  WorkingDirectory& operator=(const WorkingDirectory&) = delete;

 private:
  const Descriptor before_;
};

// The directory while it is being filled. What is not kept is removed, and no more than was made;
// that holds for an interruption, too.
class UnfinishedCapture {
 public:
  explicit UnfinishedCapture(const std::string& path) try : directory_(path) {
    std::string error;
    if (!recordMachine(path, error)) throw Failure(error);
  } catch (const WriteError& error) {
    throw Failure(path + ": " + error.what());
  }
  ~UnfinishedCapture() { useLiveMachine(); }
  UnfinishedCapture(const UnfinishedCapture&) = delete;
  UnfinishedCapture& operator=(const UnfinishedCapture&) = delete;

  const Descriptor& directory() const { return directory_.descriptor(); }

  void finish() {
    std::string error;
    if (!finishRecording(error)) throw Failure(error);
  }

  void heedInterruption() const {
    if (const int signal = signals_.takeInterruption()) throw Interruption{signal};
  }

  void keep() { directory_.keep(); }

 private:
  const SignalWatch signals_;
  NewDirectory directory_;
};

std::size_t fileCount() {
  std::size_t count = 0;
  std::error_code ignored;
  for (const auto& entry : fs::recursive_directory_iterator("root", ignored)) {
    count += entry.is_regular_file(ignored);
  }
  return count;
}

std::string summaryOf(const std::string& directory, const Scan& scan) {
  const auto answered = std::count_if(scan.groups.begin(), scan.groups.end(),
                                      [](const GroupResult& r) { return r.status == Status::Ok; });
  return "captured " + counted(fileCount(), "file") + " into " + printable(directory) + "; " +
         std::to_string(answered) + " of " + counted(scan.groups.size(), "group") +
         " had a table\n";
}

void redactAll(const std::string& directory, Scan& scan, const Redactor& redactor) {
  const CaptureRedaction done = redactCapture(".", scan, redactor);
  redactor.redact(scan);
  reportLine(directory + ": " + counted(done.replaced, "sensitive value") + " replaced in " +
             counted(done.files, "file"));
}

}  // namespace

int runCapture(const Options& options) {
  if (!options.machine.empty()) {
    throw Failure("capture records this machine; leave out --machine");
  }
  const std::string& directory = options.words.front();
  const auto groups = findGroups({options.words.begin() + 1, options.words.end()});
  const std::optional<Redactor> redactor = makeRedactor(options);

  UnfinishedCapture capture(directory);
  Scan scan = scanMachine(options, groups, false, directory);
  capture.finish();
  std::string summary;
  {
    const WorkingDirectory inside(capture.directory());
    if (redactor) redactAll(directory, scan, *redactor);
    summary = summaryOf(directory, scan);
  }
  capture.heedInterruption();
  options.format.empty() ? writeOutput(options.output, summary) : writeScan(options, scan);
  capture.heedInterruption();
  capture.keep();
  return reportTroubles(scan);
}

}  // namespace invscan::agent
