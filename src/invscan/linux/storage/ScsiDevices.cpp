// SCSI devices by their generic driver, and floppy drives by theirs.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <invscan/storage.h>

#include "invscan/linux/storage/Collection.h"
#include "invscan/linux/storage/DiskScanAnswer.h"
#include "invscan/linux/storage/FloppyDrives.h"
#include "invscan/linux/storage/ScsiData.h"
#include "invscan/linux/utils/Sysfs.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

namespace invscan {
namespace {

constexpr int kCandidates = 255;

// Of a thread, so that a collection that hangs does not count on for the next one.
thread_local int nextCandidate = 0;

using namespace std::string_literals;

const std::string kTestUnitReady = "\0\0\0\0\0\0"s;
const std::string kInquiry = "\x12\0\0\0\x60\0"s;
const std::string kPage80 = "\x12\x01\x80\0\xFF\0"s;
const std::string kPage83 = "\x12\x01\x83\0\xFF\0"s;
const std::string kReadCapacity10 = "\x25\0\0\0\0\0\0\0\0\0"s;
const std::string kReadCapacity16 = "\x9E\x10\0\0\0\0\0\0\0\0\0\0\0\x20\0\0"s;

// One device; what it does not answer is empty.
class ScsiProbe {
 public:
  explicit ScsiProbe(std::string device) : device_(std::move(device)) {}

  InquiryData inquiry() const { return readInquiry(ask(kInquiry, 0x60)); }

  std::string serial() const {
    std::string serial = serialOfPage80(ask(kPage80, 0xFF));
    return serial.empty() ? nameOfPage83(ask(kPage83, 0xFF)) : serial;
  }

  // In KiB. A device that is not ready is not asked, as the question could wake it.
  unsigned long kilobytes() const {
    if (!find(kTestUnitReady, 0)) return 0;
    const unsigned long size = kilobytesOfCapacity10(ask(kReadCapacity10, 8));
    return size > 0 ? size : kilobytesOfCapacity16(ask(kReadCapacity16, 32));
  }

 private:
  std::optional<std::string> find(const std::string& command, std::size_t length) const {
    return machine().askDevice({DeviceProtocol::Scsi, device_, command, length});
  }
  std::string ask(const std::string& command, std::size_t length) const {
    return find(command, length).value_or("");
  }

  std::string device_;
};

bool hasCapacity(unsigned long type) {
  return type == kHardDisk || type == kCdRom || type == kMagnetoOptical;
}

void addGeometry(StorageDevice& device, const std::string& path, const ScsiProbe& scsi) {
  if (!hasCapacity(device.type)) return;
  device.kilobytes = scsi.kilobytes();
  if (device.type != kHardDisk) return;
  if (device.kilobytes > 0) {
    device.setGeometry(kScsiHeads, kScsiSectors);
  } else if (!getFromFdisk(path.c_str(), &device.heads, &device.cylinders, &device.sectors,
                           &device.kilobytes)) {
    getFromFdisk2(path.c_str(), &device.heads, &device.cylinders, &device.sectors,
                  &device.kilobytes);
  }
}

// By the generic device; where the helper ran while the driver was not there, by its address.
const ScannedDisk* findScanned(const ScannedDisks& scanned, const std::string& generic) {
  if (const ScannedDisk* const disk = scanned.findGeneric(generic)) return disk;
  const std::string path = machine().readLink("/sys/class/scsi_generic/" + generic).text;
  return scanned.findId(componentFromEnd(path, 2));
}

void addDevice(const std::string& path, const ScannedDisks& scanned, GatheredRows& rows) {
  const ScsiProbe scsi(path);
  const InquiryData inquiry = scsi.inquiry();
  if (!inquiry.isThere) return;
  StorageDevice device;
  device.type = resolveSCSItype(static_cast<int>(inquiry.peripheralType));
  if (device.type == kNotReported) return;
  device.manufacturer = inquiry.vendor;
  device.model = inquiry.model;
  device.serial = scsi.serial();
  addGeometry(device, path, scsi);
  const ScannedDisk* const disk = findScanned(scanned, componentFromEnd(path, 0));
  if (disk) device.name = disk->name();
  addNetwork(device, disk);
  rows.add(device);
}

// Every one that is there, also behind a gap.
void addCandidates(int letters, std::vector<std::string>& paths) {
  nextCandidate = 0;
  for (int i = 0; i < kCandidates; ++i) {
    const std::unique_ptr<char, decltype(&std::free)> path(getNextDrive("/dev/sg", letters),
                                                           &std::free);
    if (path) paths.emplace_back(path.get());
  }
}

std::vector<std::string> genericDevices(const ScannedDisks& scanned, const Trace& trace) {
  std::vector<std::string> paths;
  for (const ScannedDisk& disk : scanned.all()) {
    if (!disk.generic.empty()) paths.push_back("/dev/" + disk.generic);
  }
  if (!paths.empty()) {
    trace.at().min("hardware using output from sg_map -x to enumerate SCSI devices");
    return paths;
  }
  addCandidates(1, paths);
  addCandidates(0, paths);
  return paths;
}

// The driver's name of a drive's kind, "H1440"; null for what it is not known by.
const FloppyKind* floppyKind(std::string_view answer) {
  std::string name = deviceText(answer);
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  const auto* const found =
      std::find_if(std::begin(kFloppyKinds), std::end(kFloppyKinds),
                   [&](const FloppyKind& kind) { return kind.driver == name; });
  return found == std::end(kFloppyKinds) ? nullptr : found;
}

}  // namespace
}  // namespace invscan

using namespace invscan;

unsigned long resolveSCSItype(int peripheralType) {
  constexpr unsigned long kTypes[] = {kHardDisk,       kTape,  kNotReported, kNotReported,
                                      kMagnetoOptical, kCdRom, kNotReported, kMagnetoOptical};
  const bool isListed = peripheralType >= 0 && peripheralType < 8;
  return isListed ? kTypes[peripheralType] : kUnknownType;
}

char* getNextDrive(const char* prefix, int letters) {
  const Trace trace(getCcLogHw(), "getNextDrive()");
  constexpr int kLetters = 26;
  if (nextCandidate >= kCandidates) {
    trace.at().min("hardware we have already processed a possibly valid dev/sg255: return NULL");
    return nullptr;
  }
  const int number = nextCandidate++;
  if (!prefix || (letters != 0 && number >= kLetters)) return nullptr;
  const std::string path = prefix + (letters != 0 ? std::string(1, static_cast<char>('a' + number))
                                                  : std::to_string(number));
  return machine().exists(path) ? strdup(path.c_str()) : nullptr;
}

int gatherSCSIDriveInformation(int* index) {
  const Trace trace(getCcLogHw(), "gatherSCSIDriveInformation()");
  GatheredRows rows(index);
  const ScannedDisks scanned;
  for (const std::string& path : genericDevices(scanned, trace)) addDevice(path, scanned, rows);
  return rows.count();
}

int gatherFloppyDriveInformation(int* index) {
  const Trace trace(getCcLogHw(), "gatherFloppyDriveInformation()");
  constexpr int kMostDrives = 8;
  GatheredRows rows(index);
  for (int number = 0; number < kMostDrives; ++number) {
    const std::string name = "fd" + std::to_string(number), path = "/dev/" + name;
    if (!machine().exists(path)) continue;
    const auto answer = machine().askDevice({DeviceProtocol::Floppy, path, "\x0F", 16});
    if (const FloppyKind* const kind = answer ? floppyKind(*answer) : nullptr) {
      rows.add(floppyDrive("", kind));
    }
  }
  return rows.count();
}
