#include "helpers/diskscan/Disks.h"

#include <unordered_map>

#include "invscan/linux/utils/Sysfs.h"
#include "invscan/machine/Machine.h"

namespace invscan::diskscan {
namespace {

const std::string kGenericDevices = "/sys/class/scsi_generic";

struct GenericDevice {
  std::string name, path;
  bool isNamed = false;  // by another driver, too
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

// Tapes and changers: drivers that make no block devices of theirs.
constexpr struct {
  const char *directory, *beginning;
} kOtherDrivers[] = {{"/sys/class/scsi_tape", "st"}, {"/sys/class/scsi_changer", "sch"}};

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

// The generic device at an address, which has another name as well; empty when there is none.
std::string nameGeneric(GenericDevices& generics, const std::string& address) {
  const auto generic = generics.find(address);
  if (generic == generics.end()) return {};
  generic->second.isNamed = true;
  return generic->second.name;
}

// A link leads to ".../2:0:0:0/scsi_tape/st0"; "nst0" and "st0a" are the same drive.
void addOtherDevices(Disks& disks, Targets& targets, GenericDevices& generics) {
  for (const auto& [directory, beginning] : kOtherDrivers) {
    for (const std::string& name : machine().listDirectory(directory)) {
      if (!isNumbered(name, beginning)) continue;
      const std::string path = machine().readLink(directory + ("/" + name)).text;
      const std::string address = componentFromEnd(path, 2);
      disks.others.push_back({address, name, nameGeneric(generics, address), targets.of(path)});
    }
  }
}

}  // namespace

Disks readDisks(const BlockDevices& devices) {
  Disks disks;
  Targets targets;
  GenericDevices generics = readGenericDevices();
  for (std::size_t index = 0; index < devices.all().size(); ++index) {
    const BlockDevice& device = devices.all()[index];
    const std::string id = idOf(device);
    const std::string generic = nameGeneric(generics, id);
    if (device.kind == BlockKind::Disk) {
      disks.ofDevices[index] = {id, device.name, generic, targets.of(device.path)};
    }
  }
  addOtherDevices(disks, targets, generics);
  for (const auto& [id, generic] : generics) {
    if (generic.isNamed || !isDisk(generic)) continue;
    disks.others.push_back({id, "", generic.name, targets.of(generic.path)});
  }
  return disks;
}

}  // namespace invscan::diskscan
