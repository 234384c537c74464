// A machine that answers from a capture.
#pragma once

#include <map>
#include <string>

#include "invscan/machine/Capture.h"
#include "invscan/machine/Machine.h"

namespace invscan {

class ReplayedMachine : public Machine {
 public:
  // Throws CaptureError when the directory is not a usable capture. Changes nothing of the process.
  explicit ReplayedMachine(const std::string& directory);

  // Puts the capture's environment and time zone in place of the process's.
  void takeEffect();

 protected:
  std::string explainError(const std::string& path, int error) const override;

 private:
  FileText doReadFile(const std::string& path, std::size_t limit) override;
  int doExists(const std::string& path) override;
  std::optional<std::string> doReadLink(const std::string& path) override;
  std::vector<std::string> doListDirectory(const std::string& path) override;
  FileText doReadMemory(unsigned long address, unsigned long length) override;
  CommandOutput doRunCommand(const std::string& line, std::size_t limit) override;
  HelperOutput doRunHelper(const std::string& command, const char* arguments,
                           const char* tracePath) override;
  std::optional<CpuidRegisters> doCpuid(std::uint32_t leaf, std::uint32_t subleaf) override;
  std::optional<struct statvfs> doFileSystemStatistics(const std::string& path,
                                                       StatisticsCall call) override;
  std::optional<KernelIdentity> doKernelIdentity() override;
  std::optional<MemoryFigures> doMemoryFigures() override;
  unsigned long doPageSize() override;
  std::optional<unsigned long> doWordSize() override;
  long doCurrentTime() override;
  std::optional<RunLevelRecord> doRunLevelRecord() override;
  LocaleName doSetLocale(int category) override;
  void doSetTimeZone() override;

  using Programs = std::map<std::string, std::vector<CapturedCommand>>;
  using Turns = std::map<std::string, std::size_t>;

  // The captured program whose turn it is; null when the capture does not have it.
  static const CapturedCommand* takeTurn(const Programs& programs, Turns& turns,
                                         const std::string& name);

  CaptureFacts facts_;
  CaptureFiles files_;
  Turns commandTurns_, helperTurns_;
};

}  // namespace invscan
