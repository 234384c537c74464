// The cost of the throttle, and of configuration files by the number of their records.
#include <benchmark/benchmark.h>

#include <string>

#include <invscan/base/CpuThreshold.h>

#include "base/XmlText.h"

namespace {

void iterate(benchmark::State& state, const char* percent) {
  CpuThreshold threshold;
  threshold.initialize(percent);
  for (auto _ : state) {
    threshold.iteration();
    benchmark::ClobberMemory();
  }
}

BENCHMARK_CAPTURE(iterate, withoutLimit, "");
BENCHMARK_CAPTURE(iterate, limited, "99");

void parseFile(benchmark::State& state) {
  std::string text = "<Hardware><Processors>";
  for (long i = 0; i < state.range(0); ++i) {
    text +=
        "<Processor Manufactor='INTEL' BrandID='0' Signature='0' Type='0' Family='6' Model='85' "
        "PCX='2' Description='server' TypeEnum='Xeon'/>\n";
  }
  text += "</Processors></Hardware>";
  for (auto _ : state) {
    ParseNodeSink sink;
    if (!invscan::parseXml(text, sink)) state.SkipWithError("not parsed");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<long>(text.size()));
  state.SetComplexityN(state.range(0));
}

BENCHMARK(parseFile)->RangeMultiplier(10)->Range(1, 10000)->Complexity();

}  // namespace
