// The machine's addresses as the kernel tells them, completed by the rules that the classic sources
// have. No command is run.
#pragma once

#include <list>
#include <optional>
#include <string>
#include <vector>

#include <invscan/network.h>

namespace invscan {

// One IPv6 address of an interface. What is not known is empty.
struct Ipv6AddressRecord {
  std::string interfaceName;
  std::string macAddress;
  std::string address;
  std::string prefixLength;
  std::string scope;
  std::string hostname;
  std::string domain;
  std::string gateway;
  std::string primaryDns, secondaryDns;
};

// By interface index, those of one interface in the kernel's order; none when the kernel does not
// tell. Local IPv4 addresses and ::1 are left out.
std::optional<std::list<IpAddressEnumerator::IpAddressData>> kernelIpv4Records();
std::optional<std::vector<Ipv6AddressRecord>> kernelIpv6Records();

}  // namespace invscan
