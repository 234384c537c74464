#include "agent/Descriptions.h"

#include <nlohmann/json.hpp>

#include "agent/Facts.h"
#include "agent/Names.h"
#include "agent/Text.h"

namespace invscan::agent {
namespace {

using Json = nlohmann::ordered_json;

std::string sourcesInWords(const Facts& facts) {
  return facts.sources.empty() ? "never filled on Linux" : facts.sources;
}

std::string notes(const Facts& facts) {
  std::vector<std::string> words;
  if (facts.maxLength) words.push_back("up to " + counted(facts.maxLength, "character"));
  if (!facts.unit.empty()) words.push_back(facts.unit);
  words.push_back(facts.behaviour);
  if (facts.isKey) words.push_back("key");
  if (facts.isSensitive) words.push_back("sensitive");
  return joined(words, ", ");
}

std::string valueList(const Facts& facts, const char* separator) {
  std::vector<std::string> values;
  for (const kelEnumDef* entry : facts.values) {
    values.push_back(std::to_string(entry->value) + " " + entry->text);
  }
  return joined(values, separator);
}

std::string title(const kelGroupDef& group) {
  return std::string(group.name) + " (id " + std::to_string(group.id) + ", version " +
         std::to_string(group.version) + ")";
}

std::string attributeText(const Facts& facts) {
  std::string text = "  " + padded(std::to_string(facts.id), 4) + facts.name + ": " + facts.type +
                     ", " + notes(facts) + "\n";
  if (!facts.description.empty()) text += "      " + facts.description + "\n";
  text += "      Source: " + sourcesInWords(facts) + "\n";
  if (!facts.values.empty()) text += "      Values: " + valueList(facts, ", ") + "\n";
  return text;
}

Json valueObject(const Facts& facts) {
  Json values = Json::array();
  for (const kelEnumDef* entry : facts.values) {
    values.push_back({{"value", entry->value}, {"text", entry->text}});
  }
  return values;
}

Json attributeObject(const Facts& facts) {
  Json object = {{"id", facts.id},
                 {"name", facts.name},
                 {"type", facts.type},
                 {"length", facts.maxLength},
                 {"unit", facts.unit},
                 {"key", facts.isKey},
                 {"behaviour", facts.behaviour},
                 {"sensitive", facts.isSensitive},
                 {"description", facts.description},
                 {"sources", facts.sources}};
  if (!facts.values.empty()) object["values"] = valueObject(facts);
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

std::string codeCell(const std::string& sources) {
  if (sources.empty()) return "never filled on Linux";
  std::string code;
  for (const char c : sources) code += c == '|' ? "\\|" : std::string(1, c);
  return "`" + code + "`";
}

std::string markdownTable(const kelGroupDef& group) {
  std::string text =
      "| id | attribute | type | | what it is | source |\n|---|---|---|---|---|---|\n";
  for (const kelAttribDef* attribute : attributesOf(group)) {
    const Facts facts(group, *attribute);
    text += "| " + std::to_string(facts.id) + " | " + cell(facts.name) + " | " +
            facts.type.substr(std::string_view("KEL_").size()) + " | " + cell(notes(facts)) +
            " | " + cell(facts.description) + " | " + codeCell(facts.sources) + " |\n";
  }
  return text;
}

std::string markdownValues(const kelGroupDef& group) {
  std::string text;
  for (const kelAttribDef* attribute : attributesOf(group)) {
    const Facts facts(group, *attribute);
    if (facts.values.empty()) continue;
    text += "\n" + cell(facts.name) + ": " + cell(valueList(facts, ", ")) + ".\n";
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
      text += attributeText(Facts(*group, *attribute));
    }
  }
  return text;
}

std::string describeAsJson(const Groups& groups) {
  Json list = Json::array();
  for (const kelGroupDef* group : groups) {
    Json attributes = Json::array();
    for (const kelAttribDef* attribute : attributesOf(*group)) {
      attributes.push_back(attributeObject(Facts(*group, *attribute)));
    }
    list.push_back({{"id", group->id},
                    {"name", group->name},
                    {"version", group->version},
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
      "what `--redact` replaces. Sources are asked in the order given.\n";
  for (const kelGroupDef* group : groups) {
    text += "\n## " + title(*group) + "\n\n" + markdownTable(*group) + markdownValues(*group);
  }
  return text;
}

}  // namespace invscan::agent
