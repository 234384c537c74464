// The host adapters: what disks are attached to.
#pragma once

#include <string>
#include <vector>

namespace invscan::diskscan {

// What the machine does not tell is empty.
struct HostAdapter {
  long id = 0;  // the number of the SCSI host: 2 of "host2", with which the Id of its disks begins
  std::string description, vendor, model;
  std::string type;  // "Fibre Channel", "SAS", "iSCSI", "SATA", "IDE", "USB" or "SCSI"
  std::string serial, speed, state;
  // They are as the kernel writes them. A SAS adapter has a port name only: its address.
  std::string nodeName, portName;
};

// Every SCSI host, in the order of their numbers. NVMe controllers have no host and are not there:
// numbers of their own would be taken for those of hosts.
std::vector<HostAdapter> readHostAdapters();

}  // namespace invscan::diskscan
