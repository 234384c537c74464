// Runs jobs in worker processes and gathers their answers.
#pragma once

#include <functional>
#include <vector>

#include "agent/scan/Scan.h"
#include "agent/scan/Scanner.h"

namespace invscan::agent {

struct Job {
  const kelGroupDef* group;
  // Runs in the worker, where standard input and output are empty, and sends the answer (Wire.h)
  // through the descriptor. The worker is killed as soon as its answer is complete.
  std::function<void(int descriptor)> work;
};

// What scanGroups (Scanner.h) promises, for any jobs: one result for each, in their order.
// Throws Interruption (SignalWatch.h).
std::vector<GroupResult> runJobs(const std::vector<Job>& jobs, const ScannerOptions& options);

}  // namespace invscan::agent
