#include <invscan/collectors.h>

#include "agent/Names.h"
#include "agent/Output.h"
#include "agent/Text.h"
#include "agent/commands/Commands.h"
#include "agent/commands/Reasons.h"
#include "agent/formats/Value.h"
#include "agent/redact/Redactor.h"
#include "agent/scan/ScanRun.h"

namespace invscan::agent {
namespace {

// The values that there are, a line each.
std::vector<std::string> valuesOf(const GroupResult& result, const kelAttribDef& attribute) {
  std::vector<std::string> values;
  for (const Row& row : result.rows) {
    const kelAttribValue* record = findRecord(row, attribute.id);
    if (!record) continue;
    std::string value = withBlanksForControls(plainText(*record));
    if (!value.empty()) values.push_back(std::move(value));
  }
  return values;
}

std::string whyMissing(const GroupResult& result, const kelAttribDef& attribute,
                       std::size_t missing) {
  if (!findCollector(result.group->id)) return "this version has no collector for the group";
  std::string place = result.status == Status::Absent ? "no table on this machine" : "no value";
  if (missing < result.rows.size()) {
    place += " in " + std::to_string(missing) + " of " + counted(result.rows.size(), "row");
  }
  return place + "; " + reasonForDefault(result, attribute);
}

}  // namespace

int runGet(const Options& options) {
  const kelGroupDef& group = findGroup(options.words[0]);
  const kelAttribDef& attribute = findAttribute(group, options.words[1]);
  const std::optional<Redactor> redactor = makeRedactor(options);
  Scan scan = scanMachine(options, {&group}, true);
  if (redactor) redactor->redact(scan);

  const GroupResult& result = scan.groups.front();
  const auto values = valuesOf(result, attribute);
  std::string text;
  for (const std::string& value : values) text += value + "\n";
  writeOutput(options.output, text);

  const int status = reportTroubles(scan);
  const std::size_t missing = result.rows.size() - values.size();
  const bool isMissing = missing > 0 || values.empty();
  if (status == kAnswered && isMissing) {
    reportLine(std::string(group.name) + ", " + attribute.name + ": " +
               whyMissing(result, attribute, missing));
  }
  return status;
}

}  // namespace invscan::agent
