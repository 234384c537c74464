// Spelling characters in UTF-8. All of it is inline: the library and the agent each compile it in.
#pragma once

#include <string>

namespace invscan {

constexpr char32_t kReplacementCharacter = 0xFFFD;
constexpr char32_t kLastCharacter = 0x10FFFF;

constexpr bool isSurrogate(char32_t c) {
  return c >= 0xD800 && c <= 0xDFFF;
}

// What is no character becomes the replacement character.
inline void appendCharacter(std::string& utf8, char32_t c) {
  if (isSurrogate(c) || c > kLastCharacter) c = kReplacementCharacter;
  const auto append = [&utf8](char32_t byte) { utf8 += static_cast<char>(byte); };
  const auto appendSixBits = [&](int shift) { append(0x80 | (c >> shift & 0x3F)); };
  if (c < 0x80) {
    append(c);
  } else if (c < 0x800) {
    append(0xC0 | c >> 6);
    appendSixBits(0);
  } else if (c < 0x10000) {
    append(0xE0 | c >> 12);
    appendSixBits(6);
    appendSixBits(0);
  } else {
    append(0xF0 | c >> 18);
    appendSixBits(12);
    appendSixBits(6);
    appendSixBits(0);
  }
}

}  // namespace invscan
