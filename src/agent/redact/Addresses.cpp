#include "agent/redact/Addresses.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

#include "base/Hex.h"
#include "common/net/NetlinkMessages.h"

namespace invscan::agent {
namespace {

constexpr std::size_t kLeastHardwareAddress = 6, kMostHardwareAddress = 32;
constexpr std::size_t kIpv6Digits = 2 * sizeof(in6_addr);
constexpr std::size_t kIpv6Groups = 8;

const unsigned char* unsignedBytes(const std::string& bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

bool isDigit(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

// The bytes of pairs of digits, one behind the other; empty for anything else.
std::string bytesOfPairs(std::string_view text) {
  if (text.size() % 2 != 0 || !std::all_of(text.begin(), text.end(), isDigit)) return "";
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    bytes += static_cast<char>(std::strtoul(std::string(text.substr(i, 2)).c_str(), nullptr, 16));
  }
  return bytes;
}

// The same with a mark between two. In the addresses of Ethernet old commands leave out a leading
// zero.
std::string bytesOfMarkedPairs(std::string_view text, char mark) {
  const auto count = static_cast<std::size_t>(std::count(text.begin(), text.end(), mark)) + 1;
  std::string digits;
  for (std::size_t i = 0; i < count; ++i) {
    const std::string_view pair = text.substr(0, text.find(mark));
    const bool isShort = pair.size() == 1 && count == kLeastHardwareAddress;
    if (pair.size() != 2 && !isShort) return "";
    if (isShort) digits += '0';
    digits += pair;
    text.remove_prefix(std::min(pair.size() + 1, text.size()));
  }
  return bytesOfPairs(digits);
}

// Digits in groups of that many, with that between two.
std::string inGroups(const std::string& digits, std::size_t size, std::string_view mark) {
  std::string text = digits.substr(0, size);
  for (std::size_t i = size; i < digits.size(); i += size) {
    text += mark;
    text += digits.substr(i, size);
  }
  return text;
}

// Digits with the marks of a text that has groups of 2 or 4 of them, or one of two where a
// leading zero is missing.
std::string inGroupsOf(std::string_view text, std::string_view digits) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = std::min(text.find_first_of(":-."), text.size());
    const std::size_t whole = std::min(std::max<std::size_t>(length, 2), digits.size());
    result += digits.substr(whole - std::min(length, whole), std::min(length, whole));
    digits.remove_prefix(whole);
    text.remove_prefix(length);
    if (text.empty()) break;
    result += text.front();
    text.remove_prefix(1);
  }
  return result;
}

// Turns each bit around or not, as the key and the bits before it say: the digest of the bytes
// before one has a bit for each way through the eight of this one.
std::string mixed(const std::string& bytes, std::string_view kind, const Redactor& redactor) {
  std::string result;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const std::string noise = redactor.noise(std::string(kind) + bytes.substr(0, i));
    unsigned way = 1, byte = 0;
    for (int bit = 7; bit >= 0; --bit) {
      const unsigned own = unsignedBytes(bytes)[i] >> bit & 1;
      const unsigned turn = unsignedBytes(noise)[way / 8] >> way % 8 & 1;
      byte = 2 * byte + (own ^ turn);
      way = 2 * way + own;
    }
    result += static_cast<char>(byte);
  }
  return result;
}

void setBits(char& byte, unsigned mask, unsigned bits) {
  byte = static_cast<char>((static_cast<unsigned char>(byte) & ~mask) | bits);
}

}  // namespace

std::optional<Address> Address::ofBytes(std::string_view bytes) {
  const bool mayBeHardware =
      bytes.size() >= kLeastHardwareAddress && bytes.size() <= kMostHardwareAddress;
  if (bytes.size() != sizeof(in_addr) && !mayBeHardware) return std::nullopt;
  return Address(bytes);
}

