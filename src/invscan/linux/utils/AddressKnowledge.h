// What the enumerators of IPv4 addresses ask once for all addresses.
#pragma once

#include <list>
#include <optional>
#include <string>

#include <invscan/network.h>

#include "invscan/linux/utils/Gateways.h"
#include "invscan/linux/utils/HostNames.h"
#include "invscan/linux/utils/NameServers.h"

class IpAddressEnumerator::Knowledge {
 public:
  invscan::HostNames& names() { return names_; }

  // Of the machine's routing table, which counts as known also when it has none.
  invscan::GatewayFinder& gateways();

  // Fills in what depends on address and mask alone: gateway, name servers, the domain where the
  // name has none, and the IPv6 address of the interface.
  void complete(IpAddressData& record);

 private:
  const invscan::NameServers& nameServers();
  IfInfoList& interfaces();

  invscan::HostNames names_;
  std::optional<invscan::GatewayFinder> gateways_;
  std::optional<invscan::NameServers> nameServers_;
  std::optional<IfInfoList> interfaces_;
};
