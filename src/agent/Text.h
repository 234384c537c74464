// Small helpers for text.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace invscan::agent {

// Appends in UTF-8; what is not a character becomes the replacement character.
void appendUtf8(std::string& utf8, const wchar_t* text, std::size_t count);

std::string validUtf8(const std::string& bytes);

// What a terminal does not show but obeys, or what makes a text look like another: control
// characters, those that turn the direction of writing or have no width, and line ends of other
// kinds.
bool isUnseen(char32_t c);

// By byte, whether it may begin something unseen in UTF-8, or is one of some more: most texts have
// none, and are known by it.
constexpr std::array<bool, 256> suspiciousBytes(std::string_view more) {
  std::array<bool, 256> table{};
  for (std::size_t byte = 0; byte < ' '; ++byte) table[byte] = true;
  for (const std::size_t byte : {0x7F, 0xC2, 0xD8, 0xE1, 0xE2, 0xE3, 0xEF, 0xF0, 0xF3}) {
    table[byte] = true;
  }
  for (const char byte : more) table[static_cast<unsigned char>(byte)] = true;
  return table;
}

struct Utf8Character {
  char32_t character;
  std::size_t length;  // in bytes
};

// The character at a place of valid UTF-8; one byte where it is none.
Utf8Character characterAt(std::string_view utf8, std::size_t place);

// Fit for a terminal: what is unseen, and bytes that are not UTF-8, are spelt \x1b or \u202e, by
// their hexadecimal digits.
std::string printable(std::string utf8);

// The same, but for line ends.
std::string printableLines(const std::string& utf8);

// What is unseen becomes blanks.
std::string withBlanksForControls(const std::string& utf8);

// The columns that a text without control characters takes on a terminal.
std::size_t width(std::string_view utf8);

// As much of a text as fits into that many columns, in whole characters; "…" stands for the rest.
std::string shortened(const std::string& utf8, std::size_t columns);

std::string padded(std::string text, std::size_t columns);

// Spells a number with that many digits behind a decimal point, in any locale.
std::string decimal(double value, int digits);

// "1 row", "2 rows".
std::string counted(std::size_t count, const char* noun);

std::string joined(const std::vector<std::string>& parts, const char* separator);

// How wide lines of text for people are, unless their terminal says otherwise.
inline constexpr std::size_t kLineWidth = 100;

// What the lines of standard output may be wide: as its terminal, if it is one.
std::size_t lineWidth();

// The parts with commas between them, in lines that begin with the indent and fit a terminal.
std::string wrapped(const std::vector<std::string>& parts, const std::string& indent);

// Words in lines that fit a terminal, the first behind one text and the others behind another. A
// word that fits no line is divided.
std::string paragraph(std::string_view words, std::string_view first, std::string_view others,
                      std::size_t widest = lineWidth());

// Lines of cells, as columns that are as wide as their widest cell.
class Columns {
 public:
  void add(std::initializer_list<std::string_view> cells);
  // Each line begins with the indent; the last cell is not padded.
  std::string text(std::string_view indent) const;
  // The same, in lines that fit a terminal: the last cell goes on below itself. A cell that takes
  // more than half of a line has the others of its line below it.
  std::string wrappedText(std::string_view indent, std::size_t widest = lineWidth()) const;

 private:
  static constexpr std::size_t kGap = 2;
  struct Cell {
    std::uint32_t length;
    std::uint32_t width;
    bool endsLine;
  };

  // Of all columns but those cells that are wider than the limit.
  std::vector<std::uint32_t> widths(std::size_t limit) const;

  std::string texts_;  // of all cells, one behind the other
  std::vector<Cell> cells_;
};

// The system's words for an errno, in lower case.
std::string errorText(int error);

}  // namespace invscan::agent
