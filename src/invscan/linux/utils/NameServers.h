// What a resolv.conf says. See getNameservers() in <invscan/network.h>.
#pragma once

#include <string>
#include <string_view>

namespace invscan {

struct NameServers {
  std::string primary, secondary;
  std::string domain;

  bool isEmpty() const { return primary.empty() && domain.empty(); }
};

// The first two "nameserver" and the first "domain", each at most 127 bytes; others are ignored,
// also "search".
NameServers parseNameServers(std::string_view resolvConf);

// Those of the machine's /etc/resolv.conf; none when it cannot be read.
NameServers readNameServers();

}  // namespace invscan
