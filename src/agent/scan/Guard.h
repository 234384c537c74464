// The process that outlives a killed agent just long enough to kill what its workers started.
#pragma once

#include <sys/types.h>

#include "base/Descriptor.h"

namespace invscan::agent {

// The guard process knows the process groups of workers that start programs. When agent and workers
// have closed their ends of its line, because they ended or were killed, it kills the groups that
// are left and ends. It holds none of the agent's descriptors open.
//
// Where no process can be started for it, the scan does without: a worker then still dies with the
// agent, but what it started need not.
class Guard {
 public:
  Guard();
  ~Guard();
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

  // For the worker itself, once it leads its group and before it starts anything.
  void workerBegan();

  // For a worker that starts nothing.
  void leave() { line_.close(); }

  // For the agent: the group has been killed, and its id may soon be another's.
  void workerEnded(pid_t group) const;

 private:
  int start();

  pid_t process_ = -1;
  Descriptor line_;
};

}  // namespace invscan::agent
