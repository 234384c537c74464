// The name servers that names are really asked of.
#pragma once

#include "invscan/linux/utils/NameServers.h"

namespace invscan {

// Those of /etc/resolv.conf; where that names systemd's local resolver, those which this asks.
NameServers resolverNameServers();

}  // namespace invscan
