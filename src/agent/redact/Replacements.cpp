#include "agent/redact/Replacements.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <vector>

#include "agent/formats/Value.h"
#include "agent/redact/Placeholders.h"
#include "base/Hex.h"
#include "base/Trim.h"

namespace invscan::agent {
namespace {

constexpr std::size_t kShortestWord = 4;
constexpr std::size_t kShortestNumber = 6;
constexpr std::size_t kShortestPart = 8;  // of a word
constexpr std::size_t kUuidSize = 16;
constexpr std::size_t kUuidLength = 36;
constexpr std::string_view kBlanks = " \t\r\n\f\v";

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isHexDigit(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

bool hasDigit(std::string_view text) {
  return std::any_of(text.begin(), text.end(), isDigit);
}

bool isNumber(std::string_view text) {
  return std::all_of(text.begin(), text.end(), isDigit);
}

// Bytes of other scripts count as letters.
bool isWordCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || (c & 0x80);
}

bool endsWord(std::string_view text, std::size_t end) {
  return end >= text.size() || !isWordCharacter(text[end]);
}

bool beginsWord(std::string_view text, std::size_t begin) {
  return begin == 0 || !isWordCharacter(text[begin - 1]);
}

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

std::string hexOf(std::string_view bytes) {
  return hex(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), kLowerHex);
}

std::string bytesOfDigits(std::string_view digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16));
  }
  return bytes;
}

std::string hexDigitsOf(std::string_view text) {
  std::string digits;
  std::copy_if(text.begin(), text.end(), std::back_inserter(digits), isHexDigit);
  return digits;
}

bool isUuid(std::string_view text) {
  constexpr std::size_t kMarks[] = {8, 13, 18, 23};
  if (text.size() != kUuidLength) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isMark = std::find(std::begin(kMarks), std::end(kMarks), i) != std::end(kMarks);
    if (isMark ? text[i] != '-' : !isHexDigit(text[i])) return false;
  }
  return true;
}

std::string uuidText(std::string_view bytes) {
  std::string text = hexOf(bytes);
  for (const std::size_t mark : {8, 13, 18, 23}) text.insert(mark, "-");
  return text;
}

// The other way in which firmware has a UUID in bytes.
std::string swapped(std::string bytes) {
  std::reverse(bytes.begin(), bytes.begin() + 4);
  std::reverse(bytes.begin() + 4, bytes.begin() + 6);
  std::reverse(bytes.begin() + 6, bytes.begin() + 8);
  return bytes;
}

// As hypervisors make a serial number of one: pairs of digits with blanks between them.
std::string inPairs(std::string_view bytes, std::string_view middle) {
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i > 0) text += i == bytes.size() / 2 ? middle : kBlank;
    text += hexOf(bytes.substr(i, 1));
  }
  return text;
}

std::string_view digitsOf(std::string_view token) {
  return token.substr(token.find('-') + 1);
}

std::string repeated(std::string_view text, std::size_t length) {
  std::string result;
  for (std::size_t i = 0; i < length; ++i) result += text[i % text.size()];
  return result;
}

std::string_view commonBeginning(std::string_view a, std::string_view b) {
  return a.substr(0, static_cast<std::size_t>(
                         std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin()));
}

std::size_t beginningOf(std::string_view text) {
  return static_cast<unsigned char>(text[0]) << 8 | static_cast<unsigned char>(text[1]);
}

// The name of a user, where it stands in a path; none when it is replaced already.
std::size_t userNameAt(std::string_view lower, std::size_t place) {
  constexpr std::string_view kHome = "/home/", kReplaced = "redacted-";
  if (!lower.substr(0, place).ends_with(kHome)) return 0;
  const std::string_view rest = lower.substr(place);
  if (rest.starts_with(kReplaced)) return 0;
  return std::min(rest.find_first_of("/:@,=()[]{}\\#\"'<>; \t\n"), rest.size());
}

// The text with something else in place of what is left when blanks around it are taken away.
template <class Replace>
std::string replaceTrimmed(std::string_view text, Replace replace) {
  const std::string_view value = trimmed(text, kBlanks);
  std::string result(text);
  const std::size_t begin =
      value.empty() ? 0 : static_cast<std::size_t>(value.data() - text.data());
  return result.replace(begin, value.size(), replace(value));
}

}  // namespace

Replacements::Replacements(const Redactor& redactor) : redactor_(redactor) {
}

Replacements::Replacements(const Scan& scan, const Redactor& redactor) : redactor_(redactor) {
  add(scan.hostName);
  addHost(scan.hostName);
  for (const GroupResult& result : scan.groups) {
    for (const Row& row : result.rows) {
      for (const Record& record : row) {
        if (!isSecret(*result.group, *record)) continue;
        isPath(*result.group, *record) ? addPath(plainText(*record)) : add(plainText(*record));
      }
    }
  }
}

