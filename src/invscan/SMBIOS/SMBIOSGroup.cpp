#include <cstdlib>
#include <memory>

#include <invscan/catalogue.h>
#include <invscan/groups.h>
#include <invscan/md5.h>
#include <invscan/smbios.h>

#include "invscan/SMBIOS/FirmwareText.h"
#include "invscan/SMBIOS/table/SharedTable.h"
#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "log/Trace.h"

// The values are the type byte of SMBIOS type 3, without its lock bit.
const kelEnumDef KEL_ATTRIB_SMBIOS_ENCLOSURE_TYPE_ENUM_DEF[] = {
    {1, "Other"},
    {2, "Unknown"},
    {3, "Desktop"},
    {4, "Low Profile Desktop"},
    {5, "Pizza Box"},
    {6, "Mini Tower"},
    {7, "Tower"},
    {8, "Portable"},
    {9, "Laptop"},
    {10, "Notebook"},
    {11, "Handheld"},
    {12, "Docking Station"},
    {13, "All in One"},
    {14, "Sub-notebook"},
    {15, "Space-saving"},
    {16, "Lunch Box"},
    {17, "Main Server Chassis"},
    {18, "Expansion Chassis"},
    {19, "SubChassis"},
    {20, "Bus Expansion Chassis"},
    {21, "Peripheral Chassis"},
    {22, "RAID Chassis"},
    {23, "Rack Mount Chassis"},
    {24, "Sealed-case PC"},
    {25, "Multi-system chassis"},
    {kEndOfTable, nullptr},
};

const kelEnumDef HWSEC_POP_ENUM_DEF[] = {
    {0, "Disabled"}, {1, "Enabled"}, {2, "Unsupported"}, {3, "Unknown"}, {kEndOfTable, nullptr},
};

