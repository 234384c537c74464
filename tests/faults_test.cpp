// Every source of a machine fails in every way that it may, one at a time: each group still
// answers, and those that did not ask the source answer as before. Prints what each fault changed.
#include <iomanip>
#include <iostream>
#include <regex>
#include <set>

#include <invscan/collectors.h>

#include "Rendering.h"
#include "Testing.h"
#include "agent/scan/Scanner.h"
#include "invscan/machine/ReplayedMachine.h"

namespace invscan {
namespace {

enum class Fault { Absent, Denied, Broken, Empty, Garbage, Endless, Hanging, None };
constexpr const char* kFaults[] = {"absent", "denied", "broken", "empty", "garbage", "endless"};

constexpr std::size_t kEndless = 200'000;

int errorOf(Fault fault) {
  constexpr int kErrors[] = {ENOENT, EACCES, EIO};
  return fault <= Fault::Broken ? kErrors[static_cast<int>(fault)] : 0;
}

std::string spoilt(std::string text, Fault fault) {
  if (fault == Fault::Garbage) {
    for (std::size_t i = 0; i < text.size(); i += 3) text[i] = static_cast<char>(text[i] ^ 0xA5);
  } else if (fault == Fault::Endless) {
    const std::string once = text.empty() ? "x" : text;
    while (text.size() < kEndless) text += once;
  } else {
    text.clear();
  }
  return text;
}

// Another machine, one source of which is faulty.
class FaultyMachine : public Machine {
 public:
  FaultyMachine(std::shared_ptr<Machine> source, std::string victim, Fault fault)
      : source_(std::move(source)), victim_(std::move(victim)), fault_(fault) {}

 private:
  // A hanging source is asked for longer than anybody waits.
  bool isHit(const std::string& name) const {
    if (name != victim_ || fault_ == Fault::None) return false;
    if (fault_ == Fault::Hanging) std::this_thread::sleep_for(std::chrono::minutes(1));
    return true;
  }

  FileText spoilt(const std::string& name, FileText answer, std::size_t limit) const {
    if (!isHit(name) || answer.error != 0) return answer;
    answer = {errorOf(fault_), invscan::spoilt(std::move(answer.text), fault_)};
    answer.text.resize(std::min(answer.text.size(), limit));
    return answer;
  }

  FileText doReadFile(const std::string& path, std::size_t limit) override {
    return spoilt(path, source_->readFile(path, limit), limit);
  }
  int doExists(const std::string& path) override {
    const int error = source_->exists(path) ? 0 : ENOENT;
    return isHit(path) && error == 0 ? errorOf(fault_) : error;
  }
  FileText doReadLink(const std::string& path) override {
    return spoilt(path, source_->readLink(path), PATH_MAX);
  }
  Listing doListDirectory(const std::string& path) override {
    Listing listing = source_->listDirectory(path);
    if (!isHit(path) || listing.error != 0) return listing;
    Listing faulty{errorOf(fault_)};
    for (const std::string& name : listing) {
      if (fault_ == Fault::Garbage) faulty.names.push_back(invscan::spoilt(name, fault_));
      if (fault_ == Fault::Endless) faulty.names.insert(faulty.names.end(), 300, name);
    }
    return faulty;
  }
  FileText doReadMemory(unsigned long address, unsigned long length) override {
    return spoilt(kMemoryDevice, source_->tryMemory(address, length), length);
  }
  CommandOutput doRunCommand(const std::string& line, const CommandLimits& limits) override {
    CommandOutput output = source_->runCommand(line, limits);
    if (!isHit(line) || !output.started) return output;
    if (fault_ == Fault::Broken) return {};
    output.status = fault_ == Fault::Absent ? 127 : fault_ == Fault::Denied ? 126 : output.status;
    output.text = invscan::spoilt(std::move(output.text), fault_).substr(0, limits.bytes);
    return output;
  }
  HelperOutput doRunHelper(const std::string& command, const char* arguments,
                           const char* trace) override {
    HelperOutput output = source_->runHelper(command, arguments, trace);
    if (!isHit("helper " + command)) return output;
    return {fault_ != Fault::Broken, invscan::spoilt(std::move(output.text), fault_)};
  }
  // Bytes of plain answers are the fuzz targets' to spoil.
  void doAsk(Question& question) override {
    if (!isHit(question.logName()) || question.logName() == ClockQuestion::kLogName) {
      source_->ask(question);
    }
  }
  LocaleName doSetLocale(int category) override { return source_->setLocale(category); }
  TimeZone doSetTimeZone() override { return source_->setTimeZone(); }

  const std::shared_ptr<Machine> source_;
  const std::string victim_;
  const Fault fault_;
};

using GroupTexts = std::map<std::string, std::string>;

class Faults : public testing::TestWithParam<std::pair<const char*, const char*>> {
 protected:
  void SetUp() override {
    const fs::path directory = fs::path(INVSCAN_TESTS_DIR) / "machines" / GetParam().first;
    source_ = std::make_shared<ReplayedMachine>(directory);
    OrvCfg::setKey("hwscanner.sources", GetParam().second);
  }
  void TearDown() override {
    OrvCfg::setKey("hwscanner.sources", "");
    useLiveMachine();
  }

