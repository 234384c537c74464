#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <invscan/vartree.h>

#include "TestMachine.h"
#include "helpers/diskscan/DiskScan.h"

namespace {

using namespace invscan;

using Attributes = std::map<std::string, std::string>;
using Lines = std::vector<std::string>;

// A machine made of devices: links in their classes to where they are.
class Devices {
 public:
  Devices() { directory("/sys/class/block", {}); }

  Devices& add(const std::string& className, const std::string& path,
               const Attributes& attributes = {}) {
    const std::string directory = "/sys/class/" + className;
    const std::string name = path.substr(path.rfind('/') + 1);
    answers_.directories[directory].push_back(name);
    answers_.links[directory + "/" + name] = "../../devices/" + path;
    for (const auto& [file, text] : attributes) {
      answers_.files[directory + "/" + name + "/" + file] = {0, text + "\n"};
    }
    return *this;
  }
  Devices& disk(const std::string& path, const std::string& number, Attributes attributes = {}) {
    attributes.insert({{"dev", number}, {"size", "2048"}});
    return add("block", path, attributes);
  }
  Devices& volume(const std::string& name, const std::string& number, const Lines& below,
                  const Attributes& attributes = {}) {
    answers_.directories["/sys/class/block/" + name + "/slaves"] = below;
    return disk("virtual/block/" + name, number, attributes);
  }
  Devices& file(const std::string& path, const std::string& text) {
    answers_.files[path] = {0, text};
    return *this;
  }
  Devices& directory(const std::string& path, const Lines& names) {
    answers_.directories[path] = names;
    return *this;
  }

  // The nodes of a table of the answer: their values and, behind "<", the disks below.
  Lines scan(const char* table) const {
    const OnMachine scanned(answers_);
    const diskscan::Tree tree = diskscan::scanDisks();
    const VtNode* found = tree->getChild(table, 0);
    Lines lines;
    for (int i = 0; const VtNode* node = found->getChild(nullptr, i); ++i) {
      lines.push_back(values(node));
      for (int j = 0; const VtNode* below = node->getChild("Disk", j); ++j) {
        lines.back() += (j == 0 ? " < " : ", ") + std::string(below->getValue("", "Block", ""));
      }
    }
    return lines;
  }

 private:
  static std::string values(const VtNode* node) {
    std::string text;
    for (const VtVariant* value = node->values; value; value = value->next) {
      if (value != node->values) text += '|';
      text +=
          value->kind == kVtInteger ? std::to_string(value->value.integer) : value->value.string;
    }
    return text;
  }

