#include "agent/Text.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <clocale>
#include <cwchar>
#include <system_error>
#include <utility>

#include <invscan/base/String.h>

#include "base/Hex.h"
#include "base/Utf8.h"

namespace invscan::agent {
namespace {

constexpr struct {
  char32_t first, last;
} kUnseen[] = {
    {0, 0x1F},          {0x7F, 0x9F},      // control characters
    {0xAD, 0xAD},                          // soft hyphen
    {0x61C, 0x61C},                        // Arabic letter mark
    {0x115F, 0x1160},   {0x17B4, 0x17B5},  // fillers without width
    {0x180B, 0x180E},                      // Mongolian selectors and separator
    {0x200B, 0x200F},                      // zero width, marks of direction
    {0x2028, 0x202E},                      // other line ends, turns of direction
    {0x2060, 0x206F},                      // invisible operators, isolates of direction
    {0x3164, 0x3164},   {0xFFA0, 0xFFA0},  // Hangul fillers
    {0xFEFF, 0xFEFF},                      // zero width
    {0xFFF9, 0xFFFB},                      // annotations
    {0x1D173, 0x1D17A},                    // beams and slurs
    {0xE0000, 0xE0FFF},                    // tags and selectors
};

// How String marks a byte that is not part of valid UTF-8.
bool isStrayByte(wchar_t c) {
  return c >= 0xDC80 && c <= 0xDCFF;
}

// \x1b, \u202e or \U000e0020.
void appendSpelt(std::wstring& text, char32_t c) {
  const int digits = c < 0x100 ? 2 : c < 0x10000 ? 4 : 8;
  text += {L'\\', digits == 2 ? L'x' : digits == 4 ? L'u' : L'U'};
  for (int shift = 4 * digits - 4; shift >= 0; shift -= 4) {
    text += static_cast<wchar_t>(kLowerHex[c >> shift & 15]);
  }
}

// By Unicode's widths, whatever the locale in force: marks that combine take none, and most of East
// Asia's characters two.
std::size_t columnsOf(char32_t c) {
  if (c < 0x80) return 1;
  static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  if (!unicode) return 1;
  const locale_t before = uselocale(unicode);
  const int columns = wcwidth(static_cast<wchar_t>(c));
  uselocale(before);
  return columns < 0 ? 1 : static_cast<std::size_t>(columns);
}

// How many bytes of a text fit into that many columns, in whole characters.
std::size_t fitting(std::string_view utf8, std::size_t columns) {
  std::size_t used = 0, place = 0;
  while (place < utf8.size()) {
    const auto [character, length] = characterAt(utf8, place);
    used += columnsOf(character);
    if (used > columns) break;
    place += length;
  }
  return place;
}

}  // namespace

bool isUnseen(char32_t c) {
  if (c >= 0x20 && c < 0x7F) return false;
  return std::any_of(std::begin(kUnseen), std::end(kUnseen),
                     [c](const auto& range) { return c >= range.first && c <= range.last; });
}

Utf8Character characterAt(std::string_view utf8, std::size_t place) {
  const auto byteAt = [utf8](std::size_t i) { return static_cast<unsigned char>(utf8[i]); };
  const unsigned char first = byteAt(place);
  const std::size_t length = first < 0xC0 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  if (length == 1 || utf8.size() - place < length) return {first, 1};
  char32_t character = first & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) character = character << 6 | (byteAt(place + i) & 0x3Fu);
  return {character, length};
}

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
    if (isStrayByte(c)) {
      appendSpelt(shown, static_cast<char32_t>(c & 0xFF));
    } else if (isUnseen(static_cast<char32_t>(c))) {
      appendSpelt(shown, static_cast<char32_t>(c));
    } else {
      shown += c;
    }
  }
  return String(std::move(shown)).toNarrow();
}

std::string printableLines(const std::string& utf8) {
  std::string text;
  text.reserve(utf8.size());
  for (std::string_view rest = utf8; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    text += printable(std::string(line));
    rest.remove_prefix(line.size());
    if (rest.empty()) break;
    text += '\n';
    rest.remove_prefix(1);
  }
  return text;
}

std::string withBlanksForControls(const std::string& utf8) {
  std::wstring text = String(utf8).toWide();
  std::replace_if(
      text.begin(), text.end(), [](wchar_t c) { return isUnseen(static_cast<char32_t>(c)); }, L' ');
  return String(std::move(text)).toNarrow();
}

std::size_t width(std::string_view utf8) {
  const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  const auto* const rest = std::find_if_not(utf8.begin(), utf8.end(), isAscii);
  std::size_t columns = static_cast<std::size_t>(rest - utf8.begin());  // of most texts, all
  for (std::size_t place = columns; place < utf8.size();) {
    const auto [character, length] = characterAt(utf8, place);
    columns += columnsOf(character);
    place += length;
  }
  return columns;
}

