// Holds a process to a share of one processor.
#pragma once

#include <cstdint>

#include <invscan/base/String.h>
#include <invscan/export.h>

// Share and pauses are measured over the whole process, between calls of iteration(). One object
// may be shared by several groups, but not by threads that call it at the same time.
class INVSCAN_EXPORT CpuThreshold {
 public:
  // No limit.
  CpuThreshold() = default;

  // Takes the share in percent of one processor, 1 to 99, as decimal text. Anything else (empty,
  // not a number, 0, 100 and more) means no limit.
  void initialize(const String& percent);

  // Sleeps until the processor time that the process used since the last call is no more than its
  // share of the time that passed. One pause is bounded, and a forked child starts counting afresh.
  // Without a limit it only returns.
  void iteration();

 private:
  void rebase();

  int percent_ = 0;  // 0: no limit
  int process_ = 0;  // whose time the figures below count
  int64_t wallNanoseconds_ = 0;
  int64_t cpuNanoseconds_ = 0;
};
