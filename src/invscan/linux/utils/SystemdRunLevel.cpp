#include "invscan/linux/utils/SystemdRunLevel.h"

#include <string>
#include <string_view>

#include "invscan/linux/utils/Text.h"
#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

struct Level {
  std::string_view name;
  unsigned long number;
};

// Targets, and the words of the kernel's command line that systemd takes for one.
constexpr Level kTargets[] = {
    {"poweroff.target", 0},  {"rescue.target", 1},    {"multi-user.target", 3},
    {"graphical.target", 5}, {"reboot.target", 6},    {"runlevel0.target", 0},
    {"runlevel1.target", 1}, {"runlevel2.target", 2}, {"runlevel3.target", 3},
    {"runlevel4.target", 4}, {"runlevel5.target", 5}, {"runlevel6.target", 6},
};
constexpr Level kBootWords[] = {
    {"single", 1}, {"rescue", 1}, {"s", 1}, {"S", 1}, {"1", 1},
    {"2", 3},      {"3", 3},      {"4", 3}, {"5", 5},
};

template <std::size_t count>
std::optional<unsigned long> find(const Level (&levels)[count], std::string_view name) {
  for (const Level& level : levels) {
    if (level.name == name) return level.number;
  }
  return std::nullopt;
}

std::optional<unsigned long> fromCommandLine() {
  constexpr std::string_view kUnit = "systemd.unit=";
  const FileText file = machine().readFile("/proc/cmdline");
  std::optional<unsigned long> level;
  std::string_view rest = file.text;
  for (auto word = nextField(rest, " \n"); !word.empty(); word = nextField(rest, " \n")) {
    const auto named = word.substr(0, kUnit.size()) == kUnit
                           ? find(kTargets, word.substr(kUnit.size()))
                           : find(kBootWords, word);
    if (named) level = named;
  }
  return level;
}

}  // namespace

std::optional<unsigned long> systemdRunLevel() {
  if (!machine().exists("/run/systemd/system")) return std::nullopt;
  if (const auto level = fromCommandLine()) return level;
  for (const char* directory : {"/etc", "/usr/local/lib", "/usr/lib", "/lib"}) {
    const auto target =
        machine().readLink(std::string(directory) + "/systemd/system/default.target");
    if (target) return find(kTargets, target->substr(target->rfind('/') + 1));
  }
  return std::nullopt;
}

}  // namespace invscan