const kelAttribDef SMBIOS_ATTRS_DEF[] = {
    {1, "BIOS Vendor", KEL_STRING, 64, nullptr},
    {2, "BIOS Version", KEL_STRING, 64, nullptr},
    {3, "BIOS Date", KEL_STRING, 16, nullptr},
    {4, "BIOS Size", KEL_STRING, 8, nullptr},
    {5, "System Manufacturer", KEL_STRING, 64, nullptr},
    {6, "System Product Name", KEL_STRING, 64, nullptr},
    {7, "System Version", KEL_STRING, 64, nullptr},
    {8, "System Serial Number", KEL_STRING, 64, nullptr},
    {9, "System UUID", KEL_STRING, 36, nullptr},
    {10, "Board Manufacturer", KEL_STRING, 64, nullptr},
    {11, "Board Product", KEL_STRING, 64, nullptr},
    {12, "Board Version", KEL_STRING, 64, nullptr},
    {13, "Board Serial Number", KEL_STRING, 64, nullptr},
    {14, "Enclosure Manufacturer", KEL_STRING, 64, nullptr},
    {15, "Enclosure Type", KEL_ULONG, 0, KEL_ATTRIB_SMBIOS_ENCLOSURE_TYPE_ENUM_DEF},
    {16, "Enclosure Version", KEL_STRING, 64, nullptr},
    {17, "Enclosure Serial Number", KEL_STRING, 64, nullptr},
    {18, "Enclosure Asset Tag", KEL_STRING, 64, nullptr},
    {19, "ID", KEL_STRING, 32, nullptr},
    {20, "PowerOn Password", KEL_ULONG, 0, HWSEC_POP_ENUM_DEF},
    {21, "BIOS ID Bytes", KEL_STRING, 16, nullptr},
    {22, "BIOS ID", KEL_STRING, 128, nullptr},
    {23, "BIOS Manufacturer", KEL_STRING, 64, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kSmbiosTraits[] = {
    {1, "", Stable, kPublic, "Maker of the firmware.", kFirmwareTables, nullptr},
    {2, "", Stable, kPublic, "Version of the firmware.", kFirmwareTables, nullptr},
    {3, "", Stable, kPublic, "Release date of the firmware, year first.", kFirmwareTables, nullptr},
    {4, "", Stable, kPublic, "Size of the firmware's memory, a number followed by K.",
     kFirmwareTables, nullptr},
    {5, "", Stable, kPublic, "Maker of the machine.", kFirmwareTables, nullptr},
    {6, "", Stable, kPublic, "Product name of the machine.", kFirmwareTables, nullptr},
    {7, "", Stable, kPublic, "Product version of the machine.", kFirmwareTables, nullptr},
    {8, "", Identity, kSensitive, "Serial number of the machine.", kFirmwareTables, nullptr},
    {9, "", Identity, kSensitive, "Universally unique id of the machine.", kFirmwareTables,
     nullptr},
    {10, "", Stable, kPublic, "Maker of the base board.", kFirmwareTables, nullptr},
    {11, "", Stable, kPublic, "Product name of the base board.", kFirmwareTables, nullptr},
    {12, "", Stable, kPublic, "Version of the base board.", kFirmwareTables, nullptr},
    {13, "", Identity, kSensitive, "Serial number of the base board.", kFirmwareTables, nullptr},
    {14, "", Stable, kPublic, "Maker of the enclosure.", kFirmwareTables, nullptr},
    {15, "", Stable, kPublic, "Kind of enclosure.", kFirmwareTables, nullptr},
    {16, "", Stable, kPublic, "Version of the enclosure.", kFirmwareTables, nullptr},
    {17, "", Identity, kSensitive, "Serial number of the enclosure.", kFirmwareTables, nullptr},
    {18, "", Identity, kSensitive, "Owner's inventory number, as entered in the firmware.",
     kFirmwareTables, nullptr},
    {19, "", Stable, kPublic, "Digest of make, model and firmware version, without serial numbers.",
     kFirmwareTables, nullptr},
    {20, "", Stable, kPublic, "Whether a password is asked before the machine starts.",
     kFirmwareTables, "3"},
    {21, "", Stable, kPublic, "Model bytes of the firmware.", kNotFilled, nullptr},
    {22, "", Stable, kPublic, "Identification text of the firmware.", kNotFilled, nullptr},
    {23, "", Stable, kPublic, "Maker of the firmware, as told by its identification text.",
     kNotFilled, nullptr},
    kEndOfTraits,
};

namespace {

constexpr unsigned long kEnclosureTypes = 25;
constexpr unsigned kTypeBits = 0x7F;  // the other one tells of a lock
constexpr unsigned short kUnsupported = 2;
constexpr unsigned short kPasswordStates = 4;

using MallocedText = std::unique_ptr<char, decltype(&std::free)>;

// Builds the row, and on the way the text whose digest is the machine's ID: values one behind the
// other, without separator. Serial numbers stay out of it, so that machines of one kind share it.
class IdentityRow {
 public:
  // A text that the ID does not go by.
  void text(unsigned long id, char* value) { add(id, cleanText(value)); }

  // A text that the ID goes by, with a bar in its place when it says nothing.
  void hashedText(unsigned long id, char* value) {
    const std::string text = cleanText(value);
    add(id, text);
    input_ += text.empty() ? "|" : text;
  }

  void hashedSize(unsigned long id, unsigned int sizeKB) {
    const std::string text = std::to_string(sizeKB) + "K";
    add(id, text);
    input_ += text;
  }

  void hashedCount(unsigned long id, unsigned long value) {
    row_.count(id, value);
    hasValues_ = true;
    input_ += std::to_string(value);
  }

  // Bars alone make no ID.
  void id(unsigned long id, const Trace& trace) {
    if (!hasValues_) return;
    trace.at().mid("hardware %s %d", "MD5 PK input len:", static_cast<int>(input_.size()));
    const MallocedText digest(md5_checksum(input_.c_str()), &std::free);
    row_.text(id, digest.get());
  }

  RowBuilder& builder() { return row_; }

 private:
  void add(unsigned long id, const std::string& text) {
    const Trace trace(getCcLogHw(), "add()");
    if (text.empty()) {
      trace.at().max("hardware -none-");
      return;
    }
    row_.text(id, text);
    hasValues_ = true;
  }

  RowBuilder row_;
  std::string input_;
  bool hasValues_ = false;
};

void addBios(IdentityRow& row, const SMBIOSTable0Data& bios) {
  row.hashedText(1, bios.getVendor());
  row.hashedText(2, bios.getVersion());
  row.text(3, MallocedText(bios.getReleaseDateAsYYYYMMDD(), &std::free).get());
  row.hashedSize(4, bios.getROMSizeKB());
}

void addSystem(IdentityRow& row, const SMBIOSTable1Data& system) {
  row.hashedText(5, system.getManufacturer());
  row.hashedText(6, system.getProduct());
  row.hashedText(7, system.getVersion());
  row.text(8, system.getSerialNumber());
  row.text(9, system.getUUIDAsString());
}

void addBoard(IdentityRow& row, const SMBIOSTable2Data& board) {
  row.hashedText(10, board.getManufacturer());
  row.hashedText(11, board.getProduct());
  row.hashedText(12, board.getVersion());
  row.text(13, board.getSerialNumber());
}

void addEnclosure(IdentityRow& row, const SMBIOSTable3Data& enclosure, const Trace& trace) {
  row.hashedText(14, enclosure.getManufacturer());
  const unsigned long type = enclosure.getType() & kTypeBits;
  trace.at().mid("hardware %s %d", "Chassis type:", static_cast<int>(type));
  if (type >= 1 && type <= kEnclosureTypes) row.hashedCount(15, type);
  row.hashedText(16, enclosure.getVersion());
  row.text(17, enclosure.getSerialNumber());
  row.text(18, enclosure.getAssetTag());
}

unsigned long powerOnPassword(const Trace& trace) {
  unsigned short powerOn = 0, keyboard = 0;
  SM_HWSecurity(&powerOn, &keyboard);
  trace.at().mid("hardware %s %d", "PowerOn PW:", static_cast<int>(powerOn));
  return powerOn < kPasswordStates ? powerOn : kUnsupported;
}

}  // namespace
}  // namespace invscan

using namespace invscan;

KelTable* SMBIOSGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  return getTableLeg();
}

KelTable* SMBIOSGroup::getTableLeg() {
  const Trace trace(getCcLogHw(), "getTableLeg()");
  trace.at().mid("hardware SMBIOS Group");
  const FirmwareInUse firmware;
  if (!firmware) return nullptr;

  IdentityRow row;
  if (const auto* bios = firmware->getTable0()) {
    trace.at().mid("hardware SMBIOS TABLE 0 IS AVAILABLE");
    addBios(row, *bios);
  }
  if (const auto* system = firmware->getTable1()) {
    trace.at().mid("hardware SMBIOS TABLE 1 IS AVAILABLE");
    addSystem(row, *system);
  }
  if (const auto* board = firmware->getTable2()) {
    trace.at().mid("hardware SMBIOS TABLE 2 IS AVAILABLE");
    addBoard(row, *board);
  }
  if (const auto* enclosure = firmware->getTable3()) {
    trace.at().mid("hardware SMBIOS TABLE 3 IS AVAILABLE");
    addEnclosure(row, *enclosure, trace);
  }
  row.id(19, trace);

  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  row.builder().count(20, powerOnPassword(trace)).addTo(*table);
  return table.release();
}
