#include "agent/Failure.h"
#include "agent/Names.h"
#include "agent/Output.h"
#include "agent/commands/Commands.h"
#include "agent/formats/Formats.h"
#include "agent/redact/Redactor.h"
#include "agent/saved/KeptScan.h"
#include "agent/saved/SavedScan.h"
#include "agent/scan/ScanRun.h"
#include "agent/screen/Summary.h"

namespace invscan::agent {
namespace {

void checkReasons(const Options& options) {
  if (!options.reasons) return;
  const auto form = findFormat(options.format).write;
  if (form != formatText && form != formatJson) {
    throw Failure("--reasons needs --format text or json; " + options.format + " has no room");
  }
  if (isSavedScan(options.machine)) {
    throw Failure("--reasons: a scan that was kept does not tell what was asked; leave it out");
  }
  if (options.redact) {
    throw Failure("--reasons names what was asked as it is; leave out --redact");
  }
}

// On a terminal, who asks for nothing in particular wants to know what the machine is.
bool isForAScreen(const Options& options) {
  const bool asksForMore = !options.words.empty() || options.all || options.reasons;
  return options.format.empty() && !asksForMore && isTerminal(options.output);
}

std::vector<const kelGroupDef*> wantedGroups(const Options& options) {
  const bool isSummary = findFormat(options.format).write == formatSummary;
  return isSummary && options.words.empty() ? summaryGroups() : findGroups(options.words);
}

}  // namespace

int runScan(const Options& asked) {
  checkReasons(asked);
  Options options = asked;
  if (isForAScreen(asked)) options.format = "summary";
  const auto groups = wantedGroups(options);
  const std::optional<Redactor> redactor = makeRedactor(options);
  Scan scan = scanMachine(options, groups, options.reasons);
  scan.tellsReasons = options.reasons;
  // Programs are told what this process read itself, and so is who wants to know why it did not.
  if (isText(options) && options.machine.empty() && !options.reasons) fillFromKeptScan(scan);
  if (redactor) redactor->redact(scan);
  writeScan(options, scan);
  return reportTroubles(scan, isText(options));
}

}  // namespace invscan::agent
