// The seam: every question to the machine under scan is a method of the current machine().
#pragma once

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <invscan/machine.h>

#include "base/Descriptor.h"
#include "base/LocalTime.h"
#include "common/vartree/ProgramOutput.h"
#include "invscan/machine/Question.h"
#include "invscan/machine/questions/Cpuid.h"
#include "invscan/machine/questions/Device.h"
#include "invscan/machine/questions/Figures.h"
#include "invscan/machine/questions/FileSystemStatistics.h"
#include "invscan/machine/questions/GuestChannel.h"
#include "invscan/machine/questions/GuestLibrary.h"
#include "invscan/machine/questions/HardwareDatabase.h"
#include "invscan/machine/questions/HostLookup.h"
#include "invscan/machine/questions/InterfaceAddresses.h"
#include "invscan/machine/questions/KernelIdentity.h"
#include "invscan/machine/questions/MemoryFigures.h"
#include "invscan/machine/questions/Netlink.h"
#include "invscan/machine/questions/RunLevel.h"

namespace invscan {

// More of a file or of a command's output than this is not read unless a caller says so.
inline constexpr std::size_t kTextLimit = 1 << 20;

// For lists that grow with the machine's interfaces, addresses or routes.
inline constexpr std::size_t kTableLimit = 64 << 20;

struct FileText {
  int error = 0;     // errno of the attempt; 0 when the file was read
  std::string text;  // at most the limit asked for
};

// The file behind a descriptor; without one, the current errno.
FileText readFileText(const Descriptor& file, std::size_t limit);

// What a directory has in it that can be followed: directories and links, sorted.
struct Listing {
  int error = 0;  // errno of the attempt; 0 when the directory was listed
  std::vector<std::string> names{};

  auto begin() const { return names.begin(); }
  auto end() const { return names.end(); }
};

// The directory behind a descriptor; without one, the current errno.
Listing directoriesIn(Descriptor directory);

// The error of reading a link that is something else.
inline constexpr int kNotALink = EINVAL;

// Physical memory is asked for in ranges that are there whole or not at all: one that passes the
// end of memory, or of a capture's image, gives kBeyondEnd.
inline constexpr const char* kMemoryDevice = "/dev/mem";
inline constexpr int kBeyondEnd = EFAULT;
inline constexpr unsigned long kMemoryLimit = 256 << 20;

// That range of the file behind a descriptor, or kBeyondEnd where it ends before; without a
// descriptor, the current errno.
FileText readRange(const Descriptor& file, unsigned long offset, unsigned long length);

// How much a command may print and how long it may take before it is ended.
struct CommandLimits {
  CommandLimits(std::size_t mostBytes = kTextLimit,
                std::chrono::milliseconds longest = std::chrono::milliseconds::max())
      : bytes(mostBytes), time(longest) {}

  bool isTimed() const { return time != std::chrono::milliseconds::max(); }

  std::size_t bytes;
  std::chrono::milliseconds time;
};

struct CommandOutput {
  bool started = false;
  int status = 0;           // exit code, or 128 + signal
  std::string text;         // standard output, at most the limit asked for
  bool wasRecorded = true;  // false: a capture does not tell, as nobody asked when it was made
};

struct LocaleName {
  bool known = false;  // the machine has the locale that its environment names
  std::string name;    // of the locale now in force
};

// A helper program's whole output; more of it is refused.
inline constexpr std::size_t kHelperOutputLimit = kProgramOutputLimit;

// What runs a helper of this machine: false when no process could be made, otherwise the output,
// which is empty when there is no such program.
struct HelperOutput {
  bool started = false;
  std::string text;  // at most kHelperOutputLimit; empty when there was more
};

// Derived classes answer (the do... functions); this class notes what was asked in the access log.
// Answers are bytes from outside: nothing about their form is promised.
class Machine : public std::enable_shared_from_this<Machine> {
 public:
  Machine() = default;
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  virtual ~Machine() = default;

