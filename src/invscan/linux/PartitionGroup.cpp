#include <algorithm>
#include <cwctype>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <invscan/catalogue.h>
#include <invscan/groups.h>
#include <invscan/partition.h>

#include "invscan/com/children/StatisticsService.h"
#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/utils/FileSystemSpace.h"
#include "invscan/linux/utils/FileSystemTypes.h"
#include "invscan/linux/utils/MountedFileSystems.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

const kelEnumDef PART_TYPE_ENUM_DEF[] = {
    {0, "Unknown"},        {1, "Logical Drive"},   {2, "Remote Drive"},
    {3, "Logical Volume"}, {kEndOfTable, nullptr},
};

const kelEnumDef PART_MEDIA_TYPE_ENUM_DEF[] = {
    {0, "Unknown"},    {1, "No Root Directory"}, {2, "Removable Disk"},
    {3, "Local Disk"}, {4, "Remote Drive"},      {5, "CD-ROM"},
    {6, "RAM Disk"},   {kEndOfTable, nullptr},
};

// Below 256 by the type byte of a partition table entry, but 66 is what hosts know VxFS by; above,
// file systems that have no such byte.
const kelEnumDef FILE_SYSTEM_TYPE_ENUM_DEF[] = {
    {0, "Empty"},
    {1, "FAT12"},
    {2, "XENIX root"},
    {3, "XENIX usr"},
    {4, "FAT16 <32M"},
    {5, "Extended"},
    {6, "FAT16"},
    {7, "HPFS/NTFS"},
    {8, "AIX"},
    {9, "AIX bootable"},
    {10, "OS/2 Boot Manager"},
    {11, "W95 FAT32"},
    {12, "W95 FAT32 (LBA)"},
    {14, "W95 FAT16 (LBA)"},
    {15, "W95 Ext'd (LBA)"},
    {16, "OPUS"},
    {17, "Hidden FAT12"},
    {18, "Compaq diagnostics"},
    {20, "Hidden FAT16 <32M"},
    {22, "Hidden FAT16"},
    {23, "Hidden HPFS/NTFS"},
    {36, "NEC DOS"},
    {57, "Plan 9"},
    {64, "Venix 80286"},
    {65, "PPC PReP Boot"},
    {66, "VxFS"},
    {77, "QNX4.x"},
    {78, "QNX4.x 2nd part"},
    {79, "QNX4.x 3rd part"},
    {80, "OnTrack DM"},
    {82, "CP/M"},
    {84, "OnTrackDM6"},
    {97, "SpeedStor"},
    {99, "UNIX System V"},
    {100, "Novell Netware 286"},
    {101, "Novell Netware 386"},
    {117, "PC/IX"},
    {128, "Old Minix"},
    {129, "Minix / old Linux"},
    {130, "Linux swap / Solaris"},
    {131, "Linux"},
    {132, "OS/2 hidden or Intel hibernation"},
    {133, "Linux extended"},
    {134, "NTFS volume set"},
    {142, "Linux LVM"},
    {147, "Amoeba"},
    {148, "Amoeba BBT"},
    {159, "BSD/OS"},
    {160, "IBM Thinkpad hibernation"},
    {165, "FreeBSD"},
    {166, "OpenBSD"},
    {167, "NeXTSTEP"},
    {168, "Darwin UFS"},
    {169, "NetBSD"},
    {175, "HFS / HFS+"},
    {183, "BSDI fs"},
    {184, "BSDI swap"},
    {190, "Solaris boot"},
    {191, "Solaris"},
    {219, "CP/M / CTOS"},
    {228, "SpeedStor FAT16"},
    {235, "BeOS fs"},
    {238, "GPT"},
    {239, "EFI (FAT-12/16/32)"},
    {242, "DOS secondary"},
    {251, "VMware VMFS"},
    {252, "VMware VMKCORE"},
    {253, "Linux raid autodetect"},
    {255, "BBT"},
    {256, "UFS2"},
    {257, "AdvFS"},
    {258, "JFS"},
    {259, "CFS"},
    {260, "NFS"},
    {261, "AFS"},
    {262, "UFS"},
    {263, "DCE DFS"},
    {264, "ISO 9660"},
    {265, "UDF"},
    {266, "CacheFS"},
    {267, "TMPFS"},
    {268, "AutoFS"},
    {269, "LOFS"},
    {270, "PROCFS"},
    {271, "DEVFS"},
    {272, "NAMEFS"},
    {273, "FDFS"},
    {274, "NWFS"},
    {275, "NSS"},
    {276, "HSFS"},
    {277, "QFS"},
    {278, "ZFS"},
    {279, "Btrfs"},
    {280, "ReiserFS"},
    {281, "SUBFS"},
    {282, "SMB/CIFS"},
    {283, "XFS"},
    {284, "F2FS"},
    {285, "JFS2"},
    {286, "GPFS"},
    {287, "MVFS"},
    {288, "GFS2"},
    {289, "OCFS"},
    {290, "ROOTFS"},
    {65535, "UNKNOWN"},
    {kEndOfTable, nullptr},
};

