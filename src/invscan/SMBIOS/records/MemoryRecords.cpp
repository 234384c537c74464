// Memory: controller and modules of old firmware, arrays and devices of newer.
#include <invscan/smbios.h>

#include "invscan/SMBIOS/Sizes.h"
#include "invscan/SMBIOS/records/RecordDump.h"
#include "invscan/SMBIOS/table/TableView.h"

using namespace invscan;

namespace {

int behindNuls(const TableView& bytes, int at) {
  while (bytes.covers(at) && bytes.byte(at) == 0) ++at;
  return at;
}

unsigned int sizeMB(unsigned char size) {
  constexpr unsigned kNotKnown = 125;  // and beyond: not enabled, not installed
  const unsigned power = size & 0x7FU;
  if (power >= kNotKnown) return 0xFFFFFFFF;
  return power < 32 ? 1U << power : 0;
}

}  // namespace

int SMBIOSTable5Data::readBlock(unsigned char* data, int offset) {
  return behindNuls(view(data), SMBIOSTableData::readBlock(data, offset));
}

void SMBIOSTable5Data::dump() const {
  SMBIOSTableData::dump();
  show("Error detecting method", getErrorDetectingMethod());
  showBits("Error correcting capability", getErrorCorrectingCapability(), 2);
  show("Supported interleave", getSupportedInterleave());
  show("Current interleave", getCurrentInterleave());
  show("Maximum module size 2^n MB", getMaximumMemoryModuleSize());
  showBits("Supported speeds", getSupportedSpeeds(), 4);
  showBits("Supported memory types", getSupportedMemoryTypes(), 4);
  showBits("Module voltage", getMemoryModuleVoltage(), 2);
  show("Associated slots", getNumAssocMemorySlots());
}

unsigned int SMBIOSTable6Data::getInstalledSizeMB() const {
  return sizeMB(getInstalledSize());
}

unsigned int SMBIOSTable6Data::getEnabledSizeMB() const {
  return sizeMB(getEnabledSize());
}

void SMBIOSTable6Data::dump() const {
  SMBIOSTableData::dump();
  show("Socket designation", getSocketDesignation());
  showBits("Bank connections", getBankConnections(), 2);
  show("Current speed ns", getCurrentSpeed());
  showBits("Memory type", getMemoryType(), 4);
  showBits("Installed size", getInstalledSize(), 2);
  showBits("Enabled size", getEnabledSize(), 2);
  showBits("Error status", getErrorStatus(), 2);
}

int SMBIOSTable16Data::readBlock(unsigned char* data, int offset) {
  return behindNuls(view(data), SMBIOSTableData::readBlock(data, offset) + 1);
}

unsigned int SMBIOSTable16Data::getMaxCapacity() const {
  return saturated(getWholeCapacity());
}

unsigned long long SMBIOSTable16Data::getWholeCapacity() const {
  constexpr int kExtendedCapacity = 15;
  const bool isExtended = isNative() && dword(7) == 0x80000000 && holds(kExtendedCapacity, 8);
  return isExtended ? qword(kExtendedCapacity) >> 10 : dword(7);
}

void SMBIOSTable16Data::dump() const {
  SMBIOSTableData::dump();
  show("Location", getLocation());
  show("Use", getUse());
  show("Error correction", getErrorCorrection());
  show("Maximum capacity KB", getWholeCapacity());
  showBits("Error information handle", getErrorInformationHandle(), 4);
  show("Devices", getNumMemDevices());
}

unsigned int SMBIOSTable17Data::getSizeKB() const {
  constexpr int kExtendedSize = 28;
  const unsigned size = getSize();
  if (size == 0xFFFF) return 0;
  if ((size & 0x8000) != 0) return size & 0x7FFF;
  if (isNative() && size == 0x7FFF && holds(kExtendedSize, 4)) {
    return saturated((dword(kExtendedSize) & 0x7FFFFFFFULL) << 10);
  }
  return size << 10;
}

void SMBIOSTable17Data::dump() const {
  SMBIOSTableData::dump();
  showBits("Memory array handle", getMemoryArrayHandle(), 4);
  showBits("Memory error handle", getMemoryErrorHandle(), 4);
  show("Total width", getTotalWidth());
  show("Data width", getDataWidth());
  show("Size KB", getSizeKB());
  show("Form factor", getFormFactor());
  show("Device set", getDeviceSet());
  show("Device locator", getDeviceLocator());
  show("Bank locator", getBankLocator());
  show("Memory type", getMemoryType());
  showBits("Type detail", getTypeDetail(), 4);
  show("Speed", getSpeed());
  show("Manufacturer", getManufacturer());
  show("Serial number", getSerialNumber());
  show("Asset tag", getAssetTag());
  show("Part number", getPartNumber());
}
