// The cost of writing a scan, in each of the forms.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <invscan/table.h>

#include "agent/formats/Formats.h"

namespace {

using namespace invscan::agent;

constexpr long kRows = 2000;

template <class... Value>
Record makeRecord(unsigned long attribId, const Value&... value) {
  const KelTableAttrib attrib(attribId, value...);
  const kelAttribValue& made = *attrib.getAttribPtr();
  Record record(reinterpret_cast<kelAttribValue*>(new unsigned char[made.length]));
  std::memcpy(record.get(), &made, made.length);
  return record;
}

// A value such as machines have, and different in each row.
Record makeValue(const kelAttribDef& attribute, unsigned long row) {
  const unsigned long number = attribute.enums ? attribute.enums[row % 5].value : 4711 * row;
  switch (attribute.type) {
    case KEL_STRING:
      return makeRecord(attribute.id, "/dev/disk/by-id/volume-" + std::to_string(number));
    case KEL_DATETIME:
      return makeRecord(attribute.id, static_cast<long>(1700000000 + row));
    case KEL_FLOAT:
      return makeRecord(attribute.id, 0.25F * static_cast<float>(row));
    default:
      return makeRecord(attribute.id, number);
  }
}

GroupResult makeGroup(const char* name) {
  GroupResult result;
  result.group = getGroupDefinitionFromId(getGroupIdFromName(name));
  result.status = Status::Ok;
  for (unsigned long row = 0; row < kRows; ++row) {
    Row& records = result.rows.emplace_back();
    for (const auto* attribute = result.group->attribs; attribute->id != kEndOfTable; ++attribute) {
      records.push_back(makeValue(*attribute, row));
    }
  }
  return result;
}

const Scan& largeScan() {
  static const Scan scan = [] {
    Scan made;
    made.hostName = "node17.example.org";
    for (const char* name : {"Storage", "Network Adapter", "Partition", "UnixCpuMeter"}) {
      made.groups.push_back(makeGroup(name));
    }
    return made;
  }();
  return scan;
}

void write(benchmark::State& state, std::string (*format)(const Scan&, const Style&)) {
  const Scan& scan = largeScan();
  std::size_t size = 0;
  for (auto _ : state) {
    const std::string text = format(scan, {});
    size = text.size();
    benchmark::DoNotOptimize(text.data());
  }
  state.SetBytesProcessed(static_cast<long>(size) * state.iterations());
}

BENCHMARK_CAPTURE(write, text, formatText)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(write, json, formatJson)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(write, jsonLines, formatJsonLines)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(write, csv, formatCsv)->Unit(benchmark::kMillisecond);

}  // namespace
