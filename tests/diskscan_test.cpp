
#include "helpers/diskscan/DiskScan.h"
#include "TestMachine.h"
#include "Testing.h"
#include "common/text/Lines.h"

namespace {

using namespace invscan;

std::vector<std::string> fieldsOf(std::string_view text, std::string_view delimiters) {
  std::vector<std::string> fields;
  while (!text.empty()) fields.emplace_back(nextField(text, delimiters));
  return fields;
}

// A machine in lines. "CLASS PATH;NAME=TEXT;..." is a device, linked in its class, with attributes;
// "/PATH=TEXT" is any other file. A text such as "[one two]" makes a directory of those names,
// ">one" a link to a driver.
class Devices {
 public:
  explicit Devices(const std::string& lines) {
    answers_.directories["/sys/class/block"];
    for (const std::string& line : fieldsOf(lines, "\n")) {
      line[0] == '/' ? addFile(line) : addDevice(fieldsOf(line, ";"));
    }
  }

  void file(const std::string& path, const std::string& text) { answers_.files[path] = {0, text}; }

  // The nodes of a table of the answer, a line each: the values, and behind ":" the disks below.
  std::string scan(const char* table) const {
    const OnMachine scanned(answers_);
    const diskscan::Tree tree = diskscan::scanDisks();
    std::string lines;
    for (const VtNode* node = tree->getChild(table, 0)->children; node; node = node->next) {
      lines += '\n';
      for (const VtVariant* value = node->values; value; value = value->next) {
        lines += value == node->values ? "" : "|";
        lines +=
            value->kind == kVtString ? value->value.string : std::to_string(vtGetValue(value, 0));
      }
      for (const VtNode* disk = node->children; disk; disk = disk->next) {
        lines += disk == node->children ? ": " : " ";
        lines += disk->getValue("", "Block", "");
      }
    }
    return lines + '\n';
  }

 private:
  void addDevice(const std::vector<std::string>& fields) {
    const std::size_t blank = fields[0].find(' ');
    const std::string directory = "/sys/class/" + fields[0].substr(0, blank);
    const std::string path = fields[0].substr(blank + 1);
    const std::string name = path.substr(path.rfind('/') + 1);
    const std::string own = directory + "/" + name;
    answers_.directories[directory].push_back(name);
    answers_.links[own] = "../../devices/" + path;
    file(own + "/size", "2048\n");
    for (std::size_t n = 1; n < fields.size(); ++n) addFile(own + "/" + fields[n]);
  }

  void addFile(const std::string& line) {
    const std::size_t equals = line.find('=');
    const std::string path = line.substr(0, equals), text = line.substr(equals + 1);
    if (text[0] == '>') {
      answers_.links[path] = "../drivers/" + text.substr(1);
    } else if (text[0] == '[') {
      answers_.directories[path] = fieldsOf(text, "[ ]");
    } else {
      file(path, text + "\n");
    }
  }