  Answers answers_;
};

TEST(DiskScan, TellsWhereEveryKindOfDiskStands) {
  const std::string fibre = "pci0000:00/0000:05:00.0/host5/rport-5:0-1/target5:0:1/5:0:1:7";
  const std::string sas =
      "pci0000:00/0000:06:00.0/host0/port-0:0/end_device-0:0/target0:0:0/0:0:0:0";
  const std::string sata = "pci0000:00/0000:00:1f.2/ata1/host1/target1:0:0/1:0:0:0";
  const std::string raid = "pci0000:00/0000:07:00.0/host2/target2:0:";
  const std::string shared = "virtual/nvme-subsystem/nvme-subsys1";
  const Devices machine =
      Devices()
          .disk(fibre + "/block/sda", "8:0")
          .disk(sas + "/block/sdb", "8:16")
          .disk(sata + "/block/sdc", "8:32")
          .disk("platform/host3/session1/target3:0:0/3:0:0:1/block/sdd", "8:48")
          .disk("vmbus/host6/target6:0:0/6:0:0:0/block/sde", "8:64")
          .disk("pci0000:00/0000:00:04.0/nvme/nvme0/nvme0n1", "259:0")
          .disk(shared + "/nvme1c1n1", "259:1", {{"hidden", "1"}})
          .disk(shared + "/nvme1n1", "259:2")
          .disk("virtual/nvme-fabrics/ctl/nvme3/nvme3n1", "259:3")
          .disk("pci0000:00/0000:00:05.0/virtio2/block/vda", "254:0")
          .disk("pci0000:00/mmc_host/mmc0/mmc0:0001/block/mmcblk0", "179:0")
          .disk("pci0000:08/host4/target4:0:0/4:0:0:0/block/cciss!c0d0", "104:0")
          .disk("virtual/block/nbd0", "43:0")
          // None of these is a disk.
          .disk("virtual/block/nbd1", "43:1", {{"size", "0"}})
          .disk("virtual/block/loop0", "7:0")
          .disk("virtual/block/zram0", "253:0")
          .disk("virtual/block/dm-3", "252:3")
          .disk(raid + "0/2:0:0:0/block/sr0", "11:0")
          .disk("platform/floppy.0/block/fd0", "2:0")
          .disk(raid + "3/2:0:3:0/block/sdz", "65:144", {{"size", "0"}})
          .add("fc_remote_ports", "x/rport-5:0-1",
               {{"node_name", "0x200000"}, {"port_name", "0x210000"}})
          .add("sas_device", "x/end_device-0:0", {{"sas_address", "0x5000c5"}})
          .add("fc_host", "vmbus/host6/fc_host/host6")
          .add("nvme", "nvme0", {{"transport", "pcie"}})
          .directory("/sys/class/nvme-subsystem/nvme-subsys1",
                     {"nvme1", "nvme1n1", "nvme2", "power"})
          .add("nvme", "nvme1", {{"transport", "pcie"}})
          .add("nvme", "nvme2", {{"transport", "fc"}, {"address", "traddr=nn-0x20:pn-0x10,host_x"}})
          .add("nvme", "nvme3", {{"transport", "tcp"}})
          .add("scsi_generic", fibre + "/scsi_generic/sg4")
          .add("scsi_generic", sas + "/scsi_generic/sg0")
          .add("scsi_generic", raid + "0/2:0:0:0/scsi_generic/sg1", {{"device/type", "5"}})
          .add("scsi_generic", raid + "1/2:0:1:0/scsi_generic/sg2", {{"device/type", "0"}})
          .add("scsi_generic", raid + "2/2:0:2:0/scsi_generic/sg3", {{"device/type", "13"}})
          .add("scsi_generic", raid + "3/2:0:3:0/scsi_generic/sg5", {{"device/type", "0"}});
  EXPECT_EQ(machine.scan("DiskTable"), Lines({
                                           "5:0:1:7|sda|sg4|1|0x200000|0x210000",
                                           "0:0:0:0|sdb|sg0|0||0x5000c5",
                                           "1:0:0:0|sdc||0||",
                                           "3:0:0:1|sdd||1||",
                                           "6:0:0:0|sde||1||",
                                           "nvme0n1|nvme0n1||0||",
                                           "nvme1n1|nvme1n1||1|0x20|0x10",
                                           "nvme3n1|nvme3n1||1||",
                                           "virtio2|vda||0||",
                                           "mmc0:0001|mmcblk0||0||",
                                           "4:0:0:0|cciss/c0d0||0||",
                                           "nbd0|nbd0||0||",
                                           "2:0:1:0||sg2|0||",
                                       }));
}

TEST(DiskScan, FollowsVolumesDownToEveryDisk) {
  Devices machine;
  machine.disk("a/1:0:0:0/block/sda", "8:0")
      .disk("a/1:0:0:0/block/sda/sda1", "8:1")
      .disk("a/1:0:1:0/block/sdb", "8:16")
      .disk("a/1:0:2:0/block/sdc", "8:32")
      .volume("md0", "9:0", {"sda1", "sdb"})
      .disk("virtual/block/md0/md0p1", "259:7")
      .volume("dm-0", "252:0", {"md0", "sdc"}, {{"dm/name", "vg-data"}})
      // Forged: volumes that lie on each other, on themselves, on nothing.
      .volume("dm-1", "252:1", {"dm-2", "sdb"})
      .volume("dm-2", "252:2", {"dm-1", "dm-2"})
      .volume("dm-3", "252:3", {"gone"})
      .file("/run/udev/data/b8:1", "S:x\nE:ID_FS_TYPE=linux_raid_member\nE:ID_FS_TYPE=later\n");
  EXPECT_EQ(machine.scan("PartitionTable"), Lines({
                                                "/dev/sda1||linux_raid_member < sda",
                                                "/dev/md0|| < sda, sdb",
                                                "/dev/md0p1|| < sda, sdb",
                                                "/dev/mapper/vg-data|| < sda, sdb, sdc",
                                                "/dev/dm-1|| < sdb",
                                                "/dev/dm-2|| < sdb",
                                            }));

  // So many ways down that nobody could walk them all.
  Devices lattice;
  lattice.disk("a/1:0:0:0/block/sda", "8:0")
      .volume("dm-0", "252:0", {"sda"})
      .volume("dm-1", "", {"sda"});
  for (int i = 2; i < 200; i += 2) {
    const Lines below = {"dm-" + std::to_string(i - 2), "dm-" + std::to_string(i - 1)};
    lattice.volume("dm-" + std::to_string(i), "", below);
    lattice.volume("dm-" + std::to_string(i + 1), "", below);
  }
  EXPECT_EQ(lattice.scan("PartitionTable").size(), 200U);

  // More than anybody would read: each of many volumes lies on each of many disks.
  Devices square;
  Lines all;
  for (int i = 0; i < 1001; ++i) {
    all.push_back("sd" + std::to_string(i));
    square.disk("a/1:0:0:" + std::to_string(i) + "/block/" + all.back(), "");
    if (i > 0) square.volume("dm-" + std::to_string(i), "", {"dm-0"});
  }
  square.volume("dm-0", "", all);
  EXPECT_THROW(square.scan("PartitionTable"), std::runtime_error);
}

TEST(DiskScan, NamesAccessPointsAsTheTableOfMountsDoes) {
  const Devices machine =
      Devices()
          .disk("a/1:0:0:0/block/sda", "8:0")
          .disk("a/1:0:0:0/block/sda/sda1", "8:1")
          .disk("a/1:0:0:0/block/sda/sda2", "8:2")
          .disk("a/1:0:1:0/block/sdb", "8:16")
          .disk("a/1:0:2:0/block/sdc", "8:32")
          .disk("a/1:0:3:0/block/sdd", "8:48")
          .volume("dm-0", "252:0", {"sdd"}, {{"dm/name", "vg-swap"}})
          .directory("/sys/fs/btrfs", {"features", "0f0f"})
          .directory("/sys/fs/btrfs/0f0f/devices", {"sdb", "sdc"})
          .file("/proc/self/mountinfo",
                "21 1 0:20 / /proc rw - proc proc rw\n"
                "22 1 8:1 / / rw,relatime shared:1 master:2 - ext4 /dev/root rw\n"
                "23 22 8:2 /inside /bound rw - xfs /dev/sda2 rw\n"
                "24 22 8:2 / /a\\040blank\\134\\012(Disk rw - xfs /dev/sda2 rw\n"
                "25 22 8:2 / /again rw - xfs /dev/sda2 rw\n"
                "26 22 8:2 / /other rw - xfs /dev/disk/by-label/a\\040b rw\n"
                "27 22 0:33 /@ /span rw - btrfs /dev/sdc rw\n"
                "28 22 0:34 / /no rw - tmpfs /dev/sdb rw\n"
                "29 22 8:0 / /whole\\9 rw - iso9660 /dev/sda rw\n"
                "30 22 8:16 /\n\n-\n31 22 0:35 / /nfs - nfs server:/x")
          .file("/proc/swaps",
                "Filename\tType\tSize\tUsed\tPriority\n"
                "/dev/dm-0                               partition\t8388604\t0\t-2\n"
                "/swapfile                               file\t1024\t0\t-3\n");
  EXPECT_EQ(machine.scan("PartitionTable"), Lines({
                                                "/dev/sda|/whole\\9|iso9660 < sda",
                                                "/dev/root|/|ext4 < sda",
                                                "/dev/disk/by-label/a b|/other|xfs < sda",
                                                "/dev/sda2|/a blank\\ (Disk|xfs < sda",
                                                "/dev/sdc|/span|btrfs < sdb, sdc",
                                                "/dev/dm-0|swap|swap < sdd",
                                            }));
}

TEST(DiskScan, TellsHostAdapters) {
  const std::string sata = "pci0000:00/0000:00:1f.2/ata";
  const Devices machine =
      Devices()
          .add("scsi_host", "pci0000:00/0000:05:00.0/host10/scsi_host/host10",
               {{"state", "running"},
                {"model_name", "F-2"},
                {"model_desc", "Dual\x1b adapter"},
                {"serial_num", "  S1  "}})
          .add("scsi_host", "pci0000:00/0000:06:00.0/host2/scsi_host/host2",
               {{"state", "running"}, {"proc_name", "sas"}, {"board_name", "S-8i"}})
          .add("scsi_host", sata + "1/host3/scsi_host/host3", {{"proc_name", "ahci"}})
          .add("scsi_host", sata + "2/host4/scsi_host/host4", {{"proc_name", "ahci"}})
          .add("scsi_host", "platform/host5/scsi_host/host5", {{"state", "running"}})
          .add("scsi_host", "usb1/1-1/host6/scsi_host/host6", {{"state", "offline"}})
          .add("scsi_host", "platform/nohost")
          .add("fc_host", "host10",
               {{"port_state", "Online"},
                {"speed", "16 Gbit"},
                {"node_name", "0x20"},
                {"port_name", "0x21"},
                {"symbolic_name", "less"}})
          .add("iscsi_host", "host5")
          .add("sas_phy", "phy-2:0",
               {{"sas_address", "0x0000"}, {"negotiated_linkrate", "Unknown"}})
          .add("sas_phy", "phy-2:1", {{"sas_address", "0x50"}, {"negotiated_linkrate", "6.0 Gbit"}})
          .add("sas_phy", "phy-2:2",
               {{"sas_address", "0x51"}, {"negotiated_linkrate", "12.0 Gbit"}})
          .add("sas_phy", "phy-2:1:0", {{"negotiated_linkrate", "22.5 Gbit"}})
          .add("ata_link", "link1", {{"sata_spd", "6.0 Gbps"}})
          .add("ata_link", "link2", {{"sata_spd", "<unknown>"}})
          .file("/sys/bus/pci/devices/0000:05:00.0/vendor", "0x1077\n")
          .file("/sys/bus/pci/devices/0000:00:1f.2/vendor", "0x8086\n");
  EXPECT_EQ(machine.scan("HbaTable"),
            Lines({
                "2|sas||S-8i|SAS||12.0 Gbit|running||0x50",
                "3|ahci|Intel||SATA||6.0 Gbps|||",
                "4|ahci|Intel||SATA|||||",
                "5||||iSCSI|||running||",
                "6||||USB|||offline||",
                "10|Dual  adapter|QLogic|F-2|Fibre Channel|S1|16 Gbit|Online|0x20|0x21",
            }));
  EXPECT_EQ(Devices().scan("HbaTable"), Lines());
}

}  // namespace
