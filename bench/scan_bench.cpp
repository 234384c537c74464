// What collecting costs: against the bare questions that it asks, group by group, and as the
// machine's answers grow.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <invscan/base/OrvCfg.h>
#include <invscan/factory.h>

#include "invscan/machine/LiveMachine.h"

namespace {

using namespace invscan;

constexpr unsigned long kGroups[] = {4, 3, 15, 20, 19, 46, 47};

void useNative() {
  OrvCfg::setKey("hwscanner.sources", "native");
}

void collect(unsigned long id) {
  const std::unique_ptr<KelGroup> group(GroupFactory::getInstance()->getKELGroup(id));
  const std::unique_ptr<KelTable> table(group->getTable());
  benchmark::DoNotOptimize(table->getRowCount());
}

void collectAll() {
  for (const unsigned long id : kGroups) collect(id);
}

// Keeps every question to the live machine, so that it can be asked again.
class QuestionKeeper : public Machine {
 public:
  using Questions = std::vector<std::function<void()>>;

  explicit QuestionKeeper(Questions& kept) : kept_(kept) {}

 private:
  template <class Question>
  auto keep(Question question) {
    kept_.push_back([question] { benchmark::DoNotOptimize(question(machine())); });
    return question(live_);
  }

  FileText doReadFile(const std::string& path, std::size_t limit) override {
    return keep([=](Machine& asked) { return asked.readFile(path, limit); });
  }
  int doExists(const std::string& path) override {
    return keep([=](Machine& asked) { return asked.exists(path); }) ? 0 : ENOENT;
  }
  FileText doReadLink(const std::string& path) override {
    return keep([=](Machine& asked) { return asked.readLink(path); });
  }
  Listing doListDirectory(const std::string& path) override {
    return keep([=](Machine& asked) { return asked.listDirectory(path); });
  }
  FileText doReadMemory(unsigned long address, unsigned long length) override {
    return keep([=](Machine& asked) { return asked.tryMemory(address, length); });
  }
  CommandOutput doRunCommand(const std::string& line, std::size_t limit) override {
    return keep([=](Machine& asked) { return asked.runCommand(line, limit); });
  }
  HelperOutput doRunHelper(const std::string& command, const char* arguments,
                           const char* tracePath) override {
    return keep([=](Machine& asked) { return asked.runHelper(command, arguments, tracePath); });
  }
  void doAsk(Question& question) override {
    const std::shared_ptr<Question> again = question.clone();
    kept_.push_back([again] { machine().ask(*again); });
    live_.ask(question);
  }
  LocaleName doSetLocale(int category) override {
    return keep([=](Machine& asked) { return asked.setLocale(category); });
  }
  void doSetTimeZone() override {
    kept_.push_back([] { machine().setTimeZone(); });
    live_.setTimeZone();
  }

  LiveMachine live_;
  Questions& kept_;
};

// All questions of one scan, in its order.
QuestionKeeper::Questions questionsOfScan() {
  QuestionKeeper::Questions kept;
  setMachine(std::make_unique<QuestionKeeper>(kept));
  collectAll();
  setMachine(std::make_unique<LiveMachine>());
  return kept;
}

// The goal is a scan of less than twice the cost of its questions.
void scanSevenGroups(benchmark::State& state) {
  useNative();
  setMachine(std::make_unique<LiveMachine>());
  for (auto _ : state) collectAll();
}

void bareQuestions(benchmark::State& state) {
  useNative();
  const auto questions = questionsOfScan();
  for (auto _ : state) {
    for (const auto& ask : questions) ask();
  }
  state.counters["questions"] = static_cast<double>(questions.size());
}

BENCHMARK(scanSevenGroups);
BENCHMARK(bareQuestions);

void scanGroup(benchmark::State& state) {
  useNative();
  setMachine(std::make_unique<LiveMachine>());
  const auto id = static_cast<unsigned long>(state.range(0));
  for (auto _ : state) collect(id);
  state.SetLabel(getGroupNameFromId(id));
}

BENCHMARK(scanGroup)->Apply([](benchmark::internal::Benchmark* each) {
  for (const unsigned long id : kGroups) each->Arg(static_cast<long>(id));
});

// The live machine with one file in place of all its own. Any path is said to exist, so that
// systemd seems to run it, and there is no run-level record, so that systemd is asked.
class OneFileMachine : public LiveMachine {
 public:
  OneFileMachine(std::string path, std::string text)
      : path_(std::move(path)), text_(std::move(text)) {}

 private:
  FileText doReadFile(const std::string& path, std::size_t limit) override {
    if (path != path_) return {ENOENT, {}};
    return {0, text_.substr(0, limit)};
  }
  int doExists(const std::string&) override { return 0; }
  void doAsk(Question& question) override {
    if (&question.kind() != &kKindOf<RunLevelQuestion>) question.askLive();
  }

  std::string path_, text_;
};

// A group on a machine whose file has a first line and then one line many times.
void scanGrowingFile(benchmark::State& state, unsigned long id, const char* path,
                     const char* firstLine, const char* line) {
  useNative();
  std::string text = firstLine;
  for (long i = 0; i < state.range(0); ++i) text += line;
  setMachine(std::make_unique<OneFileMachine>(path, text));
  for (auto _ : state) collect(id);
  state.SetComplexityN(state.range(0));
  state.SetBytesProcessed(state.iterations() * static_cast<long>(text.size()));
  setMachine(std::make_unique<LiveMachine>());
}

void growTo10000(benchmark::internal::Benchmark* growing) {
  growing->RangeMultiplier(10)->Range(1, 10000)->Complexity();
}

BENCHMARK_CAPTURE(scanGrowingFile, processors, 46UL, "/proc/stat",
                  "cpu  26432 11 4589 902134 300 0 6 0 0 0\n",
                  "cpu9999 13216 5 2043 451077 150 0 3 0 0 0\n")
    ->Apply(growTo10000);
BENCHMARK_CAPTURE(scanGrowingFile, memoryLines, 3UL, "/proc/meminfo",
                  "MemTotal:       16303428 kB\nMemFree:         8151714 kB\n",
                  "HugePages_Free:        0 kB\n")
    ->Apply(growTo10000);
BENCHMARK_CAPTURE(scanGrowingFile, osReleaseLines, 4UL, "/etc/os-release", "ID=any\n",
                  "SUPPORT_URL=\"https://www.example.org/support\"\n")
    ->Apply(growTo10000);
BENCHMARK_CAPTURE(scanGrowingFile, lsbReleaseLines, 4UL, "/etc/lsb-release", "DISTRIB_ID=Any\n",
                  "DISTRIB_DESCRIPTION=\"Any 22.04 LTS\"\n")
    ->Apply(growTo10000);
BENCHMARK_CAPTURE(scanGrowingFile, longLine, 4UL, "/etc/os-release",
                  "NAME=", "a name without an end, ")
    ->Apply(growTo10000);
BENCHMARK_CAPTURE(scanGrowingFile, bootWords, 19UL, "/proc/cmdline", "quiet ", "console=ttyS0 ")
    ->Apply(growTo10000);

}  // namespace