  void use(const std::string& victim, Fault fault) {
    setMachine(std::make_shared<FaultyMachine>(source_, victim, fault));
    GroupFactory::getInstance()->initialise();
  }

  static std::string answerOf(const Collector& collector) {
    const std::unique_ptr<KelGroup> group(GroupFactory::getInstance()->getKELGroup(collector.id));
    const std::unique_ptr<KelTable> table(group->getTable());
    setlocale(LC_ALL, "C");
    return rendered(table.get());
  }

  static std::string nameOf(const Collector& collector) {
    return getGroupDefinitionFromId(collector.id)->name;
  }

  // What each group asks on a machine that nobody asked before it.
  std::map<std::string, std::set<std::string>> askers() {
    std::map<std::string, std::set<std::string>> askers;
    for (const Collector& collector : collectors()) {
      startAccessLog();
      use("", Fault::None);
      answerOf(collector);
      for (const Access& access : accessLog()) askers[access.source].insert(nameOf(collector));
    }
    stopAccessLog();
    return askers;
  }

  // Those groups that ask, and for two faults that could hit others by what groups share, all.
  GroupTexts scan(const std::string& victim, Fault fault, const std::set<std::string>& groups) {
    const bool isWhole = groups.empty() || fault == Fault::Absent || fault == Fault::Garbage;
    use(victim, fault);
    GroupTexts texts;
    for (const Collector& collector : collectors()) {
      const std::string name = nameOf(collector);
      if (isWhole || groups.count(name) != 0) texts[name] = answerOf(collector);
    }
    return texts;
  }

  std::shared_ptr<Machine> source_;
};

// Sources that differ in numbers alone share a line of the table.
std::string kindOf(const std::string& source) {
  static const std::regex numbers("[0-9a-f]*[0-9][0-9a-f]*");
  return std::regex_replace(source, numbers, "N").substr(0, 60);
}

std::size_t linesThatDiffer(const std::string& one, const std::string& other) {
  const auto linesOf = [](const std::string& text) {
    std::multiset<std::string> lines;
    std::istringstream rest(text);
    for (std::string line; std::getline(rest, line);) lines.insert(line);
    return lines;
  };
  const auto before = linesOf(one), after = linesOf(other);
  std::vector<std::string> lost;
  std::set_difference(before.begin(), before.end(), after.begin(), after.end(),
                      std::back_inserter(lost));
  return lost.size();
}

TEST_P(Faults, CostNothingButWhatTheirSourceTells) {
  const auto askers = this->askers();
  const GroupTexts whole = scan("", Fault::None, {});
  std::map<std::string, std::array<std::size_t, std::size(kFaults)>> table;
  for (const auto& [source, groups] : askers) {
    for (std::size_t fault = 0; fault < std::size(kFaults); ++fault) {
      for (const auto& [group, text] : scan(source, static_cast<Fault>(fault), groups)) {
        if (groups.count(group) == 0) {
          EXPECT_EQ(text, whole.at(group)) << group << ", " << source << " " << kFaults[fault];
        }
        table[kindOf(source)][fault] += linesThatDiffer(whole.at(group), text);
      }
    }
  }
  std::cout << "fault table: lost or changed lines on " << GetParam().first << ", "
            << GetParam().second << "\n";
  for (const char* fault : kFaults) std::cout << std::setw(8) << fault;
  for (const auto& [source, lost] : table) {
    if (std::count(lost.begin(), lost.end(), 0) == std::ssize(lost)) continue;
    std::cout << "\n";
    for (const std::size_t count : lost) std::cout << std::setw(8) << count;
    std::cout << "  " << source;
  }
  std::cout << "\nend of table\n";
}

// In workers, as the agent scans; one source of each kind.
TEST_P(Faults, ThatHangCostTheGroupsThatAskOnly) {
  const auto askers = this->askers();
  std::vector<const kelGroupDef*> groups;
  for (const Collector& collector : collectors()) {
    groups.push_back(getGroupDefinitionFromId(collector.id));
  }
  agent::ScannerOptions options;
  options.capture = GetParam().first;
  options.timeoutSeconds = 0.5;
  for (const char* victim : {"/proc/uptime", "/sys/bus/pci/devices", "netlink links"}) {
    if (askers.count(victim) == 0) continue;
    setMachine(std::make_shared<FaultyMachine>(source_, victim, Fault::Hanging));
    for (const agent::GroupResult& result : agent::scanGroups(groups, options).groups) {
      const bool isAsker = askers.at(victim).count(result.group->name) != 0;
      EXPECT_EQ(result.status == agent::Status::Timeout, isAsker) << result.group->name << victim;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(OfMachines, Faults,
                         testing::Values(std::pair("bonded-adapters", "native"),
                                         std::pair("disks", "native"),
                                         std::pair("current-systemd", "classic"),
                                         std::pair("vmware-guest", "native")));

}  // namespace
}  // namespace invscan
