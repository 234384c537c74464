#include <invscan/base/String.h>

#include <cstddef>

#include "base/Utf8.h"

namespace invscan {
namespace {

// An invalid byte b is the character kEscape + b.
constexpr char32_t kEscape = 0xDC00;

constexpr bool isEscapedByte(char32_t c) {
  return c >= kEscape + 0x80 && c <= kEscape + 0xFF;
}

struct Decoded {
  char32_t character;
  std::size_t length;
};

// The character at the start of a text that is not empty.
Decoded decodeFirst(std::string_view text) {
  const auto byteAt = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byteAt(0);
  if (lead < 0x80) return {lead, 1};

  const Decoded escaped{kEscape + lead, 1};
  if (lead < 0xC2 || lead > 0xF4) return escaped;
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (text.size() < length) return escaped;

  char32_t character = lead & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byteAt(i) & 0xC0) != 0x80) return escaped;
    character = character << 6 | (byteAt(i) & 0x3Fu);
  }
  constexpr char32_t kShortest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool isValid =
      character >= kShortest[length] && character <= kLastCharacter && !isSurrogate(character);
  return isValid ? Decoded{character, length} : escaped;
}

std::wstring widen(std::string_view utf8) {
  std::wstring wide;
  wide.reserve(utf8.size());
  while (!utf8.empty()) {
    const Decoded first = decodeFirst(utf8);
    wide += static_cast<wchar_t>(first.character);
    utf8.remove_prefix(first.length);
  }
  return wide;
}

}  // namespace
}  // namespace invscan

String::String(const char* utf8) : text_(invscan::widen(utf8 ? utf8 : "")) {
}

String::String(const std::string& utf8) : text_(invscan::widen(utf8)) {
}

String::String(const wchar_t* text) : text_(text ? text : L"") {
}

std::string String::toNarrow() const {
  std::string utf8;
  utf8.reserve(text_.size());
  for (const wchar_t wide : text_) {
    const auto c = static_cast<char32_t>(wide);
    if (invscan::isEscapedByte(c)) {
      utf8 += static_cast<char>(c - invscan::kEscape);
    } else {
      invscan::appendCharacter(utf8, c);
    }
  }
  return utf8;
}

String& String::operator+=(const String& other) {
  text_ += other.text_;
  return *this;
}

String operator+(String left, const String& right) {
  left += right;
  return left;
}
