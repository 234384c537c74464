// Mounted file systems and swap areas, as files under /etc and /proc list them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/text/MountTables.h"

namespace invscan {

// In the order of /etc/mtab; none when that cannot be read.
std::optional<std::vector<MountEntry>> listedMounts();

// The same as the kernel tells it, with numbers of devices where it does; what is listed only where
// it does not tell.
std::optional<std::vector<MountEntry>> kernelMounts();

struct SwapArea {
  std::string name;
  unsigned long size, free;  // KiB
};

// Those that /proc/swaps lists. Read natively, names are decoded, and sizes are not cut to 32 bits.
std::vector<SwapArea> swapAreas(bool isNative);

}  // namespace invscan
