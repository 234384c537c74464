#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <invscan/catalogue.h>
#include <invscan/groups.h>
#include <invscan/network.h>

#include "common/md5/Digest.h"
#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/utils/InterfaceList.h"
#include "invscan/linux/utils/KernelAdapters.h"
#include "invscan/machine/Machine.h"
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
    {3, "", Identity, kSensitive,
     "Hardware address that the adapter was made with, else that in use.", kInterfaceList, nullptr},
    {4, "", Identity, kSensitive, "Hardware address in use.", kInterfaceList, nullptr},
    {5, "", Stable, kPublic, "Kind of interface, told from its name, else by the kernel.",
     "netlink links; /sys/class/net/*/phy80211; /sys/class/net/*/wireless; ifconfig -a 2>/dev/null",
     "2"},
    {6, "", Stable, kPublic, "Name of the interface.", kInterfaceList, nullptr},
    {7, "", Stable, kPublic, "Maker of the adapter.",
     "hardware database *; /sys/class/net/*/modalias; /sys/class/net/*/driver; /sys/class/net/*; "
     "/sys/devices/*/modalias",
     nullptr},
    {8, "", Stable, kPublic, "When the adapter was installed.", kNotFilled, nullptr},
    {9, "", Stable, kPublic,
     "Kind of connector that the cable plugs into. Neither sysfs nor a link's message has it: "
     "drivers tell it to ethtool alone.",
     kNotFilled, nullptr},
    {10, "", Stable, kPublic, "Kind of medium that the adapter transmits on.",
     "/sys/class/net/*/driver; netlink links", nullptr},
    {11, "", Stable, kPublic, "Adapters that form this aggregated one.", "netlink links", nullptr},
    {12, "", Stable, kPublic, "File that the driver was loaded from.",
     "/lib/modules/*/modules.dep; /sys/class/net/*/driver/module; /sys/class/net/*/driver; uname",
     nullptr},
    {13, "", Stable, kPublic, "Version of the driver.",
     "/sys/class/net/*/driver/module/version; /sys/class/net/*/driver/module; "
     "/sys/class/net/*/driver",
     nullptr},
    {14, "", Stable, kPublic, "Name of the driver.", "/sys/class/net/*/driver", nullptr},
    {15, "", Stable, kPublic, "Maker of the driver.", kNotFilled, nullptr},
    kEndOfTraits,
};

namespace {

// By what the name begins with; the first that fits.
constexpr struct {
  std::string_view prefix;
  unsigned long type;
  const char* name;
} kNames[] = {{"eth", 3, "ethernet"},
              {"tr", 4, "tokenring"},
              {"slip", 6, "SLIP"},
              {"escon", 7, "ESCON"},
              {"ctc", 8, "ctc (channel to channel)"},
              {"iucv", 9, "IUCV"},
              {"ppp", 10, "ppp"},
              {"", kTypeOther, "unknown"}};

unsigned long typeByName(std::string_view name) {
  const Trace trace(getCcLogHw(), "typeByName()");
  const auto* row = std::begin(kNames);
  while (!name.starts_with(row->prefix)) ++row;
  trace.at().max("hardware type=%s", row->name);
  return row->type;
}

std::vector<Adapter> listedAdapters() {
  constexpr char kLoopback[] = "lo";
  IfInfoList interfaces;
  populateIfInfoList(interfaces);
  std::vector<Adapter> adapters;
  for (int i = 0; i < interfaces.getCount(); ++i) {
    const IfInfo& interface = *interfaces.get(i);
    const std::string& printed = interface.text(IfInfo::kHardware);
    const std::string canonical = canonicalHardwareAddress(printed).value_or(printed);
    if (interface.text(IfInfo::kName) == kLoopback) continue;
    Adapter& adapter = adapters.emplace_back();
    adapter.name = interface.text(IfInfo::kName);
    adapter.hardwareAddress = trimmedHardwareAddress(canonical);
    adapter.permanentAddress = adapter.hardwareAddress;
  }
  return adapters;
}

std::vector<Adapter> findAdapters() {
  if (useNativeSources()) {
    if (auto told = kernelAdapters()) return std::move(*told);
  }
  return listedAdapters();
}

}  // namespace
}  // namespace invscan

using namespace invscan;

KelTable* NetworkAdapterGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  auto* table = new KelTable(getGroupId(), getGroupVersion());
  unsigned long index = 0;
  for (const Adapter& adapter : findAdapters()) {
    const unsigned long type = typeByName(adapter.name);
    RowBuilder row;
    row.count(1, ++index)
        .text(2, digestOf(adapter.hardwareAddress + adapter.name))
        .text(3, adapter.permanentAddress)
        .text(4, adapter.hardwareAddress)
        .count(5, type == kTypeOther ? adapter.type : type)
        .text(6, adapter.name);
    for (const auto& [id, text] :
         {std::pair(7UL, &adapter.manufacturer), std::pair(10UL, &adapter.physicalType),
          std::pair(11UL, &adapter.members), std::pair(12UL, &adapter.driverPath),
          std::pair(13UL, &adapter.driverVersion), std::pair(14UL, &adapter.driverName)}) {
      if (!text->empty()) row.text(id, *text);
    }
    row.addTo(*table);
  }
  return table;
}
