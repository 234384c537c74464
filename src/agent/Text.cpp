#include "agent/Text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <system_error>
#include <utility>

#include <invscan/base/String.h>

#include "base/Hex.h"
#include "base/Utf8.h"

namespace invscan::agent {
namespace {

bool isControl(wchar_t c) {
  return (c >= 0 && c < 0x20) || (c >= 0x7F && c < 0xA0);
}

// How String marks a byte that is not part of valid UTF-8.
bool isStrayByte(wchar_t c) {
  return c >= 0xDC80 && c <= 0xDCFF;
}

}  // namespace

void appendUtf8(std::string& utf8, const wchar_t* text, std::size_t count) {
  const wchar_t* const end = text + count;
  const std::size_t before = utf8.size();
  utf8.resize(before + count);
  char* narrow = utf8.data() + before;
  while (text != end && *text >= 0 && *text < 0x80) *narrow++ = static_cast<char>(*text++);
  utf8.resize(static_cast<std::size_t>(narrow - utf8.data()));
  while (text != end) appendCharacter(utf8, static_cast<char32_t>(*text++));
}

std::string validUtf8(const std::string& bytes) {
  const String wide(bytes);
  std::string text;
  appendUtf8(text, wide.toWide(), wide.length());
  return text;
}

std::string printable(std::string utf8) {
  const auto isPlain = [](char letter) { return letter >= ' ' && letter <= '~'; };
  if (std::all_of(utf8.begin(), utf8.end(), isPlain)) return utf8;
  const String wide(utf8);
  std::wstring shown;
  for (unsigned long i = 0; i < wide.length(); ++i) {
    const wchar_t c = wide.toWide()[i];
    if (!isControl(c) && !isStrayByte(c)) {
      shown += c;
      continue;
    }
    shown += {L'\\', L'x', static_cast<wchar_t>(kLowerHex[c >> 4 & 15]),
              static_cast<wchar_t>(kLowerHex[c & 15])};
  }
  return String(std::move(shown)).toNarrow();
}

std::string withBlanksForControls(const std::string& utf8) {
  std::wstring text = String(utf8).toWide();
  std::replace_if(text.begin(), text.end(), isControl, L' ');
  return String(std::move(text)).toNarrow();
}

std::size_t width(std::string_view utf8) {
  const auto isFirstByte = [](char c) { return (c & 0xC0) != 0x80; };
  return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), isFirstByte));
}

std::string padded(std::string text, std::size_t columns) {
  const std::size_t used = width(text);
  if (used < columns) text.append(columns - used, ' ');
  return text;
}

std::string decimal(double value, int digits) {
  char buffer[400];
  const auto [end, error] =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, digits);
  return std::string(buffer, end);
}

std::string counted(std::size_t count, const char* noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string joined(const std::vector<std::string>& parts, const char* separator) {
  std::string text;
  for (const std::string& part : parts) {
    if (!text.empty()) text += separator;
    text += part;
  }
  return text;
}

std::string wrapped(const std::vector<std::string>& parts, const std::string& indent) {
  constexpr std::size_t kWidest = 100;
  std::string text, line;
  for (const std::string& part : parts) {
    if (!line.empty()) line += ",";
    if (!line.empty() && width(line) + 1 + width(part) > kWidest) {
      text += std::exchange(line, "") + "\n";
    }
    line += (line.empty() ? indent : " ") + part;
  }
  return text + line + "\n";
}

void Columns::add(std::initializer_list<std::string_view> cells) {
  for (const std::string_view& cell : cells) {
    texts_ += cell;
    cells_.push_back({static_cast<std::uint32_t>(cell.size()),
                      static_cast<std::uint32_t>(width(cell)), &cell + 1 == cells.end()});
  }
}

std::string Columns::text(std::string_view indent) const {
  std::vector<std::uint32_t> widths;
  std::size_t column = 0;
  for (const Cell& cell : cells_) {
    if (column == widths.size()) widths.push_back(0);
    widths[column] = std::max(widths[column], cell.width);
    column = cell.endsLine ? 0 : column + 1;
  }
  std::string text;
  text.reserve(2 * texts_.size());
  std::string_view rest = texts_;
  column = 0;
  for (const Cell& cell : cells_) {
    if (column == 0) text += indent;
    text += rest.substr(0, cell.length);
    rest.remove_prefix(cell.length);
    if (cell.endsLine) {
      text.erase(text.find_last_not_of(' ') + 1);
      text += '\n';
      column = 0;
    } else {
      text.append(widths[column++] - cell.width + 2, ' ');
    }
  }
  return text;
}

std::string errorText(int error) {
  std::string text = std::generic_category().message(error);
  text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  return text;
}

}  // namespace invscan::agent
