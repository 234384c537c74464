#include "base/LocalTime.h"

#include <mutex>

namespace invscan {
namespace {

// Conversions go on while the process's static objects are destroyed.
std::mutex& turn() {
  static auto* const mutex = new std::mutex;
  return *mutex;
}

std::string textOf(const char* name) {
  return name ? name : "";
}

TimeZone inForce() {
  return {timezone, daylight != 0, textOf(tzname[0]), textOf(tzname[1])};
}

}  // namespace

TimeZone setTimeZone() {
  const std::lock_guard lock(turn());
  tzset();
  return inForce();
}

TimeZone currentTimeZone() {
  const std::lock_guard lock(turn());
  return inForce();
}

bool toLocalTime(std::time_t time, std::tm& parts) {
  const std::lock_guard lock(turn());
  return localtime_r(&time, &parts) != nullptr;
}

std::time_t fromLocalTime(std::tm& parts) {
  const std::lock_guard lock(turn());
  return mktime(&parts);
}

}  // namespace invscan
