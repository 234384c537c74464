#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <utility>

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

// Where what was recorded stands until it is redacted: a capture that is not finished has this.
constexpr char kUnfinished[] = ".recording";

// The directory while it is being filled. What is not kept is removed, and no more than was made;
// that holds for an interruption, too.
class UnfinishedCapture {
 public:
  explicit UnfinishedCapture(const std::string& path) try : directory_(path) {
  } catch (const WriteError& error) {
    throw Failure(path + ": " + error.what());
  }
  UnfinishedCapture(const UnfinishedCapture&) = delete;
  UnfinishedCapture& operator=(const UnfinishedCapture&) = delete;

  const Descriptor& directory() const { return directory_.descriptor(); }

  void heedInterruption() const {
    if (const int signal = signals_.takeInterruption()) throw Interruption{signal};
  }

  void keep() { directory_.keep(); }

 private:
  const SignalWatch signals_;
  NewDirectory directory_;
};

// Scans the live machine, and records it in a directory.
class Recording {
 public:
  explicit Recording(std::string path) : path_(std::move(path)) {
    std::string error;
    if (!recordMachine(path_, error)) throw Failure(error);
  }
  ~Recording() { useLiveMachine(); }
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  Scan scan(const Options& options, const std::vector<const kelGroupDef*>& groups) const {
    Scan scan = scanMachine(options, groups, false, path_);
    std::string error;
    if (!finishRecording(error)) throw Failure(error);
    return scan;
  }

 private:
  const std::string path_;
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

Descriptor openDirectory(const Descriptor& in, const std::string& path) {
  Descriptor directory(openat(in.get(), path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory) throw Failure(path + ": " + errorText(errno));
  return directory;
}

void report(const std::string& directory, const CaptureRedaction& done) {
  for (const std::string& what : done.leftOut) {
    reportLine(directory + ": left out, as it cannot be checked: " + printable(what));
  }
  reportLine(directory + ": " + counted(done.replaced, "sensitive value") + " replaced in " +
             counted(done.files, "file"));
}

void publish(const Descriptor& directory, const std::string& facts) try {
  const Place place{openDirectory(directory, "."), "machine.json"};
  NewFile file(place, S_IRUSR | S_IWUSR);
  file.write(facts);
  file.putInFreePlace();
} catch (const WriteError& error) {
  throw Failure(std::string("machine.json: ") + error.what());
}

using Groups = std::vector<const kelGroupDef*>;

Scan record(const Options& options, const Groups& groups, const UnfinishedCapture&) {
  return Recording(options.words.front()).scan(options, groups);
}

// The redacted capture is whole but for its machine.json when this returns, which has the text of
// that.
std::string redactInto(const UnfinishedCapture& capture, const Descriptor& source,
                       const std::string& directory, Scan& scan, const Redactor& redactor) {
  const CaptureRedaction done = redactCapture(source, capture.directory(), scan, redactor,
                                              [&] { capture.heedInterruption(); });
  redactor.redact(scan);
  report(directory, done);
  return done.facts;
}

// What is recorded stands aside, and is gone before the redacted capture is one.
Scan recordRedacted(const Options& options, const Groups& groups, const UnfinishedCapture& capture,
                    const Redactor& redactor) {
  const std::string& directory = options.words.front();
  Scan scan = Recording(directory + "/" + kUnfinished).scan(options, groups);
  const Descriptor recorded = openDirectory(capture.directory(), kUnfinished);
  const std::string facts = redactInto(capture, recorded, directory, scan, redactor);
  removeContents(recorded);
  if (unlinkat(capture.directory().get(), kUnfinished, AT_REMOVEDIR) != 0) {
    throw Failure(directory + "/" + kUnfinished + ": " + errorText(errno));
  }
  publish(capture.directory(), facts);
  return scan;
}

Scan redactExisting(const Options& options, const Groups& groups, const UnfinishedCapture& capture,
                    const Redactor& redactor) {
  const Descriptor existing = openDirectory(Descriptor(AT_FDCWD), options.machine);
  Scan scan = scanMachine(options, groups);
  publish(capture.directory(),
          redactInto(capture, existing, options.words.front(), scan, redactor));
  return scan;
}

}  // namespace

int runCapture(const Options& options) {
  if (!options.machine.empty() && !options.redact) {
    throw Failure("capture records this machine; leave out --machine, or add --redact");
  }
  const std::string& directory = options.words.front();
  const Groups groups = findGroups({options.words.begin() + 1, options.words.end()});
  const std::optional<Redactor> redactor = makeRedactor(options);

  UnfinishedCapture capture(directory);
  const Scan scan = !redactor                 ? record(options, groups, capture)
                    : options.machine.empty() ? recordRedacted(options, groups, capture, *redactor)
                                              : redactExisting(options, groups, capture, *redactor);
  std::string summary;
  {
    const WorkingDirectory inside(capture.directory());
    summary = summaryOf(directory, scan);
  }
  capture.heedInterruption();
  options.format.empty() ? writeOutput(options.output, summary) : writeScan(options, scan);
  capture.heedInterruption();
  capture.keep();
  return reportTroubles(scan, false);
}

}  // namespace invscan::agent
