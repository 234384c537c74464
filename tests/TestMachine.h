// A machine made of a few answers, for tests: what is not given is not there.
#pragma once

#include <map>
#include <memory>
#include <string>

#include <invscan/base/OrvCfg.h>

#include "invscan/machine/ReplayedMachine.h"

namespace invscan {

struct Answers {
  std::map<std::string, FileText> files{};
  std::map<std::string, CapturedProgram> commands{};
  std::string notStarted{};  // a command line that no process can be made for
  PlainFacts
      plain{};  // such as {answered<ClockQuestion>(5), answered<CpuidQuestion>(registers, leaf)}
  LocaleName locale{true, "C.UTF-8"};
  std::map<std::string, std::vector<std::string>> directories{};
  std::map<std::string, std::string> links{};
  std::map<std::string, std::string> helpers{};
  std::map<unsigned long, std::string> physicalMemory{};  // what lies at an address
};

// A replay of facts in memory.
class TestMachine : public ReplayedMachine {
 public:
  explicit TestMachine(Answers answers)
      : ReplayedMachine(factsOf(answers)), answers_(std::move(answers)) {}

 private:
  static CaptureFacts factsOf(const Answers& answers) {
    CaptureFacts facts{.plain = answers.plain};
    for (const char* category : {"LC_CTYPE", "LC_MESSAGES"}) {
      facts.locales[category] = answers.locale;
    }
    for (const auto& [line, command] : answers.commands) facts.commands[line] = {command};
    for (const auto& [name, output] : answers.helpers) facts.helpers[name] = {{output}};
    return facts;
  }

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
  FileText doReadLink(const std::string& path) override {
    const auto link = answers_.links.find(path);
    return link == answers_.links.end() ? FileText{ENOENT, {}} : FileText{0, link->second};
  }
  Listing doListDirectory(const std::string& path) override {
    const auto directory = answers_.directories.find(path);
    return directory == answers_.directories.end() ? Listing{ENOENT}
                                                   : Listing{0, directory->second};
  }
  CommandOutput doRunCommand(const std::string& line, const CommandLimits& limits) override {
    return line == answers_.notStarted ? CommandOutput()
                                       : ReplayedMachine::doRunCommand(line, limits);
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
