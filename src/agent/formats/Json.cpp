#include "agent/formats/Json.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "agent/Text.h"
#include "agent/formats/Value.h"
#include "base/Hex.h"

namespace invscan::agent {
namespace {

constexpr auto kIsSuspicious = suspiciousBytes("\"\\");

// An object, which searches compile in, rather than a function.
constexpr auto kMayBeEscaped = [](char c) { return kIsSuspicious[static_cast<unsigned char>(c)]; };

void appendUnit(std::string& json, unsigned unit) {
  json += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) json += kLowerHex[unit >> shift & 15];
}

// As one or two units of UTF-16.
void appendEscape(std::string& json, char32_t c) {
  constexpr char32_t kBeyond = 0x10000;
  if (c < kBeyond) return appendUnit(json, c);
  appendUnit(json, 0xD800 + ((c - kBeyond) >> 10));
  appendUnit(json, 0xDC00 + ((c - kBeyond) & 0x3FF));
}

// Escapes what stands behind a place: hardly any text has something to escape.
void escapeFrom(std::string& json, std::size_t begin) {
  const auto first =
      std::find_if(json.begin() + static_cast<std::ptrdiff_t>(begin), json.end(), kMayBeEscaped);
  if (first == json.end()) return;
  const std::string rest(first, json.end());
  json.erase(first, json.end());
  for (std::size_t i = 0; i < rest.size();) {
    const char c = rest[i];
    const auto [character, length] = kMayBeEscaped(c) ? characterAt(rest, i) : Utf8Character{0, 0};
    if (c == '"' || c == '\\') {
      json += {'\\', c};
    } else if (length > 0 && isUnseen(character)) {
      appendEscape(json, character);
    } else {
      json.append(rest, i, std::max<std::size_t>(length, 1));
    }
    i += std::max<std::size_t>(length, 1);
  }
}

bool isUndefined(const kelAttribValue& record) {
  return (record.kelType == KEL_FLOAT && !std::isfinite(numberAt<float>(record))) ||
         (record.kelType == KEL_DOUBLE && !std::isfinite(numberAt<double>(record)));
}

}  // namespace

void appendEscaped(std::string& json, std::string_view utf8) {
  const std::size_t begin = json.size();
  json += utf8;
  escapeFrom(json, begin);
}

void appendJsonString(std::string& json, std::string_view utf8) {
  json += '"';
  appendEscaped(json, utf8);
  json += '"';
}

// By arithmetic alone: the C library would read the time zone first, whatever that is.
void appendUtcTime(std::string& json, long time) {
  namespace chrono = std::chrono;
  constexpr long kDay = 24 * 60 * 60, kDaysInFourCenturies = 146'097, kFourCenturies = 400;
  const auto floor = [](long value, long unit) { return value / unit - (value % unit < 0); };
  // The calendar repeats itself every four centuries.
  const long days = floor(time, kDay);
  const long turns = floor(days, kDaysInFourCenturies);
  const chrono::sys_days day(chrono::days(days - turns * kDaysInFourCenturies));
  const chrono::year_month_day date(day);
  const long year = int{date.year()} + turns * kFourCenturies;
  const long second = (time % kDay + kDay) % kDay;
  if (std::labs(year) > INT_MAX) {
    json += "null";
    return;
  }
  char text[64];
  std::snprintf(text, sizeof text, "\"%s%04ld-%02u-%02uT%02ld:%02ld:%02ldZ\"", year < 0 ? "-" : "",
                std::labs(year), unsigned{date.month()}, unsigned{date.day()}, second / 3600,
                second / 60 % 60, second % 60);
  json += text;
}

void appendJsonValue(std::string& json, const kelAttribValue& record) {
  if (isText(record)) {
    json += '"';
    const std::size_t begin = json.size();
    appendPlainText(json, record);
    escapeFrom(json, begin);
    json += '"';
  } else if (isUndefined(record)) {
    json += "null";
  } else if (record.kelType == KEL_UQUAD) {
    json += '[';
    const std::size_t begin = json.size();
    appendPlainText(json, record);
    json.replace(json.find(' ', begin), 1, ", ");
    json += ']';
  } else {
    appendPlainText(json, record);
  }
}

}  // namespace invscan::agent
