#undef NDEBUG  // hosts' mistakes are caught in every build
#include <cassert>

#include <algorithm>
#include <array>
#include <climits>
#include <string_view>
#include <vector>

#include <invscan/helper.h>
#include <invscan/vartree.h>

#include "common/text/Numbers.h"
#include "common/vartree/Release.h"
#include "common/vartree/Utf8.h"

namespace invscan {
namespace {

constexpr std::size_t kLongestLine = 102399;

bool isSpace(char letter) {
  return letter == ' ' || (letter >= '\t' && letter <= '\r');
}

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
  // Texts are parts of a line in the stream's buffer, where a terminator can be set behind each.
  int parseLine(char* line, char* end);
  int closeNode();
  int parseValue(char* line, char* end);
  int parseKind(char kind, const char* name, char* text, char* end);
  int addData(char kind, const char* name, std::string_view text);
  int add(VtVariant* variant);

  VtILineStream& in_;
  std::vector<VtNode*> open_;  // the root, and what was opened below it
  std::vector<unsigned char> bytes_;
  std::vector<wchar_t> wide_;
};

// Ends a text where it is no more UTF-8.
char* cut(char* text, char* end) {
  text[utf8Prefix({text, end})] = 0;
  return text;
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
  while (char* line = in_.nextInPlace(length)) {
    char* end = line + std::min(length, kLongestLine);
    const int error = parseLine(std::find_if_not(line, end, isSpace), end);
    if (error != kVtParsed) return error;
  }
  return kVtParsed;
}

int TreeParser::parseLine(char* line, char* end) {
  if (line == end || *line == ';') return kVtParsed;
  if (*line == ')') return closeNode();
  if (*line != '(') return isLetterOrDigit(*line) ? parseValue(line, end) : kVtBadLine;
  open_.push_back(new VtNode(cut(line + 1, end)));
  return kVtParsed;
}

int TreeParser::closeNode() {
  if (open_.size() == 1) return kVtNoOpenNode;
  VtNode* closed = open_.back();
  open_.pop_back();
  open_.back()->addChild(closed);
  return kVtParsed;
}

int TreeParser::parseValue(char* line, char* end) {
  char* colon = std::find(line, end, ':');
  char* equals = std::find(line, end, '=');
  if (colon == end || equals == end || equals != colon + 2) return kVtBadValue;
  *colon = 0;
  return parseKind(colon[1], line, equals + 1, end);
}

int TreeParser::parseKind(char kind, const char* name, char* text, char* end) {
  switch (kind) {
    case 'i':
      return add(new VtVariant(name, integerOf(cut(text, end))));
    case 's':
      return add(new VtVariant(name, cut(text, end)));
    case 'f':
      return add(new VtVariant(name, leadingReal(cut(text, end))));
    case 'd':
    case 'u':
      return addData(kind, name, {text, end});
    default:
      return kVtBadKind;
  }
}

int TreeParser::addData(char kind, const char* name, std::string_view text) {
  if (!parseData(text, bytes_)) return kVtBadData;
  const VtData data{bytes_.data(), bytes_.size()};
  if (kind == 'd') return add(new VtVariant(name, data.bytes, data.length));
  bytes_.push_back(0);
  wide_.resize(bytes_.size());
  utf8ToWideChar(wide_.data(), wide_.size(), bytes_.data());
  return add(new VtVariant(name, wide_.data()));
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
