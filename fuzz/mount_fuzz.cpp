// Hostile tables of mounts and swap areas: lines are read as the C library reads them, and whatever
// they hold, the group makes rows of them.
#include <mntent.h>

#include <algorithm>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <invscan/groups.h>
#include <invscan/partition.h>

#include "../tests/TestMachine.h"
#include "common/text/Lines.h"
#include "invscan/linux/utils/FileSystemTypes.h"
#include "invscan/linux/utils/MountedFileSystems.h"

namespace {

using namespace invscan;

void require(bool holds) {
  if (!holds) std::abort();
}

// The C library drops what comes behind a NUL, too, but loses the line after it.
void checkListed(const std::string& text, const std::vector<MountEntry>& entries) {
  if (text.empty() || text.find('\0') != text.npos) return;
  const std::unique_ptr<FILE, int (*)(FILE*)> file(
      fmemopen(const_cast<char*>(text.data()), text.size(), "r"), fclose);
  std::string buffer(text.size() + 2, '\0');
  mntent expected;
  auto entry = entries.begin();
  while (getmntent_r(file.get(), &expected, buffer.data(), static_cast<int>(buffer.size()))) {
    require(entry != entries.end() && entry->device == expected.mnt_fsname &&
            entry->directory == expected.mnt_dir && entry->type == expected.mnt_type &&
            entry->options == expected.mnt_opts);
    ++entry;
  }
  require(entry == entries.end());
}

bool isPartOf(const std::string& part, const MountEntry& entry) {
  return entry.device.find(part) != std::string::npos ||
         entry.options.find(part) != std::string::npos || part == "localhost";
}

void checkServer(const MountEntry& entry) {
  const auto server = networkServerOf(entry);
  require(server || !isRemote(entry.type.c_str()));
  require(!server || (isPartOf(server->host, entry) && isPartOf(server->path, entry)));
  require(mediumOf(entry) <= kRamDisk);
}

void checkSwaps(const std::string& text, bool isNative) {
  for (const SwapArea& area : swapAreas(isNative)) {
    require(area.free <= area.size && !area.name.empty());
    require(isNative || (area.size <= UINT32_MAX && text.find(area.name) != text.npos));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const char* const locale = std::setlocale(LC_ALL, "C.UTF-8");
  require(locale != nullptr);
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (const char* path : {"/etc/mtab", "/proc/self/mountinfo"}) {
    const bool isNative = std::string_view(path) != "/etc/mtab";
    const OnMachine scanned({.files = {{path, {0, text}}, {"/proc/swaps", {0, text}}}},
                            isNative ? "native" : "classic");
    const auto entries = isNative ? kernelMounts() : listedMounts();
    require(entries.has_value());
    if (!isNative) checkListed(text, *entries);
    for (const MountEntry& entry : *entries) checkServer(entry);
    checkSwaps(text, isNative);
    // Statistics are asked of a child, which takes longer than a thousand such runs.
    const bool hasAny = std::any_of(entries->begin(), entries->end(),
                                    [](const MountEntry& each) { return !each.directory.empty(); });
    if (hasAny) continue;
    const std::unique_ptr<KelTable> table(PartitionGroup().getTable());
    require(table && table->getRowCount() <= entries->size() + swapAreas(isNative).size());
  }
  return 0;
}
