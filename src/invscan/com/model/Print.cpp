#include <invscan/print.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

#include "base/Hex.h"
#include "base/Utf8.h"

namespace {

constexpr const char* kTypeNames[] = {
    "KEL_UCHAR",  "KEL_USHORT",      "KEL_ULONG",    "KEL_UQUAD",     "KEL_FLOAT",    "KEL_DOUBLE",
    "KEL_STRING", "KEL_OCTETSTRING", "KEL_DATETIME", "KEL_ULONGLONG", "KEL_LONGLONG",
};

constexpr std::size_t kLongestEscape = 4;

bool isKnownType(unsigned long type) {
  return type >= KEL_UCHAR && type <= KEL_LONGLONG;
}

template <class Value>
Value valueAs(const kelAttribValue& record) {
  Value value;
  std::memcpy(&value, record.value, sizeof value);
  return value;
}

template <class Number>
void appendNumber(std::string& text, Number number) {
  char digits[std::numeric_limits<Number>::digits10 + 3];
  text.append(digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr);
}

std::string quotedOctets(const unsigned char* bytes, unsigned long count) {
  std::string text = "\"";
  invscan::appendHex(text, bytes, count, invscan::kUpperHex);
  return text += '"';
}

void appendOctets(std::string& text, const kelAttribValue& record) {
  const auto count = valueAs<unsigned long>(record);
  if (count > 0) text += quotedOctets(record.value + sizeof count, count);
}

void appendFloat(std::string& text, double value) {
  constexpr int kDecimals = 6;
  constexpr std::size_t kLongest = std::numeric_limits<double>::max_exponent10 + kDecimals + 3;
  char digits[kLongest];
  text.append(digits, std::to_chars(std::begin(digits), std::end(digits), value,
                                    std::chars_format::fixed, kDecimals)
                          .ptr);
}

void print(FILE* stream, std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stream);
}

// The second half of a number in the debug dump shows its low 32 bits only, padded with blanks for
// the long long types: tools that read dumps know its columns by their width.
void printHexadecimal(const kelAttribValue& record) {
  switch (record.kelType) {
    case KEL_USHORT:
      std::printf(" (0x%04X)", valueAs<unsigned short>(record));
      break;
    case KEL_ULONG:
      std::printf(" (0x%08X)", valueAs<unsigned int>(record));
      break;
    case KEL_ULONGLONG:
    case KEL_LONGLONG:
      std::printf(" (0x%16X)", valueAs<unsigned int>(record));
      break;
    default:
      break;
  }
}

bool isControl(wchar_t character) {
  return character >= 1 && character <= 31;
}

bool isEscaped(wchar_t character) {
  return isControl(character) || character == L'\\' || character == L'"';
}

template <class Character>
Character* appendEscaped(Character* end, wchar_t character) {
  if (isEscaped(character)) *end++ = '\\';
  if (!isControl(character)) {
    *end++ = static_cast<Character>(character);
    return end;
  }
  *end++ = 'x';
  *end++ = static_cast<Character>(invscan::kLowerHex[character / 16]);
  *end++ = static_cast<Character>(invscan::kLowerHex[character % 16]);
  return end;
}

std::wstring_view textOf(const KelString& string) {
  return string.count < 1 ? std::wstring_view() : std::wstring_view(string.text);
}

bool isAscii(std::wstring_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](wchar_t letter) { return letter >= 0 && letter < 0x80; });
}

void appendAscii(std::string& text, std::wstring_view ascii) {
  const auto escapes =
      static_cast<std::size_t>(std::count_if(ascii.begin(), ascii.end(), isEscaped));
  const std::size_t before = text.size();
  text.resize(before + ascii.size() + (kLongestEscape - 1) * escapes);
  char* end = text.data() + before;
  for (const wchar_t letter : ascii) end = appendEscaped(end, letter);
  text.resize(static_cast<std::size_t>(end - text.data()));
}

void appendString(std::string& text, const KelString& string) {
  const std::wstring_view wide = textOf(string);
  if (isAscii(wide)) return appendAscii(text, wide);
  const std::unique_ptr<wchar_t[]> escaped(dmtf_escape(const_cast<wchar_t*>(string.text)));
  for (const wchar_t* letter = escaped.get(); *letter != L'\0'; ++letter) {
    invscan::appendCharacter(text, static_cast<char32_t>(*letter));
  }
}

}  // namespace

