// The cost of value records, rows, walks and printers, and how tables grow.
#include <benchmark/benchmark.h>

#include <clocale>
#include <cstdio>
#include <string>

#include <invscan/print.h>
#include <invscan/table.h>

#include "invscan/com/model/RowBuilder.h"

namespace {

using invscan::RowBuilder;

const unsigned char kOctets[64] = {};
const std::string kAscii = "Generic Host Adapter, revision 7";
const std::string kGerman =
    "Ger\xC3\xA4te f\xC3\xBCr gro\xC3\x9F"
    "e Pl\xC3\xA4ne \xE2\x82\xAC";

template <class... Argument>
void buildRecord(benchmark::State& state, Argument... argument) {
  for (auto _ : state) {
    const KelTableAttrib attrib(1, argument...);
    benchmark::DoNotOptimize(attrib.getAttribPtr());
  }
}

BENCHMARK_CAPTURE(buildRecord, uchar, static_cast<unsigned char>(1));
BENCHMARK_CAPTURE(buildRecord, ushort, static_cast<unsigned short>(1));
BENCHMARK_CAPTURE(buildRecord, ulong, 1UL);
BENCHMARK_CAPTURE(buildRecord, uquad, _uquad{1, 2});
BENCHMARK_CAPTURE(buildRecord, real, 1.5F);
BENCHMARK_CAPTURE(buildRecord, realDouble, 1.5);
BENCHMARK_CAPTURE(buildRecord, ulonglong, 1ULL);
BENCHMARK_CAPTURE(buildRecord, longlong, 1LL);
BENCHMARK_CAPTURE(buildRecord, dateTime, 1700000000L);
BENCHMARK_CAPTURE(buildRecord, octets, kOctets, sizeof kOctets);
BENCHMARK_CAPTURE(buildRecord, asciiText, kAscii);
BENCHMARK_CAPTURE(buildRecord, multibyteText, kGerman);

template <class... Argument>
void printRecord(benchmark::State& state, Argument... argument) {
  const KelTableAttrib attrib(1, argument...);
  FILE* sink = std::fopen("/dev/null", "w");
  for (auto _ : state) PrintKelAttribValueToFile(sink, attrib.getAttribPtr());
  std::fclose(sink);
}

BENCHMARK_CAPTURE(printRecord, ulong, 123456789UL);
BENCHMARK_CAPTURE(printRecord, real, 1234.5678F);
BENCHMARK_CAPTURE(printRecord, dateTime, 1700000000L);
BENCHMARK_CAPTURE(printRecord, octets, kOctets, sizeof kOctets);
BENCHMARK_CAPTURE(printRecord, asciiText, kAscii);
BENCHMARK_CAPTURE(printRecord, multibyteText, kGerman);

void fill(KelTable& table, long rows) {
  for (long i = 0; i < rows; ++i) {
    RowBuilder()
        .count(1, static_cast<unsigned long>(i))
        .text(2, kAscii)
        .size(3, 1ULL << 40)
        .real(4, 0.5F)
        .addTo(table);
  }
}

void buildTable(benchmark::State& state) {
  for (auto _ : state) {
    KelTable table(5, 1);
    fill(table, state.range(0));
    benchmark::DoNotOptimize(table.getRowCount());
  }
  state.SetComplexityN(state.range(0));
}

void walkTable(benchmark::State& state) {
  KelTable table(5, 1);
  fill(table, state.range(0));
  for (auto _ : state) {
    unsigned long sum = 0;
    table.reset();
    while (KelTableRow* row = table.getNext()) {
      row->reset();
      for (unsigned long i = row->getNumAttribs(); i > 0; --i) sum += row->getNext()->getType();
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetComplexityN(state.range(0));
}

BENCHMARK(buildTable)->RangeMultiplier(10)->Range(1, 10000)->Complexity();
BENCHMARK(walkTable)->RangeMultiplier(10)->Range(1, 10000)->Complexity();

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "C.UTF-8");
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
