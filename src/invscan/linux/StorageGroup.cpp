#include <chrono>
#include <memory>
#include <string>

#include <invscan/catalogue.h>
#include <invscan/groups.h>
#include <invscan/storage.h>

#include "base/HostEnvironment.h"
#include "base/SignalsBlocked.h"
#include "common/text/Lines.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/storage/Collection.h"
#include "invscan/linux/storage/KernelDevices.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

// The CIM media types, each value one higher, and two that later hardware needs.
const kelEnumDef STORAGE_TYPE_ENUM_DEF[] = {
    {1, "Unknown"},
    {2, "Other"},
    {3, "Tape Cartridge"},
    {4, "QIC Cartridge"},
    {5, "AIT Cartridge"},
    {6, "DTF Cartridge"},
    {7, "DAT Cartridge"},
    {8, "8mm Tape Cartridge"},
    {9, "19mm Tape Cartridge"},
    {10, "DLT Cartridge"},
    {11, "Half-Inch Magnetic Tape Cartridge"},
    {12, "Cartridge Disk"},
    {13, "JAZ Disk"},
    {14, "ZIP Disk"},
    {15, "SyQuest Disk"},
    {16, "Winchester Removable Disk"},
    {17, "CD-ROM"},
    {18, "CD-ROM/XA"},
    {19, "CD-I"},
    {20, "CD Recordable"},
    {21, "WORM"},
    {22, "Magneto-Optical"},
    {23, "DVD"},
    {24, "DVD-RW+"},
    {25, "DVD-RAM"},
    {26, "DVD-ROM"},
    {27, "DVD-Video"},
    {28, "Divx"},
    {29, "Floppy/Diskette"},
    {30, "Hard Disk"},
    {31, "Memory Card"},
    {32, "Hard Copy"},
    {33, "Clik Disk"},
    {34, "CD-RW"},
    {35, "CD-DA"},
    {36, "CD+"},
    {37, "DVD Recordable"},
    {38, "DVD-RW"},
    {39, "DVD-Audio"},
    {40, "DVD-5"},
    {41, "DVD-9"},
    {42, "DVD-10"},
    {43, "DVD-18"},
    {44, "Magneto-Optical Rewriteable"},
    {45, "Magneto-Optical Write Once"},
    {46, "Magneto-Optical Rewriteable (LIMDOW)"},
    {47, "Phase Change Write Once"},
    {48, "Phase Change Rewriteable"},
    {49, "Phase Change Dual Rewriteable"},
    {50, "Ablative Write Once"},
    {51, "Near Field Recording"},
    {52, "MiniQic"},
    {53, "Travan"},
    {54, "8mm Metal Particle"},
    {55, "8mm Advanced Metal Evaporate"},
    {56, "NCTP"},
    {57, "LTO Ultrium"},
    {58, "LTO Accelis"},
    {59, "9 Track Tape"},
    {60, "18 Track Tape"},
    {61, "36 Track Tape"},
    {62, "Magstar 3590"},
    {63, "Magstar MP"},
    {64, "D2 Tape"},
    {65, "Tape - DST Small"},
    {66, "Tape - DST Medium"},
    {67, "Tape - DST Large"},
    {68, "Solid State Disk"},
    {69, "Virtual Disk"},
    {kEndOfTable, nullptr},
};

const kelEnumDef STORAGE_SECURITY_ENABLED_ENUM_DEF[] = {
    {0, "Yes"}, {1, "No"}, {2, "Unsupported"}, {3, "Unknown"}, {kEndOfTable, nullptr},
};

