// A capture directory: the facts in its machine.json and the files below its root. docs/capture.md
// describes the form. Everything in it is hostile.
#pragma once

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Descriptor.h"
#include "invscan/machine/CaptureValue.h"
#include "invscan/machine/Machine.h"

namespace invscan {

// The captured output of a program.
struct CapturedProgram {
  std::string output;
  int status = 0;
  bool hangs = false;
};

// A program as it stands in machine.json, where one of its members names it: the line of a command,
// the command of a helper.
struct CommandForm {
  static constexpr const char* kSection = "commands";
  static constexpr const char* kName = "line";
};
struct HelperForm {
  static constexpr const char* kSection = "helpers";
  static constexpr const char* kName = "command";
};
Json writeProgram(const char* nameKey, const std::string& name, const CapturedProgram& program);
CapturedProgram readProgram(const char* nameKey, const CaptureValue& value);

// What a capture answers to plain questions.
class PlainFacts {
 public:
  struct Fact {
    std::shared_ptr<const Question> answer;
    bool hangs = false;  // the machine never answers
  };
  using ByKey = std::map<std::string, Fact>;
  using BySection = std::map<std::string, ByKey, std::less<>>;

  PlainFacts() = default;
  PlainFacts(std::initializer_list<std::shared_ptr<const Question>> questions);

  // What is to be answered to a question as it was to this one.
  void add(const std::shared_ptr<const Question>& question);

  // Reads a section of machine.json.
  void read(const QuestionKind& kind, const std::string& section, const CaptureValue& value);

  // Null when the capture does not tell.
  const Fact* find(const Question& question) const;

  const BySection& all() const { return facts_; }

 private:
  BySection facts_;
};

// A plain question with its answer, to make facts of.
template <class Kind>
std::shared_ptr<const Question> answered(typename Kind::Answer answer,
                                         typename Kind::Key key = {}) {
  return std::make_shared<Asked<Kind>>(std::move(key), std::move(answer));
}

// machine.json, checked. What it does not have is not there.
struct CaptureFacts {
  using Programs = std::map<std::string, std::vector<CapturedProgram>>;

  PlainFacts plain{};
  std::map<std::string, std::string> environment{};  // variables that are set
  std::map<std::string, LocaleName> locales{};       // by category
  Programs commands{}, helpers{};                    // by line, by command
  // What went wrong with a path, with a range of memory or with a link, by the names below.
  std::map<std::string, int> unreadable{};
  // Paths that were asked for and not there, sorted; none when the capture was not recorded but
  // made.
  std::optional<std::vector<std::string>> absent{};
};

// Checks and reads the text of a machine.json. Throws CaptureError.
CaptureFacts readFacts(std::string text);

// The name of an error in "unreadable", such as EACCES.
std::string errorName(int error);

Json writeLocale(const LocaleName& locale);

// The files below a capture's root. Links lead no further than the root, and only regular files are
// read.
class CaptureFiles {
 public:
  // Those of the capture that is open. One without a root has no files. Throws CaptureError where
  // the system cannot confine opening to a directory.
  explicit CaptureFiles(const Descriptor& capture);
  CaptureFiles() = default;

  FileText read(const std::string& path, std::size_t limit) const;
  // As readRange(), from a file of any size.
  FileText readRange(const std::string& path, unsigned long offset, unsigned long length) const;
  int exists(const std::string& path) const;  // 0 or errno
  FileText readLink(const std::string& path) const;
  Listing listDirectory(const std::string& path) const;

 private:
  Descriptor open(const std::string& path, unsigned long flags) const;
  // A regular file to be read; none, and errno, for anything else.
  Descriptor openFile(const std::string& path) const;

  Descriptor root_;
};

// The text of the link at a path that leads through no links itself; none where there is no link.
using LinkReader = std::function<std::optional<std::string>(const std::string& path)>;

// Where a path leads when links are followed (the last component only when asked to), also where
// nothing is there yet. Nothing leads above the root. Empty when links go round in circles.
std::string followLinks(const std::string& path, bool followsLast, const LinkReader& linkAt);

// The key in "unreadable" of a range of physical memory.
std::string memoryRangeName(unsigned long address, unsigned long length);

// The key in "unreadable" of a link that could not be read as one. The file that it leads to has
// the path for its key.
std::string linkName(const std::string& path);

// The environment variables that a capture keeps: LC_*, LANG and TZ.
bool isCapturedVariable(std::string_view name);
std::map<std::string, std::string> capturedEnvironment();

// The file that a value of TZ names (null: not set), or an empty text when it names none.
std::string timeZoneFile(const char* timeZone);

}  // namespace invscan
