#include "agent/saved/SavedValue.h"

#include <cfloat>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <utility>

#include "agent/formats/Json.h"
#include "agent/formats/Value.h"
#include "agent/redact/Redactor.h"

namespace invscan::agent {
namespace {

template <class Number>
Record numberRecord(unsigned long attribId, unsigned long type, Number number) {
  return makeRecord(attribId, type, {reinterpret_cast<const char*>(&number), sizeof number});
}

// Null for a number that is none of that type.
template <class Number>
Record countRecord(unsigned long attribId, unsigned long type, const Scalar& value) {
  const auto* const count = std::get_if<std::uint64_t>(&value);
  if (!count || !std::in_range<Number>(*count)) return nullptr;
  return numberRecord(attribId, type, static_cast<Number>(*count));
}

Record realRecord(unsigned long attribId, unsigned long type, const Scalar& value) {
  const std::optional<double> real = realIn(value);
  if (!real) return nullptr;
  if (type == KEL_DOUBLE) return numberRecord(attribId, type, *real);
  if (std::fabs(*real) > FLT_MAX) return nullptr;
  return numberRecord(attribId, type, static_cast<float>(*real));
}

Record dateRecord(unsigned long attribId, std::string text) {
  if (text.size() > kDateTimeSize) return nullptr;
  text.resize(kDateTimeSize);
  return makeRecord(attribId, KEL_DATETIME, text);
}

}  // namespace

unsigned long typeOfStranger(const Scalar& value) {
  if (std::holds_alternative<std::uint64_t>(value)) return KEL_ULONG;
  if (std::holds_alternative<std::int64_t>(value)) return KEL_LONGLONG;
  return std::holds_alternative<double>(value) ? KEL_DOUBLE : KEL_STRING;
}

std::optional<double> realIn(const Scalar& value) {
  if (std::holds_alternative<std::nullptr_t>(value)) return std::nan("");
  if (const auto* const real = std::get_if<double>(&value)) return *real + 0.0;  // no -0
  if (const auto* const count = std::get_if<std::uint64_t>(&value)) {
    return static_cast<double>(*count);
  }
  if (const auto* const number = std::get_if<std::int64_t>(&value)) {
    return static_cast<double>(*number);
  }
  return std::nullopt;
}

Record recordOf(unsigned long attribId, unsigned long type, const Scalar& value) {
  if (const auto* const text = std::get_if<std::string>(&value)) {
    if (type == KEL_STRING || isToken(*text)) return makeTextRecord(attribId, *text);
    return type == KEL_DATETIME ? dateRecord(attribId, *text) : nullptr;
  }
  switch (type) {
    case KEL_UCHAR:
      return countRecord<unsigned char>(attribId, type, value);
    case KEL_USHORT:
      return countRecord<unsigned short>(attribId, type, value);
    case KEL_ULONG:
    case KEL_ULONGLONG:
      return countRecord<unsigned long>(attribId, type, value);
    case KEL_LONGLONG:
      if (const auto* const number = std::get_if<std::int64_t>(&value)) {
        return numberRecord(attribId, type, *number);
      }
      return countRecord<long long>(attribId, type, value);
    case KEL_FLOAT:
    case KEL_DOUBLE:
      return realRecord(attribId, type, value);
    default:
      return nullptr;
  }
}

std::optional<long> secondsIn(const std::string& text) {
  namespace chrono = std::chrono;
  long year = 0;
  int length = 0;
  unsigned month = 0, day = 0, hour = 0, minute = 0, second = 0;
  std::sscanf(text.c_str(), "%11ld-%2u-%2uT%2u:%2u:%2uZ%n", &year, &month, &day, &hour, &minute,
              &second, &length);
  // The calendar repeats itself every four centuries.
  const int inCycle = static_cast<int>((year % 400 + 400) % 400);
  const chrono::year_month_day date{chrono::year(inCycle), chrono::month(month), chrono::day(day)};
  const bool isWhole = length > 0 && static_cast<std::size_t>(length) == text.size();
  if (!isWhole || !date.ok() || hour > 23 || minute > 59 || second > 60) return std::nullopt;
  const long days =
      chrono::sys_days(date).time_since_epoch().count() + (year - inCycle) / 400 * 146'097;
  return ((days * 24 + hour) * 60 + minute) * 60 + second;
}

void appendScalar(std::string& json, const Scalar& value) {
  if (const auto* const text = std::get_if<std::string>(&value)) {
    appendJsonString(json, *text);
  } else if (const auto* const yes = std::get_if<bool>(&value)) {
    json += *yes ? "true" : "false";
  } else if (const Record record = recordOf(1, typeOfStranger(value), value)) {
    appendJsonValue(json, *record);
  } else {
    json += "null";
  }
}

}  // namespace invscan::agent
