// What helpers' answers cost: reading and writing one of 50 MB, growth with lines, children and
// depth, and a helper's run from end to end. of_memchr is the time of reading over that of finding
// the line ends, memory the bytes that the tree takes for a byte of text.
#include <benchmark/benchmark.h>

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include <invscan/helper.h>

#include "common/vartree/Release.h"
#include "common/vartree/TextStream.h"
#include "common/vartree/TreeWriter.h"

namespace {

using namespace invscan;

Tree parse(const std::string& text) {
  TextStream stream(text);
  const auto lines = std::make_unique<VtILineStream>(&stream);
  return Tree(vtParseNodeDump(lines.get()));
}

std::string processor(long number) {
  const std::string digits = std::to_string(number);
  return "   (Processor\n      Manufacturer:s=GenuineIntel\n      Family:s=Xeon\n"
         "      BrandName:s=Intel(R) Xeon(R) Processor number " +
         digits +
         "\n"
         "      Signature:s=000506E3\n      TotalCoreCount:i=64\n      CpuClockMHz:i=2600\n"
         "      L2CacheSizeKB:i=2048\n      L3CacheSizeKB:i=" +
         digits +
         "\n      (CPUID\n"
         "         CorePerPackageCount:i=64\n         HtPerCoreCount:i=2\n      )\n   )\n";
}

std::string processors(long count) {
  std::string text = "(ProcessorTable\n";
  for (long i = 0; i < count; ++i) text += processor(i);
  return text + ")\n";
}

std::string values(long count) {
  std::string text;
  for (long i = 0; i < count; ++i) text += "Name:i=" + std::to_string(i) + "\n";
  return text;
}

std::string children(long count) {
  std::string text;
  for (long i = 0; i < count; ++i) text += "(Child\n)\n";
  return text;
}

std::string levels(long count) {
  std::string text;
  for (long i = 0; i < count; ++i) text += "(Level\n";
  for (long i = 0; i < count; ++i) text += ")\n";
  return text;
}

std::string data(long bytes) {
  return "Data:d=" + std::to_string(bytes) + "," +
         std::string(static_cast<std::size_t>(2 * bytes), 'a') + "\n";
}

// Of processor time, which neighbours on the machine do not spoil.
double secondsUsed() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) + 1e-9 * static_cast<double>(used.tv_nsec);
}

// Finds every line end, which no reader of lines does without.
long countLines(const std::string& text) {
  long lines = 0;
  const char* const end = text.data() + text.size();
  for (const char* line = text.data(); line < end; ++lines) {
    line = static_cast<const char*>(std::memchr(line, '\n', static_cast<std::size_t>(end - line)));
    if (!line++) break;
  }
  return lines;
}

// Bytes of memory that the process really has.
double residentBytes() {
  long size = 0, resident = 0;
  const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen("/proc/self/statm", "r"),
                                                   std::fclose);
  if (!file || std::fscanf(file.get(), "%ld %ld", &size, &resident) != 2) return 0;
  return static_cast<double>(resident * sysconf(_SC_PAGESIZE));
}

// Bytes that a tree takes for a byte of its text.
double memoryOf(const std::string& text) {
  malloc_trim(0);
  const auto lines = std::make_unique<VtILineStream>(nullptr);
  std::memset(lines->buffer, 1, sizeof lines->buffer);
  TextStream stream(text);
  lines->in = &stream;
  const double before = residentBytes();
  const Tree tree(vtParseNodeDump(lines.get()));
  return (residentBytes() - before) / static_cast<double>(text.size());
}

// Only the reading is timed: in a process that lives on, nothing is released. Both times are taken
// in turn, so that their ratio does not depend on the day.
void parseText(benchmark::State& state, const std::string& text) {
  const double memory = memoryOf(text);
  double parsing = 0, counting = 0;
  for (auto _ : state) {
    const double begin = secondsUsed();
    Tree tree = parse(text);
    const double parsed = secondsUsed();
    benchmark::DoNotOptimize(countLines(text));
    counting += secondsUsed() - parsed;
    parsing += parsed - begin;
    state.SetIterationTime(parsed - begin);
    if (!tree) return state.SkipWithError("not read");
  }
  state.counters["of_memchr"] = parsing / counting;
  state.counters["memory"] = memory;
  state.SetComplexityN(state.range(0));
}

void parseGrowing(benchmark::State& state, std::string (*make)(long)) {
  parseText(state, make(state.range(0)));
}

constexpr long kProcessorsIn50MB = 165000;

BENCHMARK_CAPTURE(parseGrowing, answerOf50MB, processors)
    ->Arg(kProcessorsIn50MB)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(parseGrowing, lines, values)
    ->RangeMultiplier(8)
    ->Range(1 << 9, 1 << 21)
    ->UseManualTime()
    ->Complexity(benchmark::oN);
BENCHMARK_CAPTURE(parseGrowing, children, children)
    ->RangeMultiplier(8)
    ->Range(1 << 9, 1 << 21)
    ->UseManualTime()
    ->Complexity(benchmark::oN);
BENCHMARK_CAPTURE(parseGrowing, levels, levels)
    ->RangeMultiplier(8)
    ->Range(1 << 9, 1 << 21)
    ->UseManualTime()
    ->Complexity(benchmark::oN);
BENCHMARK_CAPTURE(parseGrowing, dataOfALine, data)->Arg(50000)->UseManualTime();

void dumpText(benchmark::State& state) {
  const std::string text = processors(kProcessorsIn50MB);
  const Tree tree = parse(text);
  const std::unique_ptr<FILE, int (*)(FILE*)> sink(std::fopen("/dev/null", "w"), std::fclose);
  for (auto _ : state) TreeWriter(sink.get()).node(*tree->children, 0);
  state.SetBytesProcessed(state.iterations() * static_cast<long>(text.size()));
}

BENCHMARK(dumpText)->Unit(benchmark::kMillisecond);

// The smallest program there is: what starting, reading and ending one costs. Each is left unwaited
// for and has three descriptors, so there are not many.
void runHelper(benchmark::State& state) {
  for (auto _ : state) {
    const std::unique_ptr<VtProcess> process(VtProcess::create("/bin/true", nullptr, nullptr));
    if (!process) return state.SkipWithError("no process");
    char byte;
    benchmark::DoNotOptimize(process->output->read(&byte, 1));
    process->waitFor();
    process->input->close();
    process->output->close();
    process->error->close();
  }
}

BENCHMARK(runHelper)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