const kelAttribDef PART_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "Type", KEL_ULONG, 0, PART_TYPE_ENUM_DEF},
    {3, "Media Type", KEL_ULONG, 0, PART_MEDIA_TYPE_ENUM_DEF},
    {4, "Device Name", KEL_STRING, 64, nullptr},
    {5, "Physical Size", KEL_ULONGLONG, 0, nullptr},
    {6, "FS Type", KEL_ULONG, 0, FILE_SYSTEM_TYPE_ENUM_DEF},
    {7, "FS Access Point", KEL_STRING, 255, nullptr},
    {8, "FS Mount Point", KEL_STRING, 255, nullptr},
    {9, "FS Total Size", KEL_ULONGLONG, 0, nullptr},
    {10, "FS Free Size", KEL_ULONGLONG, 0, nullptr},
    {11, "Server Hostname", KEL_STRING, 255, nullptr},
    {12, "Server Path", KEL_STRING, 255, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

constexpr char kMounts[] =
    "/proc/self/mountinfo; /proc/self/mounts; /proc/mounts; /etc/mtab; /proc/swaps";
constexpr char kTypes[] =
    "/proc/self/mountinfo; /proc/self/mounts; /proc/mounts; /etc/mtab; /proc/swaps; "
    "/run/udev/data/*";
constexpr char kMountsAlone[] = "/proc/self/mountinfo; /proc/self/mounts; /proc/mounts; /etc/mtab";
constexpr char kSpace[] = "statvfs *; /proc/swaps";

const AttributeTraits kPartitionTraits[] = {
    {1, "", Stable, kPublic, "Running number of the file system or swap area, from 1.", kMounts,
     nullptr},
    {2, "", Stable, kPublic, "Whether the file system is local or remote.", kMounts, nullptr},
    {3, "", Stable, kPublic, "Kind of medium that holds the file system.", kMounts, "0"},
    {4, "", Stable, kSensitive, "Device or swap file; remote for a network file system.", kMounts,
     nullptr, kPath},
    {5, "KiB", Stable, kPublic, "Size of the file system or swap area.", kSpace, "0"},
    {6, "", Stable, kPublic, "Type of the file system, from its mount type.", kTypes, "65535"},
    {7, "", Identity, kSensitive,
     "What is mounted: a device, or server and path of a network file system.", kMounts, nullptr,
     kPath},
    {8, "", Identity, kSensitive,
     "Directory that the file system is mounted on; swap for a swap area.", kMounts, nullptr,
     kPath},
    {9, "KiB", Stable, kPublic, "Space that the file system or swap area offers in total.", kSpace,
     "0"},
    {10, "KiB", Volatile, kPublic, "Space that unprivileged users can still fill.", kSpace, "0"},
    {11, "", Stable, kSensitive, "Server of a network file system.", kMountsAlone, nullptr, kPath},
    {12, "", Stable, kSensitive, "Path that the server of a network file system exports.",
     kMountsAlone, nullptr, kPath},
    kEndOfTraits,
};

namespace {

// A row for a mount.
struct FileSystem {
  MountEntry entry;
  unsigned long partitionType = kLogicalDrive;
  unsigned long code = kUnknownType;
  unsigned long medium = kMediaUnknown;
  Server server{};
  Space space{};
};

// What getTable() makes.
struct Collection {
  KelTable& table;
  bool isNative;
  unsigned long rows = 0;
  SpaceQuestions questions{isNative};
};

// The functions that hosts know take no table: they mean the one that is being made.
thread_local Collection* currentCollection = nullptr;

// While it stands, a collection is this thread's current one.
class CurrentCollection {
 public:
  explicit CurrentCollection(Collection& collection)
      : before_(std::exchange(currentCollection, &collection)) {}
  CurrentCollection(const CurrentCollection&) = delete;
  CurrentCollection& operator=(const CurrentCollection&) = delete;
  ~CurrentCollection() { currentCollection = before_; }

 private:
  Collection* before_;
};

bool containsAny(std::string_view text, std::initializer_list<std::string_view> parts) {
  return std::any_of(parts.begin(), parts.end(),
                     [=](std::string_view part) { return text.find(part) != text.npos; });
}

// The kernel's own, and automatic mounts. A part of the name is enough.
bool isSkipped(const MountEntry& entry) {
  return containsAny(entry.device, {"(pid", "ocfs2_dlmfs"}) ||
         containsAny(entry.directory, {"/dev/pts", "/proc", "/.amd"}) ||
         containsAny(entry.type, {"devpts", "proc", "sysfs", "rpc_pipefs", "shm", "ocfs2_dlmfs"});
}

std::optional<Server> findServer(const MountEntry& entry, bool isNative) {
  if (isNative) return networkServerOf(entry);
  return isRemote(entry.type.c_str()) ? std::optional(serverOf(entry.type, entry.device))
                                      : std::nullopt;
}

// All but the space; none of a mount that makes no row.
std::optional<FileSystem> describe(MountEntry entry, bool skipRemote, bool isNative) {
  const Trace trace(getCcLogHw(), "describe()");
  if (isSkipped(entry)) {
    trace.at().max("hardware -- skipped --");
    return std::nullopt;
  }
  FileSystem system;
  const char* const type = entry.type.c_str();
  system.code = isNative ? fileSystemCode(entry) : get_fstype_enum(type);
  if (auto server = findServer(entry, isNative)) {
    if (skipRemote) return std::nullopt;
    system.partitionType = kRemoteDrive;
    system.medium = kRemoteMedia;
    system.server = std::move(*server);
  } else {
    system.medium = getMediaType(type, entry.device.c_str());
    if (isNative && system.medium == kMediaUnknown) system.medium = mediumOf(entry);
  }
  system.entry = std::move(entry);
  return system;
}

// An automatic mount has none of its own, and to ask for it would have it mounted.
bool hasSpace(const FileSystem& system) {
  return system.entry.type != "autofs" && !system.entry.directory.empty();
}

void askForSpace(FileSystem& system, Collection& collection) {
  if (collection.isNative && !hasSpace(system)) return;
  system.space = collection.questions.ask(system.entry, system.code);
}

void addRow(const FileSystem& system, Collection& collection) {
  const bool isRemote = system.partitionType == kRemoteDrive;
  RowBuilder()
      .count(1, ++collection.rows)
      .count(2, system.partitionType)
      .count(3, system.medium)
      .text(4, isRemote ? "remote" : system.entry.device)
      .size(5, system.space.total)
      .count(6, system.code)
      .text(7, system.entry.device)
      .text(8, system.entry.directory)
      .size(9, system.space.total)
      .size(10, system.space.free)
      .text(11, system.server.host)
      .text(12, system.server.path)
      .addTo(collection.table);
}

void addRow(const SwapArea& area, Collection& collection) {
  RowBuilder()
      .count(1, ++collection.rows)
      .count(2, kLogicalDrive)
      .count(3, kLocalDisk)
      .text(4, area.name)
      .count(5, area.size)
      .count(6, kSwapType)
      .text(7, area.name)
      .text(8, "swap")
      .count(9, area.size)
      .count(10, area.free)
      .text(11, "")
      .text(12, "")
      .addTo(collection.table);
}

// Whether a program or another machine has to answer for it.
bool maySayNothing(const FileSystem& system) {
  return system.partitionType == kRemoteDrive || system.entry.type.starts_with("fuse");
}

// Those that may not answer are asked last, so that they take no time from the others.
void addKernelMounts(std::vector<MountEntry> entries, bool skipRemote, KelGroup& group) {
  Collection& collection = *currentCollection;
  std::vector<FileSystem> systems;
  for (MountEntry& entry : entries) {
    if (auto system = describe(std::move(entry), skipRemote, true)) {
      systems.push_back(std::move(*system));
    }
  }
  std::vector<FileSystem*> asked;
  for (FileSystem& system : systems) {
    if (hasSpace(system)) asked.push_back(&system);
  }
  const auto last = std::stable_partition(
      asked.begin(), asked.end(), [](const FileSystem* system) { return !maySayNothing(*system); });
  std::vector<std::string> directories;
  for (auto each = asked.begin(); each != last; ++each) {
    directories.push_back((*each)->entry.directory);
  }
  const ExpectedStatistics expected(directories);
  for (FileSystem* system : asked) {
    askForSpace(*system, collection);
    group.iteration();
  }
  for (const FileSystem& system : systems) addRow(system, collection);
}

bool isYes(const wchar_t* text) {
  constexpr std::wstring_view kWhiteSpace = L" \t\n\v\f\r";
  std::wstring word(text ? text : L"");
  word.erase(0, std::min(word.find_first_not_of(kWhiteSpace), word.size()));
  word.erase(word.find_last_not_of(kWhiteSpace) + 1);
  std::transform(word.begin(), word.end(), word.begin(), std::towlower);
  return word == L"true" || word == L"yes" || word == L"on";
}

std::string textOf(const char* text) {
  return text ? text : "";
}

}  // namespace
}  // namespace invscan

