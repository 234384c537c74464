#include "invscan/linux/utils/ResolverNameServers.h"

#include <utility>

#include "invscan/machine/Machine.h"

namespace invscan {

NameServers resolverNameServers() {
  NameServers servers = readNameServers();
  const bool isLocal = servers.primary == "127.0.0.53" || servers.primary == "127.0.0.54";
  if (!isLocal) return servers;
  const FileText file = machine().readFile("/run/systemd/resolve/resolv.conf");
  NameServers asked = parseNameServers(file.text);
  if (asked.primary.empty()) return servers;
  servers.primary = std::move(asked.primary);
  servers.secondary = std::move(asked.secondary);
  return servers;
}

}  // namespace invscan
