// One storage device, by whichever source, and its row.
#pragma once

#include <string>

#include <invscan/table.h>

namespace invscan {

// Of STORAGE_TYPE_ENUM_DEF.
inline constexpr unsigned long kUnknownType = 1, kTape = 3, kCdRom = 17, kMagnetoOptical = 22,
                               kFloppy = 29, kHardDisk = 30, kMemoryCard = 31, kSolidState = 68,
                               kVirtualDisk = 69;
// What resolveSCSItype() says of a device that is not reported.
inline constexpr unsigned long kNotReported = 0xFFFFFFFF;

// Of STORAGE_SECURITY_ENABLED_ENUM_DEF.
inline constexpr unsigned long kLocked = 0, kNotLocked = 1, kLockUnsupported = 2;

// What is not known is empty or 0.
struct StorageDevice {
  unsigned long type = kUnknownType;
  std::string model, manufacturer, serial;
  unsigned long cylinders = 0, sectors = 0, heads = 0;
  unsigned long kilobytes = 0;
  unsigned long security = kLockUnsupported;
  std::string name;   // in /dev: "sda", "st0"
  std::string isSan;  // "1", "0", or empty
  std::string nodeName, portName, adapter;

  // As many cylinders of that form as a size in KiB has.
  void setGeometry(unsigned long headCount, unsigned long sectorCount);
};

// The geometry that the kernel gives a SCSI disk.
inline constexpr unsigned long kScsiHeads = 255, kScsiSectors = 63;

void addRow(KelTable& table, unsigned long index, const StorageDevice& device);

}  // namespace invscan
