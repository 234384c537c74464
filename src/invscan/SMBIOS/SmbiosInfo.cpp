#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <invscan/physmem.h>
#include <invscan/smbios.h>
#include <invscan/smbiosinfo.h>

#include "common/text/Lines.h"
#include "invscan/SMBIOS/FirmwareText.h"
#include "invscan/SMBIOS/MachineType.h"
#include "invscan/SMBIOS/table/SharedTable.h"
#include "invscan/SMBIOS/table/TableBytes.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

using namespace invscan;

namespace {

constexpr long kStep = 16;
// The search ends two bytes before the segment does; the last entry point reaches into them.
constexpr long kSearchLength = 0xFFFE;
constexpr long kEntryPointLength = sizeof(smbios_table_entry_point);
constexpr long kIntermediate = 0x10, kIntermediateLength = 15;
constexpr std::size_t kEfiLineLength = 78;
constexpr int kOldestMajorVersion = 2;

constexpr std::size_t kShortText = 31, kLongText = 254;

// The address that a line of the EFI system table gives, 0 when it gives none.
unsigned long efiAddress(const Trace& trace, std::string_view line) {
  const std::size_t equals = line.find('=');
  const std::string key(line.substr(0, equals));
  if (equals == line.npos || (key != "SMBIOS" && key != "SMBIOS3")) {
    trace.at().max("Not an EFI SMBIOS entry (%s)", key.c_str());
    return 0;
  }
  const unsigned long address = strtoul(std::string(line.substr(equals + 1)).c_str(), nullptr, 0);
  if (address == 0) {
    trace.at().min("EFI SMBIOS address is of unknown format");
  } else {
    trace.at().mid("EFI SMBIOS address is 0x%lx", address);
  }
  return address;
}

unsigned long findEfiAddress(const Trace& trace) {
  trace.at().mid("Checking for EFI...");
  for (const char* path : {"/sys/firmware/efi/systab", "/proc/efi/systab"}) {
    const FileText systab = machine().readFile(path);
    if (systab.error != 0) continue;
    trace.at().mid("EFI seems to be present (%s), seeking for SMBIOS address...", path);
    TextLines lines(systab.text, kEfiLineLength);
    for (std::string_view line; lines.next(line);) {
      if (const unsigned long address = efiAddress(trace, line)) return address;
    }
    return 0;
  }
  trace.at().mid("EFI not found.");
  return 0;
}

long findAnchor(const TableView& segment) {
  for (long at = 0; at < kSearchLength - (kStep - 1); at += kStep) {
    if (hasAnchor(segment, at, "_SM_")) return at;
  }
  return -1;
}

bool isValid(const Trace& trace, const TableView& memory, long at) {
  if (!sumsToZero(memory, at, memory.byte(at + 5))) {
    trace.at().min("Error: SMBIOS entry point checksum invalid");
  } else if (!sumsToZero(memory, at + kIntermediate, kIntermediateLength)) {
    trace.at().min("Error: SMBIOS checksum invalid");
  } else if (memory.byte(at + 6) < kOldestMajorVersion) {
    trace.at().min("Error: unsupported SMBIOS version (%d.%d)", memory.byte(at + 6),
                   memory.byte(at + 7));
  } else {
    return true;
  }
  return false;
}

// What EFI names is taken as an entry point as it stands; without EFI it is searched for.
std::optional<smbios_table_entry_point> findEntryPoint(const Trace& trace) {
  const unsigned long efi = findEfiAddress(trace);
  const unsigned long start = efi != 0 ? efi : kBiosSegment;
  trace.at().mid("Searching for SMBIOS at 0x%lx...", start);
  const auto bytes = machine().readMemory(start, efi != 0 ? kEntryPointLength : kBiosSegmentLength);
  if (!bytes) {
    trace.at().min("Error: unable to map SMBIOS memory area");
    return std::nullopt;
  }
  const TableView memory = viewOf(*bytes);
  const long at = efi != 0 ? 0 : findAnchor(memory);
  if (at < 0) {
    trace.at().min("Error: SMBIOS signature not found");
    return std::nullopt;
  }
  if (!isValid(trace, memory, at)) return std::nullopt;
  smbios_table_entry_point entryPoint;
  bytes->copy(reinterpret_cast<char*>(&entryPoint), sizeof entryPoint,
              static_cast<std::size_t>(at));
  trace.at().mid("SMBIOS %d.%d found at 0x%lx.", entryPoint.majorVersion, entryPoint.minorVersion,
                 start + static_cast<unsigned long>(at));
  return entryPoint;
}

// An empty table that begins inside a page is there, with nothing in it: hosts get the defaults.
std::optional<std::string> readTable(const smbios_table_entry_point& entryPoint) {
  const unsigned long address = entryPoint.tableAddress;
  if (entryPoint.tableLength == 0 && slm_page_off(reinterpret_cast<void*>(address)) == 0) {
    return std::nullopt;
  }
  return machine().readMemory(address, entryPoint.tableLength);
}

// Offset behind a structure, -1 when the table ends inside it.
long behindStructure(const TableView& table, long at) {
  return behindDoubleNul(table, at + table.byte(at + 1));
}

// The strings of the set at that offset, as many as asked for: those that it does not have are
// empty.
std::vector<std::string> copyStrings(const TableView& table, long at, std::size_t count) {
  std::vector<std::string> strings(count);
  for (std::string& text : strings) {
    text = table.text(at);
    if (text.empty()) break;
    at += static_cast<long>(text.size()) + 1;
  }
  return strings;
}

String trimmedText(std::string_view text) {
  return std::string(trimmed(text, kBlank));
}

}  // namespace

