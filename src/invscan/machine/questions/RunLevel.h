// The run-level record of the login-records database.
#pragma once

#include "invscan/machine/Question.h"

namespace invscan {

// level is the run level's character, which a hand-written capture may lack.
struct RunLevelRecord {
  std::string line;
  long time = 0;
  std::optional<char> level;
};

struct RunLevelQuestion : PlainQuestion<std::optional<RunLevelRecord>> {
  static constexpr const char* kSections[] = {"run_level_record"};
  static constexpr const char* kLogName = "run-level record";
  static Answer live(NoKey);
  static void write(Json& json, const Answer& record);
  static Answer read(const CaptureValue& value);
};

}  // namespace invscan
