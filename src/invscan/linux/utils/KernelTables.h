// Links, addresses and routes as the kernel's routing socket tells them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/net/NetlinkMessages.h"

namespace invscan {

struct KernelLink {
  int index = 0;
  std::string name;
  unsigned type = 0;             // of its hardware, ARPHRD_...
  std::string kind;              // of a link that is made in software, such as "bridge"
  std::string hardwareAddress;   // bytes
  std::string permanentAddress;  // bytes; none where the hardware has none
  int master = 0;                // the link that this is a part of
};

struct KernelAddress {
  int index = 0;  // of its link
  int family = 0;
  unsigned prefixLength = 0;
  unsigned scope = 0;  // RT_SCOPE_...
  std::string address;
  std::string label;
};

struct KernelNextHop {
  int index = 0;        // of the link that leads there
  std::string gateway;  // bytes
};

// A route that leads to a gateway.
struct KernelRoute {
  std::string destination;  // bytes; all zero for a default route
  unsigned table = 0;
  std::vector<KernelNextHop> hops;
};

// What a message tells; none when it is of another type, or too short. Attributes of a wrong size
// are absent. An address without an address is none, nor is a route without a gateway.
std::optional<KernelLink> readLink(const NetlinkMessage& message);
std::optional<KernelAddress> readAddress(const NetlinkMessage& message);
std::optional<KernelRoute> readRoute(const NetlinkMessage& message);

// Those of the machine under scan, links and addresses by index of the link and otherwise in the
// kernel's order; none when the kernel does not tell.
std::optional<std::vector<KernelLink>> kernelLinks();
std::optional<std::vector<KernelAddress>> kernelAddresses();
std::optional<std::vector<KernelRoute>> kernelRoutes(int family);

// A link's hardware address as pairs joined by ':', empty when it has none: a loopback has zeros in
// its place, a tunnel one of its ends.
std::string hardwareAddressOf(const KernelLink& link);
std::string permanentAddressOf(const KernelLink& link);

}  // namespace invscan
