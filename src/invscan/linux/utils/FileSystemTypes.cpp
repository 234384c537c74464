#include "invscan/linux/utils/FileSystemTypes.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>

#include <invscan/partition.h>

#include "invscan/linux/utils/Sysfs.h"

namespace invscan {
namespace {

struct TypeCode {
  std::string_view type;
  unsigned long code;
};

constexpr TypeCode kCodes[] = {
    {"minux", 131}, {"ext", 131},  {"ext2", 131}, {"ext3", 131},    {"ext4", 131},
    {"xiafs", 131}, {"vxfs", 66},  {"hpfs", 7},   {"ntfs", 7},      {"s5", 99},
    {"ufs", 262},   {"swap", 130}, {"msdos", 14}, {"tmpfs", 267},   {"subfs", 281},
    {"smbfs", 282}, {"cifs", 282}, {"nfs", 260},  {"nfs4", 260},    {"vfat", 11},
    {"jfs2", 285},  {"jfs", 258},  {"afs", 261},  {"iso9660", 264}, {"reiserfs", 280},
    {"gpfs", 286},  {"mvfs", 287}, {"ocfs", 289}, {"ocfs2", 289},   {"rootfs", 290},
};

// Those that the enumeration has besides.
constexpr TypeCode kFurtherCodes[] = {
    {"xfs", 283},  {"btrfs", 279}, {"zfs", 278}, {"f2fs", 284},   {"udf", 265},     {"gfs2", 288},
    {"smb3", 282}, {"ntfs3", 7},   {"hfs", 175}, {"autofs", 268}, {"hfsplus", 175}, {"minix", 129},
    {"sysv", 99},  {"befs", 235},  {"qnx4", 77}, {"devfs", 271},
};

constexpr std::string_view kLocalTypes[] = {"s5",    "vxfs",  "memfs", "ufs",      "bfs",   "ext",
                                            "ext2",  "ext3",  "ext4",  "minux",    "hpfs",  "xiafs",
                                            "swap",  "msdos", "vfat",  "reiserfs", "jfs",   "tmpfs",
                                            "subfs", "ntfs",  "ocfs",  "ocfs2",    "rootfs"};

constexpr std::string_view kRemoteTypes[] = {"nfs", "nfs4", "afs", "cifs", "smbfs", "gpfs", "mvfs"};

// On block or flash devices that the table of mounts does not number.
constexpr std::string_view kPooledTypes[] = {"btrfs", "zfs", "bcachefs", "ubifs", "jffs2"};

constexpr std::string_view kOpticalDriver = "11:";

bool isAmong(std::string_view type, const auto& types) {
  return std::find(std::begin(types), std::end(types), type) != std::end(types);
}

unsigned long codeAmong(std::string_view type, const auto& codes) {
  const auto* row = std::find_if(std::begin(codes), std::end(codes),
                                 [=](const TypeCode& each) { return each.type == type; });
  return row == std::end(codes) ? kUnknownType : row->code;
}

std::string_view textOf(const char* text) {
  return text ? text : "";
}

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != text.npos;
}

bool isFuse(std::string_view type) {
  return type == "fuse" || type.starts_with("fuse.");
}

// Whether a block device carries the file system. Where the table does not number devices, their
// names tell; those of file systems in user space are any text that their users like.
bool isOnBlockDevice(const MountEntry& entry) {
  if (isAmong(entry.type, kPooledTypes)) return true;
  if (entry.number.empty()) return entry.device.starts_with("/dev/") && !isFuse(entry.type);
  return !entry.number.starts_with("0:");
}

bool isOnOpticalDrive(const MountEntry& entry) {
  return entry.number.empty() ? entry.device.starts_with("/dev/sr")
                              : entry.number.starts_with(kOpticalDriver);
}

// Splits at the first mark behind a place: what is before it, and what is behind. None when there
// is no mark.
std::optional<Server> splitAt(std::string_view text, std::string_view mark, std::size_t from = 0) {
  const std::size_t place = text.find(mark, from);
  if (place == text.npos) return std::nullopt;
  return Server{std::string(text.substr(0, place)), std::string(text.substr(place + mark.size()))};
}

// "//host/share", with any two characters in front.
std::optional<Server> splitShare(std::string_view device) {
  constexpr std::size_t kMarks = 2;
  for (const char* const mark : {"/", "\\"}) {
    auto server = splitAt(device, mark, kMarks + 1);
    if (!server) continue;
    server->host.erase(0, kMarks);
    return server;
  }
  return std::nullopt;
}

// The host of "user@host:port", "[address]:port" and lists of such.
std::string hostOf(std::string_view name) {
  name = name.substr(0, name.find(','));
  name.remove_prefix(name.rfind('@') + 1);
  if (name.starts_with('[')) return std::string(name.substr(1, name.find(']') - 1));
  return std::string(name.substr(0, name.find(':')));
}

// Where the ":" behind a host is: "host:path", "user@[address]:path".
std::size_t endOfHost(std::string_view device) {
  const std::size_t first = device.find(':');
  const std::size_t bracket = device.substr(0, first).find('[');
  const std::size_t end = bracket == device.npos ? bracket : device.find("]:", bracket);
  return end == device.npos ? first : end + 1;
}

std::optional<Server> splitHost(const MountEntry& entry) {
  auto server = splitAt(entry.device, ":", endOfHost(entry.device));
  if (server) server->host = hostOf(server->host);
  return server;
}

// An address in brackets alone: any other name is split as ever.
std::optional<Server> splitNfs(const MountEntry& entry) {
  return entry.device.starts_with('[') ? splitHost(entry) : std::nullopt;
}

// "10.0.0.1:6789,10.0.0.2:6789:/path", or "name@id.system=/path" with the servers in an option.
std::optional<Server> splitCeph(const MountEntry& entry) {
  if (const auto servers = findMountOption(entry.options, "mon_addr")) {
    auto server = splitAt(entry.device, "=");
    if (server) server->host = hostOf(servers->substr(0, servers->find('/')));
    return server;
  }
  auto server = splitAt(entry.device, ":/");
  if (!server) return std::nullopt;
  return Server{hostOf(server->host), "/" + server->path};
}

// "10.0.0.1@tcp:10.0.0.2@tcp:/system".
std::optional<Server> splitLustre(const MountEntry& entry) {
  auto server = splitAt(entry.device, ":/");
  if (!server) return std::nullopt;
  const std::string& name = server->host;
  return Server{name.substr(0, name.find_first_of("@:,")), "/" + server->path};
}

// The name is a server's where the transport is a network, and else only tells a guest's shares
// from each other.
std::optional<Server> splitPlan9(const MountEntry& entry) {
  const auto transport = findMountOption(entry.options, "trans");
  if (transport != "tcp" && transport != "rdma") return std::nullopt;
  return Server{entry.device,
                std::string(findMountOption(entry.options, "aname").value_or(std::string_view()))};
}

// "scheme://user@host:port/path".
std::optional<Server> splitUrl(const MountEntry& entry) {
  auto server = splitAt(entry.device, "://");
  if (!server) return std::nullopt;
  const std::string_view rest = server->path;
  const std::size_t path = std::min(rest.find('/'), rest.size());
  return Server{hostOf(rest.substr(0, path)), std::string(rest.substr(path))};
}

std::optional<Server> splitSmb(const MountEntry& entry) {
  return splitShare(entry.device);
}

std::optional<Server> namesNone(const MountEntry&) {
  return std::nullopt;
}

// Network file systems that the classic rules do not know, and how each names its server.
constexpr struct {
  std::string_view type;
  std::optional<Server> (*split)(const MountEntry& entry);
} kNetworkTypes[] = {
    {"9p", splitPlan9},
    {"beegfs", namesNone},
    {"ceph", splitCeph},
    {"coda", namesNone},
    {"davfs", splitUrl},
    {"fuse.ceph", namesNone},
    {"fuse.ceph-fuse", namesNone},
    {"fuse.curlftpfs", splitUrl},
    {"fuse.davfs", splitUrl},
    {"fuse.davfs2", splitUrl},
    {"fuse.glusterfs", splitHost},
    {"fuse.rclone", namesNone},
    {"fuse.s3fs", namesNone},
    {"fuse.sshfs", splitHost},
    {"glusterfs", splitHost},
    {"lustre", splitLustre},
    {"ncpfs", namesNone},
    {"nfs", splitNfs},
    {"nfs4", splitNfs},
    {"orangefs", splitUrl},
    {"pvfs2", splitUrl},
    {"smb3", splitSmb},
};

// Of a device whose file system a program sees to, the type that udev found, else what the program
// calls it: "fuseblk.ntfs".
std::string typeOf(const MountEntry& entry) {
  constexpr std::string_view kProgram = "fuseblk";
  if (!entry.type.starts_with(kProgram)) return entry.type;
  const std::string found = udevProperty(readUdevRecord(entry.number), "ID_FS_TYPE");
  return found.empty() ? entry.type.substr(std::min(kProgram.size() + 1, entry.type.size()))
                       : found;
}

}  // namespace

