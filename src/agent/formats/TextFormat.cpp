#include <invscan/print.h>
#include <invscan/traits.h>

#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/formats/Formats.h"
#include "agent/formats/Value.h"
#include "agent/reasons/Completeness.h"
#include "agent/reasons/Reasons.h"

namespace invscan::agent {
namespace {

std::string shownValue(const kelGroupDef& group, const kelAttribValue& record) {
  const kelAttribDef* attribute = getAttribDefinitionFromId(&group, record.attribId);
  if (attribute && isUnknown(group.id, *attribute, record)) return kUnknownText;
  std::string text = printable(printedValue(record));
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

std::string body(const GroupResult& result, bool tellsReasons) {
  const std::string rows = result.rows.empty() ? "  no rows\n" : rowBlock(result);
  return tellsReasons ? rows + remarkBlock("without a value", reasonsOf(result)) : rows;
}

}  // namespace

std::string formatText(const Scan& scan, bool inColour) {
  std::string text;
  for (const GroupResult& result : scan.groups) {
    const bool isLost = result.status == Status::Timeout || result.status == Status::Crash;
    const bool isTold = result.status == Status::Ok || (scan.tellsReasons && !isLost);
    if (!isTold) continue;
    text.append(heading(result, inColour)).append(body(result, scan.tellsReasons)).append("\n");
  }
  const auto lines = shortfalls(scan, Kinds::All);
  for (const std::string& line : lines) text += paragraph(printable(line), "", "  ");
  if (lines.empty() && !text.empty()) text.pop_back();
  return text;
}

}  // namespace invscan::agent
