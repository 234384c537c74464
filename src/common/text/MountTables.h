// The lines of the kernel's tables of mounts, and of /etc/mtab, which is made like one of them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace invscan {

struct MountEntry {
  std::string device;     // what was mounted, as whoever mounted it named it
  std::string directory;  // where
  std::string type;       // of the file system, such as "ext4" or "fuse.sshfs"
  std::string options;    // of the file system, separated by ","
  std::string number{};   // of the block device ("8:1"), or "0:..."; empty: the table does not tell
  bool isWhole = true;    // rather than a directory of the file system
};

// A line of /etc/mtab or /proc/self/mounts, read as the C library's getmntent() reads it: fields
// that are missing are empty; comments, empty lines and automatic mounts that ask to be ignored are
// none.
std::optional<MountEntry> readMountLine(std::string_view line);

// A line of /proc/self/mountinfo. None are damaged lines, and automatic mounts that ask to be
// ignored.
std::optional<MountEntry> readMountInfoLine(std::string_view line);

// A name with its escapes decoded: those that getmntent() decodes and no more, so that names from
// all sources join. Kernels write other characters ("\043" for "#") as octal numbers, too.
std::string decodedMountName(std::string_view text);

// The value of an option of a list, empty when it has none; none when it is not in the list.
std::optional<std::string_view> findMountOption(std::string_view options, std::string_view name);

}  // namespace invscan
