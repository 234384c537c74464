#include <invscan/machine.h>

#include "agent/Failure.h"
#include "agent/Names.h"
#include "agent/Output.h"
#include "agent/commands/Commands.h"
#include "agent/compare/Comparison.h"
#include "agent/redact/Redactor.h"
#include "agent/saved/SavedScan.h"
#include "agent/scan/ScanRun.h"

namespace invscan::agent {
namespace {

constexpr char kThisMachine[] = "-";

// Those of the catalogue that a saved scan has: what it was not asked for need not be scanned on
// the other side.
std::vector<const kelGroupDef*> groupsOf(const Scan& scan) {
  std::vector<const kelGroupDef*> groups;
  for (const GroupResult& result : scan.groups) {
    const std::size_t place = placeInCatalogue(*result.group);
    if (place < allGroups().size()) groups.push_back(allGroups()[place]);
  }
  return groups;
}

Scan scanSide(const Options& options, const std::string& name,
              const std::vector<const kelGroupDef*>& groups) {
  Options side = options;
  std::string error;
  if (name == kThisMachine) {
    useLiveMachine();
  } else {
    side.machine = name;
    if (!replayMachine(name, error)) throw Failure(error);
  }
  return scanMachine(side, groups);
}

std::string shownName(const std::string& name) {
  return name == kThisMachine ? "this machine" : name;
}

}  // namespace

int runDiff(const Options& options) {
  const std::optional<Redactor> redactor = makeRedactor(options);
  Scan scans[2];
  std::vector<const kelGroupDef*> groups = allGroups();
  for (std::size_t side = 0; side < 2; ++side) {
    if (options.words[side] == kThisMachine || !isSavedScan(options.words[side])) continue;
    scans[side] = readSavedScan(options.words[side]);
    groups = groupsOf(scans[side]);
  }
  int status = kAnswered;
  for (std::size_t side = 0; side < 2; ++side) {
    if (!scans[side].isSaved) {
      scans[side] = scanSide(options, options.words[side], groups);
      if (reportTroubles(scans[side], true) == kGroupFailed) status = kFailed;
    }
    if (redactor) redactor->redact(scans[side]);
  }
  const Comparison comparison = compareScans(scans[0], scans[1], options.all);
  const ComparedNames names{shownName(options.words[0]), shownName(options.words[1])};
  writeOutput(options.output, isText(options) ? comparisonText(comparison, names, styleOf(options))
                                              : comparisonJson(comparison, names));
  if (status == kAnswered && comparison.differs()) status = kDifferent;
  return status;
}

}  // namespace invscan::agent