std::string shortened(const std::string& utf8, std::size_t columns) {
  if (width(utf8) <= columns) return utf8;
  return utf8.substr(0, fitting(utf8, columns - std::min<std::size_t>(columns, 1))) + "\u2026";
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

std::size_t lineWidth() {
  constexpr std::size_t kNarrowest = 40;
  winsize size = {};
  const bool isTerminal = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return isTerminal ? std::max<std::size_t>(size.ws_col, kNarrowest) : kLineWidth;
}

std::string wrapped(const std::vector<std::string>& parts, const std::string& indent) {
  const std::size_t widest = lineWidth() - 1;  // a comma may follow
  std::string text, line;
  for (const std::string& part : parts) {
    if (!line.empty()) line += ",";
    if (!line.empty() && width(line) + 1 + width(part) > widest) {
      text += std::exchange(line, "") + "\n";
    }
    line += (line.empty() ? indent : " ") + part;
  }
  return text + line + "\n";
}

std::string paragraph(std::string_view words, std::string_view first, std::string_view others,
                      std::size_t widest) {
  std::string text, line(first);
  bool isBegun = false;
  while (!words.empty()) {
    const std::size_t used = width(line) + (isBegun ? 1 : 0);
    const std::size_t free = widest - std::min(widest, used);
    const std::size_t most = fitting(words, free);
    // A word that does not end there may be long: no more of it is looked at.
    const std::string_view seen = words.substr(0, most + 1);
    const std::string_view word = seen.substr(0, seen.find(' '));
    if (isBegun && word.size() > most) {
      text += line + "\n";
      line = others;
      isBegun = false;
      continue;
    }
    const std::size_t least = word.empty() ? 0 : characterAt(word, 0).length;
    const std::string_view part = word.substr(0, std::max(most, least));
    line.append(isBegun ? " " : "").append(part);
    isBegun = true;
    words.remove_prefix(part.size());
    if (words.starts_with(' ')) words.remove_prefix(1);
  }
  if (!isBegun) line.erase(line.find_last_not_of(' ') + 1);
  return text + line + "\n";
}

void Columns::add(std::initializer_list<std::string_view> cells) {
  for (const std::string_view& cell : cells) {
    texts_ += cell;
    cells_.push_back({static_cast<std::uint32_t>(cell.size()),
                      static_cast<std::uint32_t>(width(cell)), &cell + 1 == cells.end()});
  }
}

std::vector<std::uint32_t> Columns::widths(std::size_t limit) const {
  std::vector<std::uint32_t> widths;
  std::size_t column = 0;
  for (const Cell& cell : cells_) {
    if (column == widths.size()) widths.push_back(0);
    if (cell.width <= limit) widths[column] = std::max(widths[column], cell.width);
    column = cell.endsLine ? 0 : column + 1;
  }
  return widths;
}

std::string Columns::text(std::string_view indent) const {
  const auto widths = this->widths(SIZE_MAX);
  std::string text;
  text.reserve(2 * texts_.size());
  std::string_view rest = texts_;
  std::size_t column = 0;
  for (const Cell& cell : cells_) {
    if (column == 0) text += indent;
    text += rest.substr(0, cell.length);
    rest.remove_prefix(cell.length);
    if (cell.endsLine) {
      text.erase(text.find_last_not_of(' ') + 1);
      text += '\n';
      column = 0;
    } else {
      text.append(widths[column++] - cell.width + kGap, ' ');
    }
  }
  return text;
}

std::string Columns::wrappedText(std::string_view indent, std::size_t widest) const {
  const auto widths = this->widths(widest / 2);
  std::string text, line;
  std::string_view rest = texts_;
  std::size_t column = 0, place = 0;  // where the cell begins
  for (const Cell& cell : cells_) {
    if (column == 0) place = indent.size();
    const std::string_view words = rest.substr(0, cell.length);
    rest.remove_prefix(cell.length);
    if (width(line) > place) text += std::exchange(line, "") + "\n";
    line.append(place - width(line), ' ');
    place += widths[column++] + kGap;
    if (!cell.endsLine) {
      line += shortened(std::string(words), widest - std::min(widest, width(line)));
      continue;
    }
    text += paragraph(words, line, std::string(width(line), ' '), widest);
    line.clear();
    column = 0;
  }
  return text;
}

std::string errorText(int error) {
  std::string text = std::generic_category().message(error);
  text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  return text;
}

}  // namespace invscan::agent
