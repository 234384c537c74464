#include "agent/formats/Json.h"

#include <cmath>
#include <cstdio>

#include "agent/formats/Value.h"

namespace invscan::agent {

std::string jsonString(std::string_view utf8) {
  std::string text = "\"";
  text.reserve(utf8.size() + 2);
  for (const char c : utf8) {
    if (c == '"' || c == '\\') {
      text += {'\\', c};
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
      text += escape;
    } else {
      text += c;
    }
  }
  return text + "\"";
}

std::string jsonValue(const kelAttribValue& record) {
  if (isText(record)) return jsonString(plainText(record));
  const bool isUndefined =
      (record.kelType == KEL_FLOAT && !std::isfinite(numberAt<float>(record))) ||
      (record.kelType == KEL_DOUBLE && !std::isfinite(numberAt<double>(record)));
  if (isUndefined) return "null";
  const std::string number = plainText(record);
  const std::size_t blank = number.find(' ');
  if (blank == number.npos) return number;
  return "[" + number.substr(0, blank) + ", " + number.substr(blank + 1) + "]";
}

}  // namespace invscan::agent
