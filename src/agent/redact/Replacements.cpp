#include "agent/redact/Replacements.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <vector>

#include "agent/formats/Value.h"
#include "agent/redact/Addresses.h"
#include "base/Trim.h"

namespace invscan::agent {
namespace {

constexpr std::size_t kShortestWord = 4;

// Bytes of other scripts count as letters.
bool isWordCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || (c & 0x80);
}

bool isWord(std::string_view text, std::size_t begin, std::size_t length) {
  const std::size_t end = begin + length;
  return (begin == 0 || !isWordCharacter(text[begin - 1])) &&
         (end == text.size() || !isWordCharacter(text[end]));
}

// The two ways in which firmware has the UUID that a text spells; none when it spells none that
// tells a machine.
std::vector<std::string> uuidBytes(const std::string& text) {
  constexpr std::size_t kGroups[] = {8, 13, 18, 23}, kLength = 36, kSize = 16;
  std::string digits;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isMark = std::find(std::begin(kGroups), std::end(kGroups), i) != std::end(kGroups);
    if (isMark ? text[i] != '-' : std::isxdigit(static_cast<unsigned char>(text[i])) == 0)
      return {};
    if (!isMark) digits += text[i];
  }
  if (text.size() != kLength) return {};
  std::string bytes;
  for (std::size_t i = 0; i < 2 * kSize; i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  // One of equal bytes fills in for a UUID, and is in every table.
  if (bytes.find_first_not_of(bytes[0]) == bytes.npos) return {};
  std::string swapped = bytes;
  std::reverse(swapped.begin(), swapped.begin() + 4);
  std::reverse(swapped.begin() + 4, swapped.begin() + 6);
  std::reverse(swapped.begin() + 6, swapped.begin() + 8);
  return {bytes, swapped};
}

std::string lowerCase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
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

using Table = std::map<std::string, std::string, std::less<>>;

// The longest entry of the table that begins the text at a place and is a whole word there, or end.
Table::const_iterator longestWordAt(const Table& table, std::string_view text, std::size_t place) {
  // Whatever begins the text and sorts before a neighbour has no more than both have in common, so
  // that each look goes at least a character back, however many entries there are.
  std::string_view rest = text.substr(place);
  for (auto entry = table.upper_bound(rest); entry != table.begin();
       entry = table.upper_bound(rest)) {
    --entry;
    const std::string_view word = entry->first;
    const bool begins = rest.starts_with(word);
    if (begins && isWord(text, place, word.size())) return entry;
    rest = begins ? word.substr(0, word.size() - 1) : commonBeginning(word, rest);
  }
  return table.end();
}

// Calls replace(entry) for every word of the table; the rest of the text stays.
template <class Replace>
std::string replaceWords(std::string_view text, const Table& table, Replace replace) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const bool canBegin = i == 0 || !isWordCharacter(text[i - 1]);
    const auto found = canBegin ? longestWordAt(table, text, i) : table.end();
    if (found == table.end()) {
      result += text[i++];
    } else {
      result += replace(*found);
      i += found->first.size();
    }
  }
  return result;
}

}  // namespace

Replacements::Replacements(const Scan& scan, const Redactor& redactor) : redactor_(redactor) {
  if (!scan.hostName.empty()) add(scan.hostName);
  for (const GroupResult& result : scan.groups) {
    for (const Row& row : result.rows) {
      for (const Record& record : row) {
        if (!isSecret(*result.group, *record)) continue;
        isPath(*result.group, *record) ? addPath(plainText(*record)) : add(plainText(*record));
      }
    }
  }
}

void Replacements::add(const std::string& value) {
  const std::string address = value.substr(0, value.find('/'));
  if (const auto known = Address::spelled(address)) {
    add(address, *known);
    return;
  }
  const std::string token = redactor_.token(value);
  (value.size() < kShortestWord ? lines_ : words_).emplace(value, token);
  for (const std::string& uuid : uuidBytes(value)) {
    words_.emplace(lowerCase(value), token);  // as the kernel spells it
    addresses_.emplace(uuid, digitsOf(token));
    sizes_.insert(uuid.size());
  }
}

