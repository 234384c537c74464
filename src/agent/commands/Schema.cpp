#include <algorithm>

#include <nlohmann/json.hpp>

#include "agent/Names.h"
#include "agent/commands/AttributeDescription.h"
#include "agent/commands/Descriptions.h"
#include "agent/formats/Value.h"

namespace invscan::agent {
namespace {

using Json = nlohmann::ordered_json;

constexpr unsigned long kLargestCount = ~0UL;

Json anyText() {
  return {{"type", "string"}};
}

Json countUpTo(unsigned long largest) {
  return {{"type", "integer"}, {"minimum", 0}, {"maximum", largest}};
}

Json valueSchema(unsigned long type) {
  switch (type) {
    case KEL_UCHAR:
      return countUpTo(0xFF);
    case KEL_USHORT:
      return countUpTo(0xFFFF);
    case KEL_ULONG:
    case KEL_ULONGLONG:
      return countUpTo(kLargestCount);
    case KEL_LONGLONG:
      return {{"type", "integer"}};
    case KEL_UQUAD:
      return {
          {"type", "array"}, {"items", countUpTo(kLargestCount)}, {"minItems", 2}, {"maxItems", 2}};
    case KEL_FLOAT:
    case KEL_DOUBLE:
      return {{"type", {"number", "null"}}};
    case KEL_OCTETSTRING:
      return {{"type", "string"}, {"pattern", "^([0-9A-F]{2})*$"}};
    case KEL_DATETIME:
      return {{"type", "string"}, {"maxLength", 26}};
    default:
      return anyText();
  }
}

Json describedSchema(const AttributeDescription& described, Json schema) {
  // With --redact any sensitive value is a token.
  if (described.isSensitive && schema != anyText()) {
    schema = {{"anyOf", {std::move(schema), {{"$ref", "#/$defs/token"}}}}};
  }
  if (!described.description.empty()) schema["description"] = described.description;
  return schema;
}

// What the second member of an attribute may say.
Json meanings(const AttributeDescription& described) {
  Json texts = Json::array();
  for (const kelEnumDef* entry : described.values) {
    if (std::find(texts.begin(), texts.end(), entry->text) == texts.end())
      texts.push_back(entry->text);
  }
  if (described.isNeverZero) texts.push_back(kUnknownText);
  return {{"enum", std::move(texts)}};
}

Json textsByAttribute(const char* description) {
  return {{"type", "object"}, {"additionalProperties", anyText()}, {"description", description}};
}

Json sourceSchema() {
  return {{"type", "object"},
          {"properties",
           {{"source", anyText()},
            {"times", countUpTo(kLargestCount)},
            {"ms", {{"type", "number"}, {"minimum", 0}}},
            {"outcome", anyText()}}},
          {"required", {"source", "times", "ms", "outcome"}},
          {"additionalProperties", false}};
}

Json rowSchema(const kelGroupDef& group) {
  Json properties = Json::object();
  for (const kelAttribDef* attribute : attributesOf(group)) {
    const AttributeDescription described(group, *attribute);
    properties[described.name] = describedSchema(described, valueSchema(attribute->type));
    if (!described.values.empty() || described.isNeverZero)
      properties[described.name + " text"] = meanings(described);
  }
  return {
      {"type", "object"}, {"properties", std::move(properties)}, {"additionalProperties", false}};
}

Json groupSchema(const kelGroupDef& group) {
  return {{"type", "object"},
          {"properties",
           {{"id", {{"const", group.id}}},
            {"version", {{"const", group.version}}},
            {"status", {{"enum", kStatusNames}}},
            {"trouble",
             {{"type", "string"},
              {"description", "What happened; not where the status is ok or absent."}}},
            {"incomplete",
             {{"type", "string"},
              {"description", "Of a group that is ok: what stood in the way of missing values."}}},
            {"reasons", textsByAttribute("Why attributes have no more than their default.")},
            {"told_by", textsByAttribute("Of explain: which source gave the values.")},
            {"sources", {{"type", "array"}, {"items", sourceSchema()}}},
            {"duration_ms", {{"type", "number"}, {"minimum", 0}}},
            {"rows", {{"type", "array"}, {"items", rowSchema(group)}}}}},
          {"required", {"id", "version", "status", "rows"}},
          {"additionalProperties", false}};
}

}  // namespace

std::string describeAsSchema(const Groups& groups) {
  Json groupSchemas = Json::object();
  for (const kelGroupDef* group : groups) groupSchemas[group->name] = groupSchema(*group);
  const Json schema = {
      {"$schema", "https://json-schema.org/draft/2020-12/schema"},
      {"title", "A scan by invscan, as --format json writes it"},
      {"description", "Made by `invscan describe --format schema`; docs/json.md explains it."},
      {"type", "object"},
      {"properties",
       {{"invscan", {{"type", "string"}, {"pattern", "^[0-9]+\\.[0-9]+\\.[0-9]+$"}}},
        {"hostname", {{"type", "string"}}},
        {"time",
         {{"type", {"string", "null"}},
          {"pattern", "^-?[0-9]{4,}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z$"}}},
        {"duration_ms", {{"type", "number"}, {"minimum", 0}}},
        {"groups",
         {{"type", "object"},
          {"properties", std::move(groupSchemas)},
          {"additionalProperties", false}}}}},
      {"required", {"invscan", "hostname", "time", "duration_ms", "groups"}},
      {"additionalProperties", false},
      {"$defs", {{"token", {{"type", "string"}, {"pattern", "^redacted-[0-9a-f]{16}$"}}}}}};
  return schema.dump(1) + "\n";
}

}  // namespace invscan::agent
