// What it costs to begin the replay of a large capture.
#include <benchmark/benchmark.h>

#include <string>

#include "invscan/machine/Capture.h"

namespace {

using namespace invscan;

// Paths that were asked for and not there, commands, mounts and files that could not be read.
std::string machineWith(long entries) {
  std::string absent = "\"/\"", commands, mounts, unreadable;
  for (long number = 0; number < entries; ++number) {
    const std::string id = std::to_string(100000 + number), next = number > 0 ? ",\n  " : "";
    absent += ",\n  \"/sys/devices/pci0000:00/0000:00:1f.2/host" + id + "/state\"";
    if (number % 10 != 0) continue;
    commands +=
        next + R"({"line": "command )" + id + R"(", "output": "one line\\nand another\\n"})";
    mounts += next + "\"/data/" + id + R"(": {"result": 0, "f_frsize": 4096, "f_blocks": 5})";
    unreadable += next + "\"/proc/" + id + R"(/io": "EACCES")";
  }
  return R"({"capture": 1, "absent": [)" + absent + "],\n \"commands\": [" + commands +
         "],\n \"statvfs\": {" + mounts + "},\n \"unreadable\": {" + unreadable + "}}";
}

void readMachine(benchmark::State& state) {
  const std::string text = machineWith(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(readFacts(text));
  state.SetBytesProcessed(state.iterations() * static_cast<long>(text.size()));
  state.SetComplexityN(state.range(0));
}

BENCHMARK(readMachine)->RangeMultiplier(10)->Range(10, 100000)->Complexity();

}  // namespace
