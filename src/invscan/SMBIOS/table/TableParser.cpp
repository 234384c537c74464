#include "invscan/SMBIOS/table/TableParser.h"

#include <memory>
#include <utility>

#include "log/Trace.h"

namespace invscan {
namespace {

constexpr int kHeaderSize = 4;
constexpr unsigned kEndOfTable = 127;
constexpr int kCentralProcessor = 3;
constexpr int kUse = 5;  // of a memory array
constexpr int kSystemMemory = 3;

}  // namespace

TableParser::TableParser(SMBIOSTable& table)
    : table_(table), bytes_(table.getData(), static_cast<std::size_t>(table.getTotalLength())) {
}

// A walk that has come to stand, at the end-of-table structure or at one without a length that is
// taken to have no texts, would see the same structure until the announced number is reached: that
// changes nothing, so it ends there.
void TableParser::parse() {
  const Trace trace(getCcLogHw(), "parseData()");
  auto& slots = table_.slots_;
  slots = {};
  const int end = table_.totalLength_ - kHeaderSize;
  int next = 0;
  for (int n = 0, offset = -1; n < table_.numTables_ && next < end && next != offset; ++n) {
    offset = next;
    trace.at().max("hardware SMBIOS cur=%d: %02X %02X %04X", offset, bytes_.byte(offset),
                   bytes_.byte(offset + 1), bytes_.word(offset + 2));
    if (table_.native_ && bytes_.byte(offset + 1) < kHeaderSize) break;
    next = parseStructure(offset);
    // Not all records tell by the standard where they end.
    if (table_.native_ && bytes_.byte(offset) != kEndOfTable) next = behind(offset);
  }
  for (const SMBIOSTable4Data* processor : slots.table4.records) {
    const bool isCentral = processor->getType() == kCentralProcessor;
    slots.populatedProcessors += processor->isPopulated() && isCentral;
  }
  trace.at().max("hardware Number of Table 4 =%d", slots.table4.count());
  trace.at().max("hardware Number of Table 4 Populated=%d", slots.populatedProcessors);
  if (slots.table4.count() > 0) {
    trace.at().max("hardware Table 4 Family =%d", slots.table4.at(0)->getFamily());
  }
}

int TableParser::countStructures() const {
  int count = 0;
  for (int at = 0; bytes_.covers(at, kHeaderSize); at = behind(at)) {
    if (bytes_.byte(at + 1) < kHeaderSize) break;
    ++count;
    if (bytes_.byte(at) == kEndOfTable) break;
  }
  return count;
}

int TableParser::parseStructure(int offset) {
  auto& slots = table_.slots_;
  switch (bytes_.byte(offset)) {
    case 0:
      return keep(slots.table0, offset);
    case 1:
      return keep(slots.table1, offset);
    case 2:
      return keep(slots.table2, offset);
    case 3:
      return keep(slots.table3, offset);
    case 4:
      return keep(slots.table4, offset);
    case 5:
      return keep(slots.table5, offset);
    case 6:
      return keep(slots.table6, offset);
    case 8:
      return keep(slots.table8, offset);
    case 9:
      return keep(slots.table9, offset);
    case 10:
      return keep(slots.table10, offset);
    case 16:
      return table_.native_ ? keepMemoryArray(offset) : keep(slots.table16, offset);
    case 17:
      return keep(slots.table17, offset);
    case 22:
      return keep(slots.table22, offset);
    case 24:
      return keep(slots.table24, offset);
    case kEndOfTable:
      Trace(getCcLogHw(), "parseData()").at().max("hardware found structure 127");
      return offset;
    default:
      return behind(offset);
  }
}

template <class Record>
Record* TableParser::make() const {
  auto record = std::make_unique<Record>(static_cast<int>(table_.revision_));
  Record* const made = record.get();
  made->table_ = &table_;
  table_.records_.push_back(std::move(record));
  return made;
}

template <class Record>
int TableParser::keep(Record*& slot, int offset) const {
  if (slot) return behind(offset);
  slot = make<Record>();
  return slot->readBlock(table_.getData(), offset);
}

template <class Record, int Capacity>
int TableParser::keep(SMBIOSTable::Container<Record, Capacity>& container, int offset) const {
  if (container.count() == Capacity) return behind(offset);
  return keep(container.records.emplace_back(), offset);
}

// Native tables keep the first array, and those of system memory.
int TableParser::keepMemoryArray(int offset) const {
  constexpr std::size_t kMost = 1000;
  auto& arrays = table_.slots_.systemMemoryArrays;
  SMBIOSTable16Data* array = nullptr;
  const bool isSystemMemory =
      bytes_.byte(offset + 1) > kUse && bytes_.byte(offset + kUse) == kSystemMemory;
  const bool isCounted = isSystemMemory && arrays.size() < kMost;
  if (table_.slots_.table16 && !isCounted) return behind(offset);
  const int next = keep(array, offset);
  if (!table_.slots_.table16) table_.slots_.table16 = array;
  if (isCounted) arrays.push_back(array);
  return next;
}

int TableParser::behind(int offset) const {
  return table_.getNextType(table_.getData(), offset);
}

}  // namespace invscan
