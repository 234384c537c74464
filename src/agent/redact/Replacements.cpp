#include "agent/redact/Replacements.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "agent/formats/Value.h"

namespace invscan::agent {
namespace {

constexpr std::size_t kShortestWord = 4;
constexpr std::size_t kEthernetAddress = 6;

// Bytes of other scripts count as letters.
bool isWordCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || (c & 0x80);
}

bool isWord(std::string_view text, std::size_t begin, std::size_t length) {
  const std::size_t end = begin + length;
  return (begin == 0 || !isWordCharacter(text[begin - 1])) &&
         (end == text.size() || !isWordCharacter(text[end]));
}

// The address that a text spells, in network order; empty when it spells none.
std::string addressBytes(const std::string& text) {
  unsigned char bytes[sizeof(in6_addr)];
  std::size_t count = 0;
  int end = 0;
  if (inet_pton(AF_INET, text.c_str(), bytes) == 1) {
    count = sizeof(in_addr);
  } else if (inet_pton(AF_INET6, text.c_str(), bytes) == 1) {
    count = sizeof(in6_addr);
  } else if (std::sscanf(text.c_str(), "%2hhx:%2hhx:%2hhx:%2hhx:%2hhx:%2hhx%n", &bytes[0],
                         &bytes[1], &bytes[2], &bytes[3], &bytes[4], &bytes[5], &end) == 6 &&
             static_cast<std::size_t>(end) == text.size()) {
    count = kEthernetAddress;
  }
  return std::string(reinterpret_cast<const char*>(bytes), count);
}

// Six or more pairs of digits joined by ':'.
bool isHardwareAddress(std::string_view text) {
  if (text.size() < 3 * kEthernetAddress - 1 || text.size() % 3 != 2) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isDigit = std::isxdigit(static_cast<unsigned char>(text[i])) != 0;
    if (i % 3 == 2 ? text[i] != ':' : !isDigit) return false;
  }
  return true;
}

// An address as the groups spell it; empty for what is none and for what every machine has: masks,
// loopback and what stands for no address or for all.
std::string tellingAddress(std::string text) {
  if (isHardwareAddress(text)) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    const bool tells =
        text.find_first_not_of("0:") != text.npos && text.find_first_not_of("F:") != text.npos;
    return tells ? text : "";
  }
  char spelled[INET6_ADDRSTRLEN];
  in_addr ipv4;
  if (inet_pton(AF_INET, text.c_str(), &ipv4) == 1) {
    const unsigned first = ntohl(ipv4.s_addr) >> 24;
    return first == 0 || first == 127 || first == 255 ? "" : text;
  }
  in6_addr ipv6;
  const bool tells = inet_pton(AF_INET6, text.c_str(), &ipv6) == 1 &&
                     !IN6_IS_ADDR_UNSPECIFIED(&ipv6) && !IN6_IS_ADDR_LOOPBACK(&ipv6);
  return tells ? inet_ntop(AF_INET6, &ipv6, spelled, sizeof spelled) : "";
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
  if (!scan.hostName.empty()) add(scan.hostName, redactor.token(scan.hostName));
  for (const GroupResult& result : scan.groups) {
    for (const Row& row : result.rows) {
      for (const Record& record : row) {
        if (!isSecret(*result.group, *record)) continue;
        const std::string value = plainText(*record);
        isPath(*result.group, *record) ? addPath(value) : add(value, redactor.token(value));
      }
    }
  }
}

void Replacements::add(const std::string& value, const std::string& token) {
  (value.size() < kShortestWord ? lines_ : words_).emplace(value, token);
  const std::string address = addressBytes(value);
  // The unspecified address is in every table, and tells nothing.
  if (address.find_first_not_of('\0') == address.npos) return;
  addresses_.emplace(address, std::string(digitsOf(token)));
}

// Whoever mounts something may name it by any word of any file: one that looks like a word is
// replaced in tables of mounts only.
void Replacements::addPath(const std::string& path) {
  const std::string replaced = redactPath(path, redactor_);
  if (replaced != path && path.find_first_of("/:@.") != path.npos) add(path, replaced);
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

std::string Replacements::inListing(std::string_view text) {
  constexpr std::string_view kParts = "0123456789abcdefABCDEF:.";
  const std::string replaced = inText(text);
  std::string result;
  for (std::string_view rest = replaced; !rest.empty();) {
    std::string_view run = rest.substr(0, rest.find_first_not_of(kParts));
    // A listing may have marks around it, such as "addr:".
    if (run.starts_with(':') && !run.starts_with("::")) run = run.substr(0, 1);
    if (run.ends_with('.')) run.remove_suffix(1);
    const bool isWhole = result.empty() || !isWordCharacter(result.back());
    const std::string address = isWhole ? tellingAddress(std::string(run)) : "";
    const std::size_t length = std::max<std::size_t>(run.size(), 1);
    if (!address.empty()) ++count_;
    result += address.empty() ? std::string(rest.substr(0, length)) : redactor_.token(address);
    rest.remove_prefix(length);
  }
  return result;
}

std::string Replacements::inBytes(std::string_view bytes) {
  std::string result = replaceWords(bytes, words_, [this](const auto& entry) {
    ++count_;
    return repeated(digitsOf(entry.second), entry.first.size());
  });
  for (const auto& [address, digits] : addresses_) {
    for (std::size_t i = 0; (i = result.find(address, i)) != result.npos; i += address.size()) {
      ++count_;
      result.replace(i, address.size(), digits, 0, address.size());
    }
  }
  return result;
}

}  // namespace invscan::agent
