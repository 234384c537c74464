// The block devices of the machine, and what lies on what.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace invscan::diskscan {

// Where they are told.
inline constexpr char kBlockDevices[] = "/sys/class/block";

enum class BlockKind {
  Disk,       // something that holds data itself, or an optical drive
  Partition,  // a part of the device below it
  Volume,     // made of others (logical volumes, RAID) or of none (loop, RAM, empty)
};

struct BlockDevice {
  std::string sysfsName;  // "sda1"; "cciss!c0d0" where the name has a slash
  std::string name;       // in /dev: "sda1", "cciss/c0d0"
  std::string node;       // what it is mounted by: "/dev/sda1", "/dev/mapper/vg-root"
  std::string path;       // the text of its link in /sys/class/block
  std::string number;     // "8:1"
  BlockKind kind = BlockKind::Volume;
  std::vector<std::size_t> below;  // the devices that it lies on directly
};

// All block devices, in the order of their names. Devices are known by their index.
class BlockDevices {
 public:
  // Asks the machine; what it does not tell is not there.
  BlockDevices();

  const std::vector<BlockDevice>& all() const { return devices_; }

  std::optional<std::size_t> findNumber(const std::string& number) const;
  // Finds a device by its name in /sys.
  std::optional<std::size_t> findName(const std::string& sysfsName) const;
  // Finds a device by a path in /dev, also by one that is a link to a device there.
  std::optional<std::size_t> findNode(const std::string& node) const;

  // The disks that devices lie on in the end, each once, in order. What lies on itself, as only a
  // forged machine has it, ends the descent there.
  std::vector<std::size_t> disksBelow(const std::vector<std::size_t>& devices);

 private:
  void add(const std::string& sysfsName);
  void findWhatIsBelow(BlockDevice& device) const;
  void addMembers(BlockDevice& device) const;

  std::vector<BlockDevice> devices_;
  std::unordered_map<std::string, std::size_t> sysfsNames_, numbers_, nodes_;
  std::vector<std::size_t> visits_;  // in which descent a device was last met
  std::size_t descents_ = 0;
};

}  // namespace invscan::diskscan
