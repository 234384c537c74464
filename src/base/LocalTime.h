// The process's time zone and local time. The C library rewrites the zone's names at every
// conversion, so whatever sets the zone, reads it or converts by it comes here, where threads take
// turns.
#pragma once

#include <ctime>
#include <string>

namespace invscan {

struct TimeZone {
  long secondsWest;
  bool hasDaylightSaving;
  std::string standardName;
  std::string daylightName;
};

// Takes the zone from the environment and the zone files.
TimeZone setTimeZone();

TimeZone currentTimeZone();

// Whether the time could be broken down.
bool toLocalTime(std::time_t time, std::tm& parts);

// What mktime() makes of the parts, -1 for what it cannot express.
std::time_t fromLocalTime(std::tm& parts);

}  // namespace invscan