void Replacements::add(std::string_view text) {
  const std::string value(trimmed(text, kBlanks));
  if (value.empty() || isPlaceholder(value) || isCommonHostName(value)) return;
  const std::string address = value.substr(0, value.find('/'));
  if (const auto known = Address::spelled(address)) return addAddress(address, *known);
  if (value.size() < (isNumber(value) ? kShortestNumber : kShortestWord)) return;
  if (words_.contains(lowerCase(value))) return;
  const std::string token = redactor_.token(value);
  const bool isRare = value.size() >= kShortestPart && hasDigit(value);
  const Word word{token, std::nullopt, isRare, hasDigit(value)};
  addWord(value, word);
  // World-wide names are made of serial numbers in this way.
  if (isRare) addWord(hexOf(value), word);
  if (isUuid(value)) addSpelledUuid(lowerCase(value));
  add(trimmed(value, "./-_:"));
  // "naa.5000c500...", "0x5000c500..."
  const std::size_t prefix = std::min(value.find_first_of(".x"), value.size() - 1) + 1;
  const std::string_view name = std::string_view(value).substr(prefix);
  if (prefix <= kShortestWord && name.size() >= kShortestPart && !isPlaceholder(name) &&
      std::all_of(name.begin(), name.end(), isHexDigit)) {
    addWord(name, {redactor_.token(std::string(name)), std::nullopt, true, true});
  }
}

void Replacements::addHost(std::string_view name) {
  if (name.ends_with('.')) name.remove_suffix(1);
  const std::size_t dot = std::min(name.find('.'), name.size());
  if (Address::spelled(std::string(name))) return;
  add(name.substr(0, dot));
  add(name.substr(std::min(dot + 1, name.size())));
}

void Replacements::addWord(std::string_view text, const Word& word) {
  const std::string lower = lowerCase(text);
  words_.emplace(lower, word);
  beginnings_.set(beginningOf(lower));
}

void Replacements::addUuid(std::string_view bytes) {
  if (bytes.size() == kUuidSize) add(uuidText(bytes));
}

void Replacements::addSpelledUuid(const std::string& text) {
  const std::string bytes = bytesOfDigits(hexDigitsOf(text));
  const Word word{redactor_.token(text), std::nullopt, true, true};
  for (const std::string& order : {bytes, swapped(bytes)}) {
    addWord(hexOf(order), word);
    addWord(uuidText(order), word);
    addWord(inPairs(order, "-"), word);
    addWord(inPairs(order, kBlank), word);
  }
  const std::string other = redactor_.noise(text).substr(0, kUuidSize);
  bytes_.emplace(bytes, other);
  bytes_.emplace(swapped(bytes), swapped(other));
  sizes_.insert(kUuidSize);
}

void Replacements::addAddress(std::string_view bytes) {
  constexpr std::string_view kForms[] = {"0.0.0.0", "0:0", "00:00"};
  const auto address = Address::ofBytes(bytes);
  if (!address) return;
  const std::string_view form = kForms[bytes.size() == 4 ? 0 : bytes.size() == kUuidSize ? 1 : 2];
  addAddress(address->spelledLike(form), *address);
}

void Replacements::addAddress(const std::string& text, const Address& address) {
  if (!address.tells()) return;
  const auto wordOf = [this](const Address& one) {
    return Word{"", one.substitute(redactor_), one.bytes().size() > kShortestWord, true};
  };
  addWord(text, wordOf(address));
  for (const std::string& other : address.otherSpellings()) {
    addWord(other, wordOf(*Address::ofBytes(bytesOfDigits(hexDigitsOf(other)))));
  }
  if (address.bytes().size() <= kShortestWord) return;  // comes about by chance
  bytes_.emplace(address.bytes(), address.substitute(redactor_).bytes());
  sizes_.insert(address.bytes().size());
}

void Replacements::learn(std::string_view listing) {
  constexpr std::string_view kParts = "0123456789abcdefABCDEF:.";
  char before = ' ';
  for (std::string_view rest = listing; !rest.empty();) {
    std::string_view run = rest.substr(0, rest.find_first_not_of(kParts));
    // A listing may have marks around it, such as "addr:".
    if (run.starts_with(':') && !run.starts_with("::")) run = run.substr(0, 1);
    if (run.ends_with('.')) run.remove_suffix(1);
    const std::string text(isWordCharacter(before) ? std::string_view() : run);
    if (const auto address = Address::spelled(text)) addAddress(text, *address);
    const std::size_t length = std::max<std::size_t>(run.size(), 1);
    before = rest[length - 1];
    rest.remove_prefix(length);
  }
}