  Answers answers_;
};

TEST(DiskScan, TellsWhereEveryKindOfDiskStands) {
  const Devices machine(R"(
block host5/rport-5:0-1/target5:0:1/5:0:1:7/block/sda
block platform/host3/session1/target3:0:0/3:0:0:1/block/sdd
block vmbus/host6/target6:0:0/6:0:0:0/block/sde
block virtual/nvme-subsystem/nvme-subsys1/nvme1c1n1;hidden=1
block virtual/nvme-subsystem/nvme-subsys1/nvme1n1
block virtual/nvme-fabrics/ctl/nvme3/nvme3n1
block host4/target4:0:0/4:0:0:0/block/cciss!c0d0
block virtual/block/nbd0
block virtual/block/loop0
block host2/target2:0:3/2:0:3:0/block/sdz;size=0
fc_remote_ports x/rport-5:0-1;node_name=0x200000;port_name=0x210000
fc_host vmbus/host6/fc_host/host6
nvme nvme2;transport=fc;address=traddr=nn-0x20:pn-0x10,host_x
nvme nvme3;transport=tcp
scsi_generic host5/rport-5:0-1/target5:0:1/5:0:1:7/scsi_generic/sg4
scsi_generic host2/target2:0:1/2:0:1:0/scsi_generic/sg2;device/type=0
scsi_generic host2/target2:0:2/2:0:2:0/scsi_generic/sg3;device/type=13
scsi_generic host2/target2:0:3/2:0:3:0/scsi_generic/sg5;device/type=0
scsi_generic host2/target2:0:4/2:0:4:0/scsi_generic/sg6;device/type=1
scsi_generic host2/target2:0:5/2:0:5:0/scsi_generic/sg7;device/type=5
block host2/target2:0:5/2:0:5:0/block/sr0;size=2097151
scsi_tape host2/target2:0:4/2:0:4:0/scsi_tape/nst0
scsi_tape host2/target2:0:4/2:0:4:0/scsi_tape/st0
scsi_tape host2/target2:0:4/2:0:4:0/scsi_tape/st0a
scsi_changer host2/target2:0:6/2:0:6:0/scsi_changer/sch0
/sys/class/nvme-subsystem/nvme-subsys1=[nvme1 nvme1n1 nvme2 power]
)");
  EXPECT_EQ(machine.scan("DiskTable"), R"(
5:0:1:7|sda|sg4|1|0x200000|0x210000
3:0:0:1|sdd||1||
6:0:0:0|sde||1||
nvme1n1|nvme1n1||1|0x20|0x10
nvme3n1|nvme3n1||1||
4:0:0:0|cciss/c0d0||0||
nbd0|nbd0||0||
2:0:5:0|sr0|sg7|0||
2:0:4:0|st0|sg6|0||
2:0:6:0|sch0||0||
2:0:1:0||sg2|0||
)");
}

TEST(DiskScan, FollowsMountsAndVolumesDownToEveryDisk) {
  // The last volumes are forged: they lie on each other, on themselves, on nothing.
  Devices machine(R"(
block a/1:0:0:0/block/sda;dev=8:0
block a/1:0:0:0/block/sda/sda1;dev=8:1
block a/1:0:0:0/block/sda/sda2;dev=8:2
block a/1:0:0:0/block/sda/sda3;dev=8:3
block a/1:0:1:0/block/sdb;dev=8:16
block a/1:0:2:0/block/sdc;dev=8:32
block virtual/block/md0;slaves=[sda3 sdb]
block virtual/block/md0/md0p1
block virtual/block/dm-0;slaves=[md0 sdc];dm/name=vg-data
block virtual/block/dm-1;slaves=[sdc];dm/name=vg-swap
block virtual/block/dm-2;slaves=[dm-3 sdb]
block virtual/block/dm-3;slaves=[dm-2 dm-3]
block virtual/block/dm-4;slaves=[gone]
block virtual/block/md127;slaves=[sda3 sdb];size=0
block b/2:0:0:0/block/cciss!c0d0
/sys/fs/btrfs=[features 0f0f]
/sys/fs/btrfs/0f0f/devices=[sdb sdc cciss!c0d0]
)");
  machine.file("/run/udev/data/b8:3", "S:x\nE:ID_FS_TYPE=linux_raid_member\nE:ID_FS_TYPE=later\n");
  machine.file("/proc/self/mountinfo",
               R"(22 1 8:1 / / rw,relatime shared:1 master:2 - ext4 /dev/root rw
23 22 8:2 /inside /bound rw - xfs /dev/sda2 rw
24 22 8:2 / /a\040blank\134\012(Disk rw - xfs /dev/sda2 rw
25 22 8:2 / /again rw - xfs /dev/sda2 rw
25 22 8:2 / /again rw - xfs /dev/mapper/a\043b rw
26 22 8:2 / /other rw - xfs /dev/disk/by-label/a\040b rw
27 22 0:33 /@ /span rw - btrfs /dev/sdc rw
28 22 0:34 / /no rw - tmpfs /dev/sdb rw
29 22 8:0 / /whole\108 rw - iso9660 /dev/sda rw
30 22 8:16 /

-
31 22 0:35 / /nfs - nfs server:/x)");
  machine.file("/proc/swaps", R"(Filename	Type	Size	Used	Priority
/dev/dm-1                               partition	8388604	0	-2
/swapfile                               file	1024	0	-3
)");
  EXPECT_EQ(machine.scan("PartitionTable"), R"(
/dev/sda|/whole\108|iso9660: sda
/dev/root|/|ext4: sda
/dev/disk/by-label/a b|/other|xfs: sda
/dev/mapper/a\043b|/again|xfs: sda
/dev/sda2|/a blank\ (Disk|xfs: sda
/dev/sda3||linux_raid_member: sda
/dev/sdc|/span|btrfs: sdb sdc cciss/c0d0
/dev/md0||: sda sdb
/dev/md0p1||: sda sdb
/dev/mapper/vg-data||: sda sdb sdc
/dev/dm-1|swap|swap: sdc
/dev/dm-2||: sdb
/dev/dm-3||: sdb
)");
}

TEST(DiskScan, IsNotHeldUpByForgedVolumes) {
  const auto volume = [](int number, const std::string& below) {
    return "block virtual/block/dm-" + std::to_string(number) + ";slaves=[" + below + "]\n";
  };
  // So many ways down that nobody could walk them all.
  std::string lattice = "block a/1:0:0:0/block/sda\n" + volume(0, "sda") + volume(1, "sda");
  for (int i = 2; i < 200; ++i) {
    lattice += volume(i, "dm-" + std::to_string(i - 2) + " dm-" + std::to_string(i - 1));
  }
  const std::string scanned = Devices(lattice).scan("PartitionTable");
  EXPECT_EQ(std::count(scanned.begin(), scanned.end(), ':'), 200);

  // More than anybody would read: each of many volumes lies on each of many disks.
  std::string square, all;
  for (int i = 1; i <= 1001; ++i) {
    all += " sd" + std::to_string(i);
    square += "block a/1:0:0:0/block/sd" + std::to_string(i) + "\n" + volume(i, "dm-0");
  }
  EXPECT_THROW(Devices(square + volume(0, all)).scan("PartitionTable"), std::runtime_error);
}

TEST(DiskScan, TellsHostAdapters) {
  const Devices machine(R"(
scsi_host 0000:05:00.0/host10/x/host10;model_name=F-2;model_desc=Two ports;serial_num=  S1
scsi_host 0000:06:00.0/host2/x/host2;state=running;proc_name=sas;board_name=S-8i
scsi_host 0000:00:1f.2/ata1/host3/x/host3;proc_name=ahci
scsi_host 0000:00:1f.2/ata2/host4/x/host4;proc_name=ahci
scsi_host platform/host5/x/host5;state=running
scsi_host usb1/1-1/host6/x/host6;state=offline
scsi_host 0000:07:00.0/host7/x/host7;proc_name=(null)
scsi_host 0000:07:00.1/ata3/host8/x/host8;proc_name=ata_piix
scsi_host 0000:07:00.2/ata4/host9/x/host9;proc_name=ata_piix
scsi_host 0000:08:00.0/host11/x/host11;proc_name=qla2xxx
scsi_host platform/nohost
fc_host host10;port_state=Online;speed=16 Gbit;node_name=0x20;port_name=0x21;symbolic_name=less
fc_host host11;port_state=Linkdown;speed=8 Gbit;node_name=0x30;port_name=0x31
iscsi_host host5
sas_device x/end_device-2:0;sas_address=0x50
sas_phy phy-2:0;sas_address=0x0000;negotiated_linkrate=Unknown
sas_phy phy-2:1;sas_address=0x50;negotiated_linkrate=6.0 Gbit
sas_phy phy-2:2;sas_address=0x51;negotiated_linkrate=12.0 Gbit
sas_phy phy-2:1:0;negotiated_linkrate=22.5 Gbit
ata_link link1;sata_spd=6.0 Gbps
ata_link link2;sata_spd=<unknown>
/sys/bus/pci/devices/0000:05:00.0/vendor=0x1077
/sys/bus/pci/devices/0000:00:1f.2/vendor=0x8086
/sys/bus/pci/devices/0000:07:00.1/device=0x7010
/sys/bus/pci/devices/0000:07:00.2/device=0x2922
/sys/devices/0000:07:00.0/driver=>../../bus/pci/drivers/am53c974
)");
  EXPECT_EQ(machine.scan("HbaTable"), R"(
2|sas||S-8i|SAS||12.0 Gbit|running||
3|ahci|Intel||SATA||6.0 Gbps|||
4|ahci|Intel||SATA|||||
5||||iSCSI|||running||
6||||USB|||offline||
7|am53c974|||SCSI|||||
8|ata_piix|||IDE|||||
9|ata_piix|||SATA|||||
10|Two ports|QLogic|F-2|Fibre Channel|S1|16 Gbit|Online|0x20|0x21
11|qla2xxx|||Fibre Channel|||Linkdown|0x30|0x31
)");
}

}  // namespace
