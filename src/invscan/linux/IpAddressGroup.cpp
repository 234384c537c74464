#include <invscan/catalogue.h>
#include <invscan/groups.h>
#include <invscan/network.h>

#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "log/Trace.h"

const kelAttribDef IP_ADDR_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "Address", KEL_STRING, 40, nullptr},
    {9, "DHCP Enabled", KEL_STRING, 1, nullptr},
    {3, "Hostname", KEL_STRING, 64, nullptr},
    {4, "Domain", KEL_STRING, 64, nullptr},
    {5, "Subnet", KEL_STRING, 40, nullptr},
    {6, "Gateway", KEL_STRING, 40, nullptr},
    {7, "Primary DNS", KEL_STRING, 40, nullptr},
    {8, "Secondary DNS", KEL_STRING, 40, nullptr},
    {10, "Permanent Mac Address", KEL_STRING, 64, nullptr},
    {11, "IPV6Address", KEL_STRING, 64, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kIpAddressTraits[] = {
    {1, "", Stable, kPublic, "Running number of the address, from 1.", "netlink", nullptr},
    {2, "", Identity, kSensitive, "IPv4 address of an interface.", "netlink", nullptr},
    {9, "", Stable, kPublic, "Whether the address was assigned by DHCP.", kNotFilled, nullptr},
    {3, "", Identity, kSensitive, "Short host name that the address belongs to.",
     "host name of *; hostname", nullptr},
    {4, "", Stable, kSensitive, "Domain of the host name.",
     "host name of *; nslookup *; /etc/resolv.conf", nullptr},
    {5, "", Stable, kPublic, "Subnet mask, a dotted quad.", "netlink", nullptr},
    {6, "", Stable, kSensitive, "Gateway in the subnet of the address.", "netlink; netstat -nr",
     nullptr},
    {7, "", Stable, kSensitive, "First name server.", "/etc/resolv.conf", nullptr},
    {8, "", Stable, kSensitive, "Second name server.", "/etc/resolv.conf", nullptr},
    {10, "", Identity, kSensitive, "Hardware address of the interface.", "netlink",
     "00:00:00:00:00:00"},
    {11, "", Identity, kSensitive, "IPv6 address of the same interface, with its prefix length.",
     kInterfaceList, nullptr},
    kEndOfTraits,
};

}  // namespace invscan

using namespace invscan;

KelTable* IpAddressGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  std::list<IpAddressEnumerator::IpAddressData> records;
  trace.at().max("hardware Using netlink to enumerate addresses");
  NetlinkIpAddressEnumerator().enumerate(records);
  if (records.empty()) {
    trace.at().min("hardware Netlink enumerator failed, trying legacy method");
    IoctlIpAddressEnumerator().enumerate(records);
  }
  trace.at().max("hardware Found %zu interfaces", records.size());

  auto* table = new KelTable(getGroupId(), getGroupVersion());
  unsigned long index = 0;
  for (const auto& record : records) {
    RowBuilder()
        .count(1, ++index)
        .text(2, record.address)
        .text(3, record.hostname)
        .text(4, record.domain)
        .text(5, record.subnetMask)
        .text(6, record.gateway)
        .text(7, record.primaryDns)
        .text(8, record.secondaryDns)
        .text(10, record.macAddress)
        .text(11, record.ipv6Address)
        .addTo(*table);
  }
  return table;
}
