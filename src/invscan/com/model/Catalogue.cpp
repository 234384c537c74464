#include <string_view>

#include <invscan/catalogue.h>
#include <invscan/traits.h>

#include "invscan/com/model/Traits.h"

const unsigned long PROCESSOR_KEYS_DEF[] = {1, 2};
const unsigned long MEMORY_MODULES_KEYS_DEF[] = {1};
const unsigned long STORAGE_KEYS_DEF[] = {1, 2};
const unsigned long IP_ADDRESS_KEYS_DEF[] = {2};
const unsigned long IPV6_ADDRESS_KEYS_DEF[] = {2};
const unsigned long NETWORK_ADAPTER_KEYS_DEF[] = {2};
const unsigned long PARTITION_KEYS_DEF[] = {1, 7, 8};
const unsigned long PCI_DEVICE_KEYS_DEF[] = {1, 2};
const unsigned long PHYS_PROC_KEYS_DEF[] = {1};
const unsigned long PART2STOR_KEYS_DEF[] = {1};
const unsigned long SAN_ADAPTER_KEYS_DEF[] = {1, 2};

const kelGroupDef GROUPS_DEF[] = {
    {1, "ComponentID", COMPONENTID_ATTRS_DEF, nullptr, 0, 1, 0},
    {2, "Processor", PROCESSOR_ATTRS_DEF, PROCESSOR_KEYS_DEF, 2, 1, 0},
    {3, "Memory", MEMORY_ATTRS_DEF, nullptr, 0, 1, 0},
    {31, "Memory Modules", MEMORY_MODULES_ATTRS_DEF, MEMORY_MODULES_KEYS_DEF, 1, 1, 0},
    {4, "Operating System", OPER_SYS_ATTRS_DEF, nullptr, 0, 1, 0},
    {5, "Storage", STORAGE_ATTRS_DEF, STORAGE_KEYS_DEF, 2, 1, 0},
    {6, "IP Address", IP_ADDR_ATTRS_DEF, IP_ADDRESS_KEYS_DEF, 1, 1, 0},
    {51, "IPv6 Address", IPV6_ADDR_ATTRS_DEF, IPV6_ADDRESS_KEYS_DEF, 1, 1, 0},
    {7, "Network Adapter", NET_ADPTR_ATTRS_DEF, NETWORK_ADAPTER_KEYS_DEF, 1, 1, 0},
    {15, "Regional", REGIONAL_ATTRS_DEF, nullptr, 0, 1, 0},
    {19, "UNIX System Params", UNIX_PAR_ATTRS_DEF, nullptr, 0, 1, 0},
    {20, "Scan Info", SCAN_INFO_ATTRS_DEF, nullptr, 0, 1, 0},
    {27, "Partition", PART_ATTRS_DEF, PARTITION_KEYS_DEF, 3, 1, 0},
    {24, "SMBIOS", SMBIOS_ATTRS_DEF, nullptr, 0, 1, 0},
    {29, "PCI Device", PCI_DEVICE_ATTRS_DEF, PCI_DEVICE_KEYS_DEF, 2, 1, 0},
    {34, "Lpar", LPAR_ATTRS_DEF, nullptr, 0, 1, 0},
    {50, "VirtualMachineGuest", VIRTUAL_MACHINE_GUEST_ATTRS_DEF, nullptr, 0, 1, 0},
    {44, "PhysicalProcessor", PHYS_PROC_ATTRS_DEF, PHYS_PROC_KEYS_DEF, 1, 1, 0},
    {45, "HostComponentID", COMPONENTID_ATTRS_DEF, nullptr, 0, 1, 0},
    {46, "CpuMeter", CPU_METER_ATTRS_DEF, nullptr, 0, 1, 0},
    {47, "UnixCpuMeter", CPU_UNIX_METER_ATTRS_DEF, nullptr, 0, 1, 0},
    {53, "PartitionToStorage", PART2STOR_ATTRS_DEF, PART2STOR_KEYS_DEF, 1, 1, 0},
    {54, "SAN Adapter", SAN_ADAPTER_ATTRS_DEF, SAN_ADAPTER_KEYS_DEF, 2, 1, 0},
    {kEndOfTable, nullptr, nullptr, nullptr, 0, 0, 0},
};

