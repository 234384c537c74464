// Host name and domain of addresses. See IpAddressEnumerator in <invscan/network.h>.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "invscan/linux/utils/NameLookups.h"

namespace invscan {

// What is not told stays as it was.
struct HostName {
  std::optional<std::string> host;
  std::optional<std::string> domain;
};

// A name up to its first '.' and, as it stands, what follows that.
HostName splitName(std::string_view name);

// What follows the first '.' of a name, without white space and root dot at its end.
std::string domainOf(std::string_view name);

// The first domain in what nslookup printed; empty when it printed none.
std::string parseLookup(std::string_view printed);

// The names of a machine's IPv4 addresses, each looked up once. Where nothing is found the host's
// own name is taken.
class HostNames {
 public:
  // Of an IPv4 address: with a clean domain, that of nslookup when the look-up gives a name without
  // one. The host's own name when the look-up finds nothing.
  const HostName& nameOf(const std::string& address);

  // The same with the domain as the look-up gives it.
  HostName plainNameOf(const std::string& address);

  // Of an IPv6 address, with the domain as the look-up gives it; both empty when it finds nothing.
  HostName ipv6NameOf(const std::string& address);

 private:
  HostName findName(const std::string& address);
  const HostName& ownName();

  NameLookups lookups_;

  std::unordered_map<std::string, HostName> names_;
  std::optional<HostName> ownName_;
};

}  // namespace invscan
