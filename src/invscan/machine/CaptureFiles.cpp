// What a capture holds below its root.
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <deque>
#include <filesystem>

#include "base/RegularFile.h"
#include "invscan/machine/Capture.h"

namespace invscan {

namespace {

// The kernel tells of a wrong size before it looks at anything else.
bool hasOpenat2(const Descriptor& directory) {
  const auto ask = [&] { return syscall(SYS_openat2, directory.get(), ".", nullptr, 0); };
  return uninterrupted(ask) < 0 && errno == EINVAL;
}

}  // namespace

CaptureFiles::CaptureFiles(const Descriptor& capture)
    : root_(uninterrupted([&] {
        return openat(capture.get(), "root", O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
      })) {
  const int error = root_ ? 0 : errno;
  // A capture of no files has none, and a link in its place is followed nowhere.
  if (error != 0 && error != ENOENT && error != ENOTDIR && error != ELOOP) {
    throw CaptureError("root: " + regularFileError(error));
  }
  if (root_ && !hasOpenat2(root_)) {
    throw CaptureError(
        "cannot be kept apart from this machine's files: openat2 is refused here; "
        "it takes Linux 5.6, outside of old sandboxes");
  }
}

Descriptor CaptureFiles::open(const std::string& path, unsigned long flags) const {
  if (!root_) {
    errno = ENOENT;
    return Descriptor();
  }
  open_how how{};
  how.flags = flags | O_CLOEXEC;
  how.resolve = RESOLVE_IN_ROOT | RESOLVE_NO_MAGICLINKS;
  // While anything on the system is renamed or mounted, the kernel cannot tell where ".." leads to.
  constexpr int kAttempts = 10'000;
  long file = -1;
  for (int i = 0; i < kAttempts; ++i) {
    file = syscall(SYS_openat2, root_.get(), path.c_str(), &how, sizeof how);
    if (file >= 0 || (errno != EAGAIN && errno != EINTR)) break;
  }
  return Descriptor(static_cast<int>(file));
}

Descriptor CaptureFiles::openFile(const std::string& path) const {
  int error = 0;
  Descriptor file = openIfRegular(
      [&](int flags) { return open(path, static_cast<unsigned long>(flags)).release(); }, error);
  if (error) errno = error == EINVAL ? ENOENT : error;
  return file;
}

FileText CaptureFiles::read(const std::string& path, std::size_t limit) const {
  return readFileText(openFile(path), limit);
}

FileText CaptureFiles::readRange(const std::string& path, unsigned long offset,
                                 unsigned long length) const {
  return invscan::readRange(openFile(path), offset, length);
}

int CaptureFiles::exists(const std::string& path) const {
  return open(path, O_PATH) ? 0 : errno;
}

FileText CaptureFiles::readLink(const std::string& path) const {
  const Descriptor link = open(path, O_PATH | O_NOFOLLOW);
  if (!link) return {errno, {}};
  char target[PATH_MAX];
  const ssize_t length = readlinkat(link.get(), "", target, sizeof target);
  // The kernel says ENOENT of a descriptor of something else.
  if (length < 0) return {errno == ENOENT ? kNotALink : errno, {}};
  return {0, std::string(target, static_cast<std::size_t>(length))};
}

Listing CaptureFiles::listDirectory(const std::string& path) const {
  return directoriesIn(open(path, O_RDONLY | O_DIRECTORY));
}

std::string followLinks(const std::string& path, bool followsLast, const LinkReader& linkAt) {
  constexpr int kMostLinks = 40;
  std::filesystem::path done = "/";
  std::deque<std::string> left;
  const auto prepend = [&left](const std::filesystem::path& parts) {
    left.insert(left.begin(), parts.begin(), parts.end());
    std::erase_if(left, [](const std::string& part) { return part.empty() || part == "."; });
  };
  prepend(std::filesystem::path(path).relative_path());
  for (int links = 0; !left.empty() && links <= kMostLinks;) {
    const std::string part = left.front();
    left.pop_front();
    if (part == "..") {
      done = done.parent_path();
      continue;
    }
    const std::filesystem::path place = done / part;
    const bool follows = followsLast || !left.empty();
    if (const auto target = follows ? linkAt(place.string()) : std::nullopt) {
      ++links;
      if (target->starts_with('/')) done = "/";
      prepend(std::filesystem::path(*target).relative_path());
    } else {
      done = place;
    }
  }
  return left.empty() ? done.string() : std::string();
}

std::string memoryRangeName(unsigned long address, unsigned long length) {
  char name[64];
  snprintf(name, sizeof name, "%s 0x%lx+0x%lx", kMemoryDevice, address, length);
  return name;
}

std::string linkName(const std::string& path) {
  return "link " + path;
}

}  // namespace invscan
