// Bytes as hexadecimal digits. All of it is inline: the library and the agent each compile it in.
#pragma once

#include <cstddef>
#include <string>

namespace invscan {

// The digit of a value from 0 to 15 stands at its place.
inline constexpr char kLowerHex[] = "0123456789abcdef";
inline constexpr char kUpperHex[] = "0123456789ABCDEF";

using HexDigits = char[17];

// Appends two digits a byte.
inline void appendHex(std::string& text, const unsigned char* bytes, std::size_t count,
                      const HexDigits& digits) {
  const std::size_t before = text.size();
  text.resize(before + 2 * count);
  char* end = text.data() + before;
  for (std::size_t i = 0; i < count; ++i) {
    *end++ = digits[bytes[i] >> 4];
    *end++ = digits[bytes[i] & 15];
  }
}

inline std::string hex(const unsigned char* bytes, std::size_t count, const HexDigits& digits) {
  std::string text;
  appendHex(text, bytes, count, digits);
  return text;
}

}  // namespace invscan
