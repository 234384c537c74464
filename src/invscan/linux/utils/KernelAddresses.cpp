#include "invscan/linux/utils/KernelAddresses.h"

#include <linux/rtnetlink.h>
#include <netinet/in.h>

#include <algorithm>
#include <map>
#include <unordered_map>
#include <utility>

#include "common/net/NetlinkMessages.h"
#include "common/text/Lines.h"
#include "invscan/linux/utils/Gateways.h"
#include "invscan/linux/utils/HostNames.h"
#include "invscan/linux/utils/KernelTables.h"
#include "invscan/linux/utils/NameLookups.h"
#include "invscan/linux/utils/ResolverNameServers.h"
#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

constexpr char kNoHardwareAddress[] = "00:00:00:00:00:00";
constexpr std::size_t kSixPairs = sizeof kNoHardwareAddress - 1;

using LinksByIndex = std::unordered_map<int, KernelLink>;

LinksByIndex byIndex(std::vector<KernelLink> links) {
  LinksByIndex all;
  for (KernelLink& link : links) all.emplace(link.index, std::move(link));
  return all;
}

std::string withPrefix(const KernelAddress& address) {
  return address.address + "/" + std::to_string(address.prefixLength);
}

// The last IPv6 address of each interface.
std::unordered_map<int, std::string> lastIpv6Addresses(
    const std::vector<KernelAddress>& addresses) {
  std::unordered_map<int, std::string> last;
  for (const KernelAddress& address : addresses) {
    if (address.family == AF_INET6) last[address.index] = withPrefix(address);
  }
  return last;
}

std::list<std::string> ipv4Gateways() {
  std::list<std::string> gateways;
  const auto routes = kernelRoutes(AF_INET);
  if (!routes) return gateways;
  for (const KernelRoute& route : *routes) {
    if (route.table != RT_TABLE_MAIN) continue;
    for (const KernelNextHop& hop : route.hops) {
      gateways.push_back(ipv4Text(hop.gateway).value_or(""));
    }
  }
  return gateways;
}

// Says to those who ask for explanations why an address has no gateway.
void noteNoGateway(const std::string& address, const char* reason) {
  noteAccess("gateway of " + address, reason, 0);
}

std::string ownHostName() {
  const auto kernel = machine().kernelIdentity();
  std::string_view name = kernel ? kernel->nodename : std::string_view();
  return std::string(nextField(name, " \t\n"));
}

// Completes IPv4 records. What is the same for all of them is asked once.
class Ipv4Completion {
 public:
  void complete(IpAddressEnumerator::IpAddressData& record) {
    if (const auto name = lookups_.find(record.address)) {
      record.hostname = name->substr(0, name->find('.'));
      record.domain = domainOf(*name);
    } else {
      record.hostname = ownName_;
    }
    if (record.domain.empty()) record.domain = servers_.domain;
    if (const std::string* gateway = gateways_.find(record.address, record.subnetMask)) {
      record.gateway = *gateway;
    } else {
      noteNoGateway(record.address, "no route has a gateway in the subnet of the address");
    }
    record.primaryDns = servers_.primary;
    record.secondaryDns = servers_.secondary;
  }

 private:
  NameLookups lookups_;
  GatewayFinder gateways_{ipv4Gateways()};
  const NameServers servers_ = resolverNameServers();
  const std::string ownName_ = ownHostName();
};

std::string ruleScope(const std::string& address) {
  std::string scope;
  getScope(scope, address.c_str());
  return scope;
}

// The rule knows the scope by the first digits; the kernel knows that of other addresses too, such
// as those that are unique to a site (fd00...).
std::string scopeOf(const KernelAddress& address) {
  const std::string scope = ruleScope(address.address);
  if (!scope.empty()) return scope;
  switch (address.scope) {
    case RT_SCOPE_UNIVERSE:
      return "global";
    case RT_SCOPE_SITE:
      return "site";
    case RT_SCOPE_LINK:
      return "link";
  }
  return "";
}

