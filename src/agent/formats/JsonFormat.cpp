#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "agent/Text.h"
#include "agent/Version.h"
#include "agent/formats/Formats.h"
#include "agent/formats/FormattedNames.h"
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

// Null for a time that the calendar does not reach.
void appendUtcTime(std::string& json, long time) {
  struct tm fields {};
  if (!gmtime_r(&time, &fields)) {
    json += "null";
    return;
  }
  constexpr long kFirstYear = 1900;
  const long year = kFirstYear + fields.tm_year;
  char text[64];
  std::snprintf(text, sizeof text, "\"%s%04ld-%02d-%02dT%02d:%02d:%02dZ\"", year < 0 ? "-" : "",
                std::labs(year), fields.tm_mon + 1, fields.tm_mday, fields.tm_hour, fields.tm_min,
                fields.tm_sec);
  json += text;
}

// Writes the rows of a group as objects.
class RowWriter {
 public:
  explicit RowWriter(const kelGroupDef& group)
      : names_(group,
               [](std::string& text, const std::string& name) { appendEscaped(text, name); }) {}

  void append(std::string& json, const Row& row) {
    json += '{';
    const char* separator = "\"";
    for (const Record& record : row) {
      const FormattedName& named = names_.of(record->attribId);
      json.append(separator).append(named.name).append("\": ");
      appendJsonValue(json, *record);
      separator = ", \"";
      const char* meaning = named.attribute ? enumeratedText(*named.attribute, *record) : nullptr;
      if (!meaning) continue;
      json.append(separator).append(named.name).append(" text\": ");
      appendJsonString(json, meaning);
    }
    json += '}';
  }

 private:
  FormattedNames names_;
};

void appendRows(std::string& json, const GroupResult& result) {
  RowWriter rows(*result.group);
  const std::size_t begin = json.size();
  const char* separator = "\n   ";
  for (const Row& row : result.rows) {
    json += separator;
    rows.append(json, row);
    if (&row == &result.rows.front()) reserveRows(json, begin, result.rows.size());
    separator = ",\n   ";
  }
}

void appendGroup(std::string& json, const GroupResult& result) {
  appendJsonString(json, result.group->name);
  json += ": {\"id\": " + std::to_string(result.group->id) +
          ", \"version\": " + std::to_string(result.group->version) + ", \"status\": \"" +
          statusName(result.status) + "\"";
  if (!result.trouble.empty()) {
    json += ", \"trouble\": ";
    appendJsonString(json, result.trouble);
  }
  if (result.status != Status::Absent) {
    json += ", \"duration_ms\": " + decimal(result.milliseconds, 1);
  }
  json += ", \"rows\": [";
  appendRows(json, result);
  json += "]}";
}

}  // namespace

std::string formatJson(const Scan& scan, bool /*inColour*/) {
  std::string json = std::string("{\"invscan\": \"") + kVersion + "\", \"hostname\": ";
  appendJsonString(json, scan.hostName);
  json += ", \"time\": ";
  appendUtcTime(json, scan.time);
  json += ", \"duration_ms\": " + decimal(scan.milliseconds, 1) + ",\n \"groups\": {";
  const char* separator = "\n  ";
  for (const GroupResult& result : scan.groups) {
    json += separator;
    appendGroup(json, result);
    separator = ",\n  ";
  }
  return json += "}}\n";
}

std::string formatJsonLines(const Scan& scan, bool /*inColour*/) {
  std::string json;
  for (const GroupResult& result : scan.groups) {
    std::string head = "{\"host\": ";
    appendJsonString(head, scan.hostName);
    head += ", \"group\": ";
    appendJsonString(head, result.group->name);
    head += ", \"row\": ";
    RowWriter rows(*result.group);
    const std::size_t begin = json.size();
    for (std::size_t i = 0; i < result.rows.size(); ++i) {
      json += head;
      json += std::to_string(i + 1);
      json += ", \"attributes\": ";
      rows.append(json, result.rows[i]);
      json += "}\n";
      if (i == 0) reserveRows(json, begin, result.rows.size());
    }
  }
  return json;
}

}  // namespace invscan::agent
