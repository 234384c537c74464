#include "agent/redact/DiskAnswers.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "base/Hex.h"

namespace invscan::agent {
namespace {

constexpr std::size_t kPageHeader = 4;

unsigned byteAt(std::string_view bytes, std::size_t at) {
  return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0;
}

// ---- names ----

struct Designator {
  std::size_t begin, length;
  bool isText;
  bool isName;  // not the number of a port or of a group of ports
};

std::vector<Designator> designatorsOf(std::string_view page) {
  constexpr std::size_t kHeader = 4;
  constexpr unsigned kBinary = 1, kFirstNumber = 4, kLastNumber = 6;
  constexpr std::size_t kNumberSize = 4;
  std::vector<Designator> found;
  for (std::size_t at = kPageHeader; at + kHeader <= page.size();) {
    const unsigned kind = byteAt(page, at + 1) & 0xF;
    const std::size_t begin = at + kHeader;
    const std::size_t length = std::min<std::size_t>(byteAt(page, at + 3), page.size() - begin);
    const bool isNumber = kind >= kFirstNumber && kind <= kLastNumber && length == kNumberSize;
    found.push_back({begin, length, (byteAt(page, at) & 0xF) != kBinary, !isNumber});
    at = begin + length;
  }
  return found;
}

// ---- IDENTIFY DEVICE ----

using Words = std::vector<std::uint16_t>;

constexpr std::size_t kSerialBegin = 10, kSerialEnd = 20;
// World-wide name, what the maker likes, and the serial number of the medium.
constexpr struct { std::size_t begin, end; } kUnknownWords[] = {{108, 112}, {129, 160}, {176, 206}};

std::string serialOf(const Words& words) {
  std::string serial;
  for (std::size_t i = kSerialBegin; i < std::min(kSerialEnd, words.size()); ++i) {
    serial += {static_cast<char>(words[i] >> 8), static_cast<char>(words[i])};
  }
  return serial;
}

void redactWords(Words& words, Replacements& replacements) {
  const std::string serial = replacements.inField(serialOf(words));
  for (std::size_t i = 0; i < serial.size() / 2; ++i) {
    words[kSerialBegin + i] =
        static_cast<std::uint16_t>(byteAt(serial, 2 * i) << 8 | byteAt(serial, 2 * i + 1));
  }
  for (const auto& [begin, end] : kUnknownWords) {
    for (std::size_t i = begin; i < std::min(end, words.size()); ++i) words[i] = 0;
  }
}

Words wordsOf(std::string_view answer) {
  Words words;
  for (std::size_t i = 0; i < answer.size(); i += 2) {
    words.push_back(static_cast<std::uint16_t>(byteAt(answer, i) | byteAt(answer, i + 1) << 8));
  }
  return words;
}

Words wordsOfText(const std::string& text) {
  Words words;
  char* rest = nullptr;
  for (const char* at = text.c_str();; at = rest) {
    const unsigned long word = std::strtoul(at, &rest, 16);
    if (rest == at) return words;
    words.push_back(static_cast<std::uint16_t>(word));
  }
}

}  // namespace

void learnSerialPage(std::string_view page, Replacements& replacements) {
  if (page.size() > kPageHeader) replacements.add(page.substr(kPageHeader));
}

std::string redactSerialPage(const std::string& page, Replacements& replacements) {
  if (page.size() <= kPageHeader) return page;
  const std::size_t end = std::min(page.find('\0', kPageHeader), page.size());
  return page.substr(0, kPageHeader) +
         replacements.inField(std::string_view(page).substr(kPageHeader, end - kPageHeader)) +
         std::string(page.size() - end, '\0');
}

void learnNamePage(std::string_view page, Replacements& replacements) {
  for (const auto& [begin, length, isText, isName] : designatorsOf(page)) {
    const std::string_view name = page.substr(begin, length);
    if (isName && isText) replacements.add(name);
    if (isName && !isText) {
      replacements.add(hex(reinterpret_cast<const unsigned char*>(name.data()), length, kLowerHex));
    }
  }
}

std::string redactNamePage(const std::string& page, Replacements& replacements) {
  std::string result = page.substr(0, kPageHeader);
  for (const auto& [begin, length, isText, isName] : designatorsOf(page)) {
    const std::string name = page.substr(begin, length);
    result += page.substr(result.size(), begin - result.size());
    result += !isName ? name : isText ? replacements.inField(name) : replacements.inName(name);
  }
  return result + std::string(page.size() - result.size(), '\0');
}

std::string redactInquiry(const std::string& answer, Replacements& replacements) {
  constexpr std::size_t kFields = 36;
  const std::size_t kept = std::min(kFields, answer.size());
  return replacements.inBytes(answer.substr(0, kept)) + std::string(answer.size() - kept, '\0');
}

void learnIdentity(std::string_view answer, Replacements& replacements) {
  replacements.add(serialOf(wordsOf(answer)));
}

std::string redactIdentity(const std::string& answer, Replacements& replacements) {
  Words words = wordsOf(answer);
  redactWords(words, replacements);
  std::string result;
  for (const std::uint16_t word : words) {
    result += {static_cast<char>(word), static_cast<char>(word >> 8)};
  }
  return result.substr(0, answer.size());
}

void learnIdentityText(std::string_view text, Replacements& replacements) {
  replacements.add(serialOf(wordsOfText(std::string(text))));
}

std::string redactIdentityText(const std::string& text, Replacements& replacements) {
  constexpr std::size_t kWordsOfLine = 8;
  Words words = wordsOfText(text);
  redactWords(words, replacements);
  std::string result;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const unsigned char bytes[] = {static_cast<unsigned char>(words[i] >> 8),
                                   static_cast<unsigned char>(words[i])};
    appendHex(result, bytes, sizeof bytes, kLowerHex);
    result += (i + 1) % kWordsOfLine == 0 ? '\n' : ' ';
  }
  return result;
}

}  // namespace invscan::agent