std::string invscan::printedValue(const kelAttribValue& record) {
  std::string text;
  switch (record.kelType) {
    case KEL_UCHAR:
      text = "0x";
      appendHex(text, record.value, 1, kUpperHex);
      break;
    case KEL_USHORT:
      appendNumber(text, valueAs<unsigned short>(record));
      break;
    case KEL_ULONG:
    case KEL_ULONGLONG:
      appendNumber(text, valueAs<unsigned long>(record));
      break;
    case KEL_UQUAD:
    case KEL_LONGLONG:
      appendNumber(text, valueAs<long>(record));
      break;
    case KEL_FLOAT:
      appendFloat(text, static_cast<double>(valueAs<float>(record)));
      break;
    case KEL_DOUBLE:
      appendFloat(text, valueAs<double>(record));
      break;
    case KEL_STRING:
      appendString(text, *reinterpret_cast<const KelString*>(record.value));
      break;
    case KEL_OCTETSTRING:
      appendOctets(text, record);
      break;
    case KEL_DATETIME:
      text.assign(reinterpret_cast<const char*>(record.value), kDateTimeSize);
      break;
    default:
      break;
  }
  return text;
}

void PrintKelAttribValueToFile(FILE* stream, const kelAttribValue* record) {
  if (!record) return;
  if (record->kelType == KEL_STRING) {
    PrintKelStringToFile(stream, reinterpret_cast<const KelString*>(record->value));
  } else {
    print(stream, invscan::printedValue(*record));
  }
}

void PrintKelAttribValue(const kelAttribValue* record) {
  if (!record) return;
  std::printf("\n\t\t---len      : %lu", record->length);
  std::printf("\n\t\t   attribId : x%08X", static_cast<unsigned int>(record->attribId));
  std::printf("\n\t\t   kel_type : %lu (%s)", record->kelType,
              getKelAttribTypeAsString(record->kelType));
  std::printf("\n\t\t   value    : ");
  if (!isKnownType(record->kelType)) std::printf("Unknown attrib value type");
  PrintKelAttribValueToFile(stdout, record);
  printHexadecimal(*record);
}

void PrintKelStringToFile(FILE* stream, const KelString* string) {
  const std::wstring_view text = textOf(*string);
  if (isAscii(text)) {  // the same in every locale
    std::string ascii;
    appendAscii(ascii, text);
    return print(stream, ascii);
  }
  const std::unique_ptr<wchar_t[]> escaped(dmtf_escape(const_cast<wchar_t*>(string->text)));
  std::fprintf(stream, "%ls", escaped.get());
}

void PrintOctetStringToFile(FILE* stream, const unsigned char* bytes, unsigned long count) {
  print(stream, quotedOctets(bytes, count));
}

void PrintKelTimeBlockToFile(FILE* stream, const char* dateTime) {
  std::fwrite(dateTime, 1, kDateTimeSize, stream);
}

void PrintKelEnumToFile(FILE* stream, const kelAttribDef* attrib) {
  if (!attrib || !attrib->enums) return;
  for (const kelEnumDef* entry = attrib->enums; entry->value != kEndOfTable; ++entry) {
    std::fprintf(stream, "\n\t\t%d = \"%s\"", static_cast<int>(entry->value), entry->text);
  }
}

void PrintKelFloat(FILE* stream, double value) {
  std::string text;
  appendFloat(text, value);
  print(stream ? stream : stdout, text);
}

wchar_t* dmtf_escape(wchar_t* text) {
  if (*text == L'\0') return text;
  wchar_t* const escaped = new wchar_t[kLongestEscape * std::wcslen(text) + 1];
  wchar_t* end = escaped;
  for (const wchar_t* next = text; *next != L'\0'; ++next) end = appendEscaped(end, *next);
  *end = L'\0';
  return escaped;
}

const char* getKelAttribTypeAsString(unsigned long type) {
  return isKnownType(type) ? kTypeNames[type - 1] : "Undefined Attrib Type";
}
