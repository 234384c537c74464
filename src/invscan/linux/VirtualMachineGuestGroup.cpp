#include <string>

#include <invscan/catalogue.h>
#include <invscan/groups.h>
#include <invscan/virtualmachine.h>

#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/enabler/Hypervisor.h"
#include "log/Trace.h"

const kelAttribDef VIRTUAL_MACHINE_GUEST_ATTRS_DEF[] = {
    {1, "UUID", KEL_STRING, 48, nullptr},           {2, "DynamicID", KEL_STRING, 16, nullptr},
    {3, "MaxEntitlement", KEL_STRING, 16, nullptr}, {4, "CpuPercentage", KEL_STRING, 16, nullptr},
    {5, "CapacityInCores", KEL_FLOAT, 0, nullptr},  {6, "RsetID", KEL_STRING, 50, nullptr},
    {7, "RsetCpuCount", KEL_ULONG, 0, nullptr},     {8, "RsetCpuList", KEL_STRING, 500, nullptr},
    {9, "HypervisorType", KEL_STRING, 50, nullptr}, {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kVirtualMachineGuestTraits[] = {
    {1, "", Identity, kSensitive,
     "Id of the virtual machine: its UUID, or its serial number under Hyper-V and MSVS.",
     kCpuidHelper, nullptr},
    {2, "", Volatile, kPublic, "Id of a partition that moves between machines.", kNotFilled,
     nullptr},
    {3, "", Stable, kPublic, "Most processor capacity that the guest can be given.", kNotFilled,
     nullptr},
    {4, "", Stable, kPublic, "Part of the machine's processors that the guest is given.",
     kNotFilled, nullptr},
    {5, "cores", Stable, kPublic, "Processor capacity of the guest.", kNotFilled, nullptr},
    {6, "", Stable, kPublic, "Id of the resource set that the guest is bound to.", kNotFilled,
     nullptr},
    {7, "", Stable, kPublic, "Number of processors in the resource set.", kNotFilled, nullptr},
    {8, "", Stable, kPublic, "Processors in the resource set.", kNotFilled, nullptr},
    {9, "", Stable, kPublic, "Name of the hypervisor that runs this guest.", kCpuidHelper, nullptr},
    kEndOfTraits,
};

}  // namespace invscan

using namespace invscan;

// Guests of Microsoft's hypervisors go by their serial number, as hosts know them by that.
KelTable* VirtualMachineGuestGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  constexpr unsigned kHyperV = 2, kVirtualServer = 3;
  VirtualMachineInfo info;
  if (!getVirtualMachineInfo(info) || !info.isVirtual) return nullptr;
  const bool isMicrosoft = info.hypervisorType == kHyperV || info.hypervisorType == kVirtualServer;
  auto* table = new KelTable(getGroupId(), getGroupVersion());
  RowBuilder()
      .text(1, isMicrosoft ? info.systemSerialNumber : info.systemUuid)
      .text(9, hypervisorName(info.hypervisorType))
      .addTo(*table);
  return table;
}