void Replacements::learnDigits(std::string_view listing) {
  while (!listing.empty()) {
    const std::string word(listing.substr(0, listing.find_first_of(kBlanks)));
    if (const auto address = Address::inDigits(word)) addAddress(word, *address);
    listing.remove_prefix(std::min(word.size() + 1, listing.size()));
  }
}

// Whoever mounts something may name it by any word of any file: one that looks like a word is
// replaced in tables of mounts only.
void Replacements::addPath(const std::string& path) {
  const std::string replaced = redactPath(path, redactor_);
  if (replaced == path || path.find_first_of("/:@.") == path.npos) return;
  if (path.size() >= kShortestWord) addWord(path, {replaced, std::nullopt, false, false});
}

Replacements::Words::const_iterator Replacements::longestWordAt(std::string_view lower,
                                                                std::size_t place) const {
  // Whatever begins the text and sorts before a neighbour has no more than both have in common, so
  // that each look goes at least a character back, however many entries there are.
  std::string_view rest = lower.substr(place);
  const bool canBegin = beginsWord(lower, place);
  for (auto entry = words_.upper_bound(rest); entry != words_.begin();
       entry = words_.upper_bound(rest)) {
    --entry;
    const std::string_view word = entry->first;
    const bool begins = rest.starts_with(word);
    const bool isWhole = canBegin && endsWord(lower, place + word.size());
    if (begins && (isWhole || entry->second.isAnywhere)) return entry;
    rest = begins ? word.substr(0, word.size() - 1) : commonBeginning(word, rest);
  }
  return words_.end();
}

// What nobody had to tell: hardware and IPv6 addresses, and UUIDs.
Replacements::Find Replacements::formAt(std::string_view lower, std::size_t place) const {
  constexpr std::string_view kParts = "0123456789abcdef:-", kNamedByAddress = "enx";
  constexpr std::size_t kFewestDigits = 3, kHardwareDigits = 12, kLongest = 64;
  const std::string_view rest = lower.substr(place);
  if (!beginsWord(lower, place)) return {};
  if (rest.starts_with(kNamedByAddress)) {
    const std::string_view digits = rest.substr(kNamedByAddress.size(), kHardwareDigits);
    const bool isAddress = digits.size() == kHardwareDigits &&
                           std::all_of(digits.begin(), digits.end(), isHexDigit) &&
                           endsWord(rest, kNamedByAddress.size() + kHardwareDigits);
    if (!isAddress) return {};
    return {kNamedByAddress.size() + kHardwareDigits, nullptr,
            Address::ofBytes(bytesOfDigits(digits)), kNamedByAddress.size()};
  }
  std::string_view run = rest.substr(0, kLongest);
  run = run.substr(0, run.find_first_not_of(kParts));
  if (isUuid(run.substr(0, kUuidLength)) && endsWord(rest, kUuidLength)) {
    return isPlaceholder(run.substr(0, kUuidLength)) ? Find{} : Find{kUuidLength};
  }
  while (run.ends_with('-') || (run.ends_with(':') && !run.ends_with("::"))) run.remove_suffix(1);
  const auto marks = std::count(run.begin(), run.end(), ':');
  const bool isHardware = marks == 0 && std::count(run.begin(), run.end(), '-') >= 5;
  const bool isLong = marks >= 2 && hexDigitsOf(run).size() >= kFewestDigits;
  if ((!isHardware && !isLong) || !endsWord(rest, run.size())) return {};
  const auto address = Address::spelled(std::string(run));
  return address && address->tells() ? Find{run.size(), nullptr, address} : Find{};
}

Replacements::Find Replacements::findAt(std::string_view lower, std::size_t place) const {
  const bool mayBeWord = place + 1 < lower.size() && beginnings_[beginningOf(lower.substr(place))];
  const auto word = mayBeWord ? longestWordAt(lower, place) : words_.end();
  const char c = lower[place];
  const bool mayBeForm = isHexDigit(c) || c == ':';
  Find form = mayBeForm ? formAt(lower, place) : Find{};
  const std::size_t user = userNameAt(lower, place);
  if (user > form.length) form = {user};
  if (word == words_.end() || form.length > word->first.size()) return form;
  return {word->first.size(), &word->second};
}

template <class Replace>
std::string Replacements::replaceAll(std::string_view text, Replace replace) const {
  const std::string lower = lowerCase(text);
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const Find found = findAt(lower, i);
    const std::size_t length = std::max<std::size_t>(found.length, 1);
    const std::string_view original = text.substr(i, length);
    result += found.length == 0 ? std::string(original) : replace(found, original);
    i += length;
  }
  return result;
}

std::string Replacements::replaced(const Find& found, std::string_view original) const {
  if (found.word && found.word->address) return found.word->address->spelledLike(original);
  if (found.word) return found.word->token;
  if (found.address) {
    return std::string(original.substr(0, found.kept)) +
           found.address->substitute(redactor_).spelledLike(original.substr(found.kept));
  }
  return isUuid(original) ? redactor_.token(std::string(original))
                          : redactPath(original, redactor_);
}