// Eight groups of four digits.
std::string uncompressed(const std::string& ipv6Bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < ipv6Bytes.size(); ++i) {
    if (i != 0 && i % 2 == 0) text += ':';
    text += kDigits[static_cast<unsigned char>(ipv6Bytes[i]) >> 4];
    text += kDigits[ipv6Bytes[i] & 0xF];
  }
  return text;
}

// The first next hop of each interface and scope.
class Ipv6Gateways {
 public:
  Ipv6Gateways() {
    const auto routes = kernelRoutes(AF_INET6);
    if (!routes) return;
    for (const KernelRoute& route : *routes) {
      for (const KernelNextHop& hop : route.hops) {
        if (hop.gateway == route.destination) continue;
        std::string gateway = uncompressed(hop.gateway);
        const std::string scope = ruleScope(gateway);
        gateways_.try_emplace({hop.index, scope}, std::move(gateway));
      }
    }
  }

  std::string find(const KernelAddress& address) const {
    const auto found = gateways_.find({address.index, ruleScope(address.address)});
    if (found != gateways_.end()) return found->second;
    noteNoGateway(address.address, "no route of the interface has a gateway in the same scope");
    return "";
  }

 private:
  std::map<std::pair<int, std::string>, std::string> gateways_;
};

}  // namespace

std::optional<std::list<IpAddressEnumerator::IpAddressData>> kernelIpv4Records() {
  const auto addresses = kernelAddresses();
  auto foundLinks = addresses ? kernelLinks() : std::nullopt;
  if (!foundLinks) return std::nullopt;
  const LinksByIndex links = byIndex(std::move(*foundLinks));
  const auto ipv6Addresses = lastIpv6Addresses(*addresses);

  std::list<IpAddressEnumerator::IpAddressData> records;
  std::optional<Ipv4Completion> completion;
  for (const KernelAddress& address : *addresses) {
    if (address.family != AF_INET || IpAddressEnumerator::isLocal(address.address.c_str()))
      continue;
    auto& record = records.emplace_back();
    record.interfaceName = address.label;
    record.address = address.address;
    record.subnetMask = maskText(address.prefixLength);
    const auto link = links.find(address.index);
    if (link != links.end()) record.macAddress = hardwareAddressOf(link->second);
    record.macAddress.resize(std::min(record.macAddress.size(), kSixPairs));
    if (record.macAddress.empty()) record.macAddress = kNoHardwareAddress;
    const auto ipv6Address = ipv6Addresses.find(address.index);
    if (ipv6Address != ipv6Addresses.end()) record.ipv6Address = ipv6Address->second;
    if (!completion) completion.emplace();
    completion->complete(record);
  }
  return records;
}

std::optional<std::vector<Ipv6AddressRecord>> kernelIpv6Records() {
  constexpr char kLoopback[] = "::1/128";
  const auto addresses = kernelAddresses();
  auto foundLinks = addresses ? kernelLinks() : std::nullopt;
  if (!foundLinks) return std::nullopt;
  const LinksByIndex links = byIndex(std::move(*foundLinks));

  std::vector<Ipv6AddressRecord> records;
  NameLookups lookups;
  std::optional<Ipv6Gateways> gateways;
  std::optional<NameServers> servers;
  for (const KernelAddress& address : *addresses) {
    if (address.family != AF_INET6 || withPrefix(address) == kLoopback) continue;
    if (!gateways) gateways.emplace();
    if (!servers) servers = resolverNameServers();
    Ipv6AddressRecord& record = records.emplace_back();
    const auto link = links.find(address.index);
    if (link != links.end()) {
      record.interfaceName = link->second.name;
      record.macAddress = hardwareAddressOf(link->second);
    }
    record.address = address.address;
    record.prefixLength = std::to_string(address.prefixLength);
    record.scope = scopeOf(address);
    record.gateway = gateways->find(address);
    record.primaryDns = servers->primary;
    record.secondaryDns = servers->secondary;
    if (const auto name = lookups.find(address.address)) {
      HostName parts = splitName(*name);
      record.hostname = parts.host.value_or("");
      record.domain = parts.domain.value_or("");
    }
  }
  return records;
}

}  // namespace invscan
