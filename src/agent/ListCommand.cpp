#include "agent/Commands.h"
#include "agent/Names.h"
#include "agent/OutputFile.h"
#include "agent/Reasons.h"
#include "agent/Text.h"

namespace invscan::agent {

int runList(const Options& options) {
  Columns columns;
  columns.add({"id", "name", "attributes", "version", "collector"});
  for (const kelGroupDef* group : allGroups()) {
    columns.add({std::to_string(group->id), group->name,
                 std::to_string(attributesOf(*group).size()), std::to_string(group->version),
                 hasCollector(*group) ? "yes" : "no"});
  }
  writeOutput(options.output, columns.text(""));
  return kAnswered;
}

}  // namespace invscan::agent
