#include "agent/Names.h"
#include "agent/commands/Commands.h"
#include "agent/redact/Redactor.h"
#include "agent/scan/ScanRun.h"

namespace invscan::agent {

int runScan(const Options& options) {
  const auto groups = findGroups(options.words);
  const std::optional<Redactor> redactor = makeRedactor(options);
  Scan scan = scanMachine(options, groups);
  if (redactor) redactor->redact(scan);
  writeScan(options, scan);
  return reportTroubles(scan);
}

}  // namespace invscan::agent
