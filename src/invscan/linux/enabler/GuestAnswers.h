// What a VMware hypervisor tells this guest, for collectors. A probe may take a second and a key
// two processes: each is asked once for a machine, by whichever collector comes first.
#pragma once

#include <optional>
#include <string>

#include <invscan/vmware.h>

namespace invscan {

// Whether a channel answers with the version that is known. Native sources do not even try, neither
// port nor tool nor library, where neither the processor's leaves nor the helper "cpuid" tell of
// VMware: other hypervisors offer the port, too, but have nothing to say on it.
bool hasGuestChannel();

// The functions below ask nothing without a channel, and then know nothing.

// What getHostInfo() has; all empty when nothing is known.
struct HostTexts {
  std::string manufacturer, product, version, machineType, nodeId;
};
HostTexts hostTexts();

struct NodeKeys {
  std::optional<std::string> nodeId, vmId;
  std::optional<unsigned> nodeCapacity;
  std::optional<double> vmCapacity;
};
NodeKeys nodeKeys();

// The text of guestinfo.orv_physical_processor.
std::optional<std::string> physicalProcessorKey();

std::optional<VMwareGuestInfo> guestResources();

}  // namespace invscan
