#include "agent/Names.h"
#include "agent/Output.h"
#include "agent/commands/Commands.h"
#include "agent/commands/Descriptions.h"

namespace invscan::agent {

int runDescribe(const Options& options) {
  using Write = std::string (*)(const std::vector<const kelGroupDef*>&);
  constexpr struct {
    const char* format;
    Write write;
  } kForms[] = {{"", describeAsText},
                {"text", describeAsText},
                {"json", describeAsJson},
                {"markdown", describeAsMarkdown},
                {"schema", describeAsSchema}};
  const auto groups = findGroups(options.words);
  for (const auto& [format, write] : kForms) {
    if (options.format == format) writeOutput(options.output, write(groups));
  }
  return kAnswered;
}

}  // namespace invscan::agent
