#include <invscan/table.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "base/LocalTime.h"

namespace {

constexpr unsigned long kCharacterSize = sizeof(wchar_t);
constexpr unsigned long kCountSize = sizeof(KelString::count);
constexpr int kFirstYear = 1900;

// How many characters were converted, without terminator; 0 for an invalid text. ASCII is the same
// in every locale, and most texts are nothing else.
unsigned long convert(const char* text, wchar_t* destination, unsigned long limit) {
  if (!text) return 0;
  const std::size_t length = strnlen(text, limit);
  const char* end = text + length;
  const auto isAscii = [](char letter) { return static_cast<unsigned char>(letter) < 0x80; };
  if (std::all_of(text, end, isAscii)) {
    std::copy(text, end, destination);
    return length;
  }
  const std::size_t converted = std::mbstowcs(destination, text, limit);
  return converted == static_cast<std::size_t>(-1) ? 0 : converted;
}

// False as well for a year that four digits cannot express.
bool breakDown(long time, std::tm& parts) {
  if (!invscan::toLocalTime(time, parts)) return false;
  return parts.tm_year >= -kFirstYear && parts.tm_year <= 9999 - kFirstYear;
}

}  // namespace

unsigned long SizeofKelString(const KelString* string) {
  return string->count * kCharacterSize + kCountSize;
}

unsigned long SizeAsKelString(const char* text) {
  const unsigned long characters = (text ? std::strlen(text) : 0) + 1;
  return characters * kCharacterSize + kCountSize;
}

unsigned long StringToKelString(const char* text, KelString* destination, unsigned long limit,
                                unsigned long* offset, unsigned long* previousOffset) {
  const unsigned long characters = convert(text, destination->text, limit);
  destination->text[characters] = L'\0';
  destination->count = characters + 1;

  const unsigned long size = SizeofKelString(destination);
  *previousOffset = *offset;
  *offset += size;
  return size;
}

void TimeToKelDateTime(long time, char* buffer) {
  std::tm parts;
  if (!breakDown(time, parts)) {
    std::memset(buffer, 0, 8);
    return;
  }
  std::memcpy(buffer, "0000-00-00-00.00.00.000000", kDateTimeSize);
  const auto put = [buffer](int end, int number) {
    for (; number > 0; number /= 10) buffer[--end] = static_cast<char>('0' + number % 10);
  };
  put(4, parts.tm_year + kFirstYear);
  put(7, parts.tm_mon + 1);
  put(10, parts.tm_mday);
  put(13, parts.tm_hour);
  put(16, parts.tm_min);
  put(19, parts.tm_sec);
}
