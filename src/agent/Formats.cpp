#include "agent/Formats.h"

#include <algorithm>

namespace invscan::agent {

const std::vector<Format>& formats() {
  static const std::vector<Format> table = {
      {"text", formatText}, {"json", formatJson}, {"jsonl", formatJsonLines}, {"csv", formatCsv}};
  return table;
}

const Format& findFormat(std::string_view name) {
  const auto& table = formats();
  const auto found = std::find_if(table.begin(), table.end(),
                                  [name](const Format& format) { return name == format.name; });
  return found == table.end() ? table.front() : *found;
}

}  // namespace invscan::agent
