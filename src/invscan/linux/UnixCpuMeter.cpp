#include <algorithm>
#include <climits>

#include <invscan/groups.h>

#include "common/text/Lines.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

using namespace invscan;

void UnixCpuMeter::init() {
  *this = UnixCpuMeter();
}

void UnixCpuMeter::refresh() {
  readProcessorTimes();
  readLoadAverages();
  readSystemUpTime();
}

// A first line that sums up all processors ("cpu  user nice system idle iowait ..."), then one for
// each. Figures that the first line lacks stay -1 and are divided all the same, which makes them 0
// on more than one processor: hosts show a 0 there, and would miss an attribute that is left out.
void UnixCpuMeter::readProcessorTimes() {
  constexpr std::size_t kLineLimit = 1024;
  const FileText file = machine().readFile("/proc/stat");
  TextLines lines(file.text, kLineLimit);
  std::string_view line;
  if (file.error != 0 || !lines.next(line)) return;

  nextField(line, " \t\n");
  long long figures[] = {-1, -1, -1, -1, -1};
  for (long long& figure : figures) {
    const std::string_view field = nextField(line, " \t\n");
    const auto number = findInteger(field);
    if (!number) break;
    figure = *number;
    if (field.find_first_not_of("+-0123456789") != field.npos) break;
  }
  long long processors = 0;
  while (lines.next(line) && nextField(line, " \t\n").find("cpu") != std::string_view::npos) {
    ++processors;
  }
  if (processors == 0) return;
  userTime_ = figures[0] / processors;
  niceTime_ = figures[1] / processors;
  systemTime_ = figures[2] / processors;
  idleTime_ = figures[3] / processors;
  waitTime_ = figures[4] / processors;
}

void UnixCpuMeter::readLoadAverages() {
  const FileText file = machine().readFile("/proc/loadavg");
  std::string_view line = firstLine(file.text, 256);
  for (float& average : loadAverages_) {
    const std::string_view field = nextField(line, " ");
    if (field.empty()) return;
    average = static_cast<float>(leadingReal(field));
  }
}

void UnixCpuMeter::readSystemUpTime() {
  const Trace trace(getCcLogHw(), "readSystemUpTime()");
  systemUpTime_ = -1;
  const FileText file = machine().readFile("/proc/uptime");
  if (file.error != 0) {
    trace.at().min("hardware cannot open /proc/uptime.");
    return;
  }
  const auto number = findInteger(file.text);
  if (!number) return;
  const int seconds = static_cast<int>(std::clamp<long>(*number, INT_MIN, INT_MAX));
  trace.at().max("hardware uptime %d seconds", seconds);
  trace.at().max("hardware %d days: %d hours: %d minutes: %d seconds", seconds / 86400,
                 seconds / 3600 % 24, seconds / 60 % 60, seconds % 60);
  systemUpTime_ = seconds * 100LL;
}
