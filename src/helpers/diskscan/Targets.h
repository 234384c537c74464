// Where disks stand: at the end of a cable in the machine, or in a storage network.
#pragma once

#include <map>
#include <string>

namespace invscan::diskscan {

// The far end of the link that a disk is reached by. Names are as the kernel writes them,
// "0x500605b0000272b9", and empty where the kind of link has none.
struct Target {
  bool isSan = false;    // fibre channel (over Ethernet too), iSCSI, or NVMe over a network
  std::string nodeName;  // of a fibre-channel node
  std::string portName;  // of a fibre-channel port; the address of a SAS port
};

// Tells a disk's target by its path in sysfs. Many disks share a target, which is asked for once.
class Targets {
 public:
  const Target& of(const std::string& path);

 private:
  std::map<std::string, Target> known_;  // by its name in sysfs
};

}  // namespace invscan::diskscan
