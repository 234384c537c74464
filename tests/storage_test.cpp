// The storage groups: what the kernel and udev tell of devices, and what the classic gatherers make
// of commands and of devices' own answers.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include <invscan/invscan.h>

#include "Rendering.h"
#include "TestMachine.h"
#include "common/text/Lines.h"
#include "invscan/linux/storage/ScsiData.h"

namespace invscan {
namespace {

using namespace std::string_literals;

constexpr unsigned long kStorage = 5, kPartitionToStorage = 53, kSanAdapter = 54;

FileText file(const std::string& text) {
  return {0, text + "\n"};
}

// Big-endian.
std::string bytesOf(unsigned long number, std::size_t width) {
  std::string bytes;
  while (width-- > 0) bytes += static_cast<char>(number >> 8 * width);
  return bytes;
}

std::string page(int code, const std::string& contents) {
  return "\0"s + static_cast<char>(code) + bytesOf(contents.size(), 2) + contents;
}

std::string inquiry(char type, std::string vendor, std::string model) {
  vendor.resize(8, ' ');
  model.resize(16, ' ');
  return type + "\0\5\2\x1f\0\0\2"s + vendor + model + "1.0 ";
}

const char* const kDiskScan =
    "1.0 0 OK\n(ScsiInfo\n(DiskTable\n"
    "(Disk\nId:s=0:0:0:0\nBlock:s=sda\nGeneric:s=sg0\nisSAN:i=1\nWWNN:s=0x20\nWWPN:s=0x10\n)\n"
    "(Disk\nId:s=1:0:0:0\nBlock:s=st0\nGeneric:s=sg1\nisSAN:i=0\n)\n"
    "(Disk\nId:s=2:0:0:0\nGeneric:s=sg2\nisSAN:i=7\n)\n)\n"
    "(HbaTable\n(HBA\nId:i=0\nSpeed:s=8 Gbit\n)\n(HBA\nId:i=-1\n)\n(HBA\nWWNN:s=x\n)\n"
    "(HBA\nId:i=2\nVendor:s=V\n)\n)\n"
    "(PartitionTable\n(Partition\nName:s=/dev/sda1\n(Disk\nBlock:s=sda\nGeneric:s=sg0\n)\n"
    "(Disk\nId:s=x\n)\n(Disk\nGeneric:s=sg1\n)\n)\n(Partition\nName:s=/dev/x\n"
    "(Disk\nBlock:s=sdb\n)\n)\n)\n)\n";

TEST(StorageRelations, TellWhatTheHelperTold) {
  const struct {
    std::string answer, partitions, adapters;
  } cases[] = {
      {kDiskScan, "0|/dev/sda1|sda;1|/dev/sda1|sg1;2|/dev/x|sdb", "0|host0|8 Gbit|;3|host2||V"},
      {"1.0 1 no\n(ScsiInfo\n(HbaTable\n(HBA\nId:i=0\n)\n)\n)\n", "", ""},
      {"1.0 0 OK\n(Other\n)\n", "", ""},
      {"1.0 0 OK\n(ScsiInfo\n)\n", "", ""},
      {"", "", ""},
  };
  for (const auto& test : cases) {
    const OnMachine machine({.helpers = {{"diskscan", test.answer}}});
    EXPECT_EQ(valuesOf(kPartitionToStorage, {"Index", "PartitionAccessPoint", "StorageDevice"}),
              test.partitions);
    EXPECT_EQ(valuesOf(kSanAdapter, {"Index", "Id", "Speed", "Manufacturer"}), test.adapters);
  }
}

// Of a machine with one block device; its attributes are told as "size=8;device/model=...".
std::string kernelRows(const std::string& name, const std::string& path, std::string_view rest,
                       const std::string& udev = "") {
  const std::string own = "/sys/block/" + name;
  Answers answers{.files = {{own + "/dev", file("8:0")},
                            {"/run/udev/data/b8:0", {udev.empty() ? ENOENT : 0, udev}},
                            {"/sys/bus/usb/devices/2-1/serial", file("USB1")}},
                  .directories = {{"/sys/block", {name}}},
                  .links = {{own, "../devices/" + path + "/" + name}},
                  .helpers = {{"diskscan", kDiskScan}}};
  while (!rest.empty()) {
    std::string_view text = nextField(rest, ";");
    const std::string attribute(nextField(text, "="));
    answers.files[own + "/" + attribute] = file(std::string(text));
  }
  const OnMachine machine(answers, "native");
  return valuesOf(
      kStorage, {"Type", "Model", "Manufacturer", "Serial Number", "Cylinders", "Sectors", "Heads",
                 "Total Size", "Device", "Is SAN Disk", "WWNN", "SAN Adapter"});
}

TEST(NativeStorage, TellsEveryKindOfDevice) {
  const std::string scsi = "pci0/host0/target0:0:0/0:0:0:0/block";
  const std::string usb = "pci0/usb2/2-1/2-1:1.0/host6/target6:0:0/6:0:0:0/block";
  const std::string disk =
      "size=1953525168;device/vendor=ATA     ;device/model=Samsung SSD 860 ;device/type=0;";
  const std::string two = "size=4194304;", geometry = "|121601|63|255|953869|";
  const std::string udev =
      "E:ID_MODEL_ENC=Samsung\\x20SSD\\x20860\\x20EVO\\x20\nE:ID_SERIAL_SHORT=S1\n";
  const struct {
    const char *what, *name;
    std::string path, attributes, udev, expected;
  } cases[] = {
      {"a disk in a network", "sda", scsi, disk, "",
       "30|Samsung SSD 860|ATA|" + geometry + "sda|1|0x20|host0"},
      {"a page with its number", "sda", scsi, disk + "device/vpd_pg80=" + page(0x80, "  N 1 \0x"s),
       udev, "30|Samsung SSD 860 EVO|ATA|N 1" + geometry + "sda|1|0x20|host0"},
      {"a record of another disk", "sdc", scsi, disk, "E:ID_MODEL_ENC=Other\nE:ID_SERIAL=No\n",
       "30|Samsung SSD 860|ATA|" + geometry + "sdc|||"},
      {"a bridge, which has a name as well", "sdc", scsi, disk,
       "E:ID_MODEL_ENC=Other\nE:ID_USB_MODEL_ENC=Samsung\\x20SSD\\x20860\nE:ID_SERIAL=N\n",
       "30|Samsung SSD 860|ATA|N" + geometry + "sdc|||"},
      {"a USB disk", "sdb", usb, disk, "", "30|Samsung SSD 860|ATA|USB1" + geometry + "sdb|||"},
      {"an empty slot", "sdb", usb, disk + "size=0", "", ""},
      {"a size that is none", "sdb", usb, disk + "size=-5", "", ""},
      {"a type that is not told", "sdb", usb, disk + "device/type=3", "", ""},
      {"no medium", "sr0", scsi, "size=2097151", "", "17||||0|0|0|0|sr0|||"},
      {"a memory card", "mmcblk0", "mmc0:0001/block", two + "device/name=SD1;device/serial=0x12",
       "", "31|SD1||0x12|65536|16|4|2048|mmcblk0|||"},
      {"what it starts from", "mmcblk0boot0", "x", two, "", ""},
      {"Xen", "xvda", "vbd-51712/block", two, "", "69||||261|63|255|2048|xvda|||"},
      {"a name with a slash", "cciss!c0d0", "cciss0/c0d0/block", two, "",
       "30||||261|63|255|2048|cciss/c0d0|||"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(kernelRows(test.name, test.path, test.attributes, test.udev), test.expected)
        << test.what;
  }
}

TEST(ClassicStorage, ReadsGeometryFromOldFdisk) {
  using Parser =
      int (*)(const char*, unsigned long*, unsigned long*, unsigned long*, unsigned long*);
  const std::string huge = "9223372036854775807";
  const struct {
    Parser parser;
    const char* name;
    std::string output, expected;
  } cases[] = {
      {getFromFdisk, "/dev/hda", "\nDisk /dev/hda: 255 heads, 63 sectors, 1582 cylinders\n",
       "255 1582 63 12707415"},
      {getFromFdisk, "/dev/sda", "Disk /dev/sda: 238.47 GiB, 256060514304 bytes, 500118192 sectors",
       ""},
      {getFromFdisk, "/dev/hda", "Disk /dev/hda: 255 heads, 63 sectors,", ""},
      {getFromFdisk, "/dev/hda", "Disk /dev/hda: 0 heads, 63 sectors, 5 cylinders", ""},
      {getFromFdisk, "/dev/hda", "Disk /dev/hda: " + huge + " heads, 9 sectors, 9 cylinders", ""},
      {getFromFdisk, "/dev/hdb", "Disk /dev/hda: 255 heads, 63 sectors, 1582 cylinders", ""},
      {getFromFdisk, nullptr, "Disk /dev/hda: 255 heads, 63 sectors, 1582 cylinders", ""},
      {getFromFdisk2, "/dev/sg1", "Disk /dev/sd1: 250 GB\n255 heads, 63 sectors/track, 9 cylinders",
       "255 9 63 72292"},
      {getFromFdisk2, "/dev/sda", "Disk /dev/sda: 250 GB", ""},
      {getFromFdisk2, "/dev/sda", "Disk /dev/sda: 250 GB\nUnits = 255 heads\n", ""},
      {getFromFdiskMount, "/dev/cciss/c0d0", "Disk x\n255 heads, 32 sectors/track, 8 cylinders\n",
       "255 8 32 32640"},
      {getFromFdiskMount, "/dev/cciss/c0d0", "Disk x: 255 heads, 32 sectors, 8 cylinders\n",
       "255 8 32 32640"},
      {getFromFdiskMount, "/dev/cciss/c0d0", "heads, 32 sectors, 8 cylinders\n", ""},
  };
  for (const auto& test : cases) {
    const OnMachine machine(
        {.commands = {{"/sbin/fdisk -l 2>/dev/null", {test.output}},
                      {"/sbin/fdisk -l /dev/cciss/c0d0 2>/dev/null", {test.output}}}});
    unsigned long values[4] = {};
    const int result = test.parser(test.name, &values[0], &values[1], &values[2], &values[3]);
    std::string text;
    for (const unsigned long value : values) text += " " + std::to_string(value);
    EXPECT_EQ(result ? text.substr(1) : "", test.expected) << test.output;
    EXPECT_TRUE(result == 1 || text == " 0 0 0 0") << test.output;
    EXPECT_EQ(test.parser(test.name, nullptr, nullptr, nullptr, nullptr), 0);
  }
}

TEST(ClassicStorage, RunsFdiskForNamesOfDevicesOnly) {
  const OnMachine machine({});
  startAccessLog();
  unsigned long value = 0;
  for (const char* name :
       {"/dev/a;reboot", "/dev/$(x)", "-l", "/dev/", "/dev/a b", "/dev/\xc3\xa9"}) {
    EXPECT_EQ(getFromFdiskMount(name, &value, &value, &value, &value), 0);
  }
  EXPECT_TRUE(accessLog().empty());
}

TEST(ClassicStorage, KnowsBackupSoftwareByItsProcesses) {
  const std::pair<std::string, bool> cases[] = {
      {"root 1 nsrclone\n", true}, {"root 1 nsrclone -x\n", false}, {"a save -s x\n", true},
      {"a b save\n", true},        {"saved save\n", false},         {"x recover", true},
      {"nsrstage\nother\n", true}, {"recovery\n", false},           {"", false},
  };
  for (const auto& [output, expected] : cases) {
    const OnMachine machine({.commands = {{"/bin/ps -ef", {output}}}});
    EXPECT_EQ(isUltrium_tape_LT4772_running(), expected) << output;
  }
}

// What a device answers to commands.
struct DeviceAnswer {
  std::string device, command, answer;
  DeviceProtocol protocol = DeviceProtocol::Scsi;
};

PlainFacts devices(const std::vector<DeviceAnswer>& all) {
  PlainFacts facts;
  for (const auto& [device, command, answer, protocol] : all) {
    facts.add(answered<DeviceQuestion>(answer, {protocol, device, command, 0}));
  }
  return facts;
}

const std::string kInquire = "\x12\0\0\0\x60\0"s, kReady = std::string(6, '\0'),
                  kPage80 = "\x12\1\x80\0\xFF\0"s, kCapacity10 = "\x25"s + std::string(9, '\0'),
                  kCapacity16 = "\x9E\x10"s + std::string(11, '\0') + "\x20\0\0"s;

const std::vector<std::string> kMost = {
    "Index",   "Type",  "Model",      "Manufacturer",     "Serial Number", "Cylinders",
    "Sectors", "Heads", "Total Size", "Security Enabled", "Device",        "SAN Adapter"};

TEST(ClassicStorage, ProbesGenericDevices) {
  const std::string sg0 = "/dev/sg0", sg1 = "/dev/sg1", sg2 = "/dev/sg2", sg5 = "/dev/sg5";
  Answers answers{.files = {{sg0, {}}, {sg1, {}}, {sg2, {}}, {sg5, {}}},
                  .plain = devices({{sg0, kInquire, inquiry(0, "SEAGATE", "ST3")},
                                    {sg0, kPage80, page(0x80, " S9 ")},
                                    {sg0, kReady, ""},
                                    {sg0, kCapacity10, bytesOf(0xFFFFFFFF, 4) + bytesOf(512, 4)},
                                    {sg0, kCapacity16, bytesOf(0x1FFFFFFFF, 8) + bytesOf(512, 4)},
                                    {sg1, kInquire, inquiry(1, "IBM", "ULT3580-TD4")},
                                    {sg2, kInquire, inquiry(3, "HP", "V1")},
                                    {sg5, kInquire, inquiry(0, "WDC", "asleep")},
                                    {sg5, kCapacity10, bytesOf(9, 4) + bytesOf(512, 4)}}),
                  .links = {{"/sys/class/scsi_generic/sg5", "../x/2:0:0:0/scsi_generic/sg5"}}};
  const std::string first = "1|30|ST3|SEAGATE|S9|534698|63|255|4194304|2|",
                    tape = "2|3|ULT3580-TD4|IBM||0|0|0|0|2|";
  {
    const OnMachine machine(answers);  // nobody says which there are: those beyond a gap, too
    EXPECT_EQ(valuesOf(kStorage, kMost), first + "|;" + tape + "|;3|30|asleep|WDC||0|0|0|0|2||");
  }
  answers.helpers["diskscan"] = kDiskScan;
  const OnMachine machine(answers);
  for (int scan = 0; scan < 2; ++scan) {
    EXPECT_EQ(valuesOf(kStorage, kMost), first + "sda|host0;" + tape + "st0|");
  }
}

TEST(ClassicStorage, ListsIdeDevices) {
  const std::string hda = "/proc/ide/ide0/hda", hdc = "/proc/ide/ide1/hdc";
  const OnMachine machine({.files = {{hda + "/model", file("WDC WD200")},
                                     {hda + "/media", file("disk")},
                                     {hdc + "/model", file("CD-540E")},
                                     {hdc + "/media", file("cdrom")}},
                           .directories = {{"/proc/ide", {"hda", "ide0", "ide1"}},
                                           {"/proc/ide/ide0", {"hda"}},
                                           {"/proc/ide/ide1", {"hdc"}}}});
  char list[kIDEListCapacity][255];
  EXPECT_EQ(determineIDEfilelist(list), 2);
  EXPECT_EQ(list[1], hdc);
}

TEST(ClassicStorage, LoadsAndUnloadsTheDriver) {
  const char *const load = "/sbin/modprobe --first-time sg 2>&1",
                    *const unload = "/sbin/modprobe --first-time -r sg 2>/dev/null";
  const struct {
    CapturedProgram output;
    bool isLoaded, isStarted = true;
  } cases[] = {{{""}, true},
               {{"modprobe: ERROR: Module already in kernel\n", 1}, false},
               {{"", 127}, false},
               {{""}, false, false}};
  for (const auto& test : cases) {
    const OnMachine machine(
        {.commands = {{load, test.output}}, .notStarted = test.isStarted ? "" : load});
    startAccessLog();
    EXPECT_EQ(valuesOf(kStorage, {"Index"}), "");
    std::size_t unloads = 0;
    for (const Access& access : accessLog()) unloads += access.source == unload;
    EXPECT_EQ(unloads, test.isLoaded ? 1U : 0U) << test.output.output;
  }
}

// What hangs goes on in its thread, and has the driver unloaded and later scans undisturbed.
TEST(ClassicStorage, LeavesHungDevicesBehind) {
  const std::string sg0 = "/dev/sg0";
  CapturedProgram hanging;
  hanging.hangs = true;
  {
    const OnMachine machine({.files = {{sg0, {}}},
                             .commands = {{"/sbin/modprobe --first-time sg 2>&1", {""}},
                                          {"/bin/mount 2>/dev/null", hanging}}});
    OrvCfg::setKey("hwscanner.timeout", "30");
    startAccessLog();
    EXPECT_EQ(valuesOf(kStorage, {"Index"}), "no table");
    EXPECT_EQ(accessLog().back().source, "/sbin/modprobe --first-time -r sg 2>/dev/null");
    OrvCfg::setKey("hwscanner.timeout", "");
  }
  const OnMachine machine(
      {.files = {{sg0, {}}}, .plain = devices({{sg0, kInquire, inquiry(5, "PLEXTOR", "CD-R")}})});
  EXPECT_EQ(valuesOf(kStorage, {"Index", "Type"}), "1|17");
}

TEST(ClassicStorage, KeepsAwayFromABusyTapeRobot) {
  setenv("CHECK_ULTRIUM_TAPE_RUNNING", "1", 1);
  const std::string sg0 = "/dev/sg0";
  for (const bool isBusy : {true, false}) {
    const OnMachine machine(
        {.files = {{sg0, {}}},
         .commands = {{"/bin/ps -ef", {isBusy ? "root 1 nsrclone\n" : "root 1 init\n"}}},
         .plain = devices({{sg0, kInquire, inquiry(5, "PLEXTOR", "CD-R")}})});
    EXPECT_EQ(valuesOf(kStorage, {"Index"}), isBusy ? "" : "1");
  }
  unsetenv("CHECK_ULTRIUM_TAPE_RUNNING");
}

TEST(ScsiData, ReadsNothingBeyondItsEnd) {
  const struct {
    std::string name, found, expected;
  } cases[] = {
      {"a serial number", serialOfPage80(page(0x80, "AB")), "AB"},
      {"one that is cut", serialOfPage80("\0\x80\0\x10ZZ"s), "ZZ"},
      {"another page", serialOfPage80(page(0x83, "AB")), ""},
      {"half a head", serialOfPage80("\0\x80\0"s), ""},
      {"a name that is cut", nameOfPage83(page(0x83, "\1\3\0\x10ZZ"s)), "5a5a"},
      {"no name", nameOfPage83(page(0x83, "\1\3\0\0"s)), ""},
      {"a port's name", nameOfPage83(page(0x83, "\1\x13\0\1A"s)), ""},
      {"the better of two", nameOfPage83(page(0x83, "\1\2\0\1A\1\3\0\1B"s)), "42"},
      {"no device", std::to_string(readInquiry(inquiry(0x7F, "", "")).isThere), "0"},
      {"cut data", std::to_string(readInquiry(inquiry(0, "", "").substr(0, 35)).isThere), "0"},
      {"a short answer", std::to_string(kilobytesOfCapacity10("\0\0\0\xFF\0\0\2"s)), "0"},
      {"too much", std::to_string(kilobytesOfCapacity16(bytesOf(~0UL - 1, 8) + bytesOf(512, 4))),
       "0"},
  };
  for (const auto& test : cases) EXPECT_EQ(test.found, test.expected) << test.name;
}

}  // namespace
}  // namespace invscan
