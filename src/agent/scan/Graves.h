// Workers that were killed and not yet reaped.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <vector>

namespace invscan::agent {

// All that they knew is told by then: where it does not matter what else they do, the agent goes on
// while the kernel takes them apart, and waits at its end.
class Graves {
 public:
  // A killed worker that is stuck in the kernel (a dead file server, a broken disk) ends when the
  // kernel lets it; the agent does not wait for that.
  static constexpr std::chrono::seconds kPatience{1};

  ~Graves() { awaitEnds(); }

  bool isEmpty() const { return workers_.empty(); }
  void add(pid_t worker) { workers_.push_back(worker); }

  // Reaps those that have ended, with the children that outlived them and came to the agent: a
  // worker leads its group.
  void bury();

  // Until all have ended and are reaped, at most as long as there is patience.
  void awaitEnds();

 private:
  std::vector<pid_t> workers_;
};

// This process's.
Graves& graves();

}  // namespace invscan::agent
