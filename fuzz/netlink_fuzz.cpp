// Hostile datagrams of the routing socket: through the messages' readers, the enumerator's
// callbacks, and as what the kernel answers to every dump that the native collectors ask for.
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <invscan/base/OrvCfg.h>
#include <invscan/network.h>

#include "../tests/TestMachine.h"
#include "FuzzTarget.h"
#include "agent/redact/NetlinkRedaction.h"
#include "agent/redact/Redactor.h"
#include "invscan/linux/utils/KernelAdapters.h"
#include "invscan/linux/utils/KernelAddresses.h"
#include "invscan/linux/utils/KernelTables.h"

namespace {

using namespace invscan;

// Whether the message walk stays inside, moves on, and hands out views of the datagram. The number
// of links, addresses and routes in it.
std::size_t checkWalk(std::string_view datagram) {
  std::size_t last = 0, known = 0;
  NetlinkMessage message;
  for (NetlinkMessages messages(datagram); messages.next(message);) {
    const auto begin = static_cast<std::size_t>(message.whole.data() - datagram.data());
    require(begin >= last && begin + message.whole.size() <= datagram.size());
    last = begin + message.whole.size();
    if (const auto link = readLink(message)) {
      ++known;
      require(link->hardwareAddress.empty() || link->hardwareAddress.size() >= 6);
      require(link->name.find('\0') == link->name.npos);
    }
    if (const auto address = readAddress(message)) {
      ++known;
      require(!address->address.empty() && address->label.find('\0') == address->label.npos);
    }
    if (const auto route = readRoute(message)) {
      ++known;
      for (const KernelNextHop& hop : route->hops) {
        require(hop.gateway.size() == route->destination.size());
      }
    }
  }
  return known;
}

void checkCallbacks(std::string datagram) {
  NetlinkIpAddressEnumerator::Records records;
  for (const auto callback :
       {NetlinkIpAddressEnumerator::r_processIPs, NetlinkIpAddressEnumerator::r_processMACs}) {
    NetlinkIpAddressEnumerator::processResponse(datagram.data(), datagram.size(), records,
                                                callback);
  }
  for (const auto& [index, record] : records) {
    require(record.macAddress.empty() || record.macAddress.size() == 17);
  }
}

// A redacted datagram tells as much.
void checkRedaction(const std::string& datagram, std::size_t known) {
  static const agent::Redactor redactor = [] {
    OrvCfg::setKey("agent.redact_key", "k");
    return agent::Redactor();
  }();
  agent::Replacements replacements({}, redactor);
  require(checkWalk(agent::redactDatagram(datagram, replacements)) == known);
}

// Every dump is this datagram.
PlainFacts dumpsOf(std::string_view datagram) {
  PlainFacts dumps;
  for (const auto& [type, family] : {std::pair(RTM_GETLINK, AF_PACKET),
                                     {RTM_GETADDR, AF_PACKET},
                                     {RTM_GETROUTE, AF_INET},
                                     {RTM_GETROUTE, AF_INET6}}) {
    const NetlinkDump dump{NetlinkFailure::None, 0, {std::string(datagram)}};
    dumps.add(answered<NetlinkQuestion>(dump, {type, family}));
  }
  return dumps;
}

}  // namespace

void invscan::tryInput(std::string_view datagram) {
  checkCallbacks(std::string(datagram));
  checkRedaction(std::string(datagram), checkWalk(datagram));
  const OnMachine scanned({.plain = dumpsOf(datagram)}, "native");
  const auto ipv4 = kernelIpv4Records();
  for (const auto& record : ipv4.value()) {
    require(!record.address.empty() && !record.address.starts_with("127.0.0."));
    require(record.macAddress.size() == 17);
  }
  const auto ipv6 = kernelIpv6Records();
  for (const auto& record : ipv6.value()) {
    require(record.gateway.empty() || record.gateway.size() == 39);
  }
  const auto adapters = kernelAdapters();
  for (const Adapter& adapter : adapters.value()) require(adapter.type >= 2);
}
