// The trace bracket that every collector function starts with:
//
//   const Trace trace(getCcLogHw(), "getTable()");
//   trace.at().max("hardware line %s", line);
//
// Places come from the compiler's built-ins, as std::source_location is not there with every
// compiler that builds this.
#pragma once

#include <cstdarg>

#include <invscan/base/CcLogWrapper.h>

namespace invscan {

// Where a trace line comes from.
struct TraceSite {
  CcLogHandle* log;
  int line;
  const char* path;
  const char* function;
};

// What setSink() was told last.
struct TraceSink {
  int descriptor;
  CcLogWrapper::Level level;
};
TraceSink traceSink();

// Writes one line when the level is enabled. The mark stands where a line names its level.
void writeTrace(CcLogWrapper::Level level, const char* mark, const TraceSite& site,
                const char* format, va_list arguments) __attribute__((format(printf, 4, 0)));

// Traces the entry now and the exit when it goes out of scope.
class Trace {
 public:
  // One detail of the function's work. Costs two nanoseconds when its level is off.
  class Detail {
   public:
    explicit Detail(const TraceSite& site) : site_(site) {}

    void min(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    void mid(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    void max(const char* format, ...) const __attribute__((format(printf, 2, 3)));

   private:
    TraceSite site_;
  };

  Trace(CcLogHandle* log, const char* function, const char* path = __builtin_FILE(),
        int line = __builtin_LINE())
      : site_{log, line, path, function} {
    if (CcLogWrapper::isEnabled(CcLogWrapper::kMid)) {
      CcLogWrapper::traceMidEntry(log, line, path, function, "hardware");
    }
  }

  ~Trace() {
    if (CcLogWrapper::isEnabled(CcLogWrapper::kMid)) {
      CcLogWrapper::traceMidExit(site_.log, site_.line, site_.path, site_.function, "hardware");
    }
  }

  Trace(const Trace&) = delete;
  Trace& operator=(const Trace&) = delete;

  // The line of the call.
  Detail at(const char* path = __builtin_FILE(), int line = __builtin_LINE()) const {
    return Detail({site_.log, line, path, site_.function});
  }

 private:
  TraceSite site_;
};

}  // namespace invscan
