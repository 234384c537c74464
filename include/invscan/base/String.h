// Wide-character text, as used at the boundary between the library, its configuration and its host.
#pragma once

#include <string>
#include <string_view>

#include <invscan/export.h>

// A value type: copies are deep, the default is empty. Narrow text is UTF-8 whatever the locale; a
// byte that is not part of valid UTF-8 becomes one character of 0xDC80 to 0xDCFF and turns back
// into that byte, so that any file name survives the way there and back.
class INVSCAN_EXPORT String {
 public:
  String() = default;
  String(const char* utf8);  // a null pointer makes the empty text
  String(const std::string& utf8);
  String(const wchar_t* text);  // a null pointer makes the empty text
  String(std::wstring text) : text_(std::move(text)) {}

  // The characters, NUL-terminated; valid until the text changes or goes.
  const wchar_t* toWide() const { return text_.c_str(); }
  std::string toNarrow() const;

  unsigned long length() const { return text_.size(); }
  bool isEmpty() const { return text_.empty(); }

  // Less than 0, 0 or more than 0 as this text sorts before, equals or follows the other, by
  // character code.
  int compareTo(const String& other) const { return text_.compare(other.text_); }

  String& operator+=(const String& other);

 private:
  std::wstring text_;
};

INVSCAN_EXPORT String operator+(String left, const String& right);
inline bool operator==(const String& a, const String& b) {
  return a.compareTo(b) == 0;
}
inline bool operator!=(const String& a, const String& b) {
  return a.compareTo(b) != 0;
}
inline bool operator<(const String& a, const String& b) {
  return a.compareTo(b) < 0;
}
