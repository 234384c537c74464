#include <invscan/catalogue.h>
#include <invscan/groups.h>
#include <invscan/network.h>

#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/utils/KernelAddresses.h"
#include "invscan/machine/Machine.h"
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

constexpr char kIpv4Addresses[] = "netlink addresses; interface ioctls";

const AttributeTraits kIpAddressTraits[] = {
    {1, "", Stable, kPublic, "Running number of the address, from 1.", kIpv4Addresses, nullptr},
    {2, "", Identity, kSensitive, "IPv4 address of an interface.", kIpv4Addresses, nullptr},
    {9, "", Stable, kPublic, "Whether the address was assigned by DHCP.", kNotFilled, nullptr},
    {3, "", Identity, kSensitive, "Short host name that the address belongs to.",
     "host name of *; uname; hostname", nullptr},
    {4, "", Stable, kSensitive, "Domain of the host name.",
     "host name of *; nslookup *; /etc/resolv.conf", nullptr},
    {5, "", Stable, kPublic, "Subnet mask, a dotted quad.", kIpv4Addresses, nullptr},
    {6, "", Stable, kSensitive, "Gateway in the subnet of the address.",
     "netlink IPv4 routes; gateway of *; netstat -nr", nullptr},
    {7, "", Stable, kSensitive, "First name server.", kResolverFiles, nullptr},
    {8, "", Stable, kSensitive, "Second name server.", kResolverFiles, nullptr},
    {10, "", Identity, kSensitive, "Hardware address of the interface.",
     "netlink links; interface ioctls", "00:00:00:00:00:00"},
    {11, "", Identity, kSensitive, "IPv6 address of the same interface, with its prefix length.",
     kAddressList, nullptr},
    kEndOfTraits,
};

}  // namespace invscan

namespace invscan {
namespace {

using Records = std::list<IpAddressEnumerator::IpAddressData>;

Records findRecords() {
  const Trace trace(getCcLogHw(), "findRecords()");
  if (useNativeSources()) {
    if (auto told = kernelIpv4Records()) return std::move(*told);
  }
  Records records;
  trace.at().max("hardware Using netlink to enumerate addresses");
  NetlinkIpAddressEnumerator().enumerate(records);
  if (records.empty()) {
    trace.at().min("hardware Netlink enumerator failed, trying legacy method");
    IoctlIpAddressEnumerator().enumerate(records);
  }
  return records;
}

}  // namespace
}  // namespace invscan

using namespace invscan;

KelTable* IpAddressGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  const Records records = findRecords();
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
