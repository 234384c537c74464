// Routing tables, and which gateway an address has. See <invscan/network.h>.
#pragma once

#include <array>
#include <list>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace invscan {

// The gateways of a table that "netstat -nr" printed, in its order and with its repetitions.
std::list<std::string> parseGateways(std::string_view printed);

// Finds the gateway of an address in the time of a look-up, however many gateways and addresses
// there are: for each mask that is asked for the gateways are sorted into subnets once.
class GatewayFinder {
 public:
  explicit GatewayFinder(const std::list<std::string>& gateways);
  GatewayFinder(const GatewayFinder&) = delete;
  GatewayFinder& operator=(const GatewayFinder&) = delete;

  // The first in the subnet of an address other than that itself; null when there is none.
  const std::string* find(const std::string& address, const std::string& mask);

  // Of all that it was made with, also of those that are no addresses.
  std::size_t getCount() const { return count_; }

 private:
  using Quad = std::array<int, 4>;
  struct Gateway {
    std::string text;
    Quad numbers;
  };
  // The first gateway of a subnet and the first that differs from it, for which may be asked when
  // the first is the address itself.
  struct Subnet {
    const std::string* first = nullptr;
    const std::string* second = nullptr;
  };
  using Subnets = std::map<Quad, Subnet>;

  const Subnets& subnetsOf(const Quad& mask);

  std::size_t count_;
  std::vector<Gateway> gateways_;  // those that are four numbers
  std::map<Quad, Subnets> subnetsByMask_;
};

// Finds the next hop of an interface in a scope.
class Ipv6GatewayFinder {
 public:
  // Of a table in the form of /proc/net/ipv6_route.
  explicit Ipv6GatewayFinder(std::string_view routes);

  // Eight groups of four digits; empty when there is none.
  std::string find(const std::string& address, const std::string& interface) const;

 private:
  std::unordered_map<std::string, std::string> byScopeAndInterface_;
};

// Of the machine's /proc/net/ipv6_route.
Ipv6GatewayFinder readIpv6Gateways();

}  // namespace invscan
