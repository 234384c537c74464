// Addresses in place of addresses.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/redact/Redactor.h"

namespace invscan::agent {

// In network order: 4 bytes are an IPv4 address, 16 an IPv6 address, any other six to 32 that of
// hardware.
class Address {
 public:
  // None for another number of bytes.
  static std::optional<Address> ofBytes(std::string_view bytes);

  // What a whole text spells: a dotted quad, an IPv6 address, or six to 32 pairs of digits
  // joined by ':' or '-'; the leading zeros of six may be missing. None when it is none of these.
  static std::optional<Address> spelled(const std::string& text);

  // An IPv6 address in 32 digits.
  static std::optional<Address> inDigits(std::string_view text);

  const std::string& bytes() const { return bytes_; }

  // Whether it belongs to somebody: not to every machine, as masks and loopback do, nor to none.
  bool tells() const;

  // Another one of its kind, the same for the same key. Two that agree in their first bits do so
  // afterwards, so that gateways stay in the subnets of addresses. Global IPv6 addresses come to
  // lie in 3fff::/20, hardware addresses below 02:, neither of which is anybody's; other IPv6
  // addresses keep what their scope is told by. IPv4 has no room for that.
  Address substitute(const Redactor& redactor) const;

  // Written in the way of that text.
  std::string spelledLike(std::string_view text) const;

  // The ways in which an address of Ethernet is written beside pairs joined by ':', in lower case,
  // and the identifiers that IPv6 makes of it; none for other addresses.
  std::vector<std::string> otherSpellings() const;

 private:
  explicit Address(std::string_view bytes) : bytes_(bytes) {}
  bool isIpv4() const;
  bool isIpv6() const;
  std::string digits() const;

  std::string bytes_;
};

}  // namespace invscan::agent
