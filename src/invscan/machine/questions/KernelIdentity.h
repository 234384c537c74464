// uname(): how the kernel names itself and the machine.
#pragma once

#include "invscan/machine/Question.h"

namespace invscan {

struct KernelIdentity {
  std::string sysname, nodename, release, version, machine;
};

struct KernelIdentityQuestion : PlainQuestion<std::optional<KernelIdentity>> {
  static constexpr const char* kSections[] = {"uname"};
  static constexpr bool kIsAlwaysAnswered = true;
  static constexpr const char* kLogName = "uname";
  static Answer live(NoKey);
  static void write(Json& json, const Answer& kernel);
  static Answer read(const CaptureValue& value);
};

}  // namespace invscan
