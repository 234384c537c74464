// Reading the texts that files and commands give: lines, fields and numbers, whatever the locale
// and however strange the text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/Trim.h"
#include "common/text/Numbers.h"

namespace invscan {

// Hands out a text piece by piece, as a program with a line buffer of that size sees it: a piece
// ends behind a newline or when it has `most` bytes, but never inside a UTF-8 character, and is cut
// at its first NUL. Linear in the text, however long its lines.
class TextLines {
 public:
  TextLines(std::string_view text, std::size_t most)
      : rest_(text), most_(most), hasNul_(text.find('\0') != text.npos) {}

  // False at the end of the text.
  bool next(std::string_view& line);

 private:
  std::string_view rest_;
  std::size_t most_;
  bool hasNul_;
};

// The first line of a text without its newline; empty when there is none.
std::string_view firstLine(std::string_view text, std::size_t most);

// At most that many bytes of a text, without the beginning of a UTF-8 character at its end.
std::string_view cutText(std::string_view text, std::size_t most);

// Takes the next field off the front of a text: delimiters before it are skipped, the one behind it
// is taken too. Empty when nothing but delimiters is left.
std::string_view nextField(std::string_view& rest, std::string_view delimiters);

// A text as it is to be read: blanks for what is not printable ASCII, one between words, none
// around them.
std::string squeezed(std::string_view text);

}  // namespace invscan