void Replacements::add(const std::string& text, const Address& address) {
  if (!address.tells()) return;
  const Address substitute = address.substitute(redactor_);
  const auto place = addresses_.emplace(address.bytes(), substitute.bytes()).first;
  sizes_.insert(place->first.size());
  // Hardware addresses are written in either case.
  std::string upper = text;
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  for (const std::string& spelled : {text, lowerCase(text), upper}) {
    words_.emplace(spelled, substitute.spelledLike(spelled));
  }
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
    if (const auto address = Address::spelled(text)) add(text, *address);
    const std::size_t length = std::max<std::size_t>(run.size(), 1);
    before = rest[length - 1];
    rest.remove_prefix(length);
  }
}

void Replacements::learnDigits(std::string_view listing) {
  constexpr std::string_view kBlanks = " \t\n";
  while (!listing.empty()) {
    const std::string word(listing.substr(0, listing.find_first_of(kBlanks)));
    if (const auto address = Address::inDigits(word)) add(word, *address);
    listing.remove_prefix(std::min(word.size() + 1, listing.size()));
  }
}

void Replacements::learnAnswer(std::string_view answer) {
  constexpr std::string_view kNames[] = {
      "WWNN:s=", "WWPN:s=", "Serial:s=", "SerialNumber:s=", "UUID:s="};
  while (!answer.empty()) {
    const std::string_view line = answer.substr(0, answer.find('\n'));
    answer.remove_prefix(std::min(line.size() + 1, answer.size()));
    const std::string_view entry = withoutLeading(line, kBlank);
    for (const std::string_view name : kNames) {
      if (entry.starts_with(name) && entry.size() > name.size()) {
        add(std::string(entry.substr(name.size())));
      }
    }
  }
}

// Whoever mounts something may name it by any word of any file: one that looks like a word is
// replaced in tables of mounts only.
void Replacements::addPath(const std::string& path) {
  const std::string replaced = redactPath(path, redactor_);
  if (replaced == path || path.find_first_of("/:@.") == path.npos) return;
  (path.size() < kShortestWord ? lines_ : words_).emplace(path, replaced);
}

std::string Replacements::inMounts(std::string_view text, MountTable table) {
  std::string replaced =
      redactMounts(text, table, redactor_, [this](const std::string& name) { addPath(name); });
  if (replaced != text) ++count_;
  return replaced;
}

std::string Replacements::inText(std::string_view text) {
  const std::string replaced = replaceWords(text, words_, [this](const auto& entry) {
    ++count_;
    return entry.second;
  });
  if (lines_.empty()) return replaced;

  std::string result;
  for (std::size_t begin = 0; begin < replaced.size();) {
    const std::size_t end = std::min(replaced.find('\n', begin), replaced.size());
    const std::string_view line = std::string_view(replaced).substr(begin, end - begin);
    const auto found = lines_.find(line);
    if (found != lines_.end()) ++count_;
    result += found == lines_.end() ? line : found->second;
    if (end < replaced.size()) result += '\n';
    begin = end + 1;
  }
  return result;
}

std::string Replacements::inBytes(std::string_view bytes) {
  const std::string replaced = replaceWords(bytes, words_, [this](const auto& entry) {
    ++count_;
    return repeated(digitsOf(redactor_.token(entry.first)), entry.first.size());
  });
  std::string result;
  for (std::string_view rest = replaced; !rest.empty();) {
    const auto found = addressAt(rest);
    if (found != addresses_.end()) ++count_;
    result += found == addresses_.end() ? rest.substr(0, 1) : std::string_view(found->second);
    rest.remove_prefix(found == addresses_.end() ? 1 : found->first.size());
  }
  return result;
}

Replacements::Table::const_iterator Replacements::addressAt(std::string_view bytes) const {
  for (const std::size_t size : sizes_) {
    const auto found =
        size <= bytes.size() ? addresses_.find(bytes.substr(0, size)) : addresses_.end();
    if (found != addresses_.end()) return found;
  }
  return addresses_.end();
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
