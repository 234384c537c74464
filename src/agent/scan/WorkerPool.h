// Runs jobs in worker processes and gathers their answers.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "agent/scan/Scan.h"
#include "agent/scan/Scanner.h"
#include "agent/scan/Wire.h"

namespace invscan::agent {

inline constexpr int kOwnRoom = -1;

struct Job {
  const kelGroupDef* group;  // null for one that only others wait for
  // Runs in a worker, where standard input and output are empty, and gives its answer (Wire.h).
  std::function<void(Outbox& outbox)> work;
  // Workers take one job after another of a room, and go on with rooms that wait. A job that may
  // hang for long, or leave something behind, has a room and so a worker of its own, which is
  // killed as soon as its answer is complete.
  int room = kOwnRoom;
  // What it starts has to end with the agent even if that is killed.
  bool startsPrograms = false;
  // Jobs by their places in the list, which have their results before this one begins; of its own
  // room only such as stand before it.
  std::vector<std::size_t> after = {};
  // Does not run beside others of its room, and its worker ends with that.
  bool isInTurn = false;
};

// What scanGroups (Scanner.h) promises, for any jobs: one result for each, in their order.
//
// A worker that crashes, makes no sense or keeps a job for longer than the time limit costs the job
// that it has in hand, and another goes on with the rest of the room. A job that did not end well
// in a worker that had done others before is tried once more, alone: one of those may have spoilt
// the worker. That is not done for one that timed out, which would take twice its time.
//
// Throws Interruption (SignalWatch.h).
std::vector<GroupResult> runJobs(const std::vector<Job>& jobs, const ScannerOptions& options);

}  // namespace invscan::agent
