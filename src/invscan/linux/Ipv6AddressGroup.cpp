#include <utility>
#include <vector>

#include <invscan/catalogue.h>
#include <invscan/groups.h>
#include <invscan/network.h>

#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/utils/Gateways.h"
#include "invscan/linux/utils/HostNames.h"
#include "invscan/linux/utils/KernelAddresses.h"
#include "invscan/linux/utils/NameServers.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

const kelAttribDef IPV6_ADDR_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "Address", KEL_STRING, 40, nullptr},
    {3, "Hostname", KEL_STRING, 64, nullptr},
    {4, "Domain", KEL_STRING, 64, nullptr},
    {5, "Subnet", KEL_STRING, 40, nullptr},
    {6, "Gateway", KEL_STRING, 40, nullptr},
    {7, "Primary DNS", KEL_STRING, 40, nullptr},
    {8, "Secondary DNS", KEL_STRING, 40, nullptr},
    {9, "Permanent Mac Address", KEL_STRING, 64, nullptr},
    {10, "Scope", KEL_STRING, 24, nullptr},
    {11, "Adapter Name", KEL_STRING, 128, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kIpv6AddressTraits[] = {
    {1, "", Stable, kPublic, "Running number of the address, from 1.", kAddressList, nullptr},
    {2, "", Identity, kSensitive, "IPv6 address of an interface.", kAddressList, nullptr},
    {3, "", Identity, kSensitive, "Short host name that the address belongs to.", "host name of *",
     nullptr},
    {4, "", Stable, kSensitive, "Domain of the host name.", "host name of *", nullptr},
    {5, "", Stable, kPublic, "Prefix length of the address.", kAddressList, nullptr},
    {6, "", Stable, kSensitive, "Next hop of the interface in the scope of the address.",
     "netlink IPv6 routes; gateway of *; /proc/net/ipv6_route", nullptr},
    {7, "", Stable, kSensitive, "First name server.", kResolverFiles, nullptr},
    {8, "", Stable, kSensitive, "Second name server.", kResolverFiles, nullptr},
    {9, "", Identity, kSensitive, "Hardware address of the interface.", kInterfaceList, nullptr},
    {10, "", Stable, kPublic, "Reach of the address: global, link or site.", kAddressList, nullptr},
    {11, "", Stable, kPublic, "Name of the interface.", kInterfaceList, nullptr},
    kEndOfTraits,
};

namespace {

constexpr char kLoopback[] = "::1/128";

// Completes the addresses of an interface list.
class Completion {
 public:
  explicit Completion(NameServers servers) : servers_(std::move(servers)) {}

  void add(const IfInfo& interface) {
    const Trace trace(getCcLogHw(), "add()");
    const std::string& hardware = interface.text(IfInfo::kHardware);
    const std::string hardwareAddress = hardware.substr(0, hardware.find(' '));
    int id = 0;
    for (const IPv6_entry& entry : interface.ipv6) {
      trace.at().max("hardware Interface address id %d", id++);
      if (entry.address.empty() || entry.address == kLoopback) continue;
      records_.push_back(completed(interface.text(IfInfo::kName), hardwareAddress, entry));
    }
  }

  std::vector<Ipv6AddressRecord> take() { return std::move(records_); }

 private:
  Ipv6AddressRecord completed(const std::string& interface, const std::string& hardwareAddress,
                              const IPv6_entry& entry) {
    const std::size_t slash = entry.address.find('/');
    const std::string address = entry.address.substr(0, slash);
    const std::string prefix =
        slash == std::string::npos ? std::string() : entry.address.substr(slash + 1);
    const HostName name = names_.ipv6NameOf(address);
    return {interface,        hardwareAddress,   address,      prefix,
            entry.scope,      *name.host,        *name.domain, gateways_.find(address, interface),
            servers_.primary, servers_.secondary};
  }

  HostNames names_;
  const NameServers servers_;
  const Ipv6GatewayFinder gateways_ = readIpv6Gateways();
  std::vector<Ipv6AddressRecord> records_;
};

std::vector<Ipv6AddressRecord> findRecords() {
  const Trace trace(getCcLogHw(), "findRecords()");
  if (useNativeSources()) {
    if (auto told = kernelIpv6Records()) return std::move(*told);
  }
  IfInfoList interfaces;
  populateIfInfoList(interfaces);
  NameServers servers = readNameServers();
  if (servers.isEmpty()) {
    trace.at().min("hardware WARNING! Failed parsing resolv.conf");
  } else {
    trace.at().max("hardware done parsing resolv.conf...");
  }
  Completion completion(std::move(servers));
  for (int i = 0; i < interfaces.getCount(); ++i) {
    trace.at().max("hardware Analyzing addressess on interface %d", i);
    completion.add(*interfaces.get(i));
  }
  return completion.take();
}

}  // namespace
}  // namespace invscan

using namespace invscan;

KelTable* Ipv6AddressGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  auto* table = new KelTable(getGroupId(), getGroupVersion());
  unsigned long index = 0;
  for (const Ipv6AddressRecord& record : findRecords()) {
    RowBuilder()
        .count(1, ++index)
        .text(2, record.address)
        .text(3, record.hostname)
        .text(4, record.domain)
        .text(5, record.prefixLength)
        .text(6, record.gateway)
        .text(7, record.primaryDns)
        .text(8, record.secondaryDns)
        .text(9, record.macAddress)
        .text(10, record.scope)
        .text(11, record.interfaceName)
        .addTo(*table);
  }
  return table;
}
