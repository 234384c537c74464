#include <invscan/collectors.h>

#include "agent/Names.h"
#include "agent/Output.h"
#include "agent/Text.h"
#include "agent/commands/Commands.h"

namespace invscan::agent {

int runList(const Options& options) {
  Columns columns;
  columns.add({"id", "name", "attributes", "version", "collector"});
  for (const kelGroupDef* group : allGroups()) {
    columns.add({std::to_string(group->id), group->name,
                 std::to_string(attributesOf(*group).size()), std::to_string(group->version),
                 findCollector(group->id) ? "yes" : "no"});
  }
  writeOutput(options.output, columns.text(""));
  return kAnswered;
}

}  // namespace invscan::agent
