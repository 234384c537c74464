#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>

#include <invscan/smbios.h>

#include "invscan/SMBIOS/table/DmiTables.h"
#include "invscan/SMBIOS/table/TableParser.h"
#include "invscan/SMBIOS/table/TableReader.h"
#include "invscan/SMBIOS/table/TableView.h"
#include "invscan/machine/Machine.h"

using namespace invscan;

const char* const bogus_strings[] = {"Not Available", "This is OEM",          "System Manufacturer",
                                     "System Model",  "No Asset Information", nullptr};

SMBIOSTable::SMBIOSTable() {
  init();
  native_ = useNativeSources();
  TableReader reader(*this);
  if (native_) {
    if (const auto tables = readDmiTables()) reader.take(*tables);
  }
  if (!available_) reader.readFirmware();
}

SMBIOSTable::SMBIOSTable(unsigned char* data, int length, unsigned char revision, int numTables) {
  init();
  TableReader(*this).allocate(length);
  if (totalLength_ > 0) std::memcpy(data_.get(), data, static_cast<std::size_t>(totalLength_));
  revision_ = revision;
  std::tie(majorVersion_, minorVersion_) = versionOf(revision);
  numTables_ = numTables;
  available_ = true;
}

SMBIOSTable::SMBIOSTable(char* path) {
  init();
  readBytesFromFile(path);
}

SMBIOSTable::~SMBIOSTable() = default;

void SMBIOSTable::init() {
  revision_ = majorVersion_ = minorVersion_ = 0;
  totalLength_ = numTables_ = 0;
  available_ = native_ = false;
  data_.reset();
  slots_ = {};
}

void SMBIOSTable::parseData() {
  TableParser(*this).parse();
}

int SMBIOSTable::getNextType(unsigned char* data, int offset) const {
  constexpr int kMemoryController = 5;
  const TableView bytes(data, static_cast<std::size_t>(totalLength_));
  const auto isDoubleNul = [&](int at) { return bytes.byte(at) == 0 && bytes.byte(at + 1) == 0; };
  const auto lengthOf = [](std::string_view text) { return static_cast<int>(text.size()); };
  int at = offset + bytes.byte(offset + 1);
  if (bytes.byte(offset) == kMemoryController && !native_) return isDoubleNul(at) ? at + 2 : at;
  while (at < totalLength_ && !isDoubleNul(at)) at += std::max(lengthOf(bytes.text(at)), 1);
  return at + 2;
}

void SMBIOSTable::dump() const {
  std::printf("\n-SMBIOS Table -------------------------------");
  std::printf("\n   revision    : x%02X", revision_);
  std::printf("\n   numTables   : %d", numTables_);
  std::printf("\n   totalLength : %d", totalLength_);
  const auto dumpOne = [](const SMBIOSTableData* record) {
    if (record) record->dump();
  };
  const auto dumpAll = [&](const auto& container) {
    for (const SMBIOSTableData* record : container.records) dumpOne(record);
  };
  dumpOne(slots_.table0);
  dumpOne(slots_.table1);
  dumpOne(slots_.table2);
  dumpOne(slots_.table3);
  dumpAll(slots_.table4);
  dumpOne(slots_.table5);
  dumpAll(slots_.table6);
  dumpAll(slots_.table8);
  dumpAll(slots_.table9);
  dumpAll(slots_.table10);
  dumpOne(slots_.table11);
  dumpOne(slots_.table16);
  for (const SMBIOSTable16Data* array : slots_.systemMemoryArrays) {
    if (array != slots_.table16) array->dump();
  }
  dumpAll(slots_.table17);
  dumpOne(slots_.table22);
  dumpOne(slots_.table24);
}

char* SMBIOSTable::validateString(char* value, char* out) {
  if (!out) return nullptr;
  *out = '\0';
  if (!value) return out;
  const std::string_view whole(value);
  for (const char* const* bogus = bogus_strings; *bogus; ++bogus) {
    if (whole.find(*bogus) != whole.npos) return out;
  }
  const auto isSpace = [](char byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r'); };
  const char* begin = value;
  while (isSpace(*begin)) ++begin;
  char* end = out;
  while (static_cast<signed char>(*begin) >= ' ') *end++ = *begin++;
  while (end != out && isSpace(end[-1])) --end;
  *end = '\0';
  return out;
}

std::unique_ptr<SMBIOSTable> invscan::decodeFirmwareTables(const std::string& entryPoint,
                                                           const std::string& structures) {
  const auto tables = decodeEntryPoint(entryPoint, structures);
  if (!tables) return nullptr;
  auto table = std::make_unique<SMBIOSTable>(nullptr, 0, 0, 0);
  TableReader(*table).take(*tables);
  table->parseData();
  return table;
}

std::unique_ptr<SMBIOSTable> invscan::decodeStructures(const std::string& structures,
                                                       unsigned revision, int count, bool native) {
  auto table = std::make_unique<SMBIOSTable>(nullptr, 0, 0, 0);
  const auto [major, minor] = versionOf(revision);
  if (native) {
    TableReader(*table).take(announcedTables(structures, major, minor, count));
  } else {
    TableReader(*table).takeClassic(structures, revision, count);
  }
  table->parseData();
  return table;
}
