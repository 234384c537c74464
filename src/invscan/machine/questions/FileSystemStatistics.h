// Statistics of the file system that a path is on.
#pragma once

#include <sys/statvfs.h>

#include "invscan/machine/Question.h"

namespace invscan {

// The two calls for statistics of a file system: programs that were built for small files get other
// answers on some machines.
enum class StatisticsCall { statvfs, statvfs64 };

struct StatisticsKey {
  std::string path;
  StatisticsCall call = StatisticsCall::statvfs;
};

// Of an answer from a capture, block size, blocks and available blocks are known; the rest is 0.
struct FileSystemQuestion : PlainQuestion<std::optional<struct statvfs>, StatisticsKey> {
  static constexpr const char* kSections[] = {"statvfs", "statvfs64"};
  static std::size_t section(const Key& asked) { return static_cast<std::size_t>(asked.call); }
  static std::string keyName(const Key& asked) { return asked.path; }
  static std::string logName(const Key& asked) { return "statvfs " + asked.path; }
  static Answer live(const Key& asked);
  static void write(Json& json, const Answer& statistics);
  static Answer read(const CaptureValue& value);
};

}  // namespace invscan
