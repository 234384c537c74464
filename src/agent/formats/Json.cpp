#include "agent/formats/Json.h"

#include <algorithm>
#include <cmath>

#include "agent/formats/Value.h"
#include "base/Hex.h"

namespace invscan::agent {
namespace {

// An object, which searches compile in, rather than a function.
constexpr auto kIsEscaped = [](char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\';
};

// Escapes what stands behind a place: hardly any text has something to escape.
void escapeFrom(std::string& json, std::size_t begin) {
  const auto first =
      std::find_if(json.begin() + static_cast<std::ptrdiff_t>(begin), json.end(), kIsEscaped);
  if (first == json.end()) return;
  const std::string rest(first, json.end());
  json.erase(first, json.end());
  for (const char c : rest) {
    if (!kIsEscaped(c)) {
      json += c;
    } else if (c == '"' || c == '\\') {
      json += {'\\', c};
    } else {
      json += {'\\', 'u', '0', '0', kLowerHex[c >> 4], kLowerHex[c & 15]};
    }
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
