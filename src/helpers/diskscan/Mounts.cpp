#include "helpers/diskscan/Mounts.h"

#include <string_view>
#include <utility>

#include "common/text/Lines.h"
#include "common/text/MountTables.h"
#include "invscan/machine/Machine.h"

namespace invscan::diskscan {
namespace {

constexpr std::size_t kTableLimit = 256 << 20;

template <class Take>
void forEachLine(const char* path, Take take) {
  const FileText file = machine().readFile(path, kTableLimit);
  TextLines lines(file.text, file.text.size());
  for (std::string_view line; lines.next(line);) take(withoutTrailing(line, "\n"));
}

}  // namespace

std::vector<Mount> readMounts() {
  std::vector<Mount> mounts;
  forEachLine("/proc/self/mountinfo", [&](std::string_view line) {
    auto entry = readMountInfoLine(line);
    if (!entry || entry->device.empty()) return;
    mounts.push_back({std::move(entry->number), std::move(entry->device),
                      std::move(entry->directory), std::move(entry->type), entry->isWhole});
  });
  forEachLine("/proc/swaps", [&](std::string_view line) {
    const std::string source(nextField(line, " \t"));
    if (nextField(line, " \t") == "partition") mounts.push_back({"", source, "swap", "swap"});
  });
  return mounts;
}

}  // namespace invscan::diskscan
