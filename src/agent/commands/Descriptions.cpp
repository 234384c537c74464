#include "agent/commands/Descriptions.h"

#include <invscan/collectors.h>
#include <nlohmann/json.hpp>

#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/commands/AttributeDescription.h"

namespace invscan::agent {
namespace {

using Json = nlohmann::ordered_json;

// Why there are no sources.
const char* reasonForNone(const AttributeDescription& described) {
  return described.isCollected ? "never filled on Linux" : "not collected yet";
}

std::string sourcesInWords(const AttributeDescription& described) {
  return described.sources.empty() ? reasonForNone(described) : described.sources;
}

std::string notes(const AttributeDescription& described) {
  std::vector<std::string> words;
  if (described.maxLength) words.push_back("up to " + counted(described.maxLength, "character"));
  if (!described.unit.empty()) words.push_back(described.unit);
  words.push_back(described.behaviour);
  if (described.isKey) words.push_back("key");
  if (described.isSensitive) words.push_back("sensitive");
  if (described.isNeverZero) words.push_back("0 is unknown");
  return joined(words, ", ");
}

std::string valueList(const AttributeDescription& described, const char* separator) {
  std::vector<std::string> values;
  for (const kelEnumDef* entry : described.values) {
    values.push_back(std::to_string(entry->value) + " " + entry->text);
  }
  return joined(values, separator);
}

std::string title(const kelGroupDef& group) {
  return std::string(group.name) + " (id " + std::to_string(group.id) + ", version " +
         std::to_string(group.version) + ")";
}

std::string attributeText(const AttributeDescription& described) {
  std::string text = "  " + padded(std::to_string(described.id), 4) + described.name + ": " +
                     described.type + ", " + notes(described) + "\n";
  if (!described.description.empty()) text += "      " + described.description + "\n";
  text += "      Source: " + sourcesInWords(described) + "\n";
  if (!described.values.empty()) text += "      Values: " + valueList(described, ", ") + "\n";
  return text;
}

Json valueObject(const AttributeDescription& described) {
  Json values = Json::array();
  for (const kelEnumDef* entry : described.values) {
    values.push_back({{"value", entry->value}, {"text", entry->text}});
  }
  return values;
}

Json attributeObject(const AttributeDescription& described) {
  Json object = {{"id", described.id},
                 {"name", described.name},
                 {"type", described.type},
                 {"length", described.maxLength},
                 {"unit", described.unit},
                 {"key", described.isKey},
                 {"behaviour", described.behaviour},
                 {"sensitive", described.isSensitive},
                 {"zero_is_unknown", described.isNeverZero},
                 {"description", described.description},
                 {"sources", described.sources}};
  if (!described.values.empty()) object["values"] = valueObject(described);
  return object;
}

// Text that stands in a table cell as it is.
std::string cell(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '|' || c == '*' || c == '<' || c == '_' || c == '\\') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

std::string sourceCell(const AttributeDescription& described) {
  if (described.sources.empty()) return reasonForNone(described);
  std::string code;
  for (const char c : described.sources) code += c == '|' ? "\\|" : std::string(1, c);
  return "`" + code + "`";
}

std::string markdownTable(const kelGroupDef& group) {
  std::string text =
      "| id | attribute | type | | what it is | source |\n|---|---|---|---|---|---|\n";
  for (const kelAttribDef* attribute : attributesOf(group)) {
    const AttributeDescription described(group, *attribute);
    text += "| " + std::to_string(described.id) + " | " + cell(described.name) + " | " +
            described.type.substr(std::string_view("KEL_").size()) + " | " +
            cell(notes(described)) + " | " + cell(described.description) + " | " +
            sourceCell(described) + " |\n";
  }
  return text;
}

std::string markdownValues(const kelGroupDef& group) {
  std::string text;
  for (const kelAttribDef* attribute : attributesOf(group)) {
    const AttributeDescription described(group, *attribute);
    if (described.values.empty()) continue;
    text += "\n" + cell(described.name) + ": " + cell(valueList(described, ", ")) + ".\n";
  }
  return text;
}

}  // namespace

std::string describeAsText(const Groups& groups) {
  std::string text;
  for (const kelGroupDef* group : groups) {
    if (!text.empty()) text += "\n";
    text += title(*group) + "\n";
    for (const kelAttribDef* attribute : attributesOf(*group)) {
      text += attributeText(AttributeDescription(*group, *attribute));
    }
  }
  return text;
}

std::string describeAsJson(const Groups& groups) {
  Json list = Json::array();
  for (const kelGroupDef* group : groups) {
    Json attributes = Json::array();
    for (const kelAttribDef* attribute : attributesOf(*group)) {
      attributes.push_back(attributeObject(AttributeDescription(*group, *attribute)));
    }
    list.push_back({{"id", group->id},
                    {"name", group->name},
                    {"version", group->version},
                    {"collected", findCollector(group->id) != nullptr},
                    {"attributes", std::move(attributes)}});
  }
  return list.dump(1) + "\n";
}

std::string describeAsMarkdown(const Groups& groups) {
  std::string text =
      "# The catalogue\n\n"
      "Made by `invscan describe --format markdown`; a test holds this file against it.\n\n"
      "Groups stand in scan order, attributes in the order of their table. An attribute is "
      "identity\n"
      "(tells this machine or part from others), stable (changes only when someone changes the\n"
      "machine or its set-up) or volatile (differs from one scan to the next). Sensitive values "
      "are\n"
      "what `--redact` replaces. Sources are asked in the order given; a group that is not "
      "collected\n"
      "yet has no rows in this version.\n";
  for (const kelGroupDef* group : groups) {
    text += "\n## " + title(*group) + "\n\n" + markdownTable(*group) + markdownValues(*group);
  }
  return text;
}

}  // namespace invscan::agent
