#include "invscan/linux/utils/KernelTables.h"

#include <arpa/inet.h>
#include <linux/if_addr.h>
#include <linux/if_arp.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <utility>

#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

constexpr std::size_t kLeastHardwareAddress = 6, kMostHardwareAddress = 32;

template <class Number>
void takeNumber(std::string_view value, Number& number) {
  const auto found = leadingRecord<Number>(value);
  if (found && value.size() == sizeof(Number)) number = *found;
}

void takeText(std::string_view value, std::string& text) {
  if (auto found = terminatedText(value)) text = std::move(*found);
}

void takeHardwareAddress(std::string_view value, std::string& address) {
  if (value.size() >= kLeastHardwareAddress && value.size() <= kMostHardwareAddress) {
    address = value;
  }
}

std::size_t addressSize(int family) {
  return family == AF_INET ? sizeof(in_addr) : family == AF_INET6 ? sizeof(in6_addr) : 0;
}

void takeAddress(int family, std::string_view value, std::string& address) {
  if (value.size() == addressSize(family)) address = value;
}

std::string kindOf(std::string_view linkInformation) {
  std::string kind;
  NetlinkAttribute attribute;
  for (NetlinkAttributes all(linkInformation); all.next(attribute);) {
    if (attribute.type == IFLA_INFO_KIND) takeText(attribute.value, kind);
  }
  return kind;
}

void addHop(KernelRoute& route, KernelNextHop hop) {
  const bool leadsOn = hop.gateway.find_first_not_of('\0') != std::string::npos;
  if (leadsOn) route.hops.push_back(std::move(hop));
}

// Several gateways of one route, each a record with attributes behind it.
void takeHops(int family, std::string_view rest, KernelRoute& route) {
  while (const auto record = leadingRecord<rtnexthop>(rest)) {
    const std::size_t length = record->rtnh_len;
    if (length < sizeof *record || length > rest.size()) return;
    KernelNextHop hop{record->rtnh_ifindex, {}};
    NetlinkAttribute attribute;
    for (NetlinkAttributes all(rest.substr(sizeof *record, length - sizeof *record));
         all.next(attribute);) {
      if (attribute.type == RTA_GATEWAY) takeAddress(family, attribute.value, hop.gateway);
    }
    addHop(route, std::move(hop));
    rest.remove_prefix(std::min<std::size_t>(RTNH_ALIGN(length), rest.size()));
  }
}

std::string addressText(int family, const std::string& bytes) {
  const auto text = family == AF_INET ? ipv4Text(bytes) : ipv6Text(bytes);
  return text.value_or("");
}

template <class Record>
std::optional<std::vector<Record>> readDump(int requestType, int family,
                                            std::optional<Record> (*parse)(const NetlinkMessage&)) {
  const NetlinkDump dump = machine().netlinkDump(requestType, family);
  if (dump.failure != NetlinkFailure::None) return std::nullopt;
  std::vector<Record> records;
  for (const std::string& datagram : dump.datagrams) {
    NetlinkMessage message;
    for (NetlinkMessages messages(datagram); messages.next(message);) {
      if (auto record = parse(message)) records.push_back(std::move(*record));
    }
  }
  return records;
}

template <class Record>
void sortByIndex(std::optional<std::vector<Record>>& records) {
  if (!records) return;
  std::stable_sort(records->begin(), records->end(),
                   [](const Record& a, const Record& b) { return a.index < b.index; });
}

bool hasHardwareAddress(const KernelLink& link) {
  constexpr unsigned kWithout[] = {ARPHRD_LOOPBACK, ARPHRD_TUNNEL, ARPHRD_TUNNEL6, ARPHRD_SIT,
                                   ARPHRD_IPGRE,    ARPHRD_IP6GRE, ARPHRD_NONE,    ARPHRD_PPP};
  return std::find(std::begin(kWithout), std::end(kWithout), link.type) == std::end(kWithout);
}

}  // namespace

