// The two ends of the conversation about file systems: timeout_statvfs() asks, a child answers.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

#include <invscan/statistics.h>

#include "base/Descriptor.h"

namespace invscan {

struct StatisticsRequest {
  unsigned char use64;
  char path[4097];  // NUL-terminated, the rest zero
};

// Both processes are of one build, so that the records travel as they lie in memory. An answer is
// short enough for a pipe to pass it on in one piece.
static_assert(sizeof(StatisticsRequest) == 4098);
static_assert(sizeof(orv_statvfs_info_t) == 232);

// While it stands, timeout_statvfs() is expected to be asked for these one after another, with
// use64 unset, so that the child can answer while the one before is still looked at. Each has its
// own time-out all the same, from when it is asked for. The first that is not answered in time, and
// any other question, ends that: the others are then asked one by one.
class ExpectedStatistics {
 public:
  explicit ExpectedStatistics(const std::vector<std::string>& paths);
  ExpectedStatistics(const ExpectedStatistics&) = delete;
  ExpectedStatistics& operator=(const ExpectedStatistics&) = delete;
  ~ExpectedStatistics();
};

// The life of the child: leaves all that is the host's behind, then answers questions until the
// other end of the requests is closed. With a parent's id it also dies with that parent.
[[noreturn]] void serveStatistics(int requests, int answers, pid_t parent) noexcept;

}  // namespace invscan
