// What the enumerators of IPv4 addresses ask once for all addresses of an enumeration.
#pragma once

#include <list>
#include <optional>
#include <string>

#include <invscan/network.h>

#include "invscan/linux/utils/Gateways.h"
#include "invscan/linux/utils/HostNames.h"
#include "invscan/linux/utils/NameServers.h"

namespace invscan {

class AddressKnowledge {
 public:
  // Forgets what was asked before, but not a routing table that has gateways.
  void beginEnumeration();
  void forgetTableWithoutGateways();

  HostNames& names() { return *names_; }

  // The first gateway in the subnet of an address; null when there is none. A routing table that
  // has no gateway counts as known, too.
  const std::string* gatewayOf(const std::string& address, const std::string& mask);

  // Fills in what depends on address and mask alone: gateway, name servers, the domain where the
  // name has none, and the IPv6 address of the interface.
  void complete(IpAddressEnumerator::IpAddressData& record);

 private:
  const NameServers& nameServers();
  IfInfoList& interfaces();

  std::optional<HostNames> names_{std::in_place};
  std::optional<GatewayFinder> gateways_;
  std::optional<NameServers> nameServers_;
  std::optional<IfInfoList> interfaces_;
};

}  // namespace invscan
