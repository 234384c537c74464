#include "invscan/linux/utils/KernelStart.h"

#include <string>
#include <string_view>

#include "common/text/Numbers.h"

namespace invscan {

std::optional<long> kernelStart() {
  constexpr std::string_view kKey = "\nbtime ";
  const FileText file = machine().readFile("/proc/stat");
  const std::size_t found = file.text.find(kKey);
  if (found == std::string::npos) return std::nullopt;
  return leadingInteger(std::string_view(file.text).substr(found + kKey.size()));
}

bool isOfThisRun(const RunLevelRecord& record, std::optional<long> start) {
  constexpr long kClockSteps = 60;  // seconds by which the clock may have been set since
  if (record.time > machine().currentTime()) return false;
  long earlier = 0;
  return !start || record.time >= *start ||
         (!__builtin_sub_overflow(*start, record.time, &earlier) && earlier <= kClockSteps);
}

}  // namespace invscan
