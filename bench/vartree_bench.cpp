// What helpers' answers cost: reading and writing one of 50 MB, growth with lines, children and
// depth, and a helper's run from end to end.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>

#include <invscan/helper.h>

#include "common/vartree/Release.h"
#include "common/vartree/TextStream.h"
#include "common/vartree/TreeWriter.h"

namespace {

using namespace invscan;

struct Release {
  void operator()(VtNode* node) const { releaseTree(node); }
};
using Tree = std::unique_ptr<VtNode, Release>;

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

// Only the reading is timed: in a process that lives on, nothing is released.
void parseText(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    Tree tree = parse(text);
    if (!tree) return state.SkipWithError("not read");
    state.PauseTiming();
    tree.reset();
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<long>(text.size()));
  state.SetComplexityN(state.range(0));
}

void parseGrowing(benchmark::State& state, std::string (*make)(long)) {
  parseText(state, make(state.range(0)));
}

constexpr long kProcessorsIn50MB = 165000;

BENCHMARK_CAPTURE(parseGrowing, answerOf50MB, processors)
    ->Arg(kProcessorsIn50MB)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(parseGrowing, lines, values)
    ->RangeMultiplier(8)
    ->Range(1 << 9, 1 << 21)
    ->Complexity(benchmark::oN);
BENCHMARK_CAPTURE(parseGrowing, children, children)
    ->RangeMultiplier(8)
    ->Range(1 << 9, 1 << 21)
    ->Complexity(benchmark::oN);
BENCHMARK_CAPTURE(parseGrowing, levels, levels)
    ->RangeMultiplier(8)
    ->Range(1 << 9, 1 << 21)
    ->Complexity(benchmark::oN);
BENCHMARK_CAPTURE(parseGrowing, dataOfALine, data)->Arg(50000);

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
