// What can be mounted, and the disks that it lies on.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "helpers/diskscan/BlockDevices.h"

namespace invscan::diskscan {

struct Partition {
  std::string name;   // the access point: as the table of mounts names it, else its path in /dev
  std::string mount;  // where it is mounted, "swap", or empty
  std::string type;   // of the file system, "swap", or empty where nothing tells
  std::vector<std::size_t> disks;  // indexes of block devices
};

// Partitions, volumes made of other devices, and disks that are mounted whole, in the order of the
// devices. What has several access points is there once for each; what lies on no disk is not
// there.
std::vector<Partition> readPartitions(BlockDevices& devices);

}  // namespace invscan::diskscan
