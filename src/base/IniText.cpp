#include "base/IniText.h"

#include <cstddef>

#include "base/Trim.h"

namespace invscan {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// Every entry repeats its section's name: the bound keeps the entries in proportion to the text.
constexpr std::size_t kLongestName = 128;

std::string_view takeLine(std::string_view& text) {
  const std::size_t length = text.find('\n');
  std::string_view line = text.substr(0, length);
  text.remove_prefix(length == std::string_view::npos ? text.size() : length + 1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

class Parser {
 public:
  explicit Parser(IniEntries& entries) : entries_(entries) {}

  // Null, or what is wrong.
  const char* readLine(std::string_view line, int number) {
    if (line.find('\0') != std::string_view::npos) return "unexpected NUL byte; expected text";
    line = trimmed(line, kBlanks);
    if (line.empty() || line[0] == ';' || line[0] == '#') return nullptr;
    return line[0] == '[' ? readSection(line) : readEntry(line, number);
  }

 private:
  const char* readSection(std::string_view line) {
    if (!line.ends_with(']')) return kExpectation;
    const std::string_view name = trimmed(line.substr(1, line.size() - 2), kBlanks);
    prefix_.assign(name).append(".");
    return wrongName(name);
  }

  const char* readEntry(std::string_view line, int number) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return kExpectation;
    const std::string_view name = trimmed(line.substr(0, equals), kBlanks);
    const std::string_view value = trimmed(line.substr(equals + 1), kBlanks);
    if (const char* wrong = wrongName(name)) return wrong;
    entries_.insert_or_assign(prefix_ + std::string(name), IniEntry{std::string(value), number});
    return nullptr;
  }

  static const char* wrongName(std::string_view name) {
    if (name.empty()) return kExpectation;
    return name.size() > kLongestName ? "name too long; at most 128 bytes are allowed" : nullptr;
  }

  static constexpr const char* kExpectation = "expected `name = value` or `[section]`";

  IniEntries& entries_;
  std::string prefix_;
};

}  // namespace

std::optional<IniError> parseIni(std::string_view text, IniEntries& entries) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  Parser parser(entries);
  for (int number = 1; !text.empty(); ++number) {
    const char* wrong = parser.readLine(takeLine(text), number);
    if (wrong) return IniError{number, wrong};
  }
  return std::nullopt;
}

}  // namespace invscan
