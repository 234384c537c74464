#include "helpers/diskscan/Partitions.h"

#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "helpers/diskscan/Mounts.h"
#include "invscan/linux/utils/Text.h"
#include "invscan/machine/Machine.h"

namespace invscan::diskscan {
namespace {

constexpr std::string_view kSpanningType = "btrfs";
const std::string kSpanningFileSystems = "/sys/fs/btrfs";

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
      if (const auto found = devices.findNode("/dev/" + name)) members.push_back(*found);
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

// What the device manager found on a device that is not mounted.
std::string recordedType(const BlockDevice& device) {
  constexpr std::string_view kKey = "E:ID_FS_TYPE=";
  const FileText record = machine().readFile("/run/udev/data/b" + device.number);
  TextLines lines(record.text, record.text.size());
  for (std::string_view line; lines.next(line);) {
    if (line.starts_with(kKey)) {
      return std::string(withoutTrailing(line.substr(kKey.size()), '\n'));
    }
  }
  return {};
}

}  // namespace

std::vector<Partition> readPartitions(BlockDevices& devices) {
  std::vector<Partition> partitions;
  const auto spanning = readSpanning(devices);
  const auto accessPoints = accessPointsOf(devices);
  for (std::size_t index = 0; index < devices.all().size(); ++index) {
    const BlockDevice& device = devices.all()[index];
    const Members disks = devices.disksBelow({index});
    if (disks.empty()) continue;
    if (accessPoints[index].empty() && device.kind != BlockKind::kDisk) {
      partitions.push_back({device.node, "", recordedType(device), disks});
    }
    for (const auto& [source, mount] : accessPoints[index]) {
      const auto members = spanning.find(index);
      const bool isSpanning = mount.type == kSpanningType && members != spanning.end();
      partitions.push_back({source, mount.point, mount.type,
                            isSpanning ? devices.disksBelow(*members->second) : disks});
    }
  }
  return partitions;
}

}  // namespace invscan::diskscan
