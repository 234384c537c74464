#include "invscan/linux/storage/KernelDevices.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include <invscan/storage.h>

#include "base/Trim.h"
#include "common/text/Numbers.h"
#include "invscan/linux/storage/DiskScanAnswer.h"
#include "invscan/linux/storage/FloppyDrives.h"
#include "invscan/linux/storage/ScsiData.h"
#include "invscan/linux/utils/HardwareMaker.h"
#include "invscan/linux/utils/Sysfs.h"
#include "invscan/machine/CaptureValue.h"
#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

const std::string kBlockDevices = "/sys/block/";
const std::string kScsiDevices = "/sys/bus/scsi/devices/";

// Peripheral types of SCSI that hold data. Enclosures and controllers, which have addresses as
// well, do not.
constexpr int kDiskType = 0, kOpticalType = 5;
constexpr int kTypesWithData[] = {kDiskType, 1, 4, kOpticalType, 7, 8, 14, 20};

// Of devices that are no SCSI devices, by the beginnings of their names: what they are, and the
// geometry that their drivers answer.
constexpr struct {
  std::string_view beginning;
  unsigned long type, heads, sectors;
} kDrivers[] = {
    {"nvme", kSolidState, 64, 32},  {"vd", kVirtualDisk, 64, 32},   {"mmcblk", kMemoryCard, 4, 16},
    {"xvd", kVirtualDisk, 255, 63}, {"nbd", kVirtualDisk, 255, 63}, {"rbd", kVirtualDisk, 255, 63},
    {"pmem", kSolidState, 255, 63}, {"", kHardDisk, 255, 63},
};

// A part of an embedded memory card that is for its firmware.
bool isBootArea(std::string_view name) {
  return name.starts_with("mmcblk") && (name.find("boot") != name.npos || name.ends_with("rpmb"));
}

// A text of udev's, in which other characters than the plainest stand as \x20.
std::string decoded(const std::string& text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isEscape = text.compare(i, 2, "\\x") == 0 && i + 3 < text.size() &&
                          hexValue(text[i + 2]) >= 0 && hexValue(text[i + 3]) >= 0;
    plain +=
        isEscape ? static_cast<char>(hexValue(text[i + 2]) * 16 + hexValue(text[i + 3])) : text[i];
    i += isEscape ? 3 : 0;
  }
  return deviceText(plain);
}

// What udev's record adds to what the kernel tells of a device: the kernel has but the beginning of
// long models. A record with another model is that of a device that was there before.
void addUdevRecord(StorageDevice& device, const std::string& record) {
  const std::string model = decoded(udevProperty(record, "ID_MODEL_ENC"));
  const bool isLonger = model.starts_with(device.model);
  const bool isSame = model.empty() || isLonger ||
                      decoded(udevProperty(record, "ID_USB_MODEL_ENC")).starts_with(device.model);
  if (!isSame) return;
  if (isLonger && !model.empty()) device.model = model;
  for (const char* key : {"SCSI_IDENT_SERIAL", "ID_SCSI_SERIAL", "ID_SERIAL_SHORT", "ID_SERIAL"}) {
    if (device.serial.empty()) device.serial = udevProperty(record, key);
  }
  if (device.manufacturer.empty()) {
    device.manufacturer = decoded(udevProperty(record, "ID_VENDOR_ENC"));
  }
}

// The serial number of the USB device that a path leads through:
// ".../usb2/2-1/2-1:1.0/host6/..." hangs on "2-1".
std::string usbSerial(const std::string& path) {
  const std::size_t usb = path.find("/usb"), host = path.find("/host");
  if (usb == path.npos || host == path.npos || host < usb) return {};
  const std::string port = componentFromEnd(std::string_view(path).substr(0, host), 1);
  return port.empty() ? port : readAttribute("/sys/bus/usb/devices/" + port + "/serial");
}

// What all SCSI devices tell in their directories.
void addScsiTexts(StorageDevice& device, const std::string& directory, const std::string& path) {
  device.manufacturer = deviceText(readAttribute(directory + "/vendor"));
  device.model = deviceText(readAttribute(directory + "/model"));
  device.serial = serialOfPage80(machine().readFile(directory + "/vpd_pg80").text);
  if (device.serial.empty()) device.serial = usbSerial(path);
}

int scsiType(const std::string& directory, int otherwise) {
  const std::string text = readAttribute(directory + "/type");
  return isNumber(text) && text.size() < 4 ? static_cast<int>(leadingInteger(text)) : otherwise;
}

class DeviceReader {
 public:
  std::vector<StorageDevice> read();

 private:
  void addBlockDevice(const std::string& name);
  void addScsiBlockDevice(const std::string& name, const std::string& path);
  void addOtherBlockDevice(const std::string& name, const std::string& path);
  void addFloppy(const std::string& name);
  void addScsiDevice(const std::string& address);
  static std::string makerOfController(const std::string& directory, const std::string& path);

  const ScannedDisks scanned_;
  std::vector<StorageDevice> devices_, floppies_;
  std::unordered_set<std::string> addresses_;  // of SCSI devices that the block layer has
};

std::vector<StorageDevice> DeviceReader::read() {
  for (const std::string& name : machine().listDirectory("/sys/block")) addBlockDevice(name);
  for (const std::string& address : machine().listDirectory("/sys/bus/scsi/devices")) {
    if (isScsiAddress(address) && !addresses_.contains(address)) addScsiDevice(address);
  }
  std::move(floppies_.begin(), floppies_.end(), std::back_inserter(devices_));
  return std::move(devices_);
}

