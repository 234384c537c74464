#undef NDEBUG  // hosts' mistakes are caught in every build
#include <cassert>

#include <algorithm>
#include <array>
#include <climits>
#include <string>
#include <string_view>
#include <vector>

#include <invscan/helper.h>
#include <invscan/vartree.h>

#include "common/text/Numbers.h"
#include "common/vartree/Release.h"
#include "common/vartree/TreeArena.h"
#include "common/vartree/Utf8.h"

namespace invscan {
namespace {

constexpr std::size_t kLongestLine = 102399;

bool isLetterOrDigit(char letter) {
  const char lower = static_cast<char>(letter | 0x20);
  return (lower >= 'a' && lower <= 'z') || (letter >= '0' && letter <= '9');
}

// Any byte counts for a digit; what is none has a value all the same.
constexpr unsigned char digitValue(unsigned char digit) {
  const unsigned base = digit >= 'a' && digit <= 'f'   ? 'a' - 10
                        : digit >= 'A' && digit <= 'F' ? 'A' - 10
                                                       : '0';
  return static_cast<unsigned char>(digit - base);
}

constexpr std::array<unsigned char, 256> kDigitValues = [] {
  std::array<unsigned char, 256> values{};
  for (unsigned digit = 0; digit < values.size(); ++digit) {
    values[digit] = digitValue(static_cast<unsigned char>(digit));
  }
  return values;
}();

unsigned valueOf(char digit) {
  return kDigitValues[static_cast<unsigned char>(digit)];
}

int integerOf(std::string_view text) {
  return static_cast<int>(std::clamp<long>(leadingInteger(text), INT_MIN, INT_MAX));
}

class TreeParser {
 public:
  TreeParser(VtILineStream& in, VtNode& root) : in_(in), open_{&root} {}
  TreeParser(const TreeParser&) = delete;
  TreeParser& operator=(const TreeParser&) = delete;
  // Nodes that were not closed belong to nothing.
  ~TreeParser() { std::for_each(open_.begin() + 1, open_.end(), releaseTree); }

  int parse();

 private:
  int parseLine(std::string_view line);
  int closeNode();
  int parseValue(std::string_view line);
  int parseKind(char kind, std::string_view name, std::string_view text);
  int addData(char kind, std::string_view name, std::string_view text);
  int add(VtVariant* variant);

  VtILineStream& in_;
  TreeArena arena_;
  std::vector<VtNode*> open_;  // the root, and what was opened below it
  std::vector<unsigned char> bytes_;
  std::vector<wchar_t> wide_;
};

// A text as far as it is UTF-8.
std::string_view cut(std::string_view text) {
  return text.substr(0, utf8Prefix(text));
}

// The count before the comma and the digits behind it, as bytes; false when there is no comma or
// when digits are missing.
bool parseData(std::string_view text, std::vector<unsigned char>& bytes) {
  const std::size_t comma = text.find(',');
  if (comma == text.npos) return false;
  const int stated = integerOf(text.substr(0, comma));
  const auto count = static_cast<std::size_t>(std::max(stated, 0));
  const char* digits = text.data() + comma + 1;
  if ((text.size() - comma - 1) / 2 < count) return false;
  bytes.resize(count);
  for (unsigned char& byte : bytes) {
    byte = static_cast<unsigned char>(valueOf(digits[0]) * 16 + valueOf(digits[1]));
    digits += 2;
  }
  return true;
}

int TreeParser::parse() {
  unsigned long length = 0;
  while (const char* line = in_.nextInPlace(length)) {
    const char* end = line + std::min(length, kLongestLine);
    while (line != end && isSpace(*line)) ++line;
    const int error = parseLine({line, end});
    if (error != kVtParsed) return error;
  }
  return kVtParsed;
}

int TreeParser::parseLine(std::string_view line) {
  if (line.empty() || line.front() == ';') return kVtParsed;
  if (line.front() == ')') return closeNode();
  if (line.front() != '(') return isLetterOrDigit(line.front()) ? parseValue(line) : kVtBadLine;
  open_.push_back(arena_.makeNode(cut(line.substr(1))));
  return kVtParsed;
}

int TreeParser::closeNode() {
  if (open_.size() == 1) return kVtNoOpenNode;
  VtNode* closed = open_.back();
  open_.pop_back();
  open_.back()->addChild(closed);
  return kVtParsed;
}

int TreeParser::parseValue(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == line.npos || line.find('=') != colon + 2) return kVtBadValue;
  return parseKind(line[colon + 1], line.substr(0, colon), line.substr(colon + 3));
}

int TreeParser::parseKind(char kind, std::string_view name, std::string_view text) {
  VtVariant* variant = nullptr;
  switch (kind) {
    case 'i':
      variant = arena_.makeValue(name, kVtInteger);
      variant->value.integer = integerOf(text);
      return add(variant);
    case 's':
      variant = arena_.makeValue(name, kVtString);
      variant->value.string = arena_.makeText(cut(text));
      return add(variant);
    case 'f':
      variant = arena_.makeValue(name, kVtDouble);
      variant->value.real = leadingReal(text);
      return add(variant);
    case 'd':
    case 'u':
      return addData(kind, name, text);
    default:
      return kVtBadKind;
  }
}

// Rare enough to be made one by one.
int TreeParser::addData(char kind, std::string_view name, std::string_view text) {
  if (!parseData(text, bytes_)) return kVtBadData;
  const std::string terminated(name);
  if (kind == 'd') return add(new VtVariant(terminated.c_str(), bytes_.data(), bytes_.size()));
  bytes_.push_back(0);
  wide_.resize(bytes_.size());
  utf8ToWideChar(wide_.data(), wide_.size(), bytes_.data());
  return add(new VtVariant(terminated.c_str(), wide_.data()));
}

int TreeParser::add(VtVariant* variant) {
  open_.back()->addValue(variant);
  return kVtParsed;
}

}  // namespace
}  // namespace invscan

int vtParseNodeDump(VtILineStream* in, VtNode* root) {
  assert(root != 0);
  return in ? invscan::TreeParser(*in, *root).parse() : kVtParsed;
}

VtNode* vtParseNodeDump(VtILineStream* in) {
  invscan::Tree root(new VtNode(""));
  return vtParseNodeDump(in, root.get()) == kVtParsed ? root.release() : nullptr;
}
