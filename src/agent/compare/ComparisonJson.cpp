#include "agent/Text.h"
#include "agent/Version.h"
#include "agent/compare/Comparison.h"
#include "agent/formats/Json.h"
#include "agent/formats/RowWriter.h"

namespace invscan::agent {
namespace {

void appendMember(std::string& json, const char* separator, std::string_view name) {
  json += separator;
  appendJsonString(json, name);
  json += ": ";
}

void appendSide(std::string& json, const char* side, const Scan& scan, const std::string& name) {
  appendMember(json, ",\n ", side);
  appendMember(json, "{", "machine");
  appendJsonString(json, validUtf8(name));
  appendMember(json, ", ", "hostname");
  appendJsonString(json, scan.hostName);
  appendMember(json, ", ", "time");
  appendUtcTime(json, scan.time);
  json += '}';
}

// The status of a group on one side; null where the scan has none of that name.
void appendStatus(std::string& json, const char* side, const GroupResult* result) {
  appendMember(json, side[0] == 'a' ? "{" : ", ", side);
  if (!result) {
    json += "null";
    return;
  }
  appendMember(json, "{", "status");
  appendJsonString(json, statusName(result->status));
  if (!result->trouble.empty()) {
    appendMember(json, ", ", result->status == Status::Ok ? "incomplete" : "trouble");
    appendJsonString(json, validUtf8(result->trouble));
  }
  json += '}';
}

void appendValue(std::string& json, const kelAttribValue* record) {
  record ? appendJsonValue(json, *record) : void(json += "null");
}

void appendChanged(std::string& json, const GroupComparison& group) {
  const char* separator = "";
  for (const ChangedRow& row : group.changed) {
    json.append(separator).append("\n    {\"row\": ");
    appendJsonString(json, labelOf(*group.a->group, *row.a));
    const char* next = ", \"attributes\": {";
    for (const auto& [attribute, a, b] : row.changes) {
      appendMember(json, next, attribute);
      appendMember(json, "{", "a");
      appendValue(json, a);
      appendMember(json, ", ", "b");
      appendValue(json, b);
      json += '}';
      next = ", ";
    }
    json += "}}";
    separator = ",";
  }
}

void appendRows(std::string& json, const GroupResult& side, const std::vector<const Row*>& rows) {
  RowWriter writer(*side.group);
  const char* separator = "";
  for (const Row* row : rows) {
    json.append(separator).append("\n    ");
    writer.append(json, *row);
    separator = ",";
  }
}

void appendNames(std::string& json, const char* name, const std::vector<const char*>& names) {
  if (names.empty()) return;
  appendMember(json, ",\n   ", name);
  const char* separator = "[";
  for (const char* each : names) {
    json += separator;
    appendJsonString(json, each);
    separator = ", ";
  }
  json += ']';
}

void appendGroup(std::string& json, const GroupComparison& group) {
  appendStatus(json, "a", group.a);
  appendStatus(json, "b", group.b);
  if (group.a && group.b && group.isComparable) {
    json += ",\n   \"changed\": [";
    appendChanged(json, group);
    json += "],\n   \"removed\": [";
    appendRows(json, *group.a, group.removed);
    json += "],\n   \"added\": [";
    appendRows(json, *group.b, group.added);
    json += ']';
    appendNames(json, "untold_in_a", group.untoldInA);
    appendNames(json, "untold_in_b", group.untoldInB);
  }
  json += '}';
}

}  // namespace

std::string comparisonJson(const Comparison& comparison, const ComparedNames& names) {
  std::string json = std::string("{\"invscan\": \"") + kVersion + "\"";
  appendSide(json, "a", comparison.a, names.a);
  appendSide(json, "b", comparison.b, names.b);
  json += std::string(",\n \"differs\": ") + (comparison.differs() ? "true" : "false");
  json += ",\n \"groups\": {";
  const char* separator = "\n  ";
  for (const GroupComparison& group : comparison.groups) {
    if (!group.differs() && group.isComparable) continue;
    appendMember(json, separator, group.name);
    appendGroup(json, group);
    separator = ",\n  ";
  }
  return json += "}}\n";
}

}  // namespace invscan::agent
