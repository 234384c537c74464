// What collecting costs: against the bare C calls behind it, group by group, and as the machine's
// answers grow.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <invscan/base/OrvCfg.h>
#include <invscan/factory.h>
#include <invscan/smbios.h>

#include "BareCalls.h"
#include "invscan/machine/LiveMachine.h"

namespace {

using namespace invscan;

void collect(unsigned long id) {
  const std::unique_ptr<KelGroup> group(GroupFactory::getInstance()->getKELGroup(id));
  const std::unique_ptr<KelTable> table(group->getTable());
  benchmark::DoNotOptimize(table.get());
}

void useNative() {
  OrvCfg::setKey("hwscanner.sources", "native");
}

// Keeps the C calls behind every question to the live machine, so that they can be made again
// without the library. What it does not know, no native scan asks.
class BareCalls : public LiveMachine {
 public:
  using Calls = std::vector<std::function<void()>>;

  explicit BareCalls(Calls& kept) : kept_(kept) {}

 private:
  FileText doReadFile(const std::string& path, std::size_t limit) override {
    kept_.push_back([=] { bareReadFile(path.c_str(), limit); });
    return live_.readFile(path, limit);
  }
  int doExists(const std::string& path) override {
    kept_.push_back([=] { bareExists(path.c_str()); });
    return live_.exists(path) ? 0 : ENOENT;
  }
  FileText doReadLink(const std::string& path) override {
    kept_.push_back([=] { bareReadLink(path.c_str()); });
    return live_.readLink(path);
  }
  FileText doReadMemory(unsigned long address, unsigned long length) override {
    kept_.push_back([] { bareOpenMemory(); });
    return live_.tryMemory(address, length);
  }
  void doAsk(Question& question) override {
    constexpr struct {
      const QuestionKind* kind;
      void (*call)();
    } kCalls[] = {{&kKindOf<ClockQuestion>, bareClock},
                  {&kKindOf<KernelIdentityQuestion>, bareKernelIdentity},
                  {&kKindOf<MemoryFiguresQuestion>, bareMemoryFigures},
                  {&kKindOf<PageSizeQuestion>, barePageSize},
                  {&kKindOf<RunLevelQuestion>, bareRunLevelRecord},
                  {&kKindOf<WordSizeQuestion>, bareWordSize}};
    for (const auto& [kind, call] : kCalls) {
      if (kind == &question.kind()) kept_.push_back(call);
    }
    live_.ask(question);
  }
  LocaleName doSetLocale(int category) override {
    kept_.push_back([=] { bareSetLocale(category); });
    return live_.setLocale(category);
  }
  TimeZone doSetTimeZone() override {
    kept_.push_back(bareSetTimeZone);
    return live_.setTimeZone();
  }

