// The storage devices that the kernel tells of in sysfs, and udev in its run-time database. No
// device is opened, so none is woken.
#pragma once

#include <vector>

#include "invscan/linux/storage/StorageDevice.h"

namespace invscan {

// One for every whole device that holds data: disks and optical drives in the order of their names,
// then what the block layer does not have (tapes, changers, members of hardware RAID), then
// floppies. Not what is made of others or lies in memory, nor an empty slot of a card reader.
std::vector<StorageDevice> kernelDevices();

}  // namespace invscan
