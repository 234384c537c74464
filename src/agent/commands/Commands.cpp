#include "agent/commands/Commands.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "agent/Names.h"
#include "agent/formats/Formats.h"

namespace invscan::agent {
namespace {

constexpr std::size_t kAny = static_cast<std::size_t>(-1);

constexpr auto kScanFormats = [] {
  std::array<const char*, std::size(kFormats)> names{};
  std::transform(std::begin(kFormats), std::end(kFormats), names.begin(),
                 [](const Format& format) { return format.name; });
  return names;
}();
// A summary has no rows, so the last one is for scans alone.
constexpr std::span kRowFormats(kScanFormats.data(), kScanFormats.size() - 1);
constexpr const char* kDescribeFormats[] = {"text", "json", "markdown", "schema"};
constexpr const char* kTextOrJson[] = {"text", "json"};

constexpr Command kCommands[] = {
    {"scan", "[GROUP...]",
     "scan the named groups or all of them; alone on a terminal, tell what this machine is (the "
     "default)",
     0, kAny, kScanFormats, true, true, runScan, false, true, true, true, true},
    {"get", "GROUP [ATTRIBUTE...]", "print bare values, one a line", 1, kAny, kRowFormats, true,
     true, runGet, false, false, false, false, true},
    {"list", "", "list the groups", 0, 0, {}, false, false, runList},
    {"describe", "[GROUP]", "tell what is known about every attribute", 0, 1, kDescribeFormats,
     false, false, runDescribe},
    {"capture", "DIR [GROUP...]",
     "record this machine, to be scanned again with --machine, or redact a capture", 1, kAny,
     kRowFormats, true, true, runCapture},
    {"diff", "MACHINE MACHINE",
     "tell what differs between two machines, or two scans of one: each a scan kept as JSON, a "
     "capture, or - for this machine now",
     2, 2, kTextOrJson, true, true, runDiff, false, false, true, true, true, true},
    {"explain", "[GROUP...]", "tell which sources gave what, and why values are missing", 0, kAny,
     kTextOrJson, true, false, runExplain},
    {"smbios",
     "",
     "print the firmware's SMBIOS table, or dump it to a file",
     0,
     0,
     {},
     false,
     true,
     runSmbios,
     true},
    {"helper",
     "cpuid|diskscan",
     "run a helper program and print its answer",
     1,
     1,
     {},
     true,
     true,
     runHelper},
};

}  // namespace

std::span<const Command> commands() {
  return kCommands;
}

const Command* findCommand(std::string_view word) {
  const auto* const found =
      std::find_if(std::begin(kCommands), std::end(kCommands),
                   [word](const Command& command) { return sameIgnoringCase(word, command.name); });
  return found == std::end(kCommands) ? nullptr : found;
}

}  // namespace invscan::agent
