// The two ends of the conversation about file systems: timeout_statvfs() asks, a child answers.
#pragma once

#include <sys/types.h>

#include <cstddef>

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

// The life of the child: leaves all that is the host's behind, then answers questions until the
// other end of the requests is closed. With a parent's id it also dies with that parent.
[[noreturn]] void serveStatistics(int requests, int answers, pid_t parent) noexcept;

}  // namespace invscan
