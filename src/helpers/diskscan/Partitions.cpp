#include "helpers/diskscan/Partitions.h"

#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "common/text/Lines.h"
#include "helpers/diskscan/Mounts.h"
#include "invscan/linux/utils/Sysfs.h"
#include "invscan/machine/Machine.h"

namespace invscan::diskscan {
namespace {

constexpr std::string_view kSpanningType = "btrfs";
const std::string kSpanningFileSystems = "/sys/fs/btrfs";

// Readers refuse an answer of 64 MiB or 4 Mi lines. Machines have less than this by far; what is
// forged may have the square of its devices.
constexpr std::size_t kMostDisks = 500'000;

using AccessPoints = std::map<std::string, Mount>;  // by source
using Members = std::vector<std::size_t>;
using SharedMembers = std::shared_ptr<const Members>;

// Every device of a file system that spans several by itself, by each of them.
std::unordered_map<std::size_t, SharedMembers> readSpanning(const BlockDevices& devices) {
  std::unordered_map<std::size_t, SharedMembers> all;
  for (const std::string& id : machine().listDirectory(kSpanningFileSystems)) {
    Members members;
    for (const std::string& name :
         machine().listDirectory(kSpanningFileSystems + "/" + id + "/devices")) {
      if (const auto found = devices.findName(name)) members.push_back(*found);
    }
    const auto shared = std::make_shared<const Members>(std::move(members));
    for (const std::size_t member : *shared) all[member] = shared;
  }
  return all;
}

std::optional<std::size_t> deviceOf(const Mount& mount, const BlockDevices& devices) {
  if (const auto found = devices.findNumber(mount.number)) return found;
  const bool hasDevice = mount.type == "swap" || mount.type == kSpanningType;
  return hasDevice ? devices.findNode(mount.source) : std::nullopt;
}

// Of several mounts by one name the first counts, but a whole file system before a directory of it.
std::vector<AccessPoints> accessPointsOf(const BlockDevices& devices) {
  std::vector<AccessPoints> all(devices.all().size());
  for (Mount& mount : readMounts()) {
    const auto device = deviceOf(mount, devices);
    if (!device) continue;
    const auto [place, isNew] = all[*device].try_emplace(mount.source, mount);
    if (!isNew && mount.isWhole && !place->second.isWhole) place->second = std::move(mount);
  }
  return all;
}

// Such as a RAID container, of which other devices are made.
bool hasNoSize(const BlockDevice& device) {
  return readAttribute(std::string(kBlockDevices) + "/" + device.sysfsName + "/size") == "0";
}

class PartitionReader {
 public:
  explicit PartitionReader(BlockDevices& devices)
      : devices_(devices), spanning_(readSpanning(devices)), mounts_(accessPointsOf(devices)) {}

  std::vector<Partition> read() {
    for (std::size_t index = 0; index < devices_.all().size(); ++index) addDevice(index);
    return std::move(partitions_);
  }

 private:
  void addDevice(std::size_t index) {
    const BlockDevice& device = devices_.all()[index];
    const Members disks = devices_.disksBelow({index});
    if (disks.empty()) return;
    for (const auto& [source, mount] : mounts_[index]) {
      const auto members = spanning_.find(index);
      const bool isSpanning = mount.type == kSpanningType && members != spanning_.end();
      add({source, mount.point, mount.type,
           isSpanning ? devices_.disksBelow(*members->second) : disks});
    }
    if (!mounts_[index].empty() || device.kind == BlockKind::Disk) return;
    if (device.kind == BlockKind::Volume && hasNoSize(device)) return;
    add({device.node, "", udevProperty(readUdevRecord(device.number), "ID_FS_TYPE"), disks});
  }

  void add(Partition partition) {
    disks_ += partition.disks.size();
    if (disks_ > kMostDisks) throw std::runtime_error("too many disks below partitions");
    partitions_.push_back(std::move(partition));
  }

  BlockDevices& devices_;
  std::unordered_map<std::size_t, SharedMembers> spanning_;
  std::vector<AccessPoints> mounts_;  // by device
  std::vector<Partition> partitions_;
  std::size_t disks_ = 0;
};

}  // namespace

std::vector<Partition> readPartitions(BlockDevices& devices) {
  return PartitionReader(devices).read();
}

}  // namespace invscan::diskscan
