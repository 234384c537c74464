// The machine that this process runs on.
#pragma once

#include "invscan/machine/Machine.h"

namespace invscan {

class LiveMachine : public Machine {
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
};

}  // namespace invscan