  // Has something that was learnt of this machine last as long as it does.
  void keep(std::shared_ptr<const void> learnt) { kept_.push_back(std::move(learnt)); }

  // What a child that closes all others keeps open, to ask plain questions.
  virtual std::vector<int> descriptorsForQuestions() const { return {}; }

  // Regular files and kernel files, never blocking on a FIFO.
  FileText readFile(const std::string& path, std::size_t limit = kTextLimit);
  bool exists(const std::string& path);
  // The text of a symbolic link; the error is kNotALink when something else is there.
  FileText readLink(const std::string& path);
  Listing listDirectory(const std::string& path);

  // Physical memory, through /dev/mem; none when that cannot be opened, not all of the range is
  // there, the range is longer than kMemoryLimit, or it passes the last address.
  std::optional<std::string> readMemory(unsigned long address, unsigned long length);
  // The same, with what went wrong.
  FileText tryMemory(unsigned long address, unsigned long length);

  // Runs a shell command line, with standard input and standard error at /dev/null unless the line
  // redirects them, and returns when it has ended or has come to a limit: then it has the status of
  // a killed one.
  CommandOutput runCommand(const std::string& line, const CommandLimits& limits = {});

  // Runs a helper program (its command name, such as "cpuid") with arguments that blanks separate
  // and a file for its trace; both may be null. As vtExecCommand in helper.h does, which collectors
  // call.
  HelperOutput runHelper(const std::string& command, const char* arguments, const char* tracePath);

  // Plain questions; questions/ has their answers and where they come from. ask() notes and asks
  // any of them; each of the others names one.
  void ask(Question& question);
  template <class Kind>
  typename Kind::Answer ask(typename Kind::Key key = {}, typename Kind::Answer untold = {}) {
    Asked<Kind> question(std::move(key), std::move(untold));
    ask(question);
    return std::move(question.answer);
  }

  auto cpuid(std::uint32_t leaf, std::uint32_t subleaf = 0) {
    return ask<CpuidQuestion>({leaf, subleaf});
  }
  // Blocks as long as the device does.
  auto askDevice(const DeviceCommand& command) { return ask<DeviceQuestion>(command); }
  // Blocks as long as a dead server does: collectors call timeout_statvfs.
  auto fileSystemStatistics(const std::string& path, StatisticsCall call) {
    return ask<FileSystemQuestion>({path, call});
  }
  auto guestChannel(std::uint32_t command, std::uint32_t ebx) {
    return ask<GuestChannelQuestion>({command, ebx});
  }
  auto guestLibrary(std::function<std::optional<VMwareGuestInfo>()> read) {
    return ask<GuestLibraryQuestion>({{}, std::move(read)});
  }
  auto interfaceAddresses() { return ask<InterfacesQuestion>(); }
  auto kernelIdentity() { return ask<KernelIdentityQuestion>(); }
  auto hardwareProperties(const std::string& alias) { return ask<HardwareQuestion>(alias); }
  // Collectors with several addresses call NameLookups, which asks no more than needed.
  auto lookUpHost(const std::string& address, std::chrono::milliseconds limit) {
    return ask<HostLookupQuestion>({address, limit}, HostLookupQuestion::unanswered(limit));
  }
  auto memoryFigures() { return ask<MemoryFiguresQuestion>(); }
  auto netlinkDump(int type, int family) { return ask<NetlinkQuestion>({type, family}); }
  auto pageSize() { return ask<PageSizeQuestion>(); }
  auto wordSize() { return ask<WordSizeQuestion>(); }
  auto currentTime() { return ask<ClockQuestion>(); }
  auto runLevelRecord() { return ask<RunLevelQuestion>(); }

  // Sets a category of the process's locale from the environment: a process-wide effect that hosts
  // expect.
  LocaleName setLocale(int category);
  // Sets the process's time zone from environment and zone files, and tells it.
  TimeZone setTimeZone();

