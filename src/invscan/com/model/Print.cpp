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

namespace {

constexpr const char* kTypeNames[] = {
    "KEL_UCHAR",  "KEL_USHORT",      "KEL_ULONG",    "KEL_UQUAD",     "KEL_FLOAT",    "KEL_DOUBLE",
    "KEL_STRING", "KEL_OCTETSTRING", "KEL_DATETIME", "KEL_ULONGLONG", "KEL_LONGLONG",
};

bool isKnownType(unsigned long type) {
  return type >= KEL_UCHAR && type <= KEL_LONGLONG;
}

template <class Value>
Value valueAs(const kelAttribValue& record) {
  Value value;
  std::memcpy(&value, record.value, sizeof value);
  return value;
}

void printOctets(FILE* stream, const kelAttribValue& record) {
  const auto count = valueAs<unsigned long>(record);
  if (count > 0) PrintOctetStringToFile(stream, record.value + sizeof count, count);
}

// The second half of a number in the debug dump; only the low 32 bits of it, and padded with
// blanks for the long long types. Hosts expect it; kept.
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

wchar_t* appendEscaped(wchar_t* end, wchar_t character) {
  constexpr const wchar_t* kDigits = L"0123456789abcdef";
  if (character >= 1 && character <= 31) {
    *end++ = L'\\';
    *end++ = L'x';
    *end++ = kDigits[character / 16];
    *end++ = kDigits[character % 16];
    return end;
  }
  if (character == L'\\' || character == L'"') *end++ = L'\\';
  *end++ = character;
  return end;
}

}  // namespace

void PrintKelAttribValueToFile(FILE* stream, const kelAttribValue* record) {
  if (!record) return;
  switch (record->kelType) {
    case KEL_UCHAR:
      std::fprintf(stream, "0x%02X", record->value[0]);
      break;
    case KEL_USHORT:
      std::fprintf(stream, "%d", valueAs<unsigned short>(*record));
      break;
    case KEL_ULONG:
      std::fprintf(stream, "%lu", valueAs<unsigned long>(*record));
      break;
    case KEL_UQUAD:
      std::fprintf(stream, "%ld", valueAs<long>(*record));
      break;
    case KEL_FLOAT:
      PrintKelFloat(stream, static_cast<double>(valueAs<float>(*record)));
      break;
    case KEL_DOUBLE:
      PrintKelFloat(stream, valueAs<double>(*record));
      break;
    case KEL_STRING:
      PrintKelStringToFile(stream, reinterpret_cast<const KelString*>(record->value));
      break;
    case KEL_OCTETSTRING:
      printOctets(stream, *record);
      break;
    case KEL_DATETIME:
      PrintKelTimeBlockToFile(stream, reinterpret_cast<const char*>(record->value));
      break;
    case KEL_ULONGLONG:
      std::fprintf(stream, "%llu", valueAs<unsigned long long>(*record));
      break;
    case KEL_LONGLONG:
      std::fprintf(stream, "%lld", valueAs<long long>(*record));
      break;
    default:
      break;
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
  if (string->count < 1 || string->text[0] == L'\0') return;
  const std::unique_ptr<wchar_t[]> escaped(dmtf_escape(const_cast<wchar_t*>(string->text)));
  const std::wstring_view text(escaped.get());
  const bool isAscii =
      std::all_of(text.begin(), text.end(), [](wchar_t letter) { return letter < 0x80; });
  if (isAscii) {  // the same in every locale
    std::fputs(std::string(text.begin(), text.end()).c_str(), stream);
  } else {
    std::fprintf(stream, "%ls", escaped.get());
  }
}

void PrintOctetStringToFile(FILE* stream, const unsigned char* bytes, unsigned long count) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  std::fputc('"', stream);
  for (unsigned long i = 0; i < count; ++i) {
    std::fputc(kDigits[bytes[i] / 16], stream);
    std::fputc(kDigits[bytes[i] % 16], stream);
  }
  std::fputc('"', stream);
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
  constexpr int kDecimals = 6;
  constexpr std::size_t kLongest = std::numeric_limits<double>::max_exponent10 + kDecimals + 3;
  char text[kLongest];
  const auto end =
      std::to_chars(std::begin(text), std::end(text), value, std::chars_format::fixed, kDecimals);
  std::fwrite(text, 1, static_cast<std::size_t>(end.ptr - text), stream ? stream : stdout);
}

wchar_t* dmtf_escape(wchar_t* text) {
  if (*text == L'\0') return text;
  constexpr std::size_t kLongestEscape = 4;
  wchar_t* const escaped = new wchar_t[kLongestEscape * std::wcslen(text) + 1];
  wchar_t* end = escaped;
  for (const wchar_t* next = text; *next != L'\0'; ++next) end = appendEscaped(end, *next);
  *end = L'\0';
  return escaped;
}

const char* getKelAttribTypeAsString(unsigned long type) {
  return isKnownType(type) ? kTypeNames[type - 1] : "Undefined Attrib Type";
}
