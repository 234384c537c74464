// What the type of a mount, as the kernel names it, says of the file system.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "common/text/MountTables.h"

namespace invscan {

// Values of the catalogue's enumerations.
inline constexpr unsigned long kLogicalDrive = 1, kRemoteDrive = 2;
inline constexpr unsigned long kMediaUnknown = 0, kRemovableDisk = 2, kLocalDisk = 3,
                               kRemoteMedia = 4, kCdRom = 5, kRamDisk = 6;
inline constexpr unsigned long kNfsType = 260, kSwapType = 130, kUnknownType = 65535;

// The code of a mount's type, also of those that get_fstype_enum() does not know, and of what a
// program in user space finds on a block device.
unsigned long fileSystemCode(const MountEntry& entry);

// The medium of a mount for which getMediaType() has none: by its block device, else by its type.
unsigned long mediumOf(const MountEntry& entry);

struct Server {
  std::string host, path;
};

// Server and path of a file system of one of the types that isRemote() knows. A name of another
// form than its type has gives "localhost" and no path.
Server serverOf(std::string_view type, std::string_view device);

// The same of any network file system that is known here; none of another file system. Host names
// are without user, port and brackets. Where several servers are named the first one is told, and
// where none is, the host is empty.
std::optional<Server> networkServerOf(const MountEntry& entry);

}  // namespace invscan
