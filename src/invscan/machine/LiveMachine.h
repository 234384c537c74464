// The machine that this process runs on.
#pragma once

#include "invscan/machine/Machine.h"

namespace invscan {

class LiveMachine : public Machine {
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
};

}  // namespace invscan