std::optional<Address> Address::spelled(const std::string& text) {
  if (text.size() >= 3 * kMostHardwareAddress) return std::nullopt;
  for (const char mark : {':', '-'}) {
    const std::string pairs = bytesOfMarkedPairs(text, mark);
    if (pairs.size() >= kLeastHardwareAddress) return Address(pairs);
  }
  const auto bytes = addressBytes(text);
  return bytes ? std::optional(Address(*bytes)) : std::nullopt;
}

std::optional<Address> Address::inDigits(std::string_view text) {
  const std::string bytes = bytesOfPairs(text);
  if (bytes.size() != sizeof(in6_addr)) return std::nullopt;
  return Address(bytes);
}

bool Address::isIpv4() const {
  return bytes_.size() == sizeof(in_addr);
}

bool Address::isIpv6() const {
  return bytes_.size() == sizeof(in6_addr);
}

bool Address::tells() const {
  const unsigned first = unsignedBytes(bytes_)[0];
  if (isIpv4()) return first != 0 && first != 127 && first != 255;
  const std::size_t place = bytes_.find_first_not_of('\0');
  if (isIpv6() && place == bytes_.size() - 1) return bytes_.back() != 1;
  return place != bytes_.npos && bytes_.find_first_not_of('\xFF') != bytes_.npos;
}

Address Address::substitute(const Redactor& redactor) const {
  Address result(mixed(bytes_, isIpv4() ? "IPv4" : isIpv6() ? "IPv6" : "hardware", redactor));
  std::string& bytes = result.bytes_;
  const unsigned first = unsignedBytes(bytes_)[0];
  constexpr std::string_view kLink("\xFE\x80\0\0\0\0\0\0", 8);
  if (isIpv4()) {
    // One that lands among those which tell nothing goes on from there: no two meet then.
    while (!result.tells()) bytes[0] = mixed(bytes.substr(0, 1), "IPv4", redactor)[0];
  } else if (!isIpv6()) {
    bytes[0] = 2;
  } else if ((first & 0xE0) == 0x20) {
    bytes.replace(0, 2, "\x3F\xFF");
    setBits(bytes[2], 0xF0, 0);
  } else {
    const bool isUnique = (first & 0xFE) == 0xFC;
    const std::size_t kept = bytes_.starts_with(kLink) ? kLink.size() : isUnique ? 1 : 2;
    bytes.replace(0, kept, bytes_, 0, kept);
  }
  return result;
}

std::string Address::digits() const {
  return hex(unsignedBytes(bytes_), bytes_.size(), kLowerHex);
}

std::string Address::spelledLike(std::string_view text) const {
  const std::size_t mark = text.find_first_of(":-.");
  const bool isInPairs = text.size() == 3 * bytes_.size() - 1;
  if (mark == text.npos) return digits();
  if (isIpv4() || (isIpv6() && !isInPairs)) {
    if (text.size() == kIpv6Digits + kIpv6Groups - 1) return inGroups(digits(), 4, ":");
    char spelled[INET6_ADDRSTRLEN];
    return inet_ntop(isIpv4() ? AF_INET : AF_INET6, bytes_.data(), spelled, sizeof spelled);
  }
  std::string result = inGroupsOf(text, digits());
  const bool isLower =
      std::any_of(text.begin(), text.end(), [](char c) { return c >= 'a' && c <= 'f'; });
  // Those without a letter are of firmware and old commands, which have upper case.
  if (!isLower) std::transform(result.begin(), result.end(), result.begin(), ::toupper);
  return result;
}

std::vector<std::string> Address::otherSpellings() const {
  constexpr char kLocalBit = 2;
  if (bytes_.size() != kLeastHardwareAddress) return {};
  std::string identifier = bytes_.substr(0, 3) + "\xFF\xFE" + bytes_.substr(3);
  const std::string plain = Address(identifier).digits();
  identifier[0] = static_cast<char>(identifier[0] ^ kLocalBit);
  const std::string local = Address(identifier).digits();
  return {digits(), inGroups(digits(), 4, "."), plain,
          local,    inGroups(plain, 4, ":"),    inGroups(local, 4, ":")};
}

}  // namespace invscan::agent
