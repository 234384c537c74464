#include "invscan/linux/utils/HardwareMaker.h"

#include "invscan/machine/Machine.h"

namespace invscan {

std::string makerOf(const std::string& alias) {
  if (alias.empty()) return "";
  const HardwareProperties known = machine().hardwareProperties(alias);
  const auto vendor = known.find("ID_VENDOR_FROM_DATABASE");
  return vendor == known.end() ? "" : vendor->second;
}

}  // namespace invscan
