// Views over what a routing netlink socket gives: messages of a datagram, attributes of a message.
// Every length in them is checked against the bytes that are there, so no reader has to.
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace invscan {

struct NetlinkMessage {
  std::uint16_t type = 0;
  std::uint16_t flags = 0;
  std::string_view whole;    // with its header, without padding
  std::string_view payload;  // behind the header
};

// Goes through the messages of a datagram. One that is shorter than its header or longer than what
// is left ends the walk.
class NetlinkMessages {
 public:
  explicit NetlinkMessages(std::string_view datagram) : rest_(datagram) {}

  bool next(NetlinkMessage& message);

 private:
  std::string_view rest_;
};

struct NetlinkAttribute {
  std::uint16_t type = 0;  // without the flags for nesting and byte order
  std::string_view value;
};

// Goes through attributes, also nested ones: those of an attribute's value. One that is shorter
// than its header or longer than what is left ends the walk.
class NetlinkAttributes {
 public:
  explicit NetlinkAttributes(std::string_view attributes) : rest_(attributes) {}
  // Those of a message whose payload begins with a record of that size; none when it is shorter.
  NetlinkAttributes(const NetlinkMessage& message, std::size_t recordSize);

  bool next(NetlinkAttribute& attribute);

 private:
  std::string_view rest_;
};

// The record at the front of some bytes; none when they are fewer.
template <class Record>
std::optional<Record> leadingRecord(std::string_view bytes) {
  Record record;
  if (bytes.size() < sizeof record) return std::nullopt;
  std::memcpy(&record, bytes.data(), sizeof record);
  return record;
}

// An attribute's text up to its terminator; none when it has no terminator.
std::optional<std::string> terminatedText(std::string_view value);

// An IPv4 address as a dotted quad, an IPv6 address as the standard prints it; none when the bytes
// are not 4, or 16.
std::optional<std::string> ipv4Text(std::string_view bytes);
std::optional<std::string> ipv6Text(std::string_view bytes);

// The bytes of an IPv4 or IPv6 address, 4 or 16; none when the text is neither.
std::optional<std::string> addressBytes(const std::string& text);

// The mask of a prefix length as a dotted quad; 32 for any that is longer.
std::string maskText(unsigned prefixLength);

// Bytes as upper-case pairs joined by ':', as many as there are.
std::string hardwareText(std::string_view bytes);

}  // namespace invscan
