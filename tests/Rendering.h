// Tables as text, for comparing whole answers.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <invscan/invscan.h>

#include "WrittenText.h"

namespace invscan {

inline std::string printed(const kelAttribValue* record) {
  std::string result;
  for (const char each : printedText(record)) {
    // A failed date is NUL bytes, which would make the expected output unreadable.
    result += each == '\0' ? std::string("<NUL>") : std::string(1, each);
  }
  return result;
}

// "2 Free Physical (KEL_ULONG) 18912" and so on, a line an attribute.
inline std::string rendered(KelTable* table) {
  if (!table) return "no table\n";
  const kelGroupDef* group = table->getGroupDefinitionFromId();
  std::string text;
  table->reset();
  for (unsigned long row = 1; row <= table->getRowCount(); ++row) {
    KelTableRow* current = table->getNext();
    text += "row " + std::to_string(row) + "\n";
    for (unsigned long i = 0; i < current->getNumAttribs(); ++i) {
      const KelTableAttrib* attrib = current->getNext();
      text += "  " + std::to_string(attrib->getId()) + " " +
              getAttribNameFromId(group, attrib->getId()) + " (" +
              getKelAttribTypeAsString(attrib->getType()) + ") " + printed(attrib->getAttribPtr()) +
              "\n";
    }
  }
  return text;
}

// The printed values of these attributes as "a|b", rows separated by ";"; "-" is not there.
inline std::string valuesOf(unsigned long groupId, const std::vector<std::string>& attributes) {
  const std::unique_ptr<KelGroup> group(GroupFactory::getInstance()->getKELGroup(groupId));
  const std::unique_ptr<KelTable> table(group->getTable());
  if (!table) return "no table";
  std::string text;
  while (KelTableRow* row = table->getNext()) {
    std::map<std::string, std::string> values;
    while (const KelTableAttrib* attrib = row->getNext()) {
      const char* name = getAttribNameFromId(getGroupDefinitionFromId(groupId), attrib->getId());
      values[name] = printed(attrib->getAttribPtr());
    }
    for (const std::string& attribute : attributes) {
      text += (values.count(attribute) != 0 ? values[attribute] : "-") + "|";
    }
    text.back() = ';';
  }
  if (!text.empty()) text.pop_back();
  return text;
}

}  // namespace invscan
