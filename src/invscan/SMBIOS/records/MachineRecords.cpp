// The machine as a whole: system, base board, enclosure, battery, security, texts of its maker.
#include <invscan/smbios.h>

#include "base/Hex.h"
#include "invscan/SMBIOS/records/RecordDump.h"
#include "log/Trace.h"

using namespace invscan;

char* SMBIOSTable1Data::getUUIDAsString() const {
  constexpr int kUuid = 8;
  constexpr int kAsTheyStand[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
  constexpr int kLittleEndian[] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
  static char uuid[37];  // its last byte is never written
  if (!isSince2(1) || !holds(kUuid, 16)) return nullptr;
  const auto& order = isNative() && !isSince2(6) ? kAsTheyStand : kLittleEndian;
  char* end = uuid;
  bool isZero = true;
  for (int i = 0; i < 16; ++i) {
    const unsigned value = byte(kUuid + order[i]);
    const bool beginsGroup = i == 4 || i == 6 || i == 8 || i == 10;
    if (beginsGroup) *end++ = '-';
    *end++ = kUpperHex[value / 16];
    *end++ = kUpperHex[value % 16];
    isZero = isZero && value == 0;
  }
  return isZero ? nullptr : uuid;
}

void SMBIOSTable1Data::dump() const {
  SMBIOSTableData::dump();
  show("Manufacturer", getManufacturer());
  show("Product", getProduct());
  show("Version", getVersion());
  show("Serial number", getSerialNumber());
  show("UUID", getUUIDAsString());
  show("Wake-up type", getWakeUpType());
}

int SMBIOSTable3Data::readBlock(unsigned char* data, int offset) {
  const Trace trace(getCcLogHw(), "readBlock()");
  const int next = SMBIOSTextData::readBlock(data, offset);
  trace.at().max("hardware Type:%d", getType());
  return next;
}

void SMBIOSTable2Data::dump() const {
  SMBIOSTableData::dump();
  show("Manufacturer", getManufacturer());
  show("Product", getProduct());
  show("Version", getVersion());
  show("Serial number", getSerialNumber());
}

void SMBIOSTable3Data::dump() const {
  SMBIOSTableData::dump();
  show("Manufacturer", getManufacturer());
  show("Type", getType());
  show("Version", getVersion());
  show("Serial number", getSerialNumber());
  show("Asset tag", getAssetTag());
}

void SMBIOSTable11Data::dump() const {
  SMBIOSTableData::dump();
  show("Count", getCount());
  for (int n = 1; n <= getCount(); ++n) {
    if (char* text = getString(n)) show("Text", text);
  }
}

void SMBIOSTable22Data::dump() const {
  SMBIOSTableData::dump();
  show("Location", getLocation());
  show("Manufacturer", getManufacturer());
  show("Manufacture date", getManufactureDate());
  show("Serial number", getSerialNumber());
  show("Device name", getDeviceName());
}

void SMBIOSTable24Data::dump() const {
  SMBIOSTableData::dump();
  showBits("Hardware security settings", getHWSecStatus(), 2);
}
