#include <invscan/print.h>
#include <invscan/traits.h>

#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/formats/Formats.h"
#include "agent/formats/Value.h"

namespace invscan::agent {
namespace {

std::string shownValue(const kelGroupDef& group, const kelAttribValue& record) {
  std::string text = printable(printedValue(record));
  const kelAttribDef* attribute = getAttribDefinitionFromId(&group, record.attribId);
  if (const char* meaning = attribute ? enumeratedText(*attribute, record) : nullptr) {
    text.append(" (").append(meaning).append(")");
  }
  const AttributeTraits* traits = attributeTraits(group.id, record.attribId);
  if (traits && *traits->unit && !text.empty()) text.append(" ").append(traits->unit);
  return text;
}

// The attributes of all rows in columns; of several rows, each begins with its number.
std::string rowBlock(const GroupResult& result) {
  Columns columns;
  for (std::size_t i = 0; i < result.rows.size(); ++i) {
    std::string number = std::to_string(i + 1);
    for (const Record& record : result.rows[i]) {
      const std::string name = attributeName(*result.group, record->attribId);
      const std::string value = shownValue(*result.group, *record);
      if (result.rows.size() == 1) {
        columns.add({name, value});
      } else {
        columns.add({number, name, value});
        number.clear();
      }
    }
  }
  return columns.text("  ");
}

std::string heading(const GroupResult& result, bool inColour) {
  const std::string name = result.group->name;
  const std::string rows =
      result.rows.size() > 1 ? " (" + counted(result.rows.size(), "row") + ")" : "";
  return (inColour ? "\x1B[1m" + name + "\x1B[0m" : name) + rows + "\n";
}

std::string body(const GroupResult& result) {
  if (result.status != Status::Ok) return "  no answer: " + printable(result.trouble) + "\n";
  return result.rows.empty() ? "  no rows\n" : rowBlock(result);
}

}  // namespace

std::string formatText(const Scan& scan, bool inColour) {
  std::string text;
  std::vector<std::string> absent;
  for (const GroupResult& result : scan.groups) {
    if (result.status == Status::Absent) {
      absent.push_back(result.group->name);
    } else {
      text.append(heading(result, inColour)).append(body(result)).append("\n");
    }
  }
  if (!absent.empty()) return text + "Absent on this machine: " + joined(absent, ", ") + "\n";
  if (!text.empty()) text.pop_back();
  return text;
}

}  // namespace invscan::agent
