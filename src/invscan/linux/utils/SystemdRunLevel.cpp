#include "invscan/linux/utils/SystemdRunLevel.h"

#include <string>
#include <string_view>

#include "common/text/Lines.h"
#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

constexpr struct {
  std::string_view target;
  unsigned long level;
} kTargets[] = {
    {"poweroff.target", 0},  {"rescue.target", 1},    {"multi-user.target", 3},
    {"graphical.target", 5}, {"reboot.target", 6},    {"runlevel0.target", 0},
    {"runlevel1.target", 1}, {"runlevel2.target", 3}, {"runlevel3.target", 3},
    {"runlevel4.target", 3}, {"runlevel5.target", 5}, {"runlevel6.target", 6},
};

// Words of the kernel's command line that systemd takes for a target.
constexpr struct {
  std::string_view word, target;
} kBootWords[] = {
    {"emergency", "emergency.target"},
    {"-b", "emergency.target"},
    {"single", "rescue.target"},
    {"rescue", "rescue.target"},
    {"s", "rescue.target"},
    {"S", "rescue.target"},
    {"1", "rescue.target"},
    {"2", "multi-user.target"},
    {"3", "multi-user.target"},
    {"4", "multi-user.target"},
    {"5", "graphical.target"},
};

// The target that the kernel's command line names last; empty when it names none.
std::string bootTarget() {
  constexpr std::string_view kUnit = "systemd.unit=";
  const FileText file = machine().readFile("/proc/cmdline");
  std::string_view named;
  std::string_view rest = file.text;
  for (auto word = nextField(rest, " \n"); !word.empty(); word = nextField(rest, " \n")) {
    if (word.starts_with(kUnit)) named = word.substr(kUnit.size());
    for (const auto& [bootWord, target] : kBootWords) {
      if (word == bootWord) named = target;
    }
  }
  return std::string(named);
}

std::string defaultTarget() {
  for (const char* directory : {"/etc", "/run", "/usr/local/lib", "/usr/lib", "/lib"}) {
    const FileText link =
        machine().readLink(std::string(directory) + "/systemd/system/default.target");
    if (link.error == 0) return link.text.substr(link.text.rfind('/') + 1);
  }
  return "";
}

}  // namespace

std::optional<unsigned long> systemdRunLevel() {
  if (!machine().exists("/run/systemd/system")) return std::nullopt;
  std::string started = bootTarget();
  if (started.empty()) started = defaultTarget();
  for (const auto& [target, level] : kTargets) {
    if (started == target) return level;
  }
  return std::nullopt;
}

}  // namespace invscan
