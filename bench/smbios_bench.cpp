// What firmware costs: a real table into records and both groups, growing tables, and the search
// for a table in memory.
#include <benchmark/benchmark.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include <invscan/factory.h>
#include <invscan/smbios.h>
#include <invscan/smbiosinfo.h>

#include "invscan/machine/LiveMachine.h"

namespace {

using namespace invscan;

void append(std::string& bytes, unsigned long long value, int size) {
  for (int i = 0; i < size; ++i) bytes += static_cast<char>(value >> (8 * i));
}

// A 64-bit entry point of version 3.2.
std::string entryPoint(std::size_t tableSize) {
  std::string entry("_SM3_\0\x18\3\2\0\1\0", 12);
  append(entry, tableSize, 4);
  append(entry, 0, 8);
  unsigned char sum = 0;
  for (const char byte : entry) sum = static_cast<unsigned char>(sum + byte);
  entry[5] = static_cast<char>(-sum);
  return entry;
}

std::string structure(int type, const std::string& fields, const char* texts, std::size_t size) {
  std::string bytes = {static_cast<char>(type), static_cast<char>(fields.size() + 4), 0, 0};
  return bytes + fields + std::string(texts, size);
}

std::string memoryDevice() {
  std::string fields;
  append(fields, 0x40, 8);
  append(fields, 16384, 2);
  append(fields, 0x03020109, 4);
  append(fields, 0x80801A, 3);
  append(fields, 2400, 2);
  append(fields, 0x07060504, 4);
  constexpr char kTexts[] = "DIMM_A1\0BANK 0\0Maker\0S123\0A1\0P-456-789\0";
  return structure(17, fields, kTexts, sizeof kTexts);
}

std::string ownersStructure() {
  constexpr char kTexts[] = "a text of the owner's\0and another one\0";
  return structure(221, std::string(22, '\1'), kTexts, sizeof kTexts);
}

// Decodes the table into records and collects both groups from them.
void decode(const std::string& entry, const std::string& structures) {
  const auto table = decodeFirmwareTables(entry, structures);
  globalSMBIOSTable = table.get();
  for (const unsigned long id : {24UL, 31UL}) {
    const std::unique_ptr<KelGroup> group(GroupFactory::getInstance()->getKELGroup(id));
    const std::unique_ptr<KelTable> rows(group->getTable());
    benchmark::DoNotOptimize(rows.get());
  }
  globalSMBIOSTable = nullptr;
}

void decodeMany(benchmark::State& state, const std::string& entry, const std::string& structures) {
  for (auto _ : state) decode(entry, structures);
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(state.iterations() * static_cast<long>(structures.size()));
}

// One of the real machines of the tests; items are tables.
void decodeRealTable(benchmark::State& state, const char* name) {
  std::ifstream file(INVSCAN_TESTS_DIR "/data/smbios/" + std::string(name) + ".bin",
                     std::ios::binary);
  const std::string dump{std::istreambuf_iterator<char>(file), {}};
  if (dump.size() < 32) return state.SkipWithError("no such dump");
  const std::size_t entrySize = dump.starts_with("_SM3_") ? 24 : 31;
  decodeMany(state, dump.substr(0, entrySize), dump.substr(32));
}

BENCHMARK_CAPTURE(decodeRealTable, laptop, "lenovo-thinkpad-t490");
BENCHMARK_CAPTURE(decodeRealTable, server, "dell-poweredge-r777sd");
BENCHMARK_CAPTURE(decodeRealTable, guestOf29KB, "vmware-guest");

void decodeMemoryDevices(benchmark::State& state) {
  std::string structures;
  for (long i = 0; i < state.range(0); ++i) structures += memoryDevice();
  decodeMany(state, entryPoint(structures.size()), structures);
  state.SetComplexityN(state.range(0));
}

void decodeLongTable(benchmark::State& state) {
  std::string structures = memoryDevice();
  const auto size = static_cast<std::size_t>(state.range(0));
  while (structures.size() < size) structures += ownersStructure();
  decodeMany(state, entryPoint(structures.size()), structures);
  state.SetComplexityN(state.range(0));
}

BENCHMARK(decodeMemoryDevices)->RangeMultiplier(10)->Range(10, 1000)->Complexity(benchmark::oN);
BENCHMARK(decodeLongTable)->RangeMultiplier(8)->Range(1 << 10, 1 << 20)->Complexity(benchmark::oN);

// The live machine with a segment of firmware in place of its memory.
class SegmentMachine : public LiveMachine {
 public:
  explicit SegmentMachine(std::string segment) : segment_(std::move(segment)) {}

 private:
  FileText doReadMemory(unsigned long, unsigned long length) override {
    return {0, segment_.substr(0, length)};
  }

  std::string segment_;
};

constexpr std::size_t kSegment = 0x10000;

// A whole segment without an entry point: erased, or full of texts that begin like one.
std::string erasedSegment() {
  return std::string(kSegment, '\xFF');
}

std::string deceptiveSegment() {
  std::string segment;
  while (segment.size() < kSegment) segment += "_SM, _DMI in text_DM";
  segment.resize(kSegment);
  return segment;
}

void searchTable() {
  const SMBIOSTable table;
  benchmark::DoNotOptimize(table.isAvailable());
}

void searchInfo() {
  const smbiosinfo info;
  benchmark::DoNotOptimize(info.product.length());
}

void searchState() {
  smbios_scan_state state;
  benchmark::DoNotOptimize(find_SMBIOS(&state));
}

// What the searches are measured against: handing the segment over.
void readSegment() {
  benchmark::DoNotOptimize(machine().readMemory(0xF0000, kSegment));
}

void searchSegment(benchmark::State& state, void (*search)(), const std::string& segment) {
  setMachine(std::make_unique<SegmentMachine>(segment));
  for (auto _ : state) search();
  state.SetBytesProcessed(state.iterations() * static_cast<long>(kSegment));
  setMachine(std::make_unique<LiveMachine>());
}

BENCHMARK_CAPTURE(searchSegment, onlyRead, readSegment, erasedSegment());
BENCHMARK_CAPTURE(searchSegment, table, searchTable, erasedSegment());
BENCHMARK_CAPTURE(searchSegment, tableDeceived, searchTable, deceptiveSegment());
BENCHMARK_CAPTURE(searchSegment, info, searchInfo, erasedSegment());
BENCHMARK_CAPTURE(searchSegment, infoDeceived, searchInfo, deceptiveSegment());
BENCHMARK_CAPTURE(searchSegment, state, searchState, erasedSegment());
BENCHMARK_CAPTURE(searchSegment, stateDeceived, searchState, deceptiveSegment());

}  // namespace
