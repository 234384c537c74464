#include "invscan/SMBIOS/table/DmiTables.h"

#include <cstdint>
#include <utility>

#include "invscan/SMBIOS/table/TableView.h"
#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

constexpr char kEntryPoint[] = "/sys/firmware/dmi/tables/smbios_entry_point";
constexpr char kStructures[] = "/sys/firmware/dmi/tables/DMI";

// Version words that firmware is known to write wrongly, and what is meant.
constexpr std::pair<unsigned, unsigned> kMisprints[] = {
    {0x021F, 0x0203}, {0x0221, 0x0203}, {0x0233, 0x0206}};

void setVersion(DmiTables& tables, unsigned major, unsigned minor) {
  unsigned version = major << 8 | minor;
  for (const auto& [wrong, meant] : kMisprints) {
    if (version == wrong) version = meant;
  }
  tables.majorVersion = version >> 8;
  tables.minorVersion = version & 0xFF;
}

// 0 announces nothing: the table ends where its end is.
void setCount(DmiTables& tables, int count) {
  if (count != 0) tables.count = count;
}

void cut(std::string& structures, std::size_t length) {
  if (structures.size() > length) structures.resize(length);
}

}  // namespace

std::pair<unsigned, unsigned> versionOf(unsigned revision) {
  if (revision < 0x100) return {revision >> 4, revision & 0xF};
  return {revision >> 8, revision & 0xFF};
}

std::optional<DmiTables> decodeEntryPoint(std::string_view entryPoint, std::string structures) {
  const TableView bytes(reinterpret_cast<const unsigned char*>(entryPoint.data()),
                        entryPoint.size());
  DmiTables tables;
  tables.structures = std::move(structures);
  cut(tables.structures, kLargestTable);
  if (entryPoint.starts_with("_SM3_") && bytes.covers(0, 0x18)) {
    setVersion(tables, bytes.byte(7), bytes.byte(8));
    cut(tables.structures, bytes.dword(0x0C));
  } else if (entryPoint.starts_with("_SM_") && bytes.covers(0, 0x1E)) {
    setVersion(tables, bytes.byte(6), bytes.byte(7));
    cut(tables.structures, bytes.word(0x16));
    setCount(tables, bytes.word(0x1C));
  } else if (entryPoint.starts_with("_DMI_") && bytes.covers(0, 0x0F)) {
    setVersion(tables, bytes.byte(0x0E) >> 4U, bytes.byte(0x0E) & 0xFU);
    cut(tables.structures, bytes.word(0x06));
    setCount(tables, bytes.word(0x0C));
  } else {
    return std::nullopt;
  }
  if (tables.structures.empty()) return std::nullopt;
  return tables;
}

DmiTables announcedTables(std::string structures, unsigned major, unsigned minor, int count) {
  DmiTables tables;
  tables.structures = std::move(structures);
  cut(tables.structures, kLargestTable);
  setVersion(tables, major, minor);
  setCount(tables, count);
  return tables;
}

std::optional<DmiTables> readDmiTables() {
  FileText entryPoint = machine().readFile(kEntryPoint);
  if (entryPoint.error != 0) return std::nullopt;
  FileText structures = machine().readFile(kStructures, kLargestTable);
  if (structures.error != 0) return std::nullopt;
  return decodeEntryPoint(entryPoint.text, std::move(structures.text));
}

}  // namespace invscan
