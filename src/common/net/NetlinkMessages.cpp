#include "common/net/NetlinkMessages.h"

#include <arpa/inet.h>
#include <linux/netlink.h>

#include <algorithm>

namespace invscan {
namespace {

// Takes a piece and its padding off the front.
std::string_view takePadded(std::string_view& rest, std::size_t length) {
  const std::string_view piece = rest.substr(0, length);
  rest.remove_prefix(std::min<std::size_t>(NLMSG_ALIGN(length), rest.size()));
  return piece;
}

std::optional<std::string> addressText(int family, std::string_view bytes, std::size_t size) {
  char text[INET6_ADDRSTRLEN];
  if (bytes.size() != size || !inet_ntop(family, bytes.data(), text, sizeof text)) {
    return std::nullopt;
  }
  return text;
}

}  // namespace

bool NetlinkMessages::next(NetlinkMessage& message) {
  const auto header = leadingRecord<nlmsghdr>(rest_);
  if (!header || header->nlmsg_len < sizeof *header || header->nlmsg_len > rest_.size()) {
    return false;
  }
  const std::string_view whole = takePadded(rest_, header->nlmsg_len);
  message = {header->nlmsg_type, header->nlmsg_flags, whole, whole.substr(sizeof *header)};
  return true;
}

NetlinkAttributes::NetlinkAttributes(const NetlinkMessage& message, std::size_t recordSize)
    : rest_(message.payload) {
  takePadded(rest_, recordSize);
}

bool NetlinkAttributes::next(NetlinkAttribute& attribute) {
  const auto header = leadingRecord<nlattr>(rest_);
  if (!header || header->nla_len < sizeof *header || header->nla_len > rest_.size()) return false;
  attribute = {static_cast<std::uint16_t>(header->nla_type & NLA_TYPE_MASK),
               takePadded(rest_, header->nla_len).substr(sizeof *header)};
  return true;
}

std::optional<std::string> terminatedText(std::string_view value) {
  const std::size_t end = value.find('\0');
  if (end == std::string_view::npos) return std::nullopt;
  return std::string(value.substr(0, end));
}

std::optional<std::string> ipv4Text(std::string_view bytes) {
  return addressText(AF_INET, bytes, sizeof(in_addr));
}

std::optional<std::string> ipv6Text(std::string_view bytes) {
  return addressText(AF_INET6, bytes, sizeof(in6_addr));
}

std::optional<std::string> addressBytes(const std::string& text) {
  char bytes[sizeof(in6_addr)];
  if (inet_pton(AF_INET, text.c_str(), bytes) == 1) return std::string(bytes, sizeof(in_addr));
  if (inet_pton(AF_INET6, text.c_str(), bytes) == 1) return std::string(bytes, sizeof bytes);
  return std::nullopt;
}

std::string maskText(unsigned prefixLength) {
  const std::uint64_t ones = 0xFFFFFFFF;
  const std::uint32_t mask =
      htonl(static_cast<std::uint32_t>(ones << (32 - std::min(prefixLength, 32U))));
  return *ipv4Text({reinterpret_cast<const char*>(&mask), sizeof mask});
}

std::string hardwareText(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (const char byte : bytes) {
    if (!text.empty()) text += ':';
    text += kDigits[static_cast<unsigned char>(byte) >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

}  // namespace invscan
