// A machine made of a few answers, for tests: what is not given is not there.
#pragma once

#include <map>
#include <memory>
#include <string>

#include <invscan/base/OrvCfg.h>

#include "invscan/machine/Machine.h"

namespace invscan {

struct Answers {
  std::map<std::string, FileText> files{};
  std::map<std::string, CommandOutput> commands{};
  std::optional<KernelIdentity> kernel{};
  std::optional<MemoryFigures> memory{};
  unsigned long pageSize = 4096;
  std::optional<unsigned long> wordSize{};
  long time = 0;
  std::optional<RunLevelRecord> runLevelRecord{};
  LocaleName locale{true, "C.UTF-8"};
  std::map<std::string, std::vector<std::string>> directories{};
  std::map<std::string, std::string> links{};
  std::map<std::string, std::string> helpers{};
  std::map<std::pair<std::uint32_t, std::uint32_t>, CpuidRegisters> cpuid{};
  std::map<std::string, struct statvfs> statistics{};
  std::map<unsigned long, std::string> physicalMemory{};  // what lies at an address
};

class TestMachine : public Machine {
 public:
  explicit TestMachine(Answers answers) : answers_(std::move(answers)) {}

  void answerWith(Answers answers) { answers_ = std::move(answers); }

 private:
  FileText doReadFile(const std::string& path, std::size_t limit) override {
    const auto file = answers_.files.find(path);
    if (file == answers_.files.end()) return {ENOENT, {}};
    return {file->second.error, file->second.text.substr(0, limit)};
  }
  int doExists(const std::string& path) override {
    const bool isThere = answers_.files.count(path) != 0 || answers_.links.count(path) != 0 ||
                         answers_.directories.count(path) != 0;
    return isThere ? 0 : ENOENT;
  }
  std::optional<std::string> doReadLink(const std::string& path) override {
    return find(answers_.links, path);
  }
  std::vector<std::string> doListDirectory(const std::string& path) override {
    return find(answers_.directories, path).value_or(std::vector<std::string>());
  }
  FileText doReadMemory(unsigned long address, unsigned long length) override {
    for (const auto& [begin, bytes] : answers_.physicalMemory) {
      if (address >= begin && address - begin <= bytes.size() &&
          length <= bytes.size() - (address - begin)) {
        return {0, bytes.substr(address - begin, length)};
      }
    }
    return {answers_.physicalMemory.empty() ? ENOENT : kBeyondEnd, {}};
  }
  CommandOutput doRunCommand(const std::string& line, std::size_t) override {
    const auto command = answers_.commands.find(line);
    return command != answers_.commands.end() ? command->second : CommandOutput{true, 127, {}};
  }
  HelperOutput doRunHelper(const std::string& command, const char*, const char*) override {
    return {true, find(answers_.helpers, command).value_or("")};
  }
  std::optional<CpuidRegisters> doCpuid(std::uint32_t leaf, std::uint32_t subleaf) override {
    return find(answers_.cpuid, std::make_pair(leaf, subleaf));
  }
  std::optional<struct statvfs> doFileSystemStatistics(const std::string& path,
                                                       StatisticsCall) override {
    return find(answers_.statistics, path);
  }
  std::optional<KernelIdentity> doKernelIdentity() override { return answers_.kernel; }
  std::optional<MemoryFigures> doMemoryFigures() override { return answers_.memory; }
  unsigned long doPageSize() override { return answers_.pageSize; }
  std::optional<unsigned long> doWordSize() override { return answers_.wordSize; }
  long doCurrentTime() override { return answers_.time; }
  std::optional<RunLevelRecord> doRunLevelRecord() override { return answers_.runLevelRecord; }
  LocaleName doSetLocale(int) override { return answers_.locale; }
  void doSetTimeZone() override {}

  template <class Key, class Value>
  static std::optional<Value> find(const std::map<Key, Value>& all, const Key& key) {
    const auto found = all.find(key);
    return found == all.end() ? std::nullopt : std::optional<Value>(found->second);
  }

  Answers answers_;
};

// Scans that machine, in classic or native mode, until the end of the scope.
class OnMachine {
 public:
  explicit OnMachine(Answers answers, const char* sources = "classic") {
    setMachine(std::make_unique<TestMachine>(std::move(answers)));
    OrvCfg::setKey("hwscanner.sources", sources);
  }
  OnMachine(const OnMachine&) = delete;
  OnMachine& operator=(const OnMachine&) = delete;
  ~OnMachine() {
    OrvCfg::setKey("hwscanner.sources", "");
    useLiveMachine();
  }
};

}  // namespace invscan
