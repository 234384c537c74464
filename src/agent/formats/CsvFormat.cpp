#include <algorithm>

#include <invscan/print.h>

#include "agent/formats/Formats.h"
#include "agent/formats/FormattedNames.h"
#include "agent/formats/Value.h"

namespace invscan::agent {
namespace {

// An object, which searches compile in, rather than a function.
constexpr auto kAsksForQuotes = [](char c) {
  return c == ',' || c == '"' || c == '\r' || c == '\n';
};

// RFC 4180: makes a field of what stands behind a place, quoted where needed, quotes doubled.
void makeField(std::string& csv, std::size_t begin) {
  const auto first = csv.begin() + static_cast<std::ptrdiff_t>(begin);
  if (std::none_of(first, csv.end(), kAsksForQuotes)) return;
  const std::string text(first, csv.end());
  csv.erase(first, csv.end());
  csv += '"';
  for (const char c : text) {
    if (c == '"') csv += c;
    csv += c;
  }
  csv += '"';
}

void appendField(std::string& csv, const std::string& text) {
  const std::size_t begin = csv.size();
  csv += text;
  makeField(csv, begin);
}

void appendValue(std::string& csv, const kelAttribValue& record) {
  const std::size_t begin = csv.size();
  appendPlainText(csv, record);
  if (isText(record)) makeField(csv, begin);
}

// The catalogue's, whatever number the collector made of it. A value that was redacted is a text.
unsigned long typeOf(const kelAttribDef* attribute, const kelAttribValue& record) {
  return attribute && record.kelType != KEL_STRING ? attribute->type : record.kelType;
}

}  // namespace

std::string formatCsv(const Scan& scan, bool /*inColour*/) {
  std::string csv = "host,group,row,attribute,type,value\r\n";
  for (const GroupResult& result : scan.groups) {
    FormattedNames names(*result.group, appendField);
    std::string head;
    appendField(head, scan.hostName);
    head += ',';
    appendField(head, result.group->name);
    head += ',';
    const std::size_t length = head.size();
    const std::size_t begin = csv.size();
    for (std::size_t i = 0; i < result.rows.size(); ++i) {
      head.resize(length);
      head.append(std::to_string(i + 1)).append(",");
      for (const Record& record : result.rows[i]) {
        const FormattedName& named = names.of(record->attribId);
        csv.append(head).append(named.name).append(",");
        csv.append(getKelAttribTypeAsString(typeOf(named.attribute, *record))).append(",");
        appendValue(csv, *record);
        csv += "\r\n";
      }
      if (i == 0) reserveRows(csv, begin, result.rows.size());
    }
  }
  return csv;
}

}  // namespace invscan::agent
