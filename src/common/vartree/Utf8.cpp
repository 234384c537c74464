#include "common/vartree/Utf8.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include <invscan/vartree.h>

namespace {

constexpr unsigned kContinuation = 0x80;
constexpr unsigned kContinuationBits = 6;
constexpr unsigned kContinuationMask = 0x3F;

// A form of several bytes: 2 hold 11 bits, and each further one 5 more.
int encodedSize(unsigned character) {
  if (character < 0x80) return 1;
  const auto bits = static_cast<int>(std::bit_width(character));
  return bits <= 11 ? 2 : (bits - 2) / 5 + 1;
}

void encode(unsigned character, int size, unsigned char* out) {
  for (int place = size - 1; place > 0; --place) {
    out[place] = static_cast<unsigned char>(kContinuation | (character & kContinuationMask));
    character >>= kContinuationBits;
  }
  const unsigned lead = size == 1 ? 0 : 0xFF00u >> size;
  out[0] = static_cast<unsigned char>(lead | character);
}

// The number of continuation bytes that a lead byte above ASCII asks for.
unsigned followers(unsigned char lead) {
  return static_cast<unsigned>(std::countl_one(lead)) - 1;
}

// Takes a character off the front of a text; false when the text ends within it.
bool decode(const unsigned char*& text, wchar_t& character) {
  const unsigned char lead = *text++;
  unsigned bits = lead;
  if (lead >= 0x80) {
    const unsigned count = followers(lead);
    bits = lead & (kContinuationMask >> count);
    for (unsigned place = 0; place < count; ++place) {
      if (*text == 0) return false;
      bits = bits << kContinuationBits | (*text++ & kContinuationMask);
    }
  }
  character = static_cast<wchar_t>(bits);
  return true;
}

constexpr std::size_t kWordSize = sizeof(std::uint64_t);

// Whether a text begins with as many bytes of ASCII as are looked at together.
bool isAsciiWord(std::string_view text) {
  std::uint64_t word = 0;
  if (text.size() < kWordSize) return false;
  std::memcpy(&word, text.data(), kWordSize);
  return (word & 0x8080808080808080) == 0;
}

bool isContinuation(unsigned char byte) {
  return (byte & 0xC0) == kContinuation;
}

// The length of the character at the front of a text that begins above ASCII; 0 when it is none:
// cut short, longer than it need be, half of a pair, or beyond the last one.
std::size_t multibyteSize(std::string_view text) {
  const auto byte = [text](std::size_t place) { return static_cast<unsigned char>(text[place]); };
  const unsigned char lead = byte(0);
  const std::size_t size = lead < 0xC2 || lead > 0xF4 ? 0 : followers(lead) + 1;
  if (size == 0 || text.size() < size) return 0;
  for (std::size_t place = 1; place < size; ++place) {
    if (!isContinuation(byte(place))) return 0;
  }
  const unsigned char second = byte(1);
  const bool fits = lead == 0xE0   ? second >= 0xA0
                    : lead == 0xED ? second < 0xA0
                    : lead == 0xF0 ? second >= 0x90
                    : lead == 0xF4 ? second < 0x90
                                   : true;
  return fits ? size : 0;
}

}  // namespace

unsigned long stringToUTF8(unsigned char* out, unsigned long outSize, const wchar_t* in) {
  if (!out || outSize == 0) return 0;
  unsigned long used = 0;
  unsigned long characters = 0;
  for (; in && *in && used < outSize - 1; ++in) {
    if (*in < 0) continue;
    const auto character = static_cast<unsigned>(*in);
    const int size = encodedSize(character);
    if (static_cast<unsigned long>(size) > outSize - 1 - used) continue;
    encode(character, size, out + used);
    used += static_cast<unsigned long>(size);
    ++characters;
  }
  out[used] = 0;
  return characters;
}

unsigned long utf8ToWideChar(wchar_t* out, unsigned long outCount, const unsigned char* in) {
  if (!out || outCount == 0) return 0;
  unsigned long count = 0;
  while (in && *in && count < outCount - 1 && decode(in, out[count])) ++count;
  out[count] = 0;
  return count;
}

namespace invscan {

std::size_t utf8Prefix(std::string_view text) {
  std::size_t length = 0;
  while (length < text.size()) {
    if (isAsciiWord(text.substr(length))) {
      length += kWordSize;
      continue;
    }
    const bool isAscii = static_cast<unsigned char>(text[length]) < 0x80;
    const std::size_t size = isAscii ? 1 : multibyteSize(text.substr(length));
    if (size == 0) break;
    length += size;
  }
  return length;
}

}  // namespace invscan
