#include "agent/Failure.h"
#include "agent/Names.h"
#include "agent/commands/Commands.h"
#include "agent/redact/Redactor.h"
#include "agent/scan/ScanRun.h"

namespace invscan::agent {
namespace {

void checkReasons(const Options& options) {
  if (!options.reasons) return;
  if (!isText(options) && options.format != "json") {
    throw Failure("--reasons needs --format text or json; " + options.format + " has rows alone");
  }
  if (options.redact) {
    throw Failure("--reasons names what was asked as it is; leave out --redact");
  }
}

}  // namespace

int runScan(const Options& options) {
  checkReasons(options);
  const auto groups = findGroups(options.words);
  const std::optional<Redactor> redactor = makeRedactor(options);
  Scan scan = scanMachine(options, groups, options.reasons);
  scan.tellsReasons = options.reasons;
  if (redactor) redactor->redact(scan);
  writeScan(options, scan);
  return reportTroubles(scan, isText(options));
}

}  // namespace invscan::agent
