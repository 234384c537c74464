// Statistics of file systems, without waiting for dead servers.
#pragma once

#include <sys/statvfs.h>

#include <invscan/export.h>

// An answer: what the call returned, and what it filled in.
struct orv_statvfs_info_t {
  int result;                 // 0, or -1 when the call failed
  struct statvfs answer;      // of statvfs()
  struct statvfs64 answer64;  // of statvfs64()
};

// Asks the machine under scan (machine.h) for the statistics of the file system that a path is on.
// Returns 0 when there is an answer within the time-out: then info holds it, with zeros for the
// call that was not made, and result tells whether the call succeeded. Returns 1, and leaves info
// as it is, for a null path, one of 4097 bytes or more, no answer in time, or when no child process
// could be made. The time-out is in microseconds, cut to milliseconds, at least one.
//
// A child process of the calling one makes the call, as it may never return. The child is started
// by the first question and serves all later ones; it ends when it does not answer in time (the
// next question starts another), when the machine changes, and with this process. A forked child of
// this process starts one of its own. Threads ask by turns: before its own time-out begins, a call
// waits for those of other threads.
INVSCAN_EXPORT int timeout_statvfs(const char* path, orv_statvfs_info_t& info,
                                   int timeoutMicroseconds, bool use64) noexcept;
