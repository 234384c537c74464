#include "agent/formats/RowWriter.h"

#include "agent/formats/Json.h"
#include "agent/formats/Value.h"

namespace invscan::agent {

RowWriter::RowWriter(const kelGroupDef& group)
    : group_(group),
      names_(group, [](std::string& text, const std::string& name) { appendEscaped(text, name); }) {
}

void RowWriter::append(std::string& json, const Row& row) {
  json += '{';
  const char* separator = "\"";
  for (const Record& record : row) {
    const FormattedName& named = names_.of(record->attribId);
    json.append(separator).append(named.name).append("\": ");
    appendJsonValue(json, *record);
    separator = ", \"";
    const char* const meaning = meaningOf(named, *record);
    if (!meaning) continue;
    json.append(separator).append(named.name).append(" text\": ");
    appendJsonString(json, meaning);
  }
  json += '}';
}

const char* RowWriter::meaningOf(const FormattedName& named, const kelAttribValue& record) const {
  if (!named.attribute) return nullptr;
  const char* const meaning = enumeratedText(*named.attribute, record);
  const bool isZero = named.isNeverZero && isUnknown(group_.id, *named.attribute, record);
  return !meaning && isZero ? kUnknownText : meaning;
}

}  // namespace invscan::agent