std::string Replacements::inMountName(std::string_view name) {
  const std::string replaced = redactPath(name, redactor_);
  if (replaced != name) ++count_;
  return replaced;
}

std::string Replacements::inMounts(std::string_view text, MountTable table) {
  std::string replaced =
      redactMounts(text, table, redactor_, [this](const std::string& name) { addPath(name); });
  if (replaced != text) ++count_;
  return replaced;
}

std::string Replacements::inText(std::string_view text) {
  return replaceAll(text, [this](const Find& found, std::string_view original) {
    ++count_;
    return replaced(found, original);
  });
}

std::string Replacements::inPath(std::string_view path) {
  return replaceAll(path, [&](const Find& found, std::string_view original) {
    const auto begin = static_cast<std::size_t>(original.data() - path.data());
    const std::size_t end = begin + original.size();
    const bool isPart =
        (begin == 0 || path[begin - 1] == '/') && (end == path.size() || path[end] == '/');
    if (!isPart && found.word && !found.word->isInPaths) return std::string(original);
    ++count_;
    return replaced(found, original);
  });
}

std::string Replacements::inValue(std::string_view text) {
  return replaceTrimmed(text, [this](std::string_view value) -> std::string {
    if (isPlaceholder(value) || isCommonHostName(value)) return std::string(value);
    ++count_;
    if (const auto address = Address::spelled(std::string(value))) {
      return address->tells() ? address->substitute(redactor_).spelledLike(value)
                              : std::string(value);
    }
    return redactor_.token(std::string(value));
  });
}

std::string Replacements::inField(std::string_view text) {
  return replaceTrimmed(text, [this](std::string_view value) -> std::string {
    if (isPlaceholder(value)) return std::string(value);
    ++count_;
    return repeated(digitsOf(redactor_.token(std::string(value))), value.size());
  });
}

std::string Replacements::inHost(std::string_view name) {
  if (Address::spelled(std::string(name))) return inValue(name);
  const std::string_view whole = name.ends_with('.') ? name.substr(0, name.size() - 1) : name;
  std::string result;
  for (const std::string_view part :
       {whole.substr(0, whole.find('.')),
        whole.substr(std::min(whole.find('.'), whole.size() - 1) + 1)}) {
    if (part.empty()) continue;
    if (!result.empty()) result += '.';
    result += isCommonHostName(part) ? std::string(part) : redactor_.token(std::string(part));
  }
  if (result != whole) ++count_;
  return result + std::string(name.substr(whole.size()));
}

std::string Replacements::inBytes(std::string_view bytes) {
  const std::string replaced = replaceAll(bytes, [this](const Find&, std::string_view original) {
    ++count_;
    return repeated(digitsOf(redactor_.token(std::string(original))), original.size());
  });
  std::string result;
  for (std::string_view rest = replaced; !rest.empty();) {
    const auto found = bytesAt(rest);
    if (found != bytes_.end()) ++count_;
    result += found == bytes_.end() ? rest.substr(0, 1) : std::string_view(found->second);
    rest.remove_prefix(found == bytes_.end() ? 1 : found->first.size());
  }
  return result;
}

Replacements::Bytes::const_iterator Replacements::bytesAt(std::string_view bytes) const {
  for (const std::size_t size : sizes_) {
    const auto found = size <= bytes.size() ? bytes_.find(bytes.substr(0, size)) : bytes_.end();
    if (found != bytes_.end()) return found;
  }
  return bytes_.end();
}

std::string Replacements::inUuid(std::string_view bytes) {
  if (bytes.size() != kUuidSize || isPlaceholder(uuidText(bytes))) return std::string(bytes);
  const auto known = bytes_.find(bytes);
  ++count_;
  return known != bytes_.end() ? known->second
                               : redactor_.noise(uuidText(bytes)).substr(0, kUuidSize);
}

std::string Replacements::inName(std::string_view bytes) {
  if (bytes.empty() || isPlaceholder(hexOf(bytes))) return std::string(bytes);
  ++count_;
  std::string name = repeated(redactor_.noise(hexOf(bytes)), bytes.size());
  name[0] = static_cast<char>((bytes[0] & 0xF0) | (name[0] & 0x0F));
  return name;
}

std::optional<std::string> Replacements::inAddress(std::string_view bytes) {
  const auto address = Address::ofBytes(bytes);
  if (!address) return std::nullopt;
  if (!address->tells()) return address->bytes();
  ++count_;
  const auto [known, isNew] = substitutes_.try_emplace(address->bytes());
  if (isNew) known->second = address->substitute(redactor_).bytes();
  return known->second;
}

}  // namespace invscan::agent
