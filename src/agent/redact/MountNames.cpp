#include "agent/redact/MountNames.h"

#include <arpa/inet.h>

#include <algorithm>
#include <iterator>

#include "base/Trim.h"

namespace invscan::agent {
namespace {

constexpr std::string_view kSeparators = "/:@,=()[]{}\\#";
constexpr std::string_view kDigits = "0123456789";

// Directories and devices that machines have by their making, and names of file systems. Digits may
// follow each.
constexpr std::string_view kKnownParts[] = {
    ".",         "..",        ".amd",    ".amd_mnt",    "EFI",         "aname",
    "autofs",    "automount", "bin",     "binfmt_misc", "blkio",       "boot",
    "bpf",       "btrfs",     "by-id",   "by-label",    "by-partuuid", "by-path",
    "by-uuid",   "cache",     "cciss",   "cdrom",       "ceph",        "ceph-fuse",
    "cgroup",    "cgroup2",   "cifs",    "config",      "configfs",    "connections",
    "cpu",       "cpuacct",   "cpuset",  "credentials", "curlftpfs",   "davfs",
    "davfs2",    "debug",     "debugfs", "deleted",     "dev",         "devices",
    "devpts",    "devtmpfs",  "disk",    "docker",      "efi",         "efivarfs",
    "efivars",   "etc",       "export",  "exports",     "ext",         "firmware",
    "floppy",    "freezer",   "fs",      "ftp",         "fuse",        "fuseblk",
    "fusectl",   "glusterfs", "gvfs",    "gvfsd-fuse",  "home",        "http",
    "https",     "hugepages", "hugetlb", "hugetlbfs",   "kernel",      "lib",
    "local",     "localhost", "log",     "lost+found",  "lxcfs",       "mail",
    "mapper",    "media",     "memory",  "merged",      "misc",        "mnt",
    "mqueue",    "net",       "net_cls", "net_prio",    "nfs",         "nfsd",
    "none",      "nsfs",      "opt",     "overlay",     "perf_event",  "pid",
    "pids",      "portal",    "proc",    "pstore",      "pts",         "ramfs",
    "rclone",    "rdma",      "remote",  "root",        "rootfs",      "rpc_pipefs",
    "run",       "s3fs",      "sbin",    "security",    "securityfs",  "selinux",
    "selinuxfs", "share",     "shm",     "snap",        "snapd",       "spool",
    "srv",       "sshfs",     "sunrpc",  "swap",        "swap.img",    "swapfile",
    "sys",       "sysfs",     "systemd", "systemd-",    "tcp",         "tmp",
    "tmpfs",     "tracefs",   "tracing", "udev",        "unified",     "user",
    "usr",       "var",       "virtio",  "www"};

// Kernel's names of disks: letters behind the first four count disks, digits the others.
constexpr std::string_view kLetteredDisks[] = {"sd", "hd", "vd", "xvd"};
constexpr std::string_view kNumberedDisks[] = {
    "nvme", "mmcblk", "md", "dm-", "loop", "sr", "fd", "ram", "zram", "nbd", "pmem",
    // Volumes of RAID controllers.
    "c0d", "c1d", "c2d", "c3d", "c4d", "c5d", "c6d", "c7d"};

bool isAmong(std::string_view part, const auto& names) {
  return std::find(std::begin(names), std::end(names), part) != std::end(names);
}

bool isDisk(std::string_view part) {
  for (const std::string_view name : kLetteredDisks) {
    if (!part.starts_with(name)) continue;
    const std::string_view letters = withoutTrailing(part.substr(name.size()), kDigits);
    if (!letters.empty() && letters.size() <= 3 &&
        letters.find_first_not_of("abcdefghijklmnopqrstuvwxyz") == letters.npos) {
      return true;
    }
  }
  return std::any_of(std::begin(kNumberedDisks), std::end(kNumberedDisks), [=](auto name) {
    return part.starts_with(name) && part.size() > name.size() &&
           part.find_first_not_of("0123456789np", name.size()) == part.npos;
  });
}

bool isKnown(std::string_view part) {
  if (part.empty() || isAmong(part, kKnownParts) || isDisk(part)) return true;
  const std::string_view name = withoutTrailing(part, kDigits);
  return !name.empty() && isAmong(name, kKnownParts);
}

bool isIpv6Address(std::string_view text) {
  in6_addr address;
  return inet_pton(AF_INET6, std::string(text).c_str(), &address) == 1;
}

// Those that the library decodes.
constexpr struct {
  char plain;
  std::string_view written;
} kEscapes[] = {{' ', "\\040"}, {'\t', "\\011"}, {'\n', "\\012"}, {'\\', "\\134"}};

std::string decoded(std::string_view field) {
  std::string text;
  while (!field.empty()) {
    const auto* escape = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                      [=](const auto& e) { return field.starts_with(e.written); });
    const bool isEscaped = escape != std::end(kEscapes);
    text += isEscaped ? escape->plain : field.front();
    field.remove_prefix(isEscaped ? escape->written.size() : 1);
  }
  return text;
}

std::string encoded(std::string_view text) {
  std::string field;
  for (const char c : text) {
    const auto* escape = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                      [=](const auto& e) { return e.plain == c; });
    escape == std::end(kEscapes) ? field += c : field += escape->written;
  }
  return field;
}

