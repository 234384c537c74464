#include "agent/redact/NetlinkRedaction.h"

#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <optional>
#include <span>

#include "common/net/NetlinkMessages.h"

namespace invscan::agent {
namespace {

// What becomes of an attribute.
enum class Content { Byte, Word, Address, Text, LinkInformation, Hops };

struct Known {
  unsigned type;
  Content content;
};

constexpr Known kOfLinks[] = {
    {IFLA_IFNAME, Content::Text},
    {IFLA_ADDRESS, Content::Address},
    {IFLA_BROADCAST, Content::Address},
    {IFLA_PERM_ADDRESS, Content::Address},
    {IFLA_MTU, Content::Word},
    {IFLA_LINK, Content::Word},
    {IFLA_MASTER, Content::Word},
    {IFLA_TXQLEN, Content::Word},
    {IFLA_GROUP, Content::Word},
    {IFLA_OPERSTATE, Content::Byte},
    {IFLA_LINKMODE, Content::Byte},
    {IFLA_CARRIER, Content::Byte},
    {IFLA_LINKINFO, Content::LinkInformation},
};
constexpr Known kOfLinkInformation[] = {{IFLA_INFO_KIND, Content::Text}};
constexpr Known kOfAddresses[] = {
    {IFA_ADDRESS, Content::Address},   {IFA_LOCAL, Content::Address},
    {IFA_BROADCAST, Content::Address}, {IFA_LABEL, Content::Text},
    {IFA_FLAGS, Content::Word},        {IFA_PROTO, Content::Byte},
};
constexpr Known kOfRoutes[] = {
    {RTA_DST, Content::Address},     {RTA_GATEWAY, Content::Address},
    {RTA_PREFSRC, Content::Address}, {RTA_OIF, Content::Word},
    {RTA_TABLE, Content::Word},      {RTA_PRIORITY, Content::Word},
    {RTA_MULTIPATH, Content::Hops},  {RTA_PREF, Content::Byte},
};
constexpr Known kOfHops[] = {{RTA_GATEWAY, Content::Address}};

// A message by its type: the record at its front, and what may follow.
constexpr struct {
  int type;
  std::size_t recordSize;
  std::span<const Known> attributes;
} kMessages[] = {
    {RTM_NEWLINK, sizeof(ifinfomsg), kOfLinks},
    {RTM_NEWADDR, sizeof(ifaddrmsg), kOfAddresses},
    {RTM_NEWROUTE, sizeof(rtmsg), kOfRoutes},
    {NLMSG_DONE, sizeof(int), {}},
    {NLMSG_ERROR, sizeof(int), {}},
};

constexpr std::size_t kLongestValue = 0xFFFF - sizeof(nlattr);

template <class Record>
void append(std::string& bytes, const Record& record) {
  bytes.append(reinterpret_cast<const char*>(&record), sizeof record);
}

void pad(std::string& bytes) {
  bytes.resize(NLMSG_ALIGN(bytes.size()), '\0');
}

class Writer {
 public:
  explicit Writer(Replacements& replacements) : replacements_(replacements) {}

  std::string attributes(NetlinkAttributes all, std::span<const Known> known) {
    std::string result;
    for (NetlinkAttribute attribute; all.next(attribute);) {
      for (const auto& [type, content] : known) {
        const auto value =
            type == attribute.type ? redacted(attribute.value, content) : std::nullopt;
        if (!value || value->size() > kLongestValue) continue;
        append(result, nlattr{static_cast<__u16>(sizeof(nlattr) + value->size()), attribute.type});
        result += *value;
        pad(result);
      }
    }
    return result;
  }

 private:
  // None for what is not of the size that it must have.
  std::optional<std::string> redacted(std::string_view value, Content content) {
    switch (content) {
      case Content::Byte:
        return value.size() == 1 ? std::optional<std::string>(value) : std::nullopt;
      case Content::Word:
        return value.size() == 4 ? std::optional<std::string>(value) : std::nullopt;
      case Content::Address:
        return replacements_.inAddress(value);
      case Content::Text:
        return text(value);
      case Content::LinkInformation:
        return attributes(NetlinkAttributes(value), kOfLinkInformation);
      case Content::Hops:
        return hops(value);
    }
    return std::nullopt;
  }

  std::optional<std::string> text(std::string_view value) {
    constexpr std::size_t kLongest = 255;
    const auto found = terminatedText(value);
    if (!found) return std::nullopt;
    return replacements_.inText(*found).substr(0, kLongest) + '\0';
  }

  std::string hops(std::string_view rest) {
    std::string result;
    while (auto hop = leadingRecord<rtnexthop>(rest)) {
      const std::size_t length = hop->rtnh_len;
      if (length < sizeof *hop || length > rest.size()) break;
      const std::string own =
          attributes(NetlinkAttributes(rest.substr(sizeof *hop, length - sizeof *hop)), kOfHops);
      hop->rtnh_len = static_cast<unsigned short>(sizeof *hop + own.size());
      append(result, *hop);
      result += own;
      rest.remove_prefix(std::min<std::size_t>(RTNH_ALIGN(length), rest.size()));
    }
    return result;
  }

  Replacements& replacements_;
};

}  // namespace

std::string redactDatagram(std::string_view datagram, Replacements& replacements) {
  std::string result;
  NetlinkMessage message;
  for (NetlinkMessages messages(datagram); messages.next(message);) {
    for (const auto& [type, recordSize, known] : kMessages) {
      if (message.type != type || message.payload.size() < recordSize) continue;
      std::string payload(message.payload.substr(0, recordSize));
      pad(payload);
      payload += Writer(replacements).attributes(NetlinkAttributes(message, recordSize), known);
      nlmsghdr header{};
      header.nlmsg_len = static_cast<__u32>(sizeof header + payload.size());
      header.nlmsg_type = message.type;
      header.nlmsg_flags = message.flags;
      append(result, header);
      result += payload;
    }
  }
  return result;
}

void learnDatagram(std::string_view datagram, Replacements& replacements) {
  NetlinkMessage message;
  for (NetlinkMessages messages(datagram); messages.next(message);) {
    for (const auto& [type, recordSize, known] : kMessages) {
      if (message.type != type) continue;
      NetlinkAttributes all(message, recordSize);
      for (NetlinkAttribute attribute; all.next(attribute);) {
        const bool isAddress = std::any_of(known.begin(), known.end(), [&](const Known& each) {
          return each.type == attribute.type && each.content == Content::Address;
        });
        if (isAddress) replacements.addAddress(attribute.value);
      }
    }
  }
}

}  // namespace invscan::agent
