// Jobs that share workers, and the queue from which these take them.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "base/Descriptor.h"

namespace invscan::agent {

// The numbers of jobs that nobody has begun with. Whichever worker comes first takes the next one;
// the kernel sees to it that no two take the same, so that none has to wait for the agent.
class Queue {
 public:
  // Without any, and with errno, when there is no pipe to be had.
  explicit Queue(const std::vector<std::size_t>& jobs);

  explicit operator bool() const { return bool(jobs_); }

  std::optional<std::size_t> take() const;

 private:
  Descriptor jobs_;  // a pipe with nothing more to come
};

struct Room {
  std::vector<std::size_t> jobs = {};  // without a result
  bool startsPrograms = false;
  bool takesMore = true;  // workers, beside the first
  std::size_t workers = 0;
  std::optional<Queue> queue = {};
  // Its queue was there before the first worker, so that all know it, and none has come to grief
  // there.
  bool isOpenToAll = false;

  // Whether workers come from other rooms and go on with others: a job in turn may leave a thread
  // behind, in a name service.
  bool isOpen() const { return isOpenToAll && takesMore && !startsPrograms; }

  // Before any worker starts.
  void openToAll();

  // Whoever works there next has a queue of its own.
  void close();
};

}  // namespace invscan::agent
