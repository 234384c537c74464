#include "helpers/diskscan/BlockDevices.h"

#include <algorithm>
#include <utility>

#include "invscan/linux/utils/Sysfs.h"
#include "invscan/machine/Machine.h"

namespace invscan::diskscan {
namespace {

const std::string kDevices = std::string(kBlockDevices) + "/";

std::string attribute(const std::string& sysfsName, const char* name) {
  return readAttribute(kDevices + sysfsName + "/" + name);
}

// A hidden disk is one path to a namespace that stands there as a disk of its own.
bool isDisk(const std::string& sysfsName) {
  if (isNoDisk(sysfsName)) return false;
  if (isNumbered(sysfsName, "sr")) return true;  // whatever is in the drive
  const std::string size = attribute(sysfsName, "size");
  return !size.empty() && size != "0" && attribute(sysfsName, "hidden") != "1";
}

std::string withSlashes(std::string sysfsName) {
  std::replace(sysfsName.begin(), sysfsName.end(), '!', '/');
  return sysfsName;
}

bool isVirtual(const std::string& path) {
  return path.find("/devices/virtual/") != std::string::npos;
}

// Of these a machine may have many, and the kernel lists no members of any.
bool hasNoMembers(const std::string& sysfsName) {
  return isNumbered(sysfsName, "loop") || isNumbered(sysfsName, "ram") ||
         isNumbered(sysfsName, "zram");
}

std::string mapperNode(const std::string& sysfsName) {
  const std::string name =
      sysfsName.starts_with("dm-") ? attribute(sysfsName, "dm/name") : std::string();
  return name.empty() ? std::string() : "/dev/mapper/" + name;
}

// What a link somewhere in /dev leads to there: "../dm-0", "../../cciss/c0d0p1".
std::string deviceAt(std::string_view target) {
  constexpr std::string_view kUp = "../";
  while (target.starts_with(kUp)) target.remove_prefix(kUp.size());
  return target.starts_with('/') ? std::string(target) : "/dev/" + std::string(target);
}

}  // namespace

BlockDevices::BlockDevices() {
  for (const std::string& name : machine().listDirectory(kBlockDevices)) add(name);
  for (BlockDevice& device : devices_) findWhatIsBelow(device);
  visits_.resize(devices_.size());
}

void BlockDevices::add(const std::string& sysfsName) {
  BlockDevice device;
  device.sysfsName = sysfsName;
  device.name = withSlashes(sysfsName);
  device.path = machine().readLink(kDevices + sysfsName).text;
  device.number = attribute(sysfsName, "dev");
  device.node = mapperNode(sysfsName);
  const std::size_t index = devices_.size();
  nodes_.emplace("/dev/" + device.name, index);
  if (device.node.empty()) {
    device.node = "/dev/" + device.name;
  } else {
    nodes_.emplace(device.node, index);
  }
  if (!device.number.empty()) numbers_.emplace(device.number, index);
  sysfsNames_.emplace(sysfsName, index);
  devices_.push_back(std::move(device));
}

void BlockDevices::findWhatIsBelow(BlockDevice& device) const {
  const auto whole = sysfsNames_.find(componentFromEnd(device.path, 1));
  if (whole != sysfsNames_.end()) {
    device.kind = BlockKind::Partition;
    device.below.push_back(whole->second);
    return;
  }
  // Only devices without hardware lie on others.
  if (isVirtual(device.path) && !hasNoMembers(device.sysfsName)) addMembers(device);
  if (device.below.empty() && isDisk(device.sysfsName)) device.kind = BlockKind::Disk;
}

void BlockDevices::addMembers(BlockDevice& device) const {
  const std::string members = kDevices + device.sysfsName + "/slaves";
  for (const std::string& name : machine().listDirectory(members)) {
    if (const auto found = findName(name)) device.below.push_back(*found);
  }
}

std::optional<std::size_t> BlockDevices::findName(const std::string& sysfsName) const {
  const auto found = sysfsNames_.find(sysfsName);
  return found == sysfsNames_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::size_t> BlockDevices::findNumber(const std::string& number) const {
  const auto found = numbers_.find(number);
  return found == numbers_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::size_t> BlockDevices::findNode(const std::string& node) const {
  auto found = nodes_.find(node);
  if (found == nodes_.end() && node.starts_with("/dev/")) {
    found = nodes_.find(deviceAt(machine().readLink(node).text));
  }
  return found == nodes_.end() ? std::nullopt : std::optional(found->second);
}

std::vector<std::size_t> BlockDevices::disksBelow(const std::vector<std::size_t>& devices) {
  ++descents_;
  std::vector<std::size_t> disks, left = devices;
  while (!left.empty()) {
    const std::size_t index = left.back();
    left.pop_back();
    if (std::exchange(visits_[index], descents_) == descents_) continue;
    const BlockDevice& device = devices_[index];
    if (device.kind == BlockKind::Disk) disks.push_back(index);
    left.insert(left.end(), device.below.begin(), device.below.end());
  }
  std::sort(disks.begin(), disks.end());
  return disks;
}

}  // namespace invscan::diskscan
