// Who made a device.
#pragma once

#include <string>

namespace invscan {

// By the device's module alias, such as "pci:v00008086d...", what the hardware database knows;
// empty without alias or when it does not know.
std::string makerOf(const std::string& alias);

}  // namespace invscan
