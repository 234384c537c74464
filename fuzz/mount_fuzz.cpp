// Hostile tables of mounts and swap areas: lines are read as the C library reads them.
#include <mntent.h>

#include <cstdio>
#include <vector>

#include <invscan/partition.h>

#include "../tests/TestMachine.h"
#include "FuzzTarget.h"
#include "invscan/linux/utils/FileSystemTypes.h"
#include "invscan/linux/utils/MountedFileSystems.h"

namespace {

using namespace invscan;

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

void checkServer(const MountEntry& entry) {
  const std::string names = entry.device + "," + entry.options + ",localhost";
  const auto server = networkServerOf(entry);
  require(server || !isRemote(entry.type.c_str()));
  for (const std::string& part : {server.value_or(Server()).host, server.value_or(Server()).path}) {
    require(names.find(part) != names.npos);
  }
  require(mediumOf(entry) <= kRamDisk);
}

}  // namespace

void invscan::tryInput(std::string_view input) {
  const std::string text(input);
  for (const char* path : {"/etc/mtab", "/proc/self/mountinfo"}) {
    const bool isNative = std::string_view(path) != "/etc/mtab";
    const OnMachine scanned({.files = {{path, {0, text}}, {"/proc/swaps", {0, text}}}},
                            isNative ? "native" : "classic");
    const auto entries = isNative ? kernelMounts() : listedMounts();
    require(entries.has_value());
    if (!isNative) checkListed(text, *entries);
    for (const MountEntry& entry : *entries) checkServer(entry);
    for (const SwapArea& area : swapAreas(isNative)) {
      require(area.free <= area.size && !area.name.empty());
      require(isNative || (area.size <= UINT32_MAX && text.find(area.name) != text.npos));
    }
  }
}
