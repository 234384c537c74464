#include "invscan/machine/CaptureDocument.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "base/Utf8.h"
#include "common/vartree/Utf8.h"

namespace invscan {

// Reads values one by one; what is wrong anywhere ends the reading.
class CaptureDocument::Reader {
 public:
  explicit Reader(CaptureDocument& document)
      : document_(document), at_(document.text_.data()), end_(at_ + document.text_.size()) {}

  void readAll() {
    readValue({}, 0);
    skipBlanks();
    if (at_ != end_) refuse();
  }

 private:
  using Kind = CaptureNode::Kind;

  static constexpr int kDeepest = 100;

  [[noreturn]] void refuse() const {
    const char* const begin = document_.text_.data();
    throw CaptureError("machine.json: line " +
                       std::to_string(1 + std::count(begin, std::min(at_ + 1, end_), '\n')) +
                       ": not valid JSON");
  }

  void skipBlanks() {
    while (at_ != end_ && (*at_ == ' ' || *at_ == '\n' || *at_ == '\t' || *at_ == '\r')) ++at_;
  }

  // The next character that is not blank, which stays unread.
  char peek() {
    skipBlanks();
    if (at_ == end_) refuse();
    return *at_;
  }

  bool takes(char wanted) {
    if (peek() != wanted) return false;
    ++at_;
    return true;
  }

  void demand(char wanted) {
    if (!takes(wanted)) refuse();
  }

  void demandWord(std::string_view word) {
    if (!std::string_view(at_, static_cast<std::size_t>(end_ - at_)).starts_with(word)) refuse();
    at_ += word.size();
  }

  void readValue(std::string_view name, int depth) {
    if (depth > kDeepest) refuse();
    const std::size_t own = document_.nodes_.size();
    document_.nodes_.emplace_back().name = name;
    switch (peek()) {
      case '{':
        readContainer(own, Kind::object, '}', depth);
        break;
      case '[':
        readContainer(own, Kind::list, ']', depth);
        break;
      case '"':
        set(own, Kind::text, readText());
        break;
      case 't':
        demandWord("true");
        set(own, Kind::yes);
        break;
      case 'f':
        demandWord("false");
        set(own, Kind::no);
        break;
      case 'n':
        demandWord("null");
        break;
      default:
        set(own, Kind::number, readNumber());
    }
    document_.nodes_[own].extent = document_.nodes_.size() - own;
  }

  void set(std::size_t own, Kind kind, std::string_view text = {}) {
    document_.nodes_[own].kind = kind;
    document_.nodes_[own].text = text;
  }

  void readContainer(std::size_t own, Kind kind, char last, int depth) {
    set(own, kind);
    ++at_;
    if (takes(last)) return;
    do {
      std::string_view name;
      if (kind == Kind::object) {
        if (peek() != '"') refuse();
        name = readText();
        demand(':');
      }
      readValue(name, depth + 1);
      ++document_.nodes_[own].count;
    } while (takes(','));
    demand(last);
  }

  // Most texts have no escapes and stay where they are.
  std::string_view readText() {
    const char* const begin = ++at_;
    bool isAscii = true;
    for (; at_ != end_ && *at_ != '"' && *at_ != '\\'; ++at_) {
      const auto byte = static_cast<unsigned char>(*at_);
      if (byte < 0x20) refuse();
      isAscii &= byte < 0x80;
    }
    std::string_view text(begin, static_cast<std::size_t>(at_ - begin));
    if (at_ != end_ && *at_ == '\\') {
      text = unescape(text);
      isAscii = false;
    }
    if (at_ == end_ || (!isAscii && utf8Prefix(text) != text.size())) refuse();
    ++at_;
    return text;
  }

  // The rest of a text, whose front has no escapes.
  std::string_view unescape(std::string_view front) {
    std::string& text = document_.unescaped_.emplace_back(front);
    for (; at_ != end_ && *at_ != '"'; ++at_) {
      if (static_cast<unsigned char>(*at_) < 0x20) refuse();
      if (*at_ == '\\') {
        readEscape(text);
      } else {
        text += *at_;
      }
    }
    return text;
  }

  // Ends at the escape's last character.
  void readEscape(std::string& text) {
    constexpr std::string_view kEscapes = "\"\\/bfnrtu", kMeanings = "\"\\/\b\f\n\r\t";
    if (++at_ == end_) refuse();
    const std::size_t which = kEscapes.find(*at_);
    if (which == kEscapes.npos) refuse();
    if (which < kMeanings.size()) {
      text += kMeanings[which];
      return;
    }
    char32_t character = readFourDigits();
    if (isSurrogate(character)) {
      demandWordAfter("\\u");
      const char32_t low = readFourDigits();
      if (character >= 0xDC00 || !isSurrogate(low) || low < 0xDC00) refuse();
      character = 0x10000 + ((character & 0x3FF) << 10) + (low & 0x3FF);
    }
    appendCharacter(text, character);
  }

  // As demandWord(), from the character behind the last one read, up to the word's last.
  void demandWordAfter(std::string_view word) {
    ++at_;
    demandWord(word);
    --at_;
  }

  char32_t readFourDigits() {
    char32_t number = 0;
    for (int digit = 0; digit < 4; ++digit) {
      if (++at_ == end_ || hexValue(*at_) < 0) refuse();
      number = number << 4 | static_cast<char32_t>(hexValue(*at_));
    }
    return number;
  }

  void skipDigits() {
    const char* const begin = at_;
    while (at_ != end_ && *at_ >= '0' && *at_ <= '9') ++at_;
    if (at_ == begin) refuse();
  }

  bool isAt(std::string_view characters) const {
    return at_ != end_ && characters.find(*at_) != characters.npos;
  }

  std::string_view readNumber() {
    const char* const begin = at_;
    if (isAt("-")) ++at_;
    if (isAt("0")) {
      ++at_;
    } else {
      skipDigits();
    }
    const char* const endOfWhole = at_;
    if (isAt(".")) {
      ++at_;
      skipDigits();
    }
    if (isAt("eE")) {
      ++at_;
      if (isAt("+-")) ++at_;
      skipDigits();
    }
    const std::string_view number(begin, static_cast<std::size_t>(at_ - begin));
    if (at_ != endOfWhole && std::isinf(std::strtod(std::string(number).c_str(), nullptr))) {
      throw CaptureError("machine.json: a number that is too large");
    }
    return number;
  }

  CaptureDocument& document_;
  const char* at_;
  const char* end_;
};

CaptureDocument::CaptureDocument(std::string text) : text_(std::move(text)) {
  Reader(*this).readAll();
}

}  // namespace invscan
