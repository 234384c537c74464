// What is known of the physical host below a guest.
#pragma once

#include <invscan/virtualmachine.h>

#include "invscan/linux/utils/IdentityTexts.h"

namespace invscan {

// Where a group has each text.
struct HostAttributes {
  unsigned long manufacturer, product, model, version, machineType, serialNumber, nodeId;
};

// What the helper "cpuid" says of the host goes before the keys that the administrator set.
void offerHost(IdentityTexts& identity, const VirtualMachineInfo& info, const HostAttributes& ids);

}  // namespace invscan
