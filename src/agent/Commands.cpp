#include "agent/Commands.h"

#include <algorithm>

#include "agent/Formats.h"

namespace invscan::agent {
namespace {

constexpr std::size_t kAny = static_cast<std::size_t>(-1);

std::vector<const char*> scanFormats() {
  std::vector<const char*> names;
  for (const Format& format : formats()) names.push_back(format.name);
  return names;
}

}  // namespace

const std::vector<Command>& commands() {
  static const std::vector<Command> table = {
      {"scan", "[GROUP...]", "scan all groups or the named ones (the default)", 0, kAny,
       scanFormats(), true, true, runScan},
      {"get", "GROUP ATTRIBUTE", "print bare values, one per row", 2, 2, {}, true, true, runGet},
      {"list", "", "list the groups", 0, 0, {}, false, false, runList},
      {"describe",
       "[GROUP]",
       "tell what is known about every attribute",
       0,
       1,
       {"text", "json", "markdown", "schema"},
       false,
       false,
       runDescribe},
      {"capture", "DIR [GROUP...]", "record this machine, to be scanned again with --machine", 1,
       kAny, scanFormats(), true, true, runCapture},
      {"explain",
       "[GROUP...]",
       "tell which sources were asked and why values are missing",
       0,
       kAny,
       {},
       true,
       false,
       runExplain},
      {"smbios",
       "",
       "print the firmware's SMBIOS table, or dump it to a file",
       0,
       0,
       {},
       false,
       false,
       runSmbios,
       true},
      {"helper",
       "cpuid|diskscan",
       "run a helper program and print its answer",
       1,
       1,
       {},
       false,
       false,
       runHelper},
  };
  return table;
}

const Command* findCommand(std::string_view word) {
  const auto& table = commands();
  const auto found = std::find_if(table.begin(), table.end(),
                                  [word](const Command& command) { return word == command.name; });
  return found == table.end() ? nullptr : &*found;
}

}  // namespace invscan::agent
