// The seam: every question to the machine under scan is a method of the current machine().
#pragma once

#include <sys/statvfs.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <invscan/machine.h>

#include "base/Descriptor.h"
#include "common/vartree/ProgramOutput.h"

namespace invscan {

// More of a file or of a command's output than this is not read unless a caller says so.
inline constexpr std::size_t kTextLimit = 1 << 20;

struct FileText {
  int error = 0;     // errno of the attempt; 0 when the file was read
  std::string text;  // at most the limit asked for
};

// The file behind a descriptor; without one, the current errno.
FileText readFileText(const Descriptor& file, std::size_t limit);

// The directories and links in the directory behind a descriptor, sorted; none without one.
std::vector<std::string> directoriesIn(Descriptor directory);

// Physical memory is asked for in ranges that are there whole or not at all: one that passes the
// end of memory, or of a capture's image, gives kBeyondEnd.
inline constexpr const char* kMemoryDevice = "/dev/mem";
inline constexpr int kBeyondEnd = EFAULT;
inline constexpr unsigned long kMemoryLimit = 256 << 20;

// That range of the file behind a descriptor, or kBeyondEnd where it ends before; without a
// descriptor, the current errno.
FileText readRange(const Descriptor& file, unsigned long offset, unsigned long length);

struct CommandOutput {
  bool started = false;
  int status = 0;    // exit code, or 128 + signal
  std::string text;  // standard output, at most the limit asked for
};

struct KernelIdentity {
  std::string sysname, nodename, release, version, machine;
};

// The fields of sysinfo() as they stand; the memory unit is not applied.
struct MemoryFigures {
  unsigned long totalRam = 0, freeRam = 0, totalSwap = 0, freeSwap = 0;
};

// The run-level record of the login-records database. level is the run level's character, which a
// hand-written capture may lack.
struct RunLevelRecord {
  std::string line;
  long time = 0;
  std::optional<char> level;
};

struct LocaleName {
  bool known = false;  // the machine has the locale that its environment names
  std::string name;    // of the locale now in force
};

// What the processor answers to the CPUID instruction.
struct CpuidRegisters {
  std::uint32_t eax = 0, ebx = 0, ecx = 0, edx = 0;
};

// The two calls for statistics of a file system: programs that were built for small files get other
// answers on some machines.
enum class StatisticsCall { statvfs, statvfs64 };

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
class Machine {
 public:
  Machine() = default;
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  virtual ~Machine() = default;

  // Regular files and kernel files, never blocking on a FIFO.
  FileText readFile(const std::string& path, std::size_t limit = kTextLimit);
  bool exists(const std::string& path);
  // The text of a symbolic link; none when it is not there or not a link.
  std::optional<std::string> readLink(const std::string& path);
  // The directories and links in a directory, sorted; none when it cannot be listed.
  std::vector<std::string> listDirectory(const std::string& path);

  // Physical memory, through /dev/mem; none when that cannot be opened, not all of the range is
  // there, the range is longer than kMemoryLimit, or it passes the last address.
  std::optional<std::string> readMemory(unsigned long address, unsigned long length);
  // The same, with what went wrong.
  FileText tryMemory(unsigned long address, unsigned long length);

  // Runs a shell command line, with standard input and standard error at /dev/null unless the line
  // redirects them, and returns when it has ended or has written more than the limit.
  CommandOutput runCommand(const std::string& line, std::size_t limit = kTextLimit);

  // Runs a helper program (its command name, such as "cpuid") with arguments that blanks separate
  // and a file for its trace; both may be null. As vtExecCommand in helper.h does, which collectors
  // call.
  HelperOutput runHelper(const std::string& command, const char* arguments, const char* tracePath);

  // What the processor says, on whichever processor this runs; none for a leaf beyond its last.
  std::optional<CpuidRegisters> cpuid(std::uint32_t leaf, std::uint32_t subleaf = 0);

  // Statistics of the file system that a path is on; none when they cannot be had. Blocks as long
  // as a dead server does: collectors call timeout_statvfs.
  std::optional<struct statvfs> fileSystemStatistics(const std::string& path, StatisticsCall call);

  std::optional<KernelIdentity> kernelIdentity();
  std::optional<MemoryFigures> memoryFigures();
  // Bytes; 0 when the machine does not tell.
  unsigned long pageSize();
  // Bits of a long in the C library that programs get; none when the machine does not tell.
  std::optional<unsigned long> wordSize();
  // Seconds since the epoch.
  long currentTime();
  std::optional<RunLevelRecord> runLevelRecord();

  // Sets a category of the process's locale from the environment: a process-wide effect that hosts
  // expect.
  LocaleName setLocale(int category);
  // Sets the process's time zone (tzset and what follows from it) from environment and zone files.
  void setTimeZone();

 protected:
  // In plain words why a file gave nothing.
  virtual std::string explainError(const std::string& path, int error) const;

 private:
  virtual FileText doReadFile(const std::string& path, std::size_t limit) = 0;
  virtual int doExists(const std::string& path) = 0;  // 0, or errno
  virtual std::optional<std::string> doReadLink(const std::string& path) = 0;
  virtual std::vector<std::string> doListDirectory(const std::string& path) = 0;
  // Length is at most kMemoryLimit, and the end of the range is an offset in a file.
  virtual FileText doReadMemory(unsigned long address, unsigned long length) = 0;
  virtual CommandOutput doRunCommand(const std::string& line, std::size_t limit) = 0;
  virtual HelperOutput doRunHelper(const std::string& command, const char* arguments,
                                   const char* tracePath) = 0;
  virtual std::optional<CpuidRegisters> doCpuid(std::uint32_t leaf, std::uint32_t subleaf) = 0;
  virtual std::optional<struct statvfs> doFileSystemStatistics(const std::string& path,
                                                               StatisticsCall call) = 0;
  virtual std::optional<KernelIdentity> doKernelIdentity() = 0;
  virtual std::optional<MemoryFigures> doMemoryFigures() = 0;
  virtual unsigned long doPageSize() = 0;
  virtual std::optional<unsigned long> doWordSize() = 0;
  virtual long doCurrentTime() = 0;
  virtual std::optional<RunLevelRecord> doRunLevelRecord() = 0;
  virtual LocaleName doSetLocale(int category) = 0;
  virtual void doSetTimeZone() = 0;
};

// The machine that this process scans.
Machine& machine();

// Makes another machine current. The one before stays alive to the end of the process: a collection
// thread that was abandoned may still be asking it.
void setMachine(std::unique_ptr<Machine> next);

// Has a function called at every change of machine, to forget what it learnt of the one before.
// Naming it again changes nothing.
void onMachineChange(void (*forget)());

// Notes, when the access log is on, a question that a child of this process asked.
void noteAccess(const std::string& source, const std::string& outcome, double milliseconds);

// Whether facts are taken from the kernel first (hwscanner.sources = native).
bool useNativeSources();

}  // namespace invscan
