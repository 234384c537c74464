#include <ctime>

#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/Version.h"
#include "agent/formats/Formats.h"
#include "agent/formats/Json.h"
#include "agent/formats/Value.h"

namespace invscan::agent {
namespace {

const char* statusName(Status status) {
  switch (status) {
    case Status::Ok:
      return "ok";
    case Status::Absent:
      return "absent";
    case Status::Timeout:
      return "timeout";
    case Status::Crash:
      return "crash";
  }
  return "";
}

std::string utcTime(long time) {
  struct tm fields {};
  char text[64] = "";
  if (gmtime_r(&time, &fields)) strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &fields);
  return text;
}

void appendMember(std::string& text, const std::string& name, const std::string& value) {
  if (text.back() != '{') text += ", ";
  text += jsonString(name) + ": " + value;
}

std::string rowObject(const kelGroupDef& group, const Row& row) {
  std::string text = "{";
  for (const Record& record : row) {
    const std::string name = attributeName(group, record->attribId);
    appendMember(text, name, jsonValue(*record));
    const kelAttribDef* attribute = getAttribDefinitionFromId(&group, record->attribId);
    const char* meaning = attribute ? enumeratedText(*attribute, *record) : nullptr;
    if (meaning) appendMember(text, name + " text", jsonString(meaning));
  }
  return text + "}";
}

std::string rowList(const GroupResult& result) {
  std::string text;
  for (const Row& row : result.rows) {
    text += text.empty() ? "\n   " : ",\n   ";
    text += rowObject(*result.group, row);
  }
  return "[" + text + "]";
}

std::string groupObject(const GroupResult& result) {
  std::string text = "{";
  appendMember(text, "id", std::to_string(result.group->id));
  appendMember(text, "version", std::to_string(result.group->version));
  appendMember(text, "status", jsonString(statusName(result.status)));
  if (!result.trouble.empty()) appendMember(text, "trouble", jsonString(result.trouble));
  if (result.status != Status::Absent) {
    appendMember(text, "duration_ms", decimal(result.milliseconds, 1));
  }
  appendMember(text, "rows", rowList(result));
  return text + "}";
}

}  // namespace

std::string formatJson(const Scan& scan, bool /*inColour*/) {
  std::string text = "{";
  appendMember(text, "invscan", jsonString(kVersion));
  appendMember(text, "hostname", jsonString(scan.hostName));
  appendMember(text, "time", jsonString(utcTime(scan.time)));
  appendMember(text, "duration_ms", decimal(scan.milliseconds, 1));
  text += ",\n \"groups\": {";
  for (const GroupResult& result : scan.groups) {
    text += &result == &scan.groups.front() ? "\n  " : ",\n  ";
    text += jsonString(result.group->name) + ": " + groupObject(result);
  }
  return text + "}}\n";
}

std::string formatJsonLines(const Scan& scan, bool /*inColour*/) {
  std::string text;
  for (const GroupResult& result : scan.groups) {
    for (std::size_t i = 0; i < result.rows.size(); ++i) {
      std::string line = "{";
      appendMember(line, "host", jsonString(scan.hostName));
      appendMember(line, "group", jsonString(result.group->name));
      appendMember(line, "row", std::to_string(i + 1));
      appendMember(line, "attributes", rowObject(*result.group, result.rows[i]));
      text += line + "}\n";
    }
  }
  return text;
}

}  // namespace invscan::agent
