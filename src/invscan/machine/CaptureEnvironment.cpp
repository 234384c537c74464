// What a capture holds of the environment.
#include <unistd.h>

#include <string_view>

#include "invscan/machine/Capture.h"

namespace invscan {

bool isCapturedVariable(std::string_view name) {
  return name == "LANG" || name == "TZ" || name.starts_with("LC_");
}

std::map<std::string, std::string> capturedEnvironment() {
  std::map<std::string, std::string> variables;
  for (char** entry = environ; entry && *entry; ++entry) {
    if (**entry != 'L' && **entry != 'T') continue;  // there may be many others
    const std::string_view text = *entry;
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) continue;
    const std::string_view name = text.substr(0, equals);
    if (isCapturedVariable(name)) variables.emplace(name, text.substr(equals + 1));
  }
  return variables;
}

std::string timeZoneFile(const char* timeZone) {
  if (!timeZone) return "/etc/localtime";
  if (!*timeZone) timeZone = "Universal";  // as the C library takes it
  const std::string name = *timeZone == ':' ? timeZone + 1 : timeZone;
  if (name.empty() || name.front() == '/') return name;
  return "/usr/share/zoneinfo/" + name;
}

}  // namespace invscan
