// Logical drives of RAID controllers whose drivers are no SCSI drivers.
#include <set>
#include <string>
#include <string_view>

#include <invscan/storage.h>

#include "base/Trim.h"
#include "common/text/Lines.h"
#include "invscan/linux/storage/Collection.h"
#include "invscan/linux/storage/ScsiData.h"
#include "invscan/linux/utils/Sysfs.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

namespace invscan {
namespace {

constexpr std::size_t kLineLimit = 255;
constexpr char kCompaq[] = "Compaq";

// A drive of so many blocks.
StorageDevice logicalDrive(const std::string& maker, const std::string& model, long blocks,
                           long blockSize) {
  StorageDevice drive;
  drive.type = kHardDisk;
  drive.manufacturer = maker;
  drive.model = model;
  unsigned long bytes = 0;
  const bool isTold = blocks > 0 && blockSize > 0 &&
                      !__builtin_mul_overflow(static_cast<unsigned long>(blocks),
                                              static_cast<unsigned long>(blockSize), &bytes);
  if (!isTold) return drive;
  drive.kilobytes = bytes / 1024;
  drive.setGeometry(kScsiHeads, kScsiSectors);
  return drive;
}

// The number behind a word such as "nr_blocks="; 0 when it is not there.
long numberBehind(std::string_view line, std::string_view word) {
  const std::size_t place = line.find(word);
  return place == line.npos ? 0 : leadingInteger(line.substr(place + word.size()));
}

// Whole drive of a partition: "/dev/cciss/c0d0" of "/dev/cciss/c0d0p1".
std::string wholeDrive(std::string_view device) {
  const std::size_t part = device.rfind('p');
  const bool isPartition = part != device.npos && part > 0 && isNumber(device.substr(part + 1)) &&
                           isNumber(device.substr(part - 1, 1));
  return std::string(isPartition ? device.substr(0, part) : device);
}

// The rows of a file of the driver; the first line has the controller's name behind a colon.
void addSmartArrayDrives(const std::string& text, GatheredRows& rows) {
  TextLines lines(text, kLineLimit);
  std::string model;
  for (std::string_view line; lines.next(line);) {
    if (model.empty()) model = deviceText(line.substr(line.find(':') + 1));
    const long blocks = numberBehind(line, "nr_blocks=");
    if (blocks <= 0) continue;
    const long blockSize = numberBehind(line, "blksz=");
    rows.add(logicalDrive(kCompaq, model, blocks, blockSize > 0 ? blockSize : 512));
  }
}

}  // namespace
}  // namespace invscan

using namespace invscan;

int gatherDAC960RAIDDriveInformation(int* index) {
  const Trace trace(getCcLogHw(), "gatherDAC960RAIDDriveInformation()");
  constexpr std::string_view kController = "RAID Controller", kDrives = "/dev/rd/";
  const FileText status = machine().readFile("/proc/rd/c0/current_status");
  GatheredRows rows(index);
  std::string maker, model;
  TextLines lines(status.text, kLineLimit);
  for (std::string_view line; lines.next(line);) {
    // "Configuring Mylex DAC960PTL1 PCI RAID Controller"
    const std::size_t controller = line.find(kController);
    if (controller != line.npos) {
      nextField(line, kBlank);
      maker = nextField(line, kBlank);
      model = deviceText(line);
      continue;
    }
    // "    /dev/rd/c0d0: RAID-5, Online, 17776640 blocks, Write Back"
    const std::size_t blocks = line.find(" blocks");
    if (model.empty() || line.find(kDrives) == line.npos || blocks == line.npos) continue;
    const std::size_t number = line.rfind(' ', blocks - (blocks > 0 ? 1 : 0));
    rows.add(
        logicalDrive(maker, model, leadingInteger(line.substr(std::min(number, blocks))), 512));
  }
  return rows.count();
}

int gatherCCISSDriveInformation(int* index) {
  const Trace trace(getCcLogHw(), "gatherCCISSDriveInformation()");
  const CommandOutput mounts = machine().runCommand("/bin/mount 2>/dev/null", kTableLimit);
  GatheredRows rows(index);
  std::set<std::string> known;
  TextLines lines(mounts.text, mounts.text.size());
  for (std::string_view line; lines.next(line);) {
    std::string_view rest = line;
    const std::string_view device = nextField(rest, kBlank);
    // What is mounted there may have the word in its path.
    if (device.find("cciss") == device.npos || !device.starts_with("/dev/")) continue;
    const std::string name = wholeDrive(device);
    if (!known.insert(name).second) continue;
    StorageDevice drive = logicalDrive(kCompaq, "Compaq Smart Array 5i Controller", 0, 0);
    getFromFdiskMount(name.c_str(), &drive.heads, &drive.cylinders, &drive.sectors,
                      &drive.kilobytes);
    rows.add(drive);
  }
  return rows.count();
}

int gatherCompaqSmartRAIDDriveInformation(int* index) {
  const Trace trace(getCcLogHw(), "gatherCompaqSmartRAIDDriveInformation()");
  constexpr int kMostControllers = 8;
  GatheredRows rows(index);
  for (int number = 0; number < kMostControllers; ++number) {
    const FileText file = machine().readFile("/proc/driver/cciss/cciss" + std::to_string(number));
    if (file.error != 0) break;
    addSmartArrayDrives(file.text, rows);
  }
  return rows.count();
}
