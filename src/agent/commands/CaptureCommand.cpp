#include <algorithm>
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

namespace invscan::agent {
namespace {

namespace fs = std::filesystem;

bool isThere(const fs::path& path) {
  std::error_code ignored;  // recording there tells
  return fs::exists(path, ignored);
}

// The directory while it is being filled. What is not kept is removed, and no more than was made.
class UnfinishedCapture {
 public:
  explicit UnfinishedCapture(const std::string& directory)
      : directory_(directory), wasThere_(isThere(directory)) {
    std::string error;
    if (!recordMachine(directory, error)) throw Failure(error);
  }
  ~UnfinishedCapture() {
    if (!isKept_) remove();
  }
  UnfinishedCapture(const UnfinishedCapture&) = delete;
  UnfinishedCapture& operator=(const UnfinishedCapture&) = delete;

  void finish() {
    std::string error;
    if (!finishRecording(error)) throw Failure(error);
  }
  void keep() { isKept_ = true; }

 private:
  void remove() const {
    useLiveMachine();
    std::error_code ignored;
    if (!wasThere_) {
      fs::remove_all(directory_, ignored);
      return;
    }
    for (const auto& entry : fs::directory_iterator(directory_, ignored)) {
      fs::remove_all(entry.path(), ignored);
    }
  }

  const fs::path directory_;
  const bool wasThere_;
  bool isKept_ = false;
};

std::size_t fileCount(const std::string& directory) {
  std::size_t count = 0;
  std::error_code ignored;
  for (const auto& entry : fs::recursive_directory_iterator(directory + "/root", ignored)) {
    count += entry.is_regular_file(ignored);
  }
  return count;
}

void writeSummary(const Options& options, const Scan& scan) {
  const std::string& directory = options.words.front();
  const auto answered = std::count_if(scan.groups.begin(), scan.groups.end(),
                                      [](const GroupResult& r) { return r.status == Status::Ok; });
  writeOutput(options.output, "captured " + counted(fileCount(directory), "file") + " into " +
                                  printable(directory) + "; " + std::to_string(answered) + " of " +
                                  counted(scan.groups.size(), "group") + " had a table\n");
}

void redactAll(const std::string& directory, Scan& scan, const Redactor& redactor) {
  const CaptureRedaction done = redactCapture(directory, scan, redactor);
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
  if (redactor) redactAll(directory, scan, *redactor);
  options.format.empty() ? writeSummary(options, scan) : writeScan(options, scan);
  capture.keep();
  return reportTroubles(scan);
}

}  // namespace invscan::agent
