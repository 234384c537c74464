// What runs this system, as the collectors tell it.
#pragma once

#include <string>

#include <invscan/virtualmachine.h>

namespace invscan {

// Empty for types that have no name.
std::string hypervisorName(unsigned type);

struct Hypervisor {
  VirtualMachineInfo info;
  bool isVirtual = false;
  std::string name;                      // of a guest's hypervisor, else of the container
  std::string vendor, interface, brand;  // its signatures and its name in plain words
  std::string container;                 // what made the container that this runs in
};

// By the answer of the helper "cpuid". Native sources go on where its classification ends: with a
// hypervisor that has no type of its own, by whatever the helper calls it, and with containers.
Hypervisor findHypervisor();

}  // namespace invscan
