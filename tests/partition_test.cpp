// Mounts and swap areas: what rows are made of them, and what dead ones cost.
#include <gtest/gtest.h>

#include <invscan/factory.h>
#include <invscan/groups.h>
#include <invscan/partition.h>

#include "Processes.h"
#include "ProcessorTime.h"
#include "Rendering.h"
#include "TestMachine.h"

namespace invscan {
namespace {

constexpr unsigned long kPartition = 27;
const std::vector<std::string> kMount = {
    "Type",           "Media Type",      "Device Name", "FS Type", "FS Access Point",
    "FS Mount Point", "Server Hostname", "Server Path"};
const std::vector<std::string> kSizes = {"Index", "FS Mount Point", "Physical Size",
                                         "FS Total Size", "FS Free Size"};

auto space(const char* path, unsigned long unit, unsigned long blocks, unsigned long available,
           StatisticsCall call = StatisticsCall::statvfs) {
  struct statvfs figures {};
  figures.f_frsize = unit;
  figures.f_blocks = blocks;
  figures.f_bavail = available;
  return answered<FileSystemQuestion>(figures, {path, call});
}

Answers listed(const std::string& mtab, const std::string& swaps = "") {
  return {
      .files = {{"/etc/mtab", {0, mtab}}, {"/proc/swaps", {swaps.empty() ? ENOENT : 0, swaps}}}};
}

Answers mounted(const std::string& mountinfo) {
  return {.files = {{"/proc/self/mountinfo", {0, mountinfo}},
                    {"/etc/mtab", {0, "old /x ext4\n"}},
                    {"/run/udev/data/b8:18", {0, "E:ID_FS_TYPE=ntfs\n"}}}};
}

TEST(Partition, TakesListedMountsByTheClassicRules) {
  const std::pair<std::string, std::string> cases[] = {
      {"/dev/sda1 / ext3 rw 0 0", "1|3|/dev/sda1|131|/dev/sda1|/||"},
      {"  /dev/a\\040b\t/x\\011\\012\\134\\043 minix  rw ",
       "1|0|/dev/a b|65535|/dev/a b|/x\\x09\\x0a\\\\\\\\043||"},
      {"solo", "1|0|solo|65535|solo|||"},
      {"/dev/x /y", "1|0|/dev/x|65535|/dev/x|/y||"},
      {"# /x ext4\n \n\n#", ""},
      {"auto /a autofs rw,ignore\nauto /b autofs rw,ignored", "1|0|auto|65535|auto|/b||"},
      {"s:/x /n nfs", "2|4|remote|260|s:/x|/n|s|/x"},
      {"s /n nfs4", "2|4|remote|260|s|/n|localhost|"},
      {"[2001:db8::1]:/x /n nfs", "2|4|remote|260|[2001:db8::1]:/x|/n|[2001|db8::1]:/x"},
      {"//srv/share/d /c cifs", "2|4|remote|282|//srv/share/d|/c|srv|share/d"},
      {"\\\\\\\\srv\\\\share /c smbfs", "2|4|remote|282|\\\\\\\\srv\\\\share|/c|srv|share"},
      {"///x /c cifs", "2|4|remote|282|///x|/c|localhost|"},
      {"/ /c cifs\n// /c cifs", "2|4|remote|282|/|/c|localhost|;2|4|remote|282|//|/c|localhost|"},
      {"a:b /g gpfs", "2|4|remote|286|a:b|/g||"},
      {"/dev/fd0 /f vfat\n/dev/x /s subfs\n/dev/sr0 /r iso9660",
       "1|2|/dev/fd0|11|/dev/fd0|/f||;1|2|/dev/x|281|/dev/x|/s||;1|5|/dev/sr0|264|/dev/sr0|/r||"},
      {"h:(pid7) /h nfs\nd /dev/pts devpts\nd /x/proc ext4\nd /.amd_mnt ext4\nd /z fuse.procx\n"
       "d /z shm\nocfs2_dlmfs /d x\nd /d rpc_pipefs\nd /s sysfs",
       ""},
      {"x /b btrfs\nx /X XFS\nx /w swap\nx /m memfs\nnone / rootfs",
       "1|0|x|65535|x|/b||;1|0|x|65535|x|/X||;1|3|x|130|x|/w||;1|3|x|65535|x|/m||;"
       "1|3|none|290|none|/||"},
      {std::string("a /b ext4\0z\nc /d ext2", 21), "1|3|a|131|a|/b||;1|3|c|131|c|/d||"},
  };
  for (const auto& [mtab, expected] : cases) {
    const OnMachine scanned(listed(mtab));
    EXPECT_EQ(valuesOf(kPartition, kMount), expected) << mtab;
  }
  const OnMachine without({.files = {{"/proc/swaps", {0, "Filename\n/s p 1 1\n"}}}});
  EXPECT_EQ(valuesOf(kPartition, kMount), "no table");
}

TEST(Partition, KnowsNativelyWhatTheRulesLeaveOpen) {
  const std::pair<std::string, std::string> cases[] = {
      {"8:1 /bound /b\\040c rw shared:1 - xfs /dev/sda1 rw", "1|3|/dev/sda1|283|/dev/sda1|/b c||"},
      {"0:40 /@ / rw - btrfs /dev/mapper/luks rw", "1|3|/dev/mapper/luks|279|/dev/mapper/luks|/||"},
      {"0:41 / /t rw - zfs tank/a rw", "1|3|tank/a|278|tank/a|/t||"},
      {"11:0 / /d rw - udf /dev/sr0 ro", "1|5|/dev/sr0|265|/dev/sr0|/d||"},
      {"8:17 / /d rw - udf /dev/sdb1 ro", "1|3|/dev/sdb1|265|/dev/sdb1|/d||"},
      {"0:5 / /o rw - overlay overlay rw", "1|0|overlay|65535|overlay|/o||"},
      {"8:18 / /n rw - fuseblk /dev/sdb2 rw", "1|3|/dev/sdb2|7|/dev/sdb2|/n||"},
      {"8:19 / /n rw - fuseblk.ntfs /dev/sdb3 rw", "1|3|/dev/sdb3|7|/dev/sdb3|/n||"},
      {"8:19 / /n rw - fuseblk /dev/sdb3 rw", "1|3|/dev/sdb3|65535|/dev/sdb3|/n||"},
      {"0:6 / /f rw - fuse.x /dev/sda1 rw", "1|0|/dev/sda1|65535|/dev/sda1|/f||"},
      {"0:7 / /s rw - fuse.sshfs me@[fe80::1]:in/to rw",
       "2|4|remote|65535|me@[fe80::1]:in/to|/s|fe80::1|in/to"},
      {"0:7 / /n rw - nfs4 [2001:db8::1]:/x rw",
       "2|4|remote|260|[2001:db8::1]:/x|/n|2001:db8::1|/x"},
      {"0:7 / /n rw - nfs4 a:b:/x rw", "2|4|remote|260|a:b:/x|/n|a|b:/x"},
      {"0:7 / /c rw - ceph m1:6789,m2:6789:/v/w rw",
       "2|4|remote|65535|m1:6789,m2:6789:/v/w|/c|m1|/v/w"},
      {"0:7 / /c rw - ceph a@id.fs=/v rw,mon_addr=192.0.2.1:3300/192.0.2.2:3300",
       "2|4|remote|65535|a@id.fs=/v|/c|192.0.2.1|/v"},
      {"0:7 / /l rw - lustre 192.168.65.1@o2ib:192.168.65.2@o2ib:/home-st rw",
       "2|4|remote|65535|192.168.65.1@o2ib:192.168.65.2@o2ib:/home-st|/l|192.168.65.1|/home-st"},
      {"0:7 / /9 rw - 9p host rw,trans=virtio", "2|4|remote|65535|host|/9||"},
      {"0:7 / /9 rw - 9p host rw,trans=tcp,aname=/u", "2|4|remote|65535|host|/9|host|/u"},
      {"0:7 / /g rw - fuse.glusterfs a,b:vol rw", "2|4|remote|65535|a,b:vol|/g|a|vol"},
      {"0:7 / /w rw - fuse https://u:p@dav.example:444/x rw",
       "2|4|remote|65535|https://u:p@dav.example:444/x|/w|dav.example|/x"},
      {"0:7 / /w rw - smb3 //srv/s rw", "2|4|remote|282|//srv/s|/w|srv|s"},
      {"0:8 / /e rw - tmpfs  rw", "1|3||267||/e||"},
      {"0:3 / /proc rw - proc proc rw\n\nx - \n 1 2 8:1", ""},
  };
  for (const auto& [line, expected] : cases) {
    const OnMachine scanned(mounted("1 2 " + line + "\n"), "native");
    EXPECT_EQ(valuesOf(kPartition, kMount), expected) << line;
  }
  const OnMachine unnumbered(
      {.files = {{"/proc/self/mounts", {0, "/dev/sda1 /a jfs2\n/dev/sr0 /b udf\n"}}}}, "native");
  EXPECT_EQ(valuesOf(kPartition, kMount),
            "1|3|/dev/sda1|285|/dev/sda1|/a||;1|5|/dev/sr0|265|/dev/sr0|/b||");
}

TEST(Partition, ComputesSizesThatFit) {
  const std::string longest(4097, 'x');
  Answers machine = listed("a /a ext4\nb /b nfs\nc /c nfs\nd /d ext4\ne /e ext4\nf /f ext4\ng " +
                           longest + " ext4\nh\ni /a\n");
  machine.plain = {
      space("/a", 512, 1025, 1023),    space("/b", 10485760, 1, 1),
      space("/c", 10485761, 1, 1),     space("/d", 4096, 5, 6),
      space("/e", 4096, 0, 0),         space("/e", 4096, 7, 1, StatisticsCall::statvfs64),
      space("/f", 1UL << 50, ~0UL, 3), space("", 1024, 9, 9)};
  std::string expected =
      "1|/a|512|512|511;2|/b|10240|10240|10240;3|/c|0|0|0;4|/d|0|0|0;5|/e|28|28|4;"
      "6|/f|18446744073709551615|18446744073709551615|3298534883328;7|" +
      longest + "|0|0|0;8||0|0|0;9|/a|512|512|511";
  const OnMachine scanned(machine);
  EXPECT_EQ(valuesOf(kPartition, kSizes), expected);
}

TEST(Partition, ListsSwapAreas) {
  constexpr char kLines[] =
      "/dev/sda2 partition 1000 1 -2\n/f\\040g file 10 11 -3\n/big file 6442450944 1 0\n"
      "/# file 5 5\n/short file 5\n/bad file 5x 5\n/neg file -1 -1\n/last file 8 3";
  const OnMachine classic(listed("", std::string("Used\n") + kLines));
  EXPECT_EQ(valuesOf(kPartition, kSizes),
            "1|swap|1000|1000|999;2|swap|10|10|0;3|swap|2147483648|2147483648|2147483647;"
            "4|swap|4294967295|4294967295|0;5|swap|8|8|5");
  const OnMachine native(listed("", std::string("Filename Type\n") + kLines), "native");
  EXPECT_EQ(valuesOf(kPartition, {"Device Name", "Media Type", "FS Type", "FS Free Size"}),
            "/dev/sda2|3|130|999;/f g|3|130|0;/big|3|130|6442450943;/neg|3|130|0;/last|3|130|5");
  const OnMachine strange(listed("", std::string(255, 'x') + "Filename\n" + kLines));
  EXPECT_EQ(valuesOf(kPartition, kSizes), "");
}

TEST(Partition, LeavesRemoteMountsOutOnRequest) {
  doEntry("/dev/x", "/x", "ext4", false);  // into no table
  for (const auto& [text, isSkipped] : {std::pair(" \tYes ", true),
                                        {"TRUE", true},
                                        {"on", true},
                                        {"1", false},
                                        {"", false},
                                        {"true x", false}}) {
    for (const char* const sources : {"classic", "native"}) {
      const OnMachine scanned(listed("a:/ /a nfs\nb /b ext4\nc@d: /c fuse.sshfs"), sources);
      const AttributeList attributes{{"skipRemote", text}};
      PartitionGroup group;
      group.setGroupAttrs(&attributes);
      const std::unique_ptr<KelTable> table(group.getTable());
      const unsigned long classic = isSkipped ? 2 : 3;
      const bool isNative = std::string_view(sources) == "native";
      EXPECT_EQ(table->getRowCount(), isNative && isSkipped ? 1 : classic) << text << sources;
    }
  }
}

class DeadMounts : public InDirectory {
 protected:
  ~DeadMounts() override {
    for (const char* key : {"hwscanner.timeout", "hwscanner.deadline", "hwscanner.sources"}) {
      OrvCfg::setKey(key, "");
    }
  }