unsigned long fileSystemCode(const MountEntry& entry) {
  const std::string type = typeOf(entry);
  const unsigned long code = codeAmong(type, kCodes);
  return code == kUnknownType ? codeAmong(type, kFurtherCodes) : code;
}

unsigned long mediumOf(const MountEntry& entry) {
  if (entry.type == "ramfs") return kRamDisk;
  if (isOnOpticalDrive(entry)) return kCdRom;
  return isOnBlockDevice(entry) ? kLocalDisk : kMediaUnknown;
}

Server serverOf(std::string_view type, std::string_view device) {
  const Server local{"localhost", ""};
  if (contains(type, "nfs")) return splitAt(device, ":").value_or(local);
  if (contains(type, "smbfs") || contains(type, "cifs")) return splitShare(device).value_or(local);
  return {};
}

std::optional<Server> networkServerOf(const MountEntry& entry) {
  const auto* row = std::find_if(std::begin(kNetworkTypes), std::end(kNetworkTypes),
                                 [&](const auto& each) { return each.type == entry.type; });
  if (row != std::end(kNetworkTypes)) {
    if (auto server = row->split(entry)) return server;
  }
  if (isAmong(entry.type, kRemoteTypes)) return serverOf(entry.type, entry.device);
  if (row != std::end(kNetworkTypes)) return Server{};
  // Whatever its program is called: it names itself by an address in a network.
  return isFuse(entry.type) ? splitUrl(entry) : std::nullopt;
}

}  // namespace invscan

using namespace invscan;

unsigned long get_fstype_enum(const char* fsType) {
  return codeAmong(textOf(fsType), kCodes);
}

bool isRemote(const char* fsType) {
  return isAmong(textOf(fsType), kRemoteTypes);
}

bool ValidPartitionFileSys(const char* fsType) {
  return isAmong(textOf(fsType), kLocalTypes);
}

unsigned long getMediaType(const char* fsType, const char* device) {
  if (isRemote(fsType)) return kRemoteMedia;
  if (textOf(fsType) == "iso9660") return kCdRom;
  if (contains(textOf(device), "/dev/fd") || contains(textOf(fsType), "subfs")) {
    return kRemovableDisk;
  }
  return ValidPartitionFileSys(fsType) ? kLocalDisk : kMediaUnknown;
}