// Redacts the fields of one line.
class Line {
 public:
  Line(std::string_view line, const Redactor& redactor,
       const std::function<void(const std::string&)>& found)
      : rest_(line), redactor_(redactor), found_(found) {}

  void keep() { result_ += takeField(); }

  void redactName() {
    const std::string name = decoded(takeField());
    found_(name);
    result_ += encoded(redactPath(name, redactor_));
  }

  // Behind the dot is what a program in user space calls itself.
  void redactType() {
    const std::string_view type = takeField();
    const std::size_t dot = std::min(type.find('.'), type.size());
    result_ += type.substr(0, dot);
    if (dot < type.size()) result_ += "." + redactPath(type.substr(dot + 1), redactor_);
  }

  void redactOptions() {
    std::string_view options = takeField();
    while (!options.empty()) {
      const std::string_view option = options.substr(0, options.find(','));
      const std::size_t value = std::min(option.find('='), option.size());
      result_ += option.substr(0, value);
      result_ += redactValue(option.substr(value));
      options.remove_prefix(option.size());
      if (!options.empty()) result_ += ',';
      options.remove_prefix(std::min<std::size_t>(options.size(), 1));
    }
  }

  // Up to a field of that text, which may be missing.
  void keepUntil(std::string_view end) {
    while (!rest_.empty()) {
      const std::string_view field = takeField();
      result_ += field;
      if (field == end) break;
    }
  }

  std::string finish() { return result_ + std::string(rest_); }

 private:
  // With the blank behind it, which goes to the result.
  std::string_view takeField() {
    if (isBegun_) {
      const std::size_t blanks = std::min(rest_.find_first_not_of(" \t"), rest_.size());
      result_ += rest_.substr(0, blanks);
      rest_.remove_prefix(blanks);
    }
    isBegun_ = true;
    const std::string_view field = rest_.substr(0, rest_.find_first_of(" \t"));
    rest_.remove_prefix(field.size());
    return field;
  }

  // "=" and the value of an option; numbers stay, as do sizes such as 512k.
  std::string redactValue(std::string_view value) {
    const std::size_t digits = std::min(value.find_first_not_of("=0123456789"), value.size());
    return digits + 1 >= value.size() ? std::string(value)
                                      : encoded(redactPath(decoded(value), redactor_));
  }

  std::string_view rest_;
  const Redactor& redactor_;
  const std::function<void(const std::string&)>& found_;
  std::string result_;
  bool isBegun_ = false;
};

std::string redactLine(std::string_view text, MountTable table, const Redactor& redactor,
                       const std::function<void(const std::string&)>& found) {
  if (text.starts_with('#')) return "#";
  if (text.starts_with("Filename")) return std::string(text);
  Line line(text, redactor, found);
  switch (table) {
    case MountTable::MountInfo:
      for (int i = 0; i < 3; ++i) line.keep();
      line.redactName();
      line.redactName();
      line.keepUntil("-");
      line.redactType();
      line.redactName();
      line.redactOptions();
      break;
    case MountTable::Mounts:
      line.redactName();
      line.redactName();
      line.redactType();
      line.redactOptions();
      break;
    case MountTable::Swaps:
      line.redactName();
  }
  return line.finish();
}

}  // namespace

std::string redactPath(std::string_view path, const Redactor& redactor) {
  if (isIpv6Address(path)) return redactor.token(std::string(path));
  std::string result;
  while (!path.empty()) {
    std::size_t length = std::min(path.find_first_of(kSeparators), path.size());
    if (result.ends_with('[')) {
      const std::size_t bracket = std::min(path.find(']'), path.size());
      if (isIpv6Address(path.substr(0, bracket))) length = bracket;
    }
    const std::string part(path.substr(0, length));
    result += isKnown(part) ? part : redactor.token(part);
    path.remove_prefix(length);
    if (path.empty()) break;
    result += path.front();
    path.remove_prefix(1);
  }
  return result;
}

std::string redactMounts(std::string_view text, MountTable table, const Redactor& redactor,
                         const std::function<void(const std::string&)>& found) {
  std::string result;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    result += redactLine(text.substr(0, end), table, redactor, found);
    if (end < text.size()) result += '\n';
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return result;
}

}  // namespace invscan::agent