int find_entry(const unsigned char* table, const smbios_table_entry_point* ep,
               smbios_sysinfo_table_entry* out) {
  const Trace trace(getCcLogHw(), "find_entry()");
  if (!table || !ep || !out) return 0;
  const TableView view(table, ep->tableLength);
  long at = 0;
  int left = ep->numberOfStructures;
  while (left > 0 && at >= 0 && view.covers(at) && view.byte(at) != kSystemInformation) {
    at = behindStructure(view, at);
    --left;
  }
  if (left == 0 || !view.covers(at)) {
    trace.at().mid("Return= 0");
    return 0;
  }
  const long strings = at + view.byte(at + 1);
  // What the structure does not state itself is not there.
  const TableView fields(table + at,
                         static_cast<std::size_t>(std::min<long>(strings, ep->tableLength) - at));
  *out = {fields.byte(0), fields.byte(1), fields.word(2), fields.byte(4),
          fields.byte(5), fields.byte(6), fields.byte(7), {}};
  const int count = std::max({out->manufacturer, out->product, out->version, out->serial});
  out->strings = copyStrings(view, strings, static_cast<std::size_t>(count));
  return count;
}

smbiosinfo::smbiosinfo() {
  getSmbiosInfo();
}

smbiosinfo::~smbiosinfo() = default;

void smbiosinfo::getSmbiosInfo() {
  const Trace trace(getCcLogHw(), "getSmbiosInfo()");
  const auto entryPoint = findEntryPoint(trace);
  if (entryPoint) trace.at().mid("Find table entry point");
  if (const auto table = entryPoint ? readTable(*entryPoint) : std::nullopt) {
    smbios_sysinfo_table_entry entry{};
    find_entry(reinterpret_cast<const unsigned char*>(table->data()), &*entryPoint, &entry);
    takeStrings(entry);
  } else {
    trace.at().min("Cannot find table entry point");
  }
  takeSharedTable();
  if (const auto found = machineTypeOf(manufacturer.toNarrow(), product.toNarrow())) type = *found;
}

void smbiosinfo::takeStrings(const smbios_sysinfo_table_entry& entry) {
  const Trace trace(getCcLogHw(), "takeStrings()");
  const auto text = [&](unsigned char number, std::size_t most, const String& none) {
    return number == 0 ? none : trimmedText(cutText(entry.strings[number - 1U], most));
  };
  serialNumber = text(entry.serial, kShortText, "");
  type = text(entry.version, kShortText, "");
  manufacturer = text(entry.manufacturer, kLongText, "Linux");
  product = text(entry.product, kLongText, manufacturer);
  trace.at().max("Product retrieved for linux intel=%s", product.toNarrow().c_str());
}

void smbiosinfo::takeSharedTable() {
  const Trace trace(getCcLogHw(), "takeSharedTable()");
  const FirmwareInUse firmware;
  const SMBIOSTable1Data* record = firmware ? firmware->getTable1() : nullptr;
  if (!record) {
    trace.at().mid("SMBIOS TABLE 1 IS NOT AVAILABLE!");
    return;
  }
  trace.at().mid("hardware use SMBIOSTable1Data");
  const auto replace = [](String& field, char* value) {
    const std::string text = cleanText(value);
    if (!text.empty()) field = trimmedText(text);
  };
  replace(manufacturer, record->getManufacturer());
  replace(product, record->getProduct());
  replace(serialNumber, record->getSerialNumber());
  replace(version, record->getVersion());
  trace.at().mid("SMBIOS TABLE 1 IS AVAILABLE!");
}
