#include "helpers/diskscan/Disks.h"

#include <unordered_map>

#include "helpers/diskscan/Sysfs.h"
#include "invscan/machine/Machine.h"

namespace invscan::diskscan {
namespace {

const std::string kGenericDevices = "/sys/class/scsi_generic";

struct GenericDevice {
  std::string name, path;
  bool isBlockDevice = false;
};

using GenericDevices = std::map<std::string, GenericDevice>;  // by SCSI address

// A link leads to ".../0:0:0:0/scsi_generic/sg0".
GenericDevices readGenericDevices() {
  GenericDevices found;
  for (const std::string& name : machine().listDirectory(kGenericDevices)) {
    const std::string path = machine().readLink(kGenericDevices + "/" + name).text;
    found[componentFromEnd(path, 2)] = {name, path};
  }
  return found;
}

// A link leads to ".../0:0:0:0/block/sda", or to ".../nvme0/nvme0n1" and "/virtual/block/nbd0".
std::string idOf(const BlockDevice& device) {
  const std::string above = componentFromEnd(device.path, 2);
  const bool hasOwnDevice = componentFromEnd(device.path, 1) == "block" && above != "virtual";
  return hasOwnDevice ? above : device.name;
}

// Direct-access devices of the three SCSI kinds: plain, with simplified commands, zoned.
bool isDisk(const GenericDevice& generic) {
  const std::string type = readAttribute(kGenericDevices + "/" + generic.name + "/device/type");
  return type == "0" || type == "14" || type == "20";
}

}  // namespace

Disks readDisks(const BlockDevices& devices) {
  Disks disks;
  Targets targets;
  GenericDevices generics = readGenericDevices();
  for (std::size_t index = 0; index < devices.all().size(); ++index) {
    const BlockDevice& device = devices.all()[index];
    const std::string id = idOf(device);
    const auto generic = generics.find(id);
    if (generic != generics.end()) generic->second.isBlockDevice = true;
    if (device.kind != BlockKind::Disk) continue;
    const std::string genericName = generic == generics.end() ? "" : generic->second.name;
    disks.ofDevices[index] = {id, device.name, genericName, targets.of(device.path)};
  }
  for (const auto& [id, generic] : generics) {
    if (generic.isBlockDevice || !isDisk(generic)) continue;
    disks.genericOnly.push_back({id, "", generic.name, targets.of(generic.path)});
  }
  return disks;
}

}  // namespace invscan::diskscan