  LiveMachine live_;
  Calls& kept_;
};

BareCalls::Calls callsOf(void (*scan)()) {
  BareCalls::Calls kept;
  setMachine(std::make_unique<BareCalls>(kept));
  scan();
  setMachine(std::make_unique<LiveMachine>());
  return kept;
}

// The groups that live on the firmware's table, and the table itself.
void collectFirmware() {
  SMBIOSTable::initializeGlobalTable(1);
  collect(24);
  collect(31);
  SMBIOSTable::terminateGlobalTable();
}

template <unsigned long... ids>
void collectGroups() {
  (collect(ids), ...);
}

void collectAll() {
  collectFirmware();
  collectGroups<4, 3, 15, 20, 19, 46, 47>();
}

double median(std::vector<double> numbers) {
  const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
  std::nth_element(numbers.begin(), middle, numbers.end());
  return *middle;
}

// The processor time of ten runs, which neighbours on the machine spoil least.
double timeOfTen(const std::function<void()>& run) {
  timespec begin{}, end{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &begin);
  for (int i = 0; i < 10; ++i) run();
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
  return static_cast<double>(end.tv_sec - begin.tv_sec) +
         1e-9 * static_cast<double>(end.tv_nsec - begin.tv_nsec);
}

// A native scan of groups and the calls of it, in turn: of_bare is the ratio of their medians. The
// goal is 1.2 for all groups together and 1.5 for each.
void scan(benchmark::State& state, void (*collectThem)()) {
  useNative();
  const BareCalls::Calls calls = callsOf(collectThem);
  std::vector<double> scans, bare;
  for (auto _ : state) {
    scans.push_back(timeOfTen(collectThem));
    bare.push_back(timeOfTen([&] {
      for (const auto& call : calls) call();
    }));
    state.SetIterationTime(scans.back() / 10);
  }
  state.counters["calls"] = static_cast<double>(calls.size());
  state.counters["bare_us"] = median(bare) * 1e5;
  state.counters["of_bare"] = median(scans) / median(bare);
}

BENCHMARK_CAPTURE(scan, all, collectAll)->Iterations(100)->UseManualTime();
BENCHMARK_CAPTURE(scan, firmware, collectFirmware)->Iterations(100)->UseManualTime();
BENCHMARK_CAPTURE(scan, operatingSystem, collectGroups<4>)->Iterations(100)->UseManualTime();
BENCHMARK_CAPTURE(scan, memory, collectGroups<3>)->Iterations(100)->UseManualTime();
BENCHMARK_CAPTURE(scan, regional, collectGroups<15>)->Iterations(100)->UseManualTime();
BENCHMARK_CAPTURE(scan, scanInfo, collectGroups<20>)->Iterations(100)->UseManualTime();
BENCHMARK_CAPTURE(scan, unixSystemParams, collectGroups<19>)->Iterations(100)->UseManualTime();
BENCHMARK_CAPTURE(scan, cpuMeter, collectGroups<46>)->Iterations(100)->UseManualTime();
BENCHMARK_CAPTURE(scan, unixCpuMeter, collectGroups<47>)->Iterations(100)->UseManualTime();

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

// A machine with so many processors and PCI functions, all of one kind.
class LargeMachine : public LiveMachine {
 public:
  explicit LargeMachine(long count) {
    for (long n = 0; n < count; ++n) {
      char text[512];
      std::snprintf(text, sizeof text,
                    "processor\t: %ld\nvendor_id\t: GenuineIntel\ncpu family\t: 6\nmodel\t\t: "
                    "85\nmodel name\t: Intel(R) Xeon(R) Platinum 8180 CPU @ 2.50GHz\nstepping\t: "
                    "4\ncpu MHz\t\t: 2500.000\nphysical id\t: %ld\ncore id\t\t: %ld\nflags\t\t: "
                    "fpu vme de pse tsc msr pae mce cx8 apic sep mtrr pge mca cmov pat sse2 lm\n\n",
                    n, n / 64, n % 64 / 2);
      cpuInfo_ += text;
      std::snprintf(text, sizeof text, "%04lx:%02lx:%02lx.%lx", n >> 16, n >> 8 & 0xFF, n >> 3 & 31,
                    n & 7);
      functions_.names.emplace_back(text);
    }
  }

 private:
  FileText doReadFile(const std::string& path, std::size_t) override {
    if (path == "/proc/cpuinfo") return {0, cpuInfo_};
    if (path.ends_with("/modalias")) {
      return {0, "pci:v00008086d0000100Esv00001AF4sd00001100bc02sc00i00\n"};
    }
    if (path.ends_with("/level")) return {0, path.find("index2") != path.npos ? "2\n" : "1\n"};
    return {path.ends_with("/size") ? 0 : ENOENT, "1024K\n"};
  }
  Listing doListDirectory(const std::string&) override { return functions_; }
  HelperOutput doRunHelper(const std::string&, const char*, const char*) override { return {}; }
  void doAsk(Question&) override {}

  std::string cpuInfo_;
  Listing functions_;
};

void scanLargeMachine(benchmark::State& state, unsigned long id) {
  useNative();
  setMachine(std::make_unique<LargeMachine>(state.range(0)));
  for (auto _ : state) collect(id);
  state.SetComplexityN(state.range(0));
  setMachine(std::make_unique<LiveMachine>());
}

void growTo2000(benchmark::internal::Benchmark* growing) {
  growing->Arg(20)->Arg(128)->Arg(512)->Arg(2000)->Complexity();
}

BENCHMARK_CAPTURE(scanLargeMachine, processors, 2UL)->Apply(growTo2000);
BENCHMARK_CAPTURE(scanLargeMachine, pciFunctions, 29UL)->Apply(growTo2000);

// The groups that say which machine this is, once the helper has answered.
void scanIdentity(benchmark::State& state) {
  useNative();
  for (auto _ : state) collectGroups<1, 2, 29, 34, 44, 45, 50>();
}
BENCHMARK(scanIdentity);

}  // namespace
