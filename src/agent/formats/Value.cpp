#include "agent/formats/Value.h"

#include <charconv>

#include <invscan/print.h>
#include <invscan/traits.h>

#include "agent/Text.h"
#include "base/Hex.h"

namespace invscan::agent {
namespace {

template <class Number>
void appendNumber(std::string& text, Number number) {
  char buffer[32];
  text.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, number).ptr);
}

template <class Number>
void appendNumberAt(std::string& text, const kelAttribValue& record) {
  appendNumber(text, numberAt<Number>(record));
}

void appendString(std::string& text, const kelAttribValue& record) {
  const auto count = numberAt<unsigned long>(record);
  const auto* characters = reinterpret_cast<const KelString*>(record.value)->text;
  if (count > 0) appendUtf8(text, characters, count - 1);
}

void appendDateTime(std::string& text, const kelAttribValue& record) {
  const auto* characters = reinterpret_cast<const char*>(record.value);
  text += validUtf8(std::string(characters, strnlen(characters, kDateTimeSize)));
}

}  // namespace

bool isText(const kelAttribValue& record) {
  return record.kelType == KEL_STRING || record.kelType == KEL_OCTETSTRING ||
         record.kelType == KEL_DATETIME;
}

void appendPlainText(std::string& text, const kelAttribValue& record) {
  switch (record.kelType) {
    case KEL_UCHAR:
      return appendNumber(text, static_cast<unsigned>(record.value[0]));
    case KEL_USHORT:
      return appendNumberAt<unsigned short>(text, record);
    case KEL_ULONG:
    case KEL_ULONGLONG:
      return appendNumberAt<unsigned long>(text, record);
    case KEL_LONGLONG:
      return appendNumberAt<long long>(text, record);
    case KEL_UQUAD:
      appendNumberAt<unsigned long>(text, record);
      text += ' ';
      return appendNumber(text, numberAt<unsigned long>(record, sizeof(unsigned long)));
    case KEL_FLOAT:
      return appendNumberAt<float>(text, record);
    case KEL_DOUBLE:
      return appendNumberAt<double>(text, record);
    case KEL_STRING:
      return appendString(text, record);
    case KEL_OCTETSTRING:
      return appendHex(text, record.value + sizeof(unsigned long), numberAt<unsigned long>(record),
                       kUpperHex);
    case KEL_DATETIME:
      return appendDateTime(text, record);
    default:
      return;
  }
}

std::string plainText(const kelAttribValue& record) {
  std::string text;
  appendPlainText(text, record);
  return text;
}

std::optional<unsigned long> wholeNumber(const kelAttribValue& record) {
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

const char* enumeratedText(const kelAttribDef& attribute, const kelAttribValue& record) {
  const auto value = wholeNumber(record);
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

std::string epochText() {
  char text[kDateTimeSize] = {};
  TimeToKelDateTime(0, text);
  return std::string(text, sizeof text);
}

bool isDefault(unsigned long groupId, const kelAttribDef& attribute, const kelAttribValue* record) {
  if (!record) return true;
  const std::string text = plainText(*record);
  const AttributeTraits* traits = attributeTraits(groupId, attribute.id);
  if (traits && std::string_view(traits->sources) == "constant") return false;
  if (traits && traits->defaultText) {
    return text == traits->defaultText || printedValue(*record) == traits->defaultText;
  }
  // The epoch, wherever on earth the clock was read.
  if (record->kelType == KEL_DATETIME) {
    return text.starts_with("1970-01-01-") || text.starts_with("1969-12-31-");
  }
  return text.empty() || (!isText(*record) && text.find_first_not_of("0 ") == text.npos);
}

bool isUnknown(unsigned long groupId, const kelAttribDef& attribute, const kelAttribValue& record) {
  const AttributeTraits* traits = attributeTraits(groupId, attribute.id);
  return traits && traits->isNeverZero && isDefault(groupId, attribute, &record) &&
         !enumeratedText(attribute, record);
}

Record makeRecord(unsigned long attribId, unsigned long type, std::string_view value) {
  const std::size_t size = sizeof(kelAttribValue) + value.size();
  Record record(reinterpret_cast<kelAttribValue*>(new unsigned char[size]));
  record->length = size;
  record->attribId = attribId;
  record->kelType = type;
  std::memcpy(record->value, value.data(), value.size());
  return record;
}

Record makeTextRecord(unsigned long attribId, const std::string& utf8) {
  const std::wstring text = String(utf8).toWide();
  const unsigned long count = text.size() + 1;
  std::string value(reinterpret_cast<const char*>(&count), sizeof count);
  value.append(reinterpret_cast<const char*>(text.c_str()), count * sizeof(wchar_t));
  return makeRecord(attribId, KEL_STRING, value);
}

}  // namespace invscan::agent
