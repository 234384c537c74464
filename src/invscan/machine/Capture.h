// A capture directory: the facts in its machine.json and the files below its root. docs/capture.md
// describes the form. Everything in it is hostile.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/Descriptor.h"
#include "invscan/machine/Machine.h"

namespace invscan {

using Json = nlohmann::json;

// What is wrong with a capture, in one line that names file and place, whatever the capture holds.
class CaptureError : public std::runtime_error {
 public:
  explicit CaptureError(std::string text);
};

struct CapturedCommand {
  std::string output;
  int status = 0;
  bool hangs = false;
};

struct CapturedStatistics {
  std::optional<struct statvfs> answer;  // block size, blocks and available blocks; the rest is 0
  bool hangs = false;
};

// machine.json, checked. What it does not have is not there.
struct CaptureFacts {
  std::optional<KernelIdentity> kernelIdentity;
  std::optional<MemoryFigures> memoryFigures;
  unsigned long pageSize = 0;
  std::optional<unsigned long> wordSize;
  long time = 0;
  std::optional<RunLevelRecord> runLevelRecord;
  std::map<std::string, std::string> environment;  // variables that are set
  std::map<std::string, LocaleName> locales;       // by category
  std::map<std::string, std::vector<CapturedCommand>> commands;
  std::map<std::string, std::vector<CapturedCommand>> helpers;  // by command
  std::map<std::string, CapturedStatistics> statistics;         // by path, of statvfs
  std::map<std::string, CapturedStatistics> statistics64;       // of statvfs64, where it differs
  std::map<std::string, CpuidRegisters> cpuid;                  // by cpuidLeafName()
  std::map<std::string, int> unreadable;                        // paths and what went wrong
  // Paths that were asked for and not there; none when the capture was not recorded but made.
  std::optional<std::set<std::string>> absent;
};

// Parts of machine.json, as recorded and as read; where names the place for error messages.
Json toJson(const KernelIdentity& kernel);
Json toJson(const MemoryFigures& figures);
Json toJson(const RunLevelRecord& record);
Json toJson(const LocaleName& locale);
Json toJson(const std::string& line, const CommandOutput& output);
Json toJson(const std::string& command, const HelperOutput& output);
Json toJson(const std::optional<struct statvfs>& statistics);
Json toJson(const CpuidRegisters& registers);
KernelIdentity readKernelIdentity(const Json& json, const std::string& where);
MemoryFigures readMemoryFigures(const Json& json, const std::string& where);
RunLevelRecord readRunLevelRecord(const Json& json, const std::string& where);
LocaleName readLocale(const Json& json, const std::string& where);
CapturedCommand readCommand(const Json& json, const std::string& where);
CapturedCommand readHelper(const Json& json, const std::string& where);
CapturedStatistics readStatistics(const Json& json, const std::string& where);
CpuidRegisters readCpuid(const Json& json, const std::string& where);

// Checks and reads the text of a machine.json. Throws CaptureError.
CaptureFacts readFacts(const std::string& text);

// The files below a capture's root. Links lead no further than the root, and only regular files are
// read.
class CaptureFiles {
 public:
  // A capture without a root has no files. Throws CaptureError where the system cannot confine
  // opening to a directory.
  explicit CaptureFiles(const std::string& directory);

  FileText read(const std::string& path, std::size_t limit) const;
  // As readRange(), from a file of any size.
  FileText readRange(const std::string& path, unsigned long offset, unsigned long length) const;
  int exists(const std::string& path) const;  // 0 or errno
  std::optional<std::string> readLink(const std::string& path) const;
  std::vector<std::string> listDirectory(const std::string& path) const;

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

// The key of a leaf in "cpuid".
std::string cpuidLeafName(std::uint32_t leaf, std::uint32_t subleaf);

// The key in "unreadable" of a range of physical memory.
std::string memoryRangeName(unsigned long address, unsigned long length);

// The environment variables that a capture keeps: LC_*, LANG and TZ.
bool isCapturedVariable(std::string_view name);
std::map<std::string, std::string> capturedEnvironment();

// The file that a value of TZ names (null: not set), or an empty text when it names none.
std::string timeZoneFile(const char* timeZone);

}  // namespace invscan
