// What the firmware's table tells, where it can be read, and what the kernel took out of it.
#pragma once

#include <optional>
#include <string>

#include <invscan/smbios.h>

namespace invscan::cpuid {

struct SystemIdentity {
  std::string manufacturer, product, version, serialNumber, uuid;
};

// Central processors, as the firmware found them when it started; no value where it does not tell.
struct FirmwareTotals {
  std::optional<long> packages, cores, processors;
};

class Firmware {
 public:
  Firmware();

  // Comes from /sys/class/dmi/id where the table, which takes root, cannot be read: serial number
  // and UUID are for root there too.
  SystemIdentity system() const;
  FirmwareTotals totals() const;
  // The first central processor's clock in MHz, and the byte for its family; 0 when not known.
  long processorClock() const;
  unsigned char processorFamily() const;

 private:
  const SMBIOSTable4Data* processor(int n) const;
  const SMBIOSTable4Data* firstProcessor() const;

  SMBIOSTable table_;
};

}  // namespace invscan::cpuid
