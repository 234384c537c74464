#include "invscan/linux/utils/FileSystemSpace.h"

#include <algorithm>
#include <cwchar>
#include <limits>

#include <invscan/base/OrvCfg.h>
#include <invscan/group.h>
#include <invscan/statistics.h>

#include "invscan/linux/utils/FileSystemTypes.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

namespace invscan {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

// Enough for any that is there, on a busy machine too.
constexpr microseconds kLeastPatience = milliseconds(5);

// Truncated, or the largest number where there is no such disk.
unsigned long long inKib(unsigned long long blocks, unsigned long long unit) {
  constexpr unsigned long long kKib = 1024;
  unsigned long long whole = 0, part = 0, sum = 0;
  const bool isTooLarge = __builtin_mul_overflow(blocks / kKib, unit, &whole) ||
                          __builtin_mul_overflow(blocks % kKib, unit, &part) ||
                          __builtin_add_overflow(whole, part / kKib, &sum);
  return isTooLarge ? std::numeric_limits<unsigned long long>::max() : sum;
}

}  // namespace

SpaceQuestions::SpaceQuestions(bool isNative) : isNative_(isNative) {
  const String deadline = OrvCfg::getKey("hwscanner.deadline");
  if (!deadline.isEmpty()) {
    constexpr long kDay = 24L * 60 * 60 * 1000;
    const long all = std::clamp(std::wcstol(deadline.toWide(), nullptr, 10), 0L, kDay);
    end_ = Clock::now() + milliseconds(all) / 2;
  }
}

// For the next question; none when nothing is left.
std::optional<microseconds> SpaceQuestions::patience() const {
  const microseconds own(GetORVMaxTimeout());
  if (!end_) return own;
  const auto left = std::chrono::floor<microseconds>(*end_ - Clock::now());
  if (left.count() <= 0) return std::nullopt;
  return std::min(own, std::max(left / 2, kLeastPatience));
}

// One time-out is for both calls, of which the second is for what the first cannot tell. They are
// one on this platform, so that native sources ask the first alone.
std::optional<SpaceQuestions::Figures> SpaceQuestions::find(const MountEntry& entry) {
  const Trace trace(getCcLogHw(), "find()");
  const std::string source = "statvfs " + entry.directory;
  const auto limit = patience();
  const bool isSilent = silent_.count(entry.number) != 0;
  if (isSilent || !limit) {
    noteAccess(source,
               isSilent ? "not asked: did not answer where it is mounted before"
                        : "not asked: file systems before it took too long",
               0, true);
    return std::nullopt;
  }

  const auto end = Clock::now() + *limit;
  const char* const directory = entry.directory.c_str();
  orv_statvfs_info_t info{};
  if (timeout_statvfs(directory, info, static_cast<int>(limit->count()), false) != 0) {
    trace.at().min("hardware Error in statvfs");
    if (!entry.number.empty()) silent_.insert(entry.number);
    return std::nullopt;
  }
  if (info.result == 0) {
    const Figures plain{info.answer.f_frsize, info.answer.f_blocks, info.answer.f_bavail};
    trace.at().max("hardware for stavfs %s got %llu %llu %llu", directory, plain.unit, plain.blocks,
                   plain.available);
    if (plain.blocks != 0) return plain;
  } else {
    trace.at().min("hardware Error in statvfs");
  }
  if (isNative_) return std::nullopt;
  const auto left = std::chrono::floor<microseconds>(end - Clock::now());
  if (timeout_statvfs(directory, info, static_cast<int>(left.count()), true) != 0 ||
      info.result != 0) {
    return std::nullopt;
  }
  const Figures wide{info.answer64.f_frsize, info.answer64.f_blocks, info.answer64.f_bavail};
  trace.at().max("hardware for statvfs46 %s got %llu %llu %llu", directory, wide.unit, wide.blocks,
                 wide.available);
  return wide;
}

Space SpaceQuestions::ask(const MountEntry& entry, unsigned long code) {
  constexpr unsigned long long kLargestNfsUnit = 10 << 20;
  const Trace trace(getCcLogHw(), "ask()");
  if (entry.directory.empty()) return {};
  const Figures figures = find(entry).value_or(Figures());
  const Space space{inKib(figures.blocks, figures.unit), inKib(figures.available, figures.unit)};
  if (code == kNfsType && figures.unit > kLargestNfsUnit) {
    trace.at().min(
        "hardware WARNING: f_frsize for NFS returned by statvfs is suspiciously high: %llu, "
        "setting to 0",
        figures.unit);
    return {};
  }
  if (space.free > space.total) {
    trace.at().min("hardware Wrong size, setting to 0");
    return {};
  }
  return space;
}

}  // namespace invscan