  // Outcomes of the questions for space, in the order in which they were asked.
  std::string ask(const char* sources, const char* timeout, const char* deadline) const {
    write("machine.json", R"({"capture": 1, "statvfs": {"/dead": {"hang": true},
        "/dead2": {"hang": true}, "/": {"f_frsize": 1024, "f_blocks": 10, "f_bavail": 5}}})");
    write("root/proc/self/mountinfo",
          "1 1 0:9 / /dead rw - nfs a:/x rw\n1 1 0:9 / /dead rw - nfs a:/x rw\n"
          "1 1 0:8 / /dead2 rw - fuse x rw\n1 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
          "1 1 0:7 / /auto rw - autofs x rw\n");
    write("root/etc/mtab", "a:/x /dead nfs\nx /dead2 fuse\n/dev/sda1 / ext4\n");
    std::string error;
    EXPECT_TRUE(replayMachine(directory_, error)) << error;
    OrvCfg::setKey("hwscanner.sources", sources);
    OrvCfg::setKey("hwscanner.timeout", timeout);
    OrvCfg::setKey("hwscanner.deadline", deadline);
    startAccessLog();
    EXPECT_NE(valuesOf(kPartition, kSizes).find("|/|10|10|5"), std::string::npos);
    std::string outcomes;
    for (const Access& access : accessLog()) {
      if (access.source.starts_with("statvfs"))
        outcomes += access.source + ": " + access.outcome + "\n";
    }
    return outcomes;
  }
};

TEST_F(DeadMounts, CostTheirTimeOutOnceAndTheOthersNothing) {
  const ShareMeter meter;
  EXPECT_EQ(ask("native", "1000000", ""),
            "statvfs /: ok\nstatvfs /dead: no answer in time\n"
            "statvfs /dead: not asked: did not answer where it is mounted before\n"
            "statvfs /dead2: no answer in time\n");
  EXPECT_EQ(ask("classic", "1000000", ""),
            "statvfs /dead: no answer in time\nstatvfs /dead2: no answer in time\nstatvfs /: ok\n");
  EXPECT_GE(meter.time().count(), 3.9);
  // A time-out of hours, of which the deadline leaves a part.
  EXPECT_EQ(ask("native", "2000000000", "6000"), ask("native", "1000000", ""));
  EXPECT_LT(meter.timeWithProcessor().count(), 60);
}

}  // namespace
}  // namespace invscan