  // Lets time pass while the machine gets something ready. A capture has at once all that it will
  // ever have.
  void letTimePass(std::chrono::microseconds time) { doLetTimePass(time); }

 protected:
  // In plain words why a file gave nothing.
  virtual std::string explainError(const std::string& path, int error) const;
  // Whether something stood in the way of an answer that may be there.
  virtual bool isObstacle(const std::string& path, int error) const;

 private:
  // Whether a capture that was recorded knows of the question.
  virtual bool wasRecorded(const Question&) const { return true; }

  template <class Ask, class Judge>
  auto notedPath(const std::string& path, Ask ask, Judge judge);

  virtual FileText doReadFile(const std::string& path, std::size_t limit) = 0;
  virtual int doExists(const std::string& path) = 0;  // 0, or errno
  virtual FileText doReadLink(const std::string& path) = 0;
  virtual Listing doListDirectory(const std::string& path) = 0;
  // Length is at most kMemoryLimit, and the end of the range is an offset in a file.
  virtual FileText doReadMemory(unsigned long address, unsigned long length) = 0;
  virtual CommandOutput doRunCommand(const std::string& line, const CommandLimits& limits) = 0;
  virtual HelperOutput doRunHelper(const std::string& command, const char* arguments,
                                   const char* tracePath) = 0;
  virtual void doAsk(Question& question) = 0;
  virtual LocaleName doSetLocale(int category) = 0;
  virtual TimeZone doSetTimeZone() = 0;
  virtual void doLetTimePass(std::chrono::microseconds) {}

  std::vector<std::shared_ptr<const void>> kept_;
};

// All plain questions: what a capture may hold of them.
inline constexpr const QuestionKind* kPlainQuestions[] = {
    &kKindOf<ClockQuestion>,         &kKindOf<CpuidQuestion>,
    &kKindOf<DeviceQuestion>,        &kKindOf<FileSystemQuestion>,
    &kKindOf<GuestChannelQuestion>,  &kKindOf<GuestLibraryQuestion>,
    &kKindOf<HardwareQuestion>,      &kKindOf<HostLookupQuestion>,
    &kKindOf<InterfacesQuestion>,    &kKindOf<KernelIdentityQuestion>,
    &kKindOf<MemoryFiguresQuestion>, &kKindOf<NetlinkQuestion>,
    &kKindOf<PageSizeQuestion>,      &kKindOf<RunLevelQuestion>,
    &kKindOf<WordSizeQuestion>};

// The machine that this process scans. What is returned lasts until this thread calls again: the
// one before a change is freed when the last thread that asks it has called again or ended, as a
// collection that was abandoned may still be asking it. A machine itself never asks machine().
Machine& machine();

// Tells answers of machine() from those of another one.
unsigned long machineNumber();

// Makes another machine current.
void setMachine(std::shared_ptr<Machine> next);

// Has a function called at every change of machine, to forget what it learnt of the one before.
// Naming it again changes nothing.
void onMachineChange(void (*forget)());

// Notes, when the access log is on, what became of a question without asking it; an obstacle also
// when those alone are noted.
void noteAccess(const std::string& source, const std::string& outcome, double milliseconds,
                bool isObstacle = false);

// A question in the access log, when that is on: there from the start, as it may block for ever. An
// answer that is an obstacle is also noted when those alone are.
class NotedQuestion {
 public:
  explicit NotedQuestion(const std::string& source);
  void answered(const std::string& outcome, bool isObstacle = false) const;

 private:
  std::string source_;
  std::size_t place_ = 0;
  unsigned long log_ = 0;  // the one that it stands in; 0: none
  std::chrono::steady_clock::time_point begin_;
};

// Ends the access log of this process: for a child whose notes nobody would see. Takes no lock, as
// another thread of the parent may have held it.
void stopAccessLog();

// Whether facts are taken from the kernel first (hwscanner.sources = native).
bool useNativeSources();

}  // namespace invscan
