// Asks another machine and writes every question and its answer into a capture.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "base/WrittenFile.h"
#include "invscan/machine/Capture.h"
#include "invscan/machine/Machine.h"

namespace invscan {

// Answers other than files are noted, one file each, in DIR/.recording until finish() makes
// machine.json of them: forked children note theirs without a lock, and whoever is first to answer
// a question answers it for all.
class RecordingMachine : public Machine {
 public:
  // Begins a recording, or takes part in one that another process has begun. Throws CaptureError
  // when the directory cannot be made or is not empty, or when no recording is going on there.
  enum class Part { Begins, Joins };
  RecordingMachine(const std::string& directory, std::unique_ptr<Machine> source,
                   Part part = Part::Begins);
  ~RecordingMachine() override;

  const std::string& name() const { return name_; }

  std::vector<int> descriptorsForQuestions() const override { return {notes_.get()}; }

  // Completes the capture. Throws CaptureError when anything could not be written.
  void finish();

 private:
  FileText doReadFile(const std::string& path, std::size_t limit) override;
  int doExists(const std::string& path) override;
  FileText doReadLink(const std::string& path) override;
  Listing doListDirectory(const std::string& path) override;
  FileText doReadMemory(unsigned long address, unsigned long length) override;
  CommandOutput doRunCommand(const std::string& line, const CommandLimits& limits) override;
  HelperOutput doRunHelper(const std::string& command, const char* arguments,
                           const char* tracePath) override;
  void doAsk(Question& question) override;
  LocaleName doSetLocale(int category) override;
  TimeZone doSetTimeZone() override;
  void doLetTimePass(std::chrono::microseconds time) override;

  // The answer to a question: the one noted before, else the one that ask gives now. Null is "it
  // does not tell". Section, name (null for a section that is one answer) and turn say where in
  // machine.json it goes.
  Json remember(const std::string& section, const Json& name, std::size_t turn,
                const std::function<Json()>& ask);
  template <class Form, class Ask>
  std::optional<CapturedProgram> rememberProgram(const std::string& name, Ask ask);
  // How often a program of a section was asked for before, by this process.
  std::size_t countTurn(const std::string& program);
  void rememberError(const std::string& name, int error);
  // Puts what was read into the image of physical memory. A worker that reads the same range writes
  // the same bytes, so that none has to wait for another.
  void keepMemory(unsigned long address, const std::string& bytes);
  // Where below the capture's root that is kept which a path leads to, or the path's last component
  // itself. Links on the way are kept as links, so that another path that leads there finds it.
  std::string placeOf(const std::string& path, bool followsLast);
  // The directory in which a place is, made where it is missing.
  Descriptor makeParent(const std::string& place) const;
  void keepFile(const std::string& place, const std::string& contents);
  void keepLink(const std::string& place, const std::string& target);
  void keepDirectory(const std::string& place);
  // Makes a file appear whole in a directory, unless it is there already.
  void publish(const Descriptor& directory, const std::string& name, const std::string& contents);
  Json readNote(const std::string& name) const;
  void noteFailure();
  Json mergeNotes() const;

  const Descriptor& directory() const { return made_ ? made_->descriptor() : joined_; }

  std::string name_;
  std::unique_ptr<NewDirectory> made_;  // else the one that another process made is joined
  Descriptor joined_, root_, notes_;
  std::unique_ptr<Machine> source_;
  CaptureFiles files_;
  std::mutex turnsMutex_;
  std::map<std::string, std::size_t> timesAsked_;  // by section and name
  int* failure_;  // errno of the first failed write, shared with forked children
};

}  // namespace invscan
