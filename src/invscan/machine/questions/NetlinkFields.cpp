#include "invscan/machine/questions/NetlinkFields.h"

#include <arpa/inet.h>
#include <linux/if_addr.h>
#include <linux/if_arp.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "common/net/NetlinkMessages.h"

namespace invscan {
namespace {

// Puts a message together.
class Message {
 public:
  template <class Record>
  Message(int type, const Record& record) {
    nlmsghdr header{};
    header.nlmsg_type = static_cast<__u16>(type);
    header.nlmsg_flags = NLM_F_MULTI;
    put(header);
    put(record);
  }

  void add(unsigned type, std::string_view value) {
    const std::size_t length = sizeof(nlattr) + value.size();
    put(nlattr{static_cast<__u16>(length), static_cast<__u16>(type)});
    bytes_ += value;
    bytes_.resize(NLMSG_ALIGN(bytes_.size()));
  }
  void add(unsigned type, unsigned number) {
    add(type, {reinterpret_cast<const char*>(&number), sizeof number});
  }

  std::string take() {
    const auto length = static_cast<__u32>(bytes_.size());
    bytes_.replace(0, sizeof length, reinterpret_cast<const char*>(&length), sizeof length);
    return std::move(bytes_);
  }

 private:
  template <class Record>
  void put(const Record& record) {
    bytes_.append(reinterpret_cast<const char*>(&record), sizeof record);
    bytes_.resize(NLMSG_ALIGN(bytes_.size()));
  }

  std::string bytes_;
};

// The fields of an object, none of which has to be there.
class Fields {
 public:
  explicit Fields(const CaptureValue& object) : object_(object) {}

  unsigned number(const char* name, unsigned otherwise, unsigned long most = UINT_MAX) const {
    const auto value = object_.find(name);
    return value ? static_cast<unsigned>(value->number(most)) : otherwise;
  }
  // With its NUL; attributes are shorter than 64 KiB.
  std::optional<std::string> text(const char* name) const {
    const auto value = object_.find(name);
    if (!value) return std::nullopt;
    std::string text = value->text();
    if (text.size() > 255) value->refuse("a text of at most 255 bytes");
    return text + '\0';
  }
  std::optional<std::string> hardwareAddress(const char* name) const {
    const auto value = object_.find(name);
    if (!value) return std::nullopt;
    std::string bytes, rest = value->text();
    for (std::string_view left = rest; !left.empty();) {
      const std::string_view pair = left.substr(0, left.find(':'));
      unsigned byte = 0;
      const auto [end, error] = std::from_chars(pair.begin(), pair.end(), byte, 16);
      if (pair.size() != 2 || error != std::errc() || end != pair.end()) {
        value->refuse("pairs of hexadecimal digits joined by ':'");
      }
      bytes += static_cast<char>(byte);
      left.remove_prefix(std::min(pair.size() + 1, left.size()));
    }
    if (bytes.size() > 32) value->refuse("at most 32 pairs");
    return bytes;
  }
  // The bytes of an address, whose size tells its family.
  std::optional<std::string> address(const char* name) const {
    const auto value = object_.find(name);
    if (!value) return std::nullopt;
    auto bytes = addressBytes(value->text());
    if (!bytes) value->refuse("an IPv4 or IPv6 address");
    return bytes;
  }

 private:
  const CaptureValue& object_;
};

unsigned char familyOf(const std::optional<std::string>& address) {
  return address && address->size() == sizeof(in_addr) ? AF_INET : AF_INET6;
}

std::string linkMessage(const CaptureValue& object) {
  object.checkNames(
      {"index", "label", "flags", "link_type", "kind", "mac", "permanent_mac", "master"});
  const Fields fields(object);
  ifinfomsg record{};
  record.ifi_index = static_cast<int>(fields.number("index", 0, INT_MAX));
  record.ifi_type = static_cast<unsigned short>(fields.number("link_type", ARPHRD_ETHER, 0xFFFF));
  record.ifi_flags = fields.number("flags", 0);
  Message message(RTM_NEWLINK, record);
  if (const auto label = fields.text("label")) message.add(IFLA_IFNAME, *label);
  if (const auto mac = fields.hardwareAddress("mac")) message.add(IFLA_ADDRESS, *mac);
  if (const auto mac = fields.hardwareAddress("permanent_mac")) {
    message.add(IFLA_PERM_ADDRESS, *mac);
  }
  if (const unsigned master = fields.number("master", 0)) message.add(IFLA_MASTER, master);
  if (const auto kind = fields.text("kind")) {
    std::string nested(sizeof(nlattr), '\0');
    const nlattr header{static_cast<__u16>(sizeof header + kind->size()), IFLA_INFO_KIND};
    std::memcpy(nested.data(), &header, sizeof header);
    message.add(IFLA_LINKINFO, nested + *kind);
  }
  return message.take();
}

std::string addressMessage(const CaptureValue& object) {
  object.checkNames({"index", "label", "address", "prefix", "peer", "flags"});
  const Fields fields(object);
  const auto address = fields.address("address"), peer = fields.address("peer");
  ifaddrmsg record{};
  record.ifa_family = familyOf(address);
  record.ifa_prefixlen = static_cast<unsigned char>(fields.number("prefix", 0, 255));
  record.ifa_flags = static_cast<unsigned char>(fields.number("flags", 0) & 0xFF);
  record.ifa_index = fields.number("index", 0, INT_MAX);
  // As the kernel does it: IPv4 addresses come twice, IPv6 addresses only with a peer and without a
  // label.
  Message message(RTM_NEWADDR, record);
  if (address || peer) message.add(IFA_ADDRESS, peer ? *peer : *address);
  if (address && (peer || record.ifa_family == AF_INET)) message.add(IFA_LOCAL, *address);
  const auto label = fields.text("label");
  if (label && record.ifa_family == AF_INET) message.add(IFA_LABEL, *label);
  return message.take();
}

std::string routeMessage(const CaptureValue& object) {
  object.checkNames({"destination", "prefix", "gateway", "index", "table"});
  const Fields fields(object);
  const auto destination = fields.address("destination"), gateway = fields.address("gateway");
  rtmsg record{};
  record.rtm_family = familyOf(gateway ? gateway : destination);
  record.rtm_dst_len = static_cast<unsigned char>(fields.number("prefix", 0, 255));
  record.rtm_type = RTN_UNICAST;
  Message message(RTM_NEWROUTE, record);
  message.add(RTA_TABLE, fields.number("table", RT_TABLE_MAIN));
  if (destination) message.add(RTA_DST, *destination);
  if (gateway) message.add(RTA_GATEWAY, *gateway);
  message.add(RTA_OIF, fields.number("index", 0, INT_MAX));
  return message.take();
}

}  // namespace

// Told apart by what only its kind has.
std::string netlinkMessage(const CaptureValue& object) {
  if (object.find("gateway") || object.find("destination")) return routeMessage(object);
  return object.find("address") ? addressMessage(object) : linkMessage(object);
}

std::string netlinkEnd() {
  return Message(NLMSG_DONE, 0).take();
}

}  // namespace invscan
