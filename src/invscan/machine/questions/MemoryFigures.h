// sysinfo(): how much memory there is.
#pragma once

#include "invscan/machine/Question.h"

namespace invscan {

// The fields of sysinfo() as they stand; the memory unit is not applied.
struct MemoryFigures {
  unsigned long totalRam = 0, freeRam = 0, totalSwap = 0, freeSwap = 0;
};

struct MemoryFiguresQuestion : PlainQuestion<std::optional<MemoryFigures>> {
  static constexpr const char* kSections[] = {"sysinfo"};
  static constexpr const char* kLogName = "sysinfo";
  static Answer live(NoKey);
  static void write(Json& json, const Answer& figures);
  static Answer read(const CaptureValue& value);
};

}  // namespace invscan
