#include <invscan/print.h>

#include "agent/Names.h"
#include "agent/formats/Formats.h"
#include "agent/formats/Value.h"

namespace invscan::agent {
namespace {

// RFC 4180: quoted where needed, quotes doubled.
std::string field(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == text.npos) return text;
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"') quoted += c;
    quoted += c;
  }
  return quoted + "\"";
}

}  // namespace

std::string formatCsv(const Scan& scan, bool /*inColour*/) {
  std::string text = "host,group,row,attribute,type,value\r\n";
  const std::string host = field(scan.hostName) + ",";
  for (const GroupResult& result : scan.groups) {
    for (std::size_t i = 0; i < result.rows.size(); ++i) {
      const std::string row = host + field(result.group->name) + "," + std::to_string(i + 1) + ",";
      for (const Record& record : result.rows[i]) {
        text += row + field(attributeName(*result.group, record->attribId)) + "," +
                getKelAttribTypeAsString(record->kelType) + "," + field(plainText(*record)) +
                "\r\n";
      }
    }
  }
  return text;
}

}  // namespace invscan::agent
