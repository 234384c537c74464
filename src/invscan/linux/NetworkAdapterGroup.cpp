#include <cstdlib>

#include <invscan/catalogue.h>
#include <invscan/groups.h>
#include <invscan/md5.h>
#include <invscan/network.h>

#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/utils/InterfaceList.h"
#include "log/Trace.h"

const kelEnumDef ADAPTER_TYPE_ENUM_DEF[] = {
    {1, "Unknown"},
    {2, "Other"},
    {3, "Ethernet Adapter"},
    {4, "Token Ring Adapter"},
    {5, "FDDI Adapter"},
    {6, "Serial Line IP"},
    {7, "Enterprise Systems Connection"},
    {8, "Channel to channel interface"},
    {9, "IUCV"},
    {10, "PPP Adapter"},
    {11, "ATM Adapter"},
    {12, "Wireless Adapter"},
    {13, "InfiniBand Adapter"},
    {14, "Fibre Channel Adapter"},
    {15, "Loopback Interface"},
    {16, "Tunnel Interface"},
    {17, "Bridge Interface"},
    {18, "VLAN Interface"},
    {kEndOfTable, nullptr},
};

const kelAttribDef NET_ADPTR_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "ID", KEL_STRING, 32, nullptr},
    {3, "Permanent Address", KEL_STRING, 64, nullptr},
    {4, "Current Address", KEL_STRING, 64, nullptr},
    {5, "Type", KEL_ULONG, 0, ADAPTER_TYPE_ENUM_DEF},
    {6, "Model", KEL_STRING, 255, nullptr},
    {7, "Manufacturer", KEL_STRING, 128, nullptr},
    {8, "Install Date", KEL_DATETIME, 0, nullptr},
    {9, "Connector Type", KEL_STRING, 64, nullptr},
    {10, "Physical Type", KEL_STRING, 64, nullptr},
    {11, "EtherChannel devices", KEL_STRING, 255, nullptr},
    {12, "Driver Path", KEL_STRING, 255, nullptr},
    {13, "Driver Version", KEL_STRING, 64, nullptr},
    {14, "Driver Name", KEL_STRING, 64, nullptr},
    {15, "Driver Manufacturer", KEL_STRING, 128, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kNetworkAdapterTraits[] = {
    {1, "", Stable, kPublic, "Running number of the interface, from 1.", kInterfaceList, nullptr},
    {2, "", Identity, kSensitive, "Digest of hardware address and interface name.", kInterfaceList,
     nullptr},
    {3, "", Identity, kSensitive, "Hardware address of the interface.", kInterfaceList, nullptr},
    {4, "", Identity, kSensitive, "Hardware address in use, which is always the permanent one.",
     kInterfaceList, nullptr},
    {5, "", Stable, kPublic, "Kind of interface, told from its name.", kInterfaceList, "2"},
    {6, "", Stable, kPublic, "Name of the interface.", kInterfaceList, nullptr},
    {7, "", Stable, kPublic, "Maker of the adapter.", kNotFilled, nullptr},
    {8, "", Stable, kPublic, "When the adapter was installed.", kNotFilled, nullptr},
    {9, "", Stable, kPublic, "Kind of connector that the cable plugs into.", kNotFilled, nullptr},
    {10, "", Stable, kPublic, "Kind of medium that the adapter transmits on.", kNotFilled, nullptr},
    {11, "", Stable, kPublic, "Adapters that form this aggregated one.", kNotFilled, nullptr},
    {12, "", Stable, kPublic, "File that the driver was loaded from.", kNotFilled, nullptr},
    {13, "", Stable, kPublic, "Version of the driver.", kNotFilled, nullptr},
    {14, "", Stable, kPublic, "Name of the driver.", kNotFilled, nullptr},
    {15, "", Stable, kPublic, "Maker of the driver.", kNotFilled, nullptr},
    kEndOfTraits,
};

namespace {

constexpr char kLoopback[] = "lo";

struct AdapterType {
  std::string_view prefix;  // of the interface's name
  unsigned long value;
  const char* trace;
};

// The last is that of every other name.
constexpr AdapterType kTypes[] = {
    {"eth", 3, "ethernet"},
    {"tr", 4, "tokenring"},
    {"slip", 6, "SLIP"},
    {"escon", 7, "ESCON"},
    {"ctc", 8, "ctc (channel to channel)"},
    {"iucv", 9, "IUCV"},
    {"ppp", 10, "ppp"},
    {"", 2, "unknown"},
};

const AdapterType& typeOf(std::string_view name) {
  const AdapterType* type = kTypes;
  while (!name.starts_with(type->prefix)) ++type;
  return *type;
}

std::string digestOf(const std::string& text) {
  const std::unique_ptr<char, void (*)(void*)> digest(md5_checksum(text.c_str()), std::free);
  return digest ? digest.get() : "";
}

std::string hardwareAddressOf(const IfInfo& interface) {
  const std::string& text = interface.text(IfInfo::kHardware);
  return std::string(trimmedHardwareAddress(canonicalHardwareAddress(text).value_or(text)));
}

}  // namespace
}  // namespace invscan

using namespace invscan;

KelTable* NetworkAdapterGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  IfInfoList interfaces;
  populateIfInfoList(interfaces);
  auto* table = new KelTable(getGroupId(), getGroupVersion());
  unsigned long index = 0;
  for (int i = 0; i < interfaces.getCount(); ++i) {
    const std::string& name = interfaces.get(i)->text(IfInfo::kName);
    if (name == kLoopback) continue;
    const std::string hardwareAddress = hardwareAddressOf(*interfaces.get(i));
    const AdapterType& type = typeOf(name);
    trace.at().max("hardware type=%s", type.trace);
    RowBuilder()
        .count(1, ++index)
        .text(2, digestOf(hardwareAddress + name))
        .text(3, hardwareAddress)
        .text(4, hardwareAddress)
        .count(5, type.value)
        .text(6, name)
        .addTo(*table);
  }
  return table;
}