using namespace invscan;

void doEntry(const char* device, const char* mountDir, const char* fsType, bool skipRemote) {
  const Trace trace(getCcLogHw(), "doEntry()");
  if (!currentCollection) return;
  auto system = describe({textOf(device), textOf(mountDir), textOf(fsType), ""}, skipRemote, false);
  if (!system) return;
  askForSpace(*system, *currentCollection);
  addRow(*system, *currentCollection);
}

void addSwapPartitions() {
  const Trace trace(getCcLogHw(), "addSwapPartitions()");
  if (!currentCollection) return;
  for (const SwapArea& area : swapAreas(currentCollection->isNative)) {
    addRow(area, *currentCollection);
  }
}

KelTable* PartitionGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  const bool isNative = useNativeSources();
  auto mounts = isNative ? kernelMounts() : listedMounts();
  if (!mounts) return nullptr;
  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  Collection collection{*table, isNative};
  const CurrentCollection current(collection);
  const bool skipRemote = isYes(getGroupAttr(L"skipRemote"));
  if (isNative) {
    addKernelMounts(std::move(*mounts), skipRemote, *this);
  } else {
    for (const MountEntry& entry : *mounts) {
      doEntry(entry.device.c_str(), entry.directory.c_str(), entry.type.c_str(), skipRemote);
      iteration();
    }
  }
  trace.at().max("hardware ..Adding swap partitions...");
  addSwapPartitions();
  return table.release();
}
