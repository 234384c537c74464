// Holds a process to a share of one processor.
#pragma once

#include <cstdint>

#include <invscan/base/String.h>
#include <invscan/export.h>

// Share and pauses are measured over the whole process, between calls of iteration(). One object
// may be shared by several groups, and by threads that call iteration() at the same time.
class INVSCAN_EXPORT CpuThreshold {
 public:
  // Sets no limit.
  CpuThreshold() = default;

  // Takes the share in percent of one processor, 1 to 99, as decimal text. Anything else (empty,
  // not a number, 0, 100 and more) means no limit.
  void initialize(const String& percent);

  // Divides the share among processes that scan at the same time, such as forked workers: each is
  // held to its part of it. Counts until initialize() is called again; less than 2 changes nothing.
  void divideAmong(int processes);

  // Sleeps until the processor time that the process used since the last call is no more than its
  // share of the time that passed; a pause of less than 5 ms waits until more has come together.
  // One pause is bounded to 2 s, and a forked child starts counting afresh. Without a limit it only
  // returns.
  void iteration();

 private:
  void rebase();

  double stretch_ = 0;  // time that processor time is stretched to; 0: no limit
  int process_ = 0;     // whose time the figures below count
  int64_t wallNanoseconds_ = 0;
  int64_t cpuNanoseconds_ = 0;
};
