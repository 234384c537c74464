#include "common/text/Lines.h"

#include <algorithm>

namespace invscan {
namespace {

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// How many bytes to keep of a text that is longer than that.
std::size_t characterBoundary(std::string_view text, std::size_t most) {
  std::size_t end = most;
  while (end > 0 && most - end < 3 && isContinuation(text[end])) --end;
  // More continuation bytes than a character can have: not UTF-8, so any place is as good.
  return end == 0 || isContinuation(text[end]) ? most : end;
}

}  // namespace

bool TextLines::next(std::string_view& line) {
  if (rest_.empty()) return false;
  const std::size_t newline = rest_.substr(0, most_).find('\n');
  const std::size_t length = newline != std::string_view::npos ? newline + 1
                             : rest_.size() <= most_           ? rest_.size()
                                                               : characterBoundary(rest_, most_);
  line = rest_.substr(0, length);
  rest_.remove_prefix(length);
  if (hasNul_) line = line.substr(0, line.find('\0'));
  return true;
}

std::string_view firstLine(std::string_view text, std::size_t most) {
  std::string_view line;
  TextLines(text.substr(0, most + 1), most).next(line);
  if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
  return line;
}

std::string_view cutText(std::string_view text, std::size_t most) {
  return text.size() <= most ? text : text.substr(0, characterBoundary(text, most));
}

std::string_view nextField(std::string_view& rest, std::string_view delimiters) {
  const auto isDelimiter = [delimiters](char letter) {
    return std::find(delimiters.begin(), delimiters.end(), letter) != delimiters.end();
  };
  const char* const begin = std::find_if_not(rest.begin(), rest.end(), isDelimiter);
  const char* const end = std::find_if(begin, rest.end(), isDelimiter);
  rest = {end == rest.end() ? end : end + 1, rest.end()};
  return {begin, end};
}

std::string squeezed(std::string_view text) {
  std::string words;
  for (const char letter : text) {
    const bool isBlank = letter <= ' ' || letter > '~';
    if (!isBlank) {
      words += letter;
    } else if (!words.empty() && words.back() != ' ') {
      words += ' ';
    }
  }
  if (!words.empty() && words.back() == ' ') words.pop_back();
  return words;
}

}  // namespace invscan
