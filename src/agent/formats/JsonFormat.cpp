#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/Version.h"
#include "agent/formats/Formats.h"
#include "agent/formats/Json.h"
#include "agent/formats/RowWriter.h"
#include "agent/reasons/Reasons.h"

namespace invscan::agent {
namespace {

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

// A member that is an object of texts by attribute.
void appendTexts(std::string& json, const char* name, const GroupResult& result, bool ofMissing,
                 std::string (*textOf)(const GroupResult&, const kelAttribDef&)) {
  json.append(", \"").append(name).append("\": {");
  const char* separator = "";
  for (const kelAttribDef* attribute : attributesOf(*result.group)) {
    if (isMissing(result, *attribute) != ofMissing) continue;
    json += separator;
    appendJsonString(json, attribute->name);
    json += ": ";
    appendJsonString(json, textOf(result, *attribute));
    separator = ", ";
  }
  json += '}';
}

void appendSources(std::string& json, const GroupResult& result) {
  json += ", \"sources\": [";
  const char* separator = "";
  for (const SourceUse& use : sourceUses(result.accesses)) {
    json.append(separator).append("\n    {\"source\": ");
    appendJsonString(json, validUtf8(use.source));
    json += ", \"times\": " + std::to_string(use.times) +
            ", \"ms\": " + decimal(use.milliseconds, 3) + ", \"outcome\": ";
    appendJsonString(json, validUtf8(use.outcome));
    json += '}';
    separator = ",";
  }
  json += ']';
}

void appendReasons(std::string& json, const GroupResult& result, const Scan& scan) {
  const bool isAnswered = result.status != Status::Timeout && result.status != Status::Crash;
  if (scan.tellsReasons && isAnswered) {
    appendTexts(json, "reasons", result, true, reasonForDefault);
  }
  if (!scan.tellsSources) return;
  if (isAnswered) appendTexts(json, "told_by", result, false, giverOf);
  appendSources(json, result);
}

void appendGroup(std::string& json, const GroupResult& result, const Scan& scan) {
  appendJsonString(json, result.group->name);
  json += ": {\"id\": " + std::to_string(result.group->id) +
          ", \"version\": " + std::to_string(result.group->version) + ", \"status\": \"" +
          statusName(result.status) + "\"";
  if (!result.trouble.empty()) {
    json += result.status == Status::Ok ? ", \"incomplete\": " : ", \"trouble\": ";
    appendJsonString(json, validUtf8(result.trouble));
  }
  appendReasons(json, result, scan);
  if (result.status != Status::Absent && result.status != Status::Unsupported) {
    json += ", \"duration_ms\": " + decimal(result.milliseconds, 1);
  }
  json += ", \"rows\": [";
  appendRows(json, result);
  json += "]}";
}

}  // namespace

std::string formatJson(const Scan& scan, const Style& /*style*/) {
  std::string json = std::string("{\"invscan\": \"") + kVersion + "\", \"hostname\": ";
  appendJsonString(json, scan.hostName);
  json += ", \"time\": ";
  appendUtcTime(json, scan.time);
  json += ", \"duration_ms\": " + decimal(scan.milliseconds, 1) + ",\n \"groups\": {";
  const char* separator = "\n  ";
  for (const GroupResult& result : scan.groups) {
    json += separator;
    appendGroup(json, result, scan);
    separator = ",\n  ";
  }
  return json += "}}\n";
}

std::string formatJsonLines(const Scan& scan, const Style& /*style*/) {
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
