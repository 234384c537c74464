// Small helpers for text.
#pragma once

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

// Fit for a terminal: control characters and bytes that are not UTF-8 are spelt as \x and two
// hexadecimal digits.
std::string printable(std::string utf8);

// Control characters become blanks.
std::string withBlanksForControls(const std::string& utf8);

// The number of characters, which is the number of columns for most scripts.
std::size_t width(std::string_view utf8);

std::string padded(std::string text, std::size_t columns);

// Spells a number with that many digits behind a decimal point, in any locale.
std::string decimal(double value, int digits);

// "1 row", "2 rows".
std::string counted(std::size_t count, const char* noun);

std::string joined(const std::vector<std::string>& parts, const char* separator);

// The parts with commas between them, in lines that begin with the indent and fit a terminal.
std::string wrapped(const std::vector<std::string>& parts, const std::string& indent);

// Lines of cells, as columns that are as wide as their widest cell.
class Columns {
 public:
  void add(std::initializer_list<std::string_view> cells);
  // Each line begins with the indent; the last cell is not padded.
  std::string text(std::string_view indent) const;

 private:
  struct Cell {
    std::uint32_t length;
    std::uint32_t width;
    bool endsLine;
  };
  std::string texts_;  // of all cells, one behind the other
  std::vector<Cell> cells_;
};

// The system's words for an errno, in lower case.
std::string errorText(int error);

}  // namespace invscan::agent
