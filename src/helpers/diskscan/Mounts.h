// What block devices are used for: mounted file systems and swap areas.
#pragma once

#include <string>
#include <vector>

namespace invscan::diskscan {

struct Mount {
  std::string number;   // of the device ("8:1"); "0:..." for a file system on several devices
  std::string source;   // what was mounted, as the table of mounts names it
  std::string point;    // where, or "swap"
  std::string type;     // of the file system, or "swap"
  bool isWhole = true;  // rather than a directory of the file system
};

// They are in the order of the tables.
std::vector<Mount> readMounts();

}  // namespace invscan::diskscan
