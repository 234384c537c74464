#pragma once

#include <optional>
#include <string>

#include "helpers/cpuid/Firmware.h"
#include "helpers/cpuid/Processor.h"

namespace invscan::cpuid {

struct Hypervisor {
  std::string vendor;          // the signature; empty when there is none
  std::string interface;       // signature of the interface, such as "Hv#1"; empty without one
  std::string brand;           // name in plain words, for signatures that are known
  std::string virtualization;  // without a signature: what else the evidence points to
};

// The hypervisor below this system; none on a machine that shows no sign of one.
std::optional<Hypervisor> findHypervisor(const Leaves& leaves, const Processor& processor,
                                         const SystemIdentity& system);

}  // namespace invscan::cpuid
