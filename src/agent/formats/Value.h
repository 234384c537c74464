// Reads value records.
#pragma once

#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include <invscan/catalogue.h>
#include <invscan/table.h>

#include "agent/scan/Scan.h"

namespace invscan::agent {

// A number out of a record's value area.
template <class Number>
Number numberAt(const kelAttribValue& record, std::size_t offset = 0) {
  Number number;
  std::memcpy(&number, record.value + offset, sizeof number);
  return number;
}

// Whether the value is a string, an octet string or a date-time rather than a number.
bool isText(const kelAttribValue& record);

// The value alone: strings as UTF-8, octet strings as upper-case hexadecimal, floating-point
// numbers as short as they read back the same, two words with a blank between them.
std::string plainText(const kelAttribValue& record);
void appendPlainText(std::string& text, const kelAttribValue& record);

// The whole number that the record holds, if it holds one that is not negative.
std::optional<unsigned long> wholeNumber(const kelAttribValue& record);

// What the value means by the attribute's own enumeration, or null.
const char* enumeratedText(const kelAttribDef& attribute, const kelAttribValue& record);

// The record of an attribute in a row, or null.
const kelAttribValue* findRecord(const Row& row, unsigned long attribId);

// Whether a value (null for none) is what it would be if no source had told it.
bool isDefault(unsigned long groupId, const kelAttribDef& attribute, const kelAttribValue* record);

// What a time of 0 makes, in the time zone in force: a date that no source told.
std::string epochText();

// How a number is told that is 0 because nobody knows it.
inline constexpr char kUnknownText[] = "unknown";

// Whether a value is a 0 that can only mean that.
bool isUnknown(unsigned long groupId, const kelAttribDef& attribute, const kelAttribValue& record);

// A record of a value, as it lies in the value area.
Record makeRecord(unsigned long attribId, unsigned long type, std::string_view value);

// A string record of a text in UTF-8.
Record makeTextRecord(unsigned long attribId, const std::string& utf8);

}  // namespace invscan::agent