std::optional<KernelLink> readLink(const NetlinkMessage& message) {
  const auto record = leadingRecord<ifinfomsg>(message.payload);
  if (message.type != RTM_NEWLINK || !record) return std::nullopt;
  KernelLink link;
  link.index = record->ifi_index;
  link.type = record->ifi_type;
  NetlinkAttribute attribute;
  for (NetlinkAttributes all(message, sizeof *record); all.next(attribute);) {
    const std::string_view value = attribute.value;
    switch (attribute.type) {
      case IFLA_IFNAME:
        takeText(value, link.name);
        break;
      case IFLA_ADDRESS:
        takeHardwareAddress(value, link.hardwareAddress);
        break;
      case IFLA_PERM_ADDRESS:
        takeHardwareAddress(value, link.permanentAddress);
        break;
      case IFLA_MASTER:
        takeNumber(value, link.master);
        break;
      case IFLA_LINKINFO:
        link.kind = kindOf(value);
        break;
    }
  }
  return link;
}

std::optional<KernelAddress> readAddress(const NetlinkMessage& message) {
  const auto record = leadingRecord<ifaddrmsg>(message.payload);
  if (message.type != RTM_NEWADDR || !record || addressSize(record->ifa_family) == 0) {
    return std::nullopt;
  }
  KernelAddress address;
  address.index = static_cast<int>(record->ifa_index);
  address.family = record->ifa_family;
  address.prefixLength = record->ifa_prefixlen;
  address.scope = record->ifa_scope;
  // With a peer, IFA_ADDRESS is the peer's.
  std::string own, ownOrPeers;
  NetlinkAttribute attribute;
  for (NetlinkAttributes all(message, sizeof *record); all.next(attribute);) {
    if (attribute.type == IFA_LOCAL) takeAddress(address.family, attribute.value, own);
    if (attribute.type == IFA_ADDRESS) takeAddress(address.family, attribute.value, ownOrPeers);
    if (attribute.type == IFA_LABEL) takeText(attribute.value, address.label);
  }
  if (own.empty() && address.family == AF_INET6) own = ownOrPeers;
  if (own.empty()) return std::nullopt;
  address.address = addressText(address.family, own);
  return address;
}

std::optional<KernelRoute> readRoute(const NetlinkMessage& message) {
  const auto record = leadingRecord<rtmsg>(message.payload);
  const bool isRoute = message.type == RTM_NEWROUTE && record && record->rtm_type == RTN_UNICAST &&
                       (record->rtm_flags & RTM_F_CLONED) == 0;
  if (!isRoute || addressSize(record->rtm_family) == 0) return std::nullopt;
  const int family = record->rtm_family;
  KernelRoute route{std::string(addressSize(family), '\0'), record->rtm_table, {}};
  KernelNextHop hop;
  NetlinkAttribute attribute;
  for (NetlinkAttributes all(message, sizeof *record); all.next(attribute);) {
    const std::string_view value = attribute.value;
    switch (attribute.type) {
      case RTA_DST:
        takeAddress(family, value, route.destination);
        break;
      case RTA_GATEWAY:
        takeAddress(family, value, hop.gateway);
        break;
      case RTA_OIF:
        takeNumber(value, hop.index);
        break;
      case RTA_TABLE:
        takeNumber(value, route.table);
        break;
      case RTA_MULTIPATH:
        takeHops(family, value, route);
        break;
    }
  }
  addHop(route, std::move(hop));
  if (route.hops.empty()) return std::nullopt;
  return route;
}

// One dump has the addresses of every family, and is the one that the classic source asks for: a
// capture serves both.
std::optional<std::vector<KernelLink>> kernelLinks() {
  auto links = readDump(RTM_GETLINK, AF_PACKET, readLink);
  sortByIndex(links);
  return links;
}

std::optional<std::vector<KernelAddress>> kernelAddresses() {
  auto addresses = readDump(RTM_GETADDR, AF_PACKET, readAddress);
  sortByIndex(addresses);
  return addresses;
}

std::optional<std::vector<KernelRoute>> kernelRoutes(int family) {
  auto routes = readDump(RTM_GETROUTE, family, readRoute);
  // An answer may hold more than was asked for.
  if (routes) {
    std::erase_if(*routes, [size = addressSize(family)](const KernelRoute& route) {
      return route.destination.size() != size;
    });
  }
  return routes;
}

std::string hardwareAddressOf(const KernelLink& link) {
  return hasHardwareAddress(link) ? hardwareText(link.hardwareAddress) : std::string();
}

std::string permanentAddressOf(const KernelLink& link) {
  return hasHardwareAddress(link) ? hardwareText(link.permanentAddress) : std::string();
}

}  // namespace invscan