const kelAttribDef STORAGE_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "ID", KEL_STRING, 32, nullptr},
    {3, "Type", KEL_ULONG, 0, STORAGE_TYPE_ENUM_DEF},
    {4, "Model", KEL_STRING, 255, nullptr},
    {5, "Manufacturer", KEL_STRING, 128, nullptr},
    {6, "Serial Number", KEL_STRING, 64, nullptr},
    {7, "Cylinders", KEL_ULONG, 0, nullptr},
    {8, "Sectors", KEL_ULONG, 0, nullptr},
    {9, "Heads", KEL_ULONG, 0, nullptr},
    {10, "Total Size", KEL_ULONG, 0, nullptr},
    {11, "Security Enabled", KEL_ULONG, 0, STORAGE_SECURITY_ENABLED_ENUM_DEF},
    {12, "Device", KEL_STRING, 50, nullptr},
    {13, "Is SAN Disk", KEL_STRING, 1, nullptr},
    {14, "WWNN", KEL_STRING, 50, nullptr},
    {15, "WWPN", KEL_STRING, 50, nullptr},
    {16, "SAN Adapter", KEL_STRING, 50, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

constexpr char kDevices[] =
    "/sys/block; /sys/block/*; /sys/bus/scsi/devices; /sys/bus/scsi/devices/*; /run/udev/data/*; "
    "/proc/ide; /proc/ide/*; /proc/rd/c0/current_status; /bin/mount 2>/dev/null; "
    "/proc/driver/cciss/*; device *; /dev/sg*; /dev/fd*; /sys/class/scsi_generic/*; "
    "/sbin/modprobe *; /proc/scsi/sg; /bin/ps -ef";
constexpr char kGeometry[] =
    "/sys/block; /sys/block/*; /proc/ide; /proc/ide/*; /proc/rd/c0/current_status; "
    "/proc/driver/cciss/*; device *; /sbin/fdisk -l *";

const AttributeTraits kStorageTraits[] = {
    {1, "", Stable, kPublic, "Running number of the device, from 1.", kDevices, nullptr},
    {2, "", Stable, kPublic, "Digest of geometry and size; devices of the same model share it.",
     kGeometry, nullptr},
    {3, "", Stable, kPublic, "Kind of device or medium.", kDevices, "1"},
    {4, "", Stable, kPublic, "Model name that the device reports.",
     "/sys/block/*; /sys/bus/scsi/devices/*; /run/udev/data/*; /proc/ide/*; device *", nullptr},
    {5, "", Stable, kPublic, "Maker that the device reports, or that its controller is known by.",
     "/sys/block/*; /sys/bus/scsi/devices/*; /run/udev/data/*; /sys/class/nvme/*; "
     "/sys/bus/pci/devices/*; hardware database *; /proc/ide/*; device *",
     nullptr},
    {6, "", Identity, kSensitive, "Serial number that the device reports.",
     "/sys/block/*; /sys/bus/scsi/devices/*; /sys/bus/usb/devices/*; /run/udev/data/*; "
     "/proc/ide/*; device *",
     nullptr},
    {7, "", Stable, kPublic, "Number of cylinders.", kGeometry, "0"},
    {8, "", Stable, kPublic, "Number of sectors on a track.", kGeometry, "0"},
    {9, "", Stable, kPublic, "Number of heads.", kGeometry, "0"},
    {10, "MB", Stable, kPublic, "Capacity of the device.", kGeometry, "0"},
    {11, "", Stable, kPublic, "Whether a password locks the device.", "/proc/ide/*; device *", "2"},
    {12, "", Stable, kPublic, "Name of the device.", kDiskscanHelper, nullptr},
    {13, "", Stable, kPublic, "Whether the disk belongs to a storage area network, 1 or 0.",
     kDiskscanHelper, nullptr},
    {14, "", Identity, kSensitive, "World-wide name of the node that offers the disk.",
     kDiskscanHelper, nullptr},
    {15, "", Identity, kSensitive, "World-wide name of the port that offers the disk.",
     kDiskscanHelper, nullptr},
    {16, "", Stable, kPublic, "Adapter through which the disk is reached.", kDiskscanHelper,
     nullptr},
    kEndOfTraits,
};

namespace {

constexpr int kNoProgram = 127;  // the shell's exit status

void waitForDriver(const Trace& trace) {
  constexpr int kCycles = 51;
  constexpr std::chrono::microseconds kPause{100'000};
  bool isFound = false;
  for (int cycle = 0; cycle < kCycles && !isFound; ++cycle) {
    isFound = machine().exists("/proc/scsi/sg");
    trace.at().max("hardware  %s /dev/sg* cycle = %d", isFound ? "found" : "not found", cycle);
    if (!isFound) machine().letTimePass(kPause);
  }
  if (!isFound) trace.at().min("hardware  not found /dev/sg*");
  trace.at().min("hardware Load SG Module");
}

// The driver of generic SCSI devices, for as long as it lives.
class GenericDriver {
 public:
  explicit GenericDriver(const Trace& trace) : trace_(trace), isOurs_(loadSG() == 1) {
    if (isOurs_) waitForDriver(trace_);
  }
  ~GenericDriver() {
    if (!isOurs_) return;
    trace_.at().min("hardware Unload SG MODULE");
    machine().runCommand("/sbin/modprobe --first-time -r sg 2>/dev/null");
  }
  GenericDriver(const GenericDriver&) = delete;
  GenericDriver& operator=(const GenericDriver&) = delete;

 private:
  const Trace& trace_;
  const bool isOurs_;
};

bool startQuietly(Thread& thread) {
  const SignalsBlocked quiet;
  return thread.start() == 0;
}

// Collects in a thread; null when that takes too long or there is no thread to be had. The thread
// goes on with a group of its own, as the caller may delete this one meanwhile.
KelTable* collectInTime(const Trace& trace) {
  auto group = std::make_unique<StorageGroup>();
  auto done = std::make_unique<Event>();
  auto thread = std::make_unique<GetTableThread>(group.get(), done.get());
  if (!startQuietly(*thread)) return nullptr;  // nobody would ever tell that it is done
  const int result = done->wait(thread->get_Time());
  if (result != 0) {
    trace.at().min("hardware Thread for StorageGroup hang : %d", result);
    noteAccess("device commands", "no answer in time", 0, true);
    // All three are the thread's for ever.
    static_cast<void>(group.release());
    static_cast<void>(done.release());
    static_cast<void>(thread.release());
    return nullptr;
  }
  trace.at().max("hardware Thread for StorageGroup finished : %d", result);
  KelTable* const table = thread->get_table();
  thread->join();
  return table;
}

int gather(const Trace& trace, const char* name, int (*gatherer)(int*), int& index) {
  trace.at().max("hardware call gather%sDriveInformation() %ld", name, machine().currentTime());
  const int count = gatherer(&index);
  trace.at().max("hardware exit gather%sDriveInformation() %ld", name, machine().currentTime());
  return count;
}

bool showsBackup(const std::string& line) {
  return getExactMatch(line.c_str(), "save") || line.find("save -s") != line.npos ||
         getExactMatch(line.c_str(), "recover") || getExactMatch(line.c_str(), "nsrclone") ||
         getExactMatch(line.c_str(), "nsrstage");
}

}  // namespace
}  // namespace invscan

using namespace invscan;

int loadSG() {
  const Trace trace(getCcLogHw(), "loadSG()");
  const CommandOutput output = machine().runCommand("/sbin/modprobe --first-time sg 2>&1");
  if (!output.started) trace.at().min("hardware popen fp = NULL");
  const bool isLoaded = output.started && output.text.empty() && output.status != kNoProgram;
  trace.at().min("hardware Module sg was %s", isLoaded ? "OFF" : "ON");
  return isLoaded ? 1 : 0;
}

bool getExactMatch(const char* line, const char* word) {
  const Trace trace(getCcLogHw(), "getExactMatch()");
  constexpr std::size_t kFarthest = 256;
  if (!line || !word) return false;
  const std::string_view text = line;
  const std::size_t place = text.find(word);
  if (place == text.npos) return false;
  std::string_view found = text.substr(place);
  const std::size_t end = found.substr(0, kFarthest).find('\n');
  if (end != found.npos) found = found.substr(0, end);
  trace.at().max("hardware getExactMatch() pdest=%s", std::string(found).c_str());
  return found == word;
}

bool isUltrium_tape_LT4772_running() {
  const Trace trace(getCcLogHw(), "isUltrium_tape_LT4772_running()");
  constexpr std::size_t kLineLimit = 255;
  const CommandOutput processes = machine().runCommand("/bin/ps -ef", kTableLimit);
  TextLines lines(processes.text, kLineLimit);
  for (std::string_view line; lines.next(line);) {
    if (!showsBackup(std::string(line))) continue;
    trace.at().min("hardware Ultrium_tape_LT4772 tape robot is running");
    return true;
  }
  return false;
}

KelTable* StorageGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  if (!useNativeSources()) {
    const GenericDriver driver(trace);
    return collectInTime(trace);
  }
  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  unsigned long index = 0;
  for (const StorageDevice& device : kernelDevices()) addRow(*table, ++index, device);
  return table.release();
}

KelTable* StorageGroup::generateTable() {
  const Trace trace(getCcLogHw(), "generateTable()");
  auto own = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  const StorageCollection collection(*own);
  if (isSetByHost("CHECK_ULTRIUM_TAPE_RUNNING") && isUltrium_tape_LT4772_running()) {
    return own.release();
  }
  int index = 0;
  gather(trace, "IDE", gatherIDEDriveInformation, index);
  gather(trace, "DAC960RAID", gatherDAC960RAIDDriveInformation, index);
  // Those who read traces look for the name as it is.
  if (gather(trace, "CCISSD", gatherCCISSDriveInformation, index) == 0) {
    gather(trace, "CompaqSmartRAID", gatherCompaqSmartRAIDDriveInformation, index);
  }
  gather(trace, "SCSI", gatherSCSIDriveInformation, index);
  gather(trace, "Floppy", gatherFloppyDriveInformation, index);
  return own.release();
}
