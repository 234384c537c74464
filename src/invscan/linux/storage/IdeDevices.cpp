// Devices of the IDE driver, which has its own place in /proc.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <invscan/storage.h>

#include "common/text/Lines.h"
#include "invscan/linux/storage/Collection.h"
#include "invscan/linux/storage/ScsiData.h"
#include "invscan/linux/utils/Sysfs.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

namespace invscan {
namespace {

const std::string kIde = "/proc/ide";
constexpr std::string_view kBlanks = " \t\r\n";

// The words with which a drive identifies itself; all 0 without an answer.
class Identification {
 public:
  explicit Identification(const std::string& directory) {
    const FileText file = machine().readFile(directory + "/identify");
    if (file.error == 0) {
      readText(file.text);
    } else if (const auto bytes = machine().askDevice(
                   {DeviceProtocol::Ata, "/dev/" + componentFromEnd(directory, 0), "\xEC", 512})) {
      readBytes(*bytes);
    }
  }

  std::string serial() const {
    std::string text;
    for (std::size_t place = kSerial; place < kSerial + 10; ++place) {
      text += static_cast<char>(words_[place] >> 8);
      text += static_cast<char>(words_[place] & 0xFF);
    }
    return deviceText(text);
  }

  // 1 with a password set, 0 without; -1 when the drive knows none.
  int security() const {
    if (!(words_[kFeatures] & 2)) return -1;
    return words_[kSecurity] >> 1 & 1;
  }

 private:
  static constexpr std::size_t kSerial = 10, kFeatures = 82, kSecurity = 128, kCount = 256;

  // "045a 3fff c837 ...", eight words a line.
  void readText(std::string_view text) {
    for (std::uint16_t& word : words_) {
      unsigned value = 0;
      for (const char digit : nextField(text, kBlanks).substr(0, 4)) {
        value = value << 4 | static_cast<unsigned>(std::max(hexValue(digit), 0));
      }
      word = static_cast<std::uint16_t>(value);
    }
  }

  void readBytes(std::string_view bytes) {
    for (std::size_t i = 0; i + 1 < bytes.size() && i / 2 < kCount; i += 2) {
      words_[i / 2] = static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[i]) |
                                                 static_cast<unsigned char>(bytes[i + 1]) << 8);
    }
  }

  std::uint16_t words_[kCount] = {};
};

std::vector<std::string> listDevices() {
  std::vector<std::string> devices;
  for (const std::string& controller : machine().listDirectory(kIde)) {
    if (controller.find("ide") == controller.npos) continue;
    std::string directory = kIde;
    directory += "/" + controller;
    for (const std::string& device : machine().listDirectory(directory)) {
      devices.push_back(directory + "/" + device);
    }
  }
  return devices;
}

// "logical      1582/255/63": cylinders, heads and sectors.
void readGeometry(StorageDevice& device, const std::string& text) {
  TextLines lines(text, text.size());
  for (std::string_view line; lines.next(line);) {
    if (nextField(line, kBlanks) != "logical") continue;
    std::string_view form = nextField(line, kBlanks);
    unsigned long* const numbers[] = {&device.cylinders, &device.heads, &device.sectors};
    for (unsigned long* number : numbers) {
      *number = static_cast<unsigned long>(std::max(leadingInteger(nextField(form, "/")), 0L));
    }
  }
}

// In KiB. The file has sectors, and the most that fits where there is no medium.
unsigned long readCapacity(const std::string& directory) {
  constexpr long kNoMedium = 0x7FFFFFFF;
  const long sectors = leadingInteger(readAttribute(directory + "/capacity"));
  return sectors > 0 && sectors != kNoMedium ? static_cast<unsigned long>(sectors) / 2 : 0;
}

unsigned long securityOf(unsigned long type, int word) {
  if (type != kHardDisk || word < 0) return kLockUnsupported;
  return word == 0 ? kNotLocked : kLocked;
}

StorageDevice probe(const std::string& directory) {
  StorageDevice device;
  device.model = readAttribute(directory + "/model");
  const std::size_t blank = device.model.find(' ');
  if (blank != device.model.npos) device.manufacturer = device.model.substr(0, blank);
  device.type = resolveIDEtype(readAttribute(directory + "/media").c_str());
  device.kilobytes = readCapacity(directory);
  readGeometry(device, machine().readFile(directory + "/geometry").text);
  const Identification identification(directory);
  device.serial = identification.serial();
  device.security = securityOf(device.type, identification.security());
  return device;
}

}  // namespace
}  // namespace invscan

using namespace invscan;

unsigned long resolveIDEtype(const char* media) {
  const std::string_view text = media ? media : "";
  if (text.find("cdrom") != text.npos) return kCdRom;
  return text.find("disk") != text.npos ? kHardDisk : kUnknownType;
}

int determineIDEfilelist(char list[][255]) {
  const Trace trace(getCcLogHw(), "determineIDEfilelist()");
  int count = 0;
  for (const std::string& device : listDevices()) {
    if (!list || count == kIDEListCapacity) break;
    const std::size_t length = device.copy(list[count], sizeof list[count] - 1);
    list[count++][length] = '\0';
  }
  return count;
}

int gatherIDEDriveInformation(int* index) {
  const Trace trace(getCcLogHw(), "gatherIDEDriveInformation()");
  GatheredRows rows(index);
  for (const std::string& directory : listDevices()) {
    const StorageDevice device = probe(directory);
    trace.at().max("hardware Security setting: %lu", device.security);
    rows.add(device);
    trace.at().max("hardware Add IDE index=>%d %s %s %lu", rows.count(), device.model.c_str(),
                   device.serial.c_str(), device.kilobytes);
  }
  return rows.count();
}
