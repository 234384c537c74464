// The disks of the machine.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "helpers/diskscan/BlockDevices.h"
#include "helpers/diskscan/Targets.h"

namespace invscan::diskscan {

struct Disk {
  // Host, channel, target and unit of a SCSI disk ("0:0:1:0"); of others the device on its bus
  // ("virtio1", "mmc0:0001"), or the disk's own name where several share one (NVMe) or none is.
  std::string id;
  std::string block;    // "sda", "sr0", "st0"; empty for a disk that has no such name
  std::string generic;  // "sg0", its SCSI generic device; empty where there is none
  Target target;
};

struct Disks {
  std::map<std::size_t, Disk> ofDevices;  // by index of the block device
  // SCSI devices without one: tapes, changers, and disks such as members of hardware RAID.
  std::vector<Disk> others;
};

Disks readDisks(const BlockDevices& devices);

}  // namespace invscan::diskscan
