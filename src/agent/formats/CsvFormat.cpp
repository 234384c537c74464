#include <algorithm>
#include <string_view>

#include <invscan/print.h>

#include "agent/Text.h"
#include "agent/formats/Formats.h"
#include "agent/formats/FormattedNames.h"
#include "agent/formats/Value.h"

namespace invscan::agent {
namespace {

constexpr auto kIsSuspicious = suspiciousBytes(",\"");

// An object, which searches compile in, rather than a function.
constexpr auto kMayNeedCare = [](char c) { return kIsSuspicious[static_cast<unsigned char>(c)]; };

constexpr std::string_view kAsksForQuotes = ",\"\n";

// A spreadsheet takes a cell for a formula by what it begins with, in its narrow and its wide form.
// The mark that keeps it from that is one of them, so that whoever reads the table takes one away
// wherever there is one.
bool isTakenForFormula(std::string_view text) {
  constexpr std::string_view kBeginnings = "=+-@\t\r\n'";
  constexpr std::string_view kWide[] = {"\uFF1D", "\uFF0B", "\uFF0D", "\uFF20"};
  if (text.empty()) return false;
  if (kBeginnings.find(text[0]) != kBeginnings.npos) return true;
  return text[0] == kWide[0][0] &&
         std::any_of(std::begin(kWide), std::end(kWide),
                     [text](std::string_view beginning) { return text.starts_with(beginning); });
}

// What is unseen is spelt, but for line ends and tabs.
std::string spelt(const std::string& text) {
  std::string result;
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find_first_of("\n\t", begin), text.size());
    result += printable(text.substr(begin, end - begin));
    if (end < text.size()) result += text[end];
    begin = end + 1;
  }
  return result;
}

// RFC 4180: makes a field of what stands behind a place, quoted where needed, quotes doubled.
void makeField(std::string& csv, std::size_t begin) {
  if (isTakenForFormula(std::string_view(csv).substr(begin))) csv.insert(begin, 1, '\'');
  const auto first = csv.begin() + static_cast<std::ptrdiff_t>(begin);
  if (std::none_of(first, csv.end(), kMayNeedCare)) return;
  const std::string text = spelt(std::string(first, csv.end()));
  csv.erase(first, csv.end());
  if (text.find_first_of(kAsksForQuotes) == text.npos) {
    csv += text;
    return;
  }
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

std::string formatCsv(const Scan& scan, const Style& /*style*/) {
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
