// Scans groups, each in a worker process of its own, so that none can spoil the others.
#pragma once

#include <functional>
#include <vector>

#include "agent/scan/Scan.h"

namespace invscan::agent {

struct ScannerOptions {
  double timeoutSeconds = 30;  // for each worker, from its own start
  int jobs = 0;                // workers at a time; 0: as many as there are processors
  bool noteAccesses = false;   // fill GroupResult::accesses
  // Characters are read in the locale C.UTF-8, not the environment's: a replay asks the live
  // machine nothing, not even for a locale.
  bool fixedLocale = false;
  // Called when a group begins, when some end, and ten times a second in between, with the group
  // that the scan waits for (null: none) and what is done so far; may be empty.
  std::function<void(const kelGroupDef* running, int done, int total)> progress;
};

// Scans the groups (borrowed catalogue rows, in catalogue order) on the current machine, whose
// factory has been initialised. Sets a UTF-8 locale of characters for this process and its workers,
// the environment's if it is one. Whatever a worker started is gone when this returns or throws,
// and also when this process is killed meanwhile. Throws Interruption (SignalWatch.h) on SIGINT,
// SIGTERM and SIGHUP.
Scan scanGroups(const std::vector<const kelGroupDef*>& groups, const ScannerOptions& options);

}  // namespace invscan::agent
