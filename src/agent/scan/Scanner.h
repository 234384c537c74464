// Scans groups in worker processes, so that none can spoil the others.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <invscan/table.h>

#include "agent/scan/Scan.h"

namespace invscan::agent {

struct ScannerOptions {
  double timeoutSeconds = 30;  // for each group, from when a worker begins with it
  int jobs = 0;                // workers at a time; 0: one more than there are processors
  bool noteAccesses = false;   // fill GroupResult::accesses with all, not with obstacles alone
  // The directory of the capture that is scanned; empty for the live machine. Characters are then
  // read in the locale C.UTF-8, not the environment's: a replay asks the live machine nothing, not
  // even for a locale. Where it has no answer of a helper, ours makes one from it.
  std::string capture = {};
  // The directory of a capture that is being made, or empty. Every helper is then asked, and has
  // its own questions recorded, so that the capture serves more than the groups of this scan.
  std::string recording = {};
  // Called when a group begins, when some end, and ten times a second in between, with the group
  // that the scan has waited for longest (null: none) and what is done so far; may be empty.
  std::function<void(const kelGroupDef* running, int done, int total)> progress = {};
};

// Scans the groups (borrowed catalogue rows, in catalogue order) on the current machine, whose
// factory knows its configuration; the firmware's table is read by the workers that need it.
// Whatever a worker started was killed when this returns or throws, and is gone when this process
// ends, also if that is killed meanwhile. Throws Interruption (SignalWatch.h) on SIGINT, SIGTERM
// and SIGHUP.
Scan scanGroups(const std::vector<const kelGroupDef*>& groups, const ScannerOptions& options);

// A group, what collecting it needs (CollectorNeed in collectors.h), and how it is collected.
struct Task {
  const kelGroupDef* group;
  unsigned needs;
  std::function<std::unique_ptr<KelTable>()> collect;
};

// The part of scanGroups that runs workers: adds a result for each task, in catalogue order, and
// one for each helper that a task needs.
void runTasks(const std::vector<Task>& tasks, const ScannerOptions& options, Scan& scan);

}  // namespace invscan::agent
