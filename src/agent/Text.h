// Small helpers for text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace invscan::agent {

// UTF-8; what is not a character becomes the replacement character.
std::string utf8(const wchar_t* text, std::size_t count);

std::string validUtf8(const std::string& bytes);

// Fit for a terminal: control characters and bytes that are not UTF-8 are spelt as \x and two
// hexadecimal digits.
std::string printable(const std::string& utf8);

// Control characters become blanks.
std::string withBlanksForControls(const std::string& utf8);

// The number of characters, which is the number of columns for most scripts.
std::size_t width(std::string_view utf8);

std::string padded(std::string text, std::size_t columns);

std::string hexadecimal(const unsigned char* bytes, std::size_t count, bool upperCase);

// With that many digits behind a decimal point, in any locale.
std::string decimal(double value, int digits);

// "1 row", "2 rows".
std::string counted(std::size_t count, const char* noun);

std::string joined(const std::vector<std::string>& parts, const char* separator);

// The parts with commas between them, in lines that begin with the indent and fit a terminal.
std::string wrapped(const std::vector<std::string>& parts, const std::string& indent);

// Lines of cells, as columns that are as wide as their widest cell.
class Columns {
 public:
  void add(std::vector<std::string> cells);
  // Each line begins with the indent; the last cell is not padded.
  std::string text(const std::string& indent) const;

 private:
  std::vector<std::vector<std::string>> lines_;
};

// The system's words for an errno, in lower case.
std::string errorText(int error);

// Whether all of it was written; errno tells why not.
bool writeAll(int descriptor, std::string_view text);

}  // namespace invscan::agent
