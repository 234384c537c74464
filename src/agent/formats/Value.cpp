#include "agent/formats/Value.h"

#include <charconv>

#include <invscan/print.h>
#include <invscan/traits.h>

#include "agent/Text.h"

namespace invscan::agent {
namespace {

template <class Number>
std::string spelt(Number number) {
  char buffer[400];
  return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, number).ptr);
}

template <class Number>
std::string speltAt(const kelAttribValue& record) {
  return spelt(numberAt<Number>(record));
}

std::string wideText(const kelAttribValue& record) {
  const auto count = numberAt<unsigned long>(record);
  if (count == 0) return "";
  std::wstring text(count - 1, L'\0');
  std::memcpy(text.data(), record.value + sizeof count, text.size() * sizeof(wchar_t));
  return utf8(text.data(), text.size());
}

std::string dateTimeText(const kelAttribValue& record) {
  constexpr std::size_t kLength = 26;
  const auto* text = reinterpret_cast<const char*>(record.value);
  return validUtf8(std::string(text, strnlen(text, kLength)));
}

// The non-negative whole number that the record holds, if it does.
std::optional<unsigned long> countIn(const kelAttribValue& record) {
  switch (record.kelType) {
    case KEL_UCHAR:
      return record.value[0];
    case KEL_USHORT:
      return numberAt<unsigned short>(record);
    case KEL_ULONG:
    case KEL_ULONGLONG:
      return numberAt<unsigned long>(record);
    case KEL_LONGLONG:
      if (numberAt<long long>(record) >= 0) return numberAt<unsigned long>(record);
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

}  // namespace

bool isText(const kelAttribValue& record) {
  return record.kelType == KEL_STRING || record.kelType == KEL_OCTETSTRING ||
         record.kelType == KEL_DATETIME;
}

std::string plainText(const kelAttribValue& record) {
  switch (record.kelType) {
    case KEL_UCHAR:
      return spelt(static_cast<unsigned>(record.value[0]));
    case KEL_USHORT:
      return speltAt<unsigned short>(record);
    case KEL_ULONG:
    case KEL_ULONGLONG:
      return speltAt<unsigned long>(record);
    case KEL_LONGLONG:
      return speltAt<long long>(record);
    case KEL_UQUAD:
      return speltAt<unsigned long>(record) + " " +
             spelt(numberAt<unsigned long>(record, sizeof(unsigned long)));
    case KEL_FLOAT:
      return speltAt<float>(record);
    case KEL_DOUBLE:
      return speltAt<double>(record);
    case KEL_STRING:
      return wideText(record);
    case KEL_OCTETSTRING:
      return hexadecimal(record.value + sizeof(unsigned long), numberAt<unsigned long>(record),
                         true);
    case KEL_DATETIME:
      return dateTimeText(record);
    default:
      return "";
  }
}

const char* enumeratedText(const kelAttribDef& attribute, const kelAttribValue& record) {
  const auto value = countIn(record);
  if (!attribute.enums || !value) return nullptr;
  for (const kelEnumDef* entry = attribute.enums; entry->value != kEndOfTable; ++entry) {
    if (entry->value == *value) return entry->text;
  }
  return nullptr;
}

const kelAttribValue* findRecord(const Row& row, unsigned long attribId) {
  for (const Record& record : row) {
    if (record->attribId == attribId) return record.get();
  }
  return nullptr;
}

namespace {

// What a time of 0 makes, in the time zone in force.
std::string epochText() {
  char text[kDateTimeSize] = {};
  TimeToKelDateTime(0, text);
  return std::string(text, sizeof text);
}

}  // namespace

bool isDefault(unsigned long groupId, const kelAttribDef& attribute, const kelAttribValue* record) {
  if (!record) return true;
  const std::string text = plainText(*record);
  const AttributeTraits* traits = attributeTraits(groupId, attribute.id);
  if (traits && std::string_view(traits->sources) == "constant") return false;
  if (traits && traits->defaultText) {
    return text == traits->defaultText || printedValue(*record) == traits->defaultText;
  }
  if (record->kelType == KEL_DATETIME) return text == epochText();
  return text.empty() || (!isText(*record) && text.find_first_not_of("0 ") == text.npos);
}

Record makeTextRecord(unsigned long attribId, const std::string& ascii) {
  const std::wstring text(ascii.begin(), ascii.end());
  const unsigned long count = text.size() + 1;
  const std::size_t textSize = count * sizeof(wchar_t);
  const std::size_t size = sizeof(kelAttribValue) + sizeof count + textSize;
  Record record(reinterpret_cast<kelAttribValue*>(new unsigned char[size]));
  record->length = size;
  record->attribId = attribId;
  record->kelType = KEL_STRING;
  std::memcpy(record->value, &count, sizeof count);
  std::memcpy(record->value + sizeof count, text.c_str(), textSize);
  return record;
}

}  // namespace invscan::agent
