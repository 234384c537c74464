// Tracing: off unless a sink is set, and then one write per line.
#pragma once

#include <invscan/export.h>

// Names who writes a trace line.
struct CcLogHandle;

INVSCAN_EXPORT CcLogHandle* getCcLogHw();   // scanning code
INVSCAN_EXPORT CcLogHandle* getCcLogCom();  // common code

// Each call formats into a buffer on the stack (a longer line is cut and ends with "...") and hands
// the line to the sink with a single write: safe after a fork, without a lock. What the level
// leaves out is not formatted. A line reads
//   2026-11-21 10:15:00.123456 [pid] MIN hw ./../../../src/... (line) function: text
// with the time in UTC, which needs no lock, and "-->" or "<--" in place of the level where a
// function is entered or left. Control characters are replaced by blanks. errno stays as it is.
class INVSCAN_EXPORT CcLogWrapper {
 public:
  enum Level { kOff = 0, kMin = 1, kMid = 2, kMax = 3 };

  // Traces up to this level go to this descriptor, which the caller keeps open; kOff or a negative
  // descriptor turns tracing off, as it is at first. Lines of several processes stay whole when the
  // descriptor is a file opened for appending.
  static void setSink(int descriptor, Level level);
  static bool isEnabled(Level level);

  static void traceMIN(CcLogHandle* log, int line, const char* path, const char* function,
                       const char* format, ...) __attribute__((format(printf, 5, 6)));
  static void traceMID(CcLogHandle* log, int line, const char* path, const char* function,
                       const char* format, ...) __attribute__((format(printf, 5, 6)));
  static void traceMAX(CcLogHandle* log, int line, const char* path, const char* function,
                       const char* format, ...) __attribute__((format(printf, 5, 6)));

  // Bracket a function's work, at the level MID.
  static void traceMidEntry(CcLogHandle* log, int line, const char* path, const char* function,
                            const char* format, ...) __attribute__((format(printf, 5, 6)));
  static void traceMidExit(CcLogHandle* log, int line, const char* path, const char* function,
                           const char* format, ...) __attribute__((format(printf, 5, 6)));
};