namespace {

const kelGroupDef* findGroup(std::string_view name) {
  for (const kelGroupDef* group = GROUPS_DEF; group->name; ++group) {
    if (group->name == name) return group;
  }
  return nullptr;
}

// The first row at or after the given one that has the id, or null.
const kelAttribDef* findAttrib(const kelAttribDef* row, unsigned long attribId) {
  for (; row->id != kEndOfTable; ++row) {
    if (row->id == attribId) return row;
  }
  return nullptr;
}

}  // namespace

const char* getGroupNameFromId(unsigned long id) {
  const kelGroupDef* group = getGroupDefinitionFromId(id);
  return group ? group->name : "Unknown";
}

unsigned long getGroupIdFromName(const String& name) {
  const kelGroupDef* group = findGroup(name.toNarrow());
  return group ? group->id : 0;
}

const kelGroupDef* getGroupDefinitionFromId(unsigned long id) {
  for (const kelGroupDef* group = GROUPS_DEF; group->id != kEndOfTable; ++group) {
    if (group->id == id) return group;
  }
  return nullptr;
}

unsigned long getDebugMaskFromName(const char* name) {
  const kelGroupDef* group = name ? findGroup(name) : nullptr;
  return group ? group->debugMask : 0;
}

const char* getAttribNameFromId(const kelGroupDef* group, unsigned long attribId) {
  const kelAttribDef* attrib = getAttribDefinitionFromId(group, attribId);
  return attrib ? attrib->name : nullptr;
}

const kelAttribDef* getAttribDefinitionFromId(const kelGroupDef* group, unsigned long attribId) {
  return group && group->attribs ? findAttrib(group->attribs, attribId) : nullptr;
}

const char* getEnumAsciiValue(const kelGroupDef* group, unsigned long attribId,
                              unsigned long value) {
  if (!getAttribDefinitionFromId(group, attribId)) return nullptr;
  const kelEnumDef* entry = group->attribs[0].enums;
  if (!entry) return nullptr;
  for (; entry->value != kEndOfTable; ++entry) {
    if (entry->value == value) return entry->text;
  }
  return nullptr;
}

namespace invscan {
namespace {

struct GroupTraits {
  unsigned long groupId;
  const AttributeTraits* attributes;
};

constexpr GroupTraits kGroupTraits[] = {
    {1, kComponentIdTraits},
    {2, kProcessorTraits},
    {3, kMemoryTraits},
    {31, kMemoryModulesTraits},
    {4, kOperatingSystemTraits},
    {5, kStorageTraits},
    {6, kIpAddressTraits},
    {51, kIpv6AddressTraits},
    {7, kNetworkAdapterTraits},
    {15, kRegionalTraits},
    {19, kUnixSystemParamsTraits},
    {20, kScanInfoTraits},
    {27, kPartitionTraits},
    {24, kSmbiosTraits},
    {29, kPciDeviceTraits},
    {34, kLparTraits},
    {50, kVirtualMachineGuestTraits},
    {44, kPhysicalProcessorTraits},
    {45, kComponentIdTraits},
    {46, kCpuMeterTraits},
    {47, kUnixCpuMeterTraits},
    {53, kPartitionToStorageTraits},
    {54, kSanAdapterTraits},
};

}  // namespace

const AttributeTraits* attributeTraits(unsigned long groupId, unsigned long attribId) {
  for (const GroupTraits& group : kGroupTraits) {
    if (group.groupId != groupId) continue;
    for (const AttributeTraits* row = group.attributes; row->id != 0; ++row) {
      if (row->id == attribId) return row;
    }
  }
  return nullptr;
}

}  // namespace invscan
