#include <invscan/group.h>

#include <cstdio>

const char RVLT_BuildDate[] = "16/09/15";
const char RVLT_BuildTime[] = "04:18:07";

char* getBuildDateRVLT() {
  static char stamp[] = "YYYY-MM-DD-HH.MM.SS.000000";
  // Once, as other threads may be reading it.
  [[maybe_unused]] static const int written = [] {
    const char* date = RVLT_BuildDate;
    const char* time = RVLT_BuildTime;
    return std::snprintf(stamp, sizeof stamp, "20%.2s-%.2s-%.2s-%.2s.%.2s.%.2s.000000", date,
                         date + 3, date + 6, time, time + 3, time + 6);
  }();
  return stamp;
}

char* itoa(long value) {
  static char text[sizeof "-9223372036854775808"];
  std::snprintf(text, sizeof text, "%ld", value);
  return text;
}