void DeviceReader::addBlockDevice(const std::string& name) {
  if (isNumbered(name, "fd")) return addFloppy(name);
  if (isNoDisk(name) || isBootArea(name)) return;
  // A hidden disk is one path to a namespace that stands there as a disk of its own.
  if (name.starts_with("nvme") && readAttribute(kBlockDevices + name + "/hidden") == "1") return;
  const std::string path = machine().readLink(kBlockDevices + name).text;
  const std::string address = componentFromEnd(path, 2);
  const bool isScsi = isNumbered(name, "sr") || isScsiAddress(address);
  if (isScsi) addresses_.insert(address);
  isScsi ? addScsiBlockDevice(name, path) : addOtherBlockDevice(name, path);
}

unsigned long kilobytesOf(const std::string& name) {
  return static_cast<unsigned long>(
             std::max(leadingInteger(readAttribute(kBlockDevices + name + "/size")), 0L)) /
         2;
}

std::string udevRecordOf(const std::string& name) {
  return readUdevRecord(readAttribute(kBlockDevices + name + "/dev"));
}

void DeviceReader::addScsiBlockDevice(const std::string& name, const std::string& path) {
  // What the driver of optical drives has for the size of a medium that it did not find.
  constexpr unsigned long kNoMedium = 0x1FFFFF / 2;
  const bool isOptical = isNumbered(name, "sr");
  const std::string directory = kBlockDevices + name + "/device";
  StorageDevice device;
  device.name = name;
  device.type = resolveSCSItype(scsiType(directory, isOptical ? kOpticalType : kDiskType));
  if (device.type == kNotReported) return;
  device.kilobytes = kilobytesOf(name);
  if (isOptical && device.kilobytes == kNoMedium) device.kilobytes = 0;
  if (device.kilobytes == 0 && !isOptical) return;
  if (!isOptical) device.setGeometry(kScsiHeads, kScsiSectors);
  addScsiTexts(device, directory, path);
  addUdevRecord(device, udevRecordOf(name));
  if (device.serial.empty()) {
    device.serial = nameOfPage83(machine().readFile(directory + "/vpd_pg83").text);
  }
  addNetwork(device, scanned_.findBlock(name));
  devices_.push_back(std::move(device));
}

void DeviceReader::addOtherBlockDevice(const std::string& name, const std::string& path) {
  const auto* const driver =
      std::find_if(std::begin(kDrivers), std::end(kDrivers),
                   [&](const auto& each) { return name.starts_with(each.beginning); });
  const std::string own = kBlockDevices + name, directory = own + "/device";
  StorageDevice device;
  device.name = name;
  std::replace(device.name.begin(), device.name.end(), '!', '/');
  device.type = driver->type;
  device.kilobytes = kilobytesOf(name);
  if (device.kilobytes == 0) return;
  device.setGeometry(driver->heads, driver->sectors);
  // A memory card's model is its name; a disk of a virtual machine has its serial number itself.
  device.model = firstAttribute({directory + "/model", directory + "/name"});
  device.serial = firstAttribute({directory + "/serial", own + "/serial"});
  addUdevRecord(device, udevRecordOf(name));
  if (device.manufacturer.empty()) device.manufacturer = makerOfController(directory, path);
  addNetwork(device, scanned_.findBlock(device.name));
  devices_.push_back(std::move(device));
}

// Of the PCI device that a disk hangs on, or that the first path to it hangs on.
std::string DeviceReader::makerOfController(const std::string& directory, const std::string& path) {
  std::string address = pciAddress(path);
  if (!ancestorNamed(path, "nvme-subsys").empty()) {
    const Listing paths = machine().listDirectory(directory);
    const auto controller = std::find_if(paths.begin(), paths.end(), [](const std::string& each) {
      return isNumbered(each, "nvme");
    });
    if (controller == paths.end()) return {};
    address = pciAddress(machine().readLink("/sys/class/nvme/" + *controller).text + "/");
  }
  return address.empty() ? address
                         : makerOf(readAttribute("/sys/bus/pci/devices/" + address + "/modalias"));
}

void DeviceReader::addFloppy(const std::string& name) {
  const long kind = leadingInteger(readAttribute(kBlockDevices + name + "/device/cmos"));
  const auto* const found = std::find_if(
      std::begin(kFloppyKinds), std::end(kFloppyKinds),
      [=](const FloppyKind& each) { return each.setUp == static_cast<unsigned long>(kind); });
  floppies_.push_back(floppyDrive(name, found == std::end(kFloppyKinds) ? nullptr : found));
}

void DeviceReader::addScsiDevice(const std::string& address) {
  const std::string directory = kScsiDevices + address;
  const int type = scsiType(directory, -1);
  if (std::find(std::begin(kTypesWithData), std::end(kTypesWithData), type) ==
      std::end(kTypesWithData)) {
    return;
  }
  StorageDevice device;
  device.type = resolveSCSItype(type);
  addScsiTexts(device, directory, machine().readLink(directory).text);
  if (device.serial.empty()) {
    device.serial = nameOfPage83(machine().readFile(directory + "/vpd_pg83").text);
  }
  const ScannedDisk* const disk = scanned_.findId(address);
  if (disk) device.name = disk->name();
  addNetwork(device, disk);
  devices_.push_back(std::move(device));
}

}  // namespace

std::vector<StorageDevice> kernelDevices() {
  return DeviceReader().read();
}

}  // namespace invscan
