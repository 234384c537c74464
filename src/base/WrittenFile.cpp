#include "base/WrittenFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <memory>
#include <system_error>

#include "base/Hex.h"

namespace invscan {
namespace {

constexpr int kDirectory = O_PATH | O_DIRECTORY | O_CLOEXEC;

// As it stands in the middle of a line.
std::string textOf(int error) {
  std::string text = std::generic_category().message(error);
  text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  return text;
}

[[noreturn]] void fail() {
  throw WriteError(errno);
}

[[noreturn]] void refuse(const char* reason) {
  throw WriteError(reason);
}

bool isOfUser(const struct stat& status) {
  return status.st_uid == geteuid();
}

// Root could do anything anyway.
bool isTrusted(const struct stat& status) {
  return isOfUser(status) || status.st_uid == 0;
}

struct stat statusOf(const Descriptor& file) {
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) fail();
  return status;
}

// Where users make files beside each other's, such as /tmp.
bool isShared(const Descriptor& directory) {
  return (statusOf(directory).st_mode & (S_ISVTX | S_IWOTH)) != 0;
}

// Links of the kernel's to open files say in words what they lead to, where that has no name.
bool isPlainWords(const Descriptor& directory, const std::string& target) {
  struct statfs system {};
  struct stat status {};
  return fstatfs(directory.get(), &system) == 0 && system.f_type == PROC_SUPER_MAGIC &&
         fstatat(directory.get(), target.c_str(), &status, 0) != 0;
}

// The text of the link, if that is what is there.
std::string linkAt(const Descriptor& directory, const std::string& name) {
  const Descriptor link(openat(directory.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!link) return "";
  const struct stat status = statusOf(link);
  if (!S_ISLNK(status.st_mode)) return "";
  if (!isTrusted(status)) refuse("leads through a link of another user");
  if (isShared(directory)) refuse("leads through a link in a directory that all can write to");
  char target[PATH_MAX];
  const ssize_t length = readlinkat(link.get(), "", target, sizeof target);
  if (length <= 0 || length == sizeof target) fail();
  std::string text(target, static_cast<std::size_t>(length));
  if (isPlainWords(directory, text)) refuse("leads to what has no name");
  return text;
}

Descriptor startOf(const std::string& path) {
  return Descriptor(open(path.starts_with('/') ? "/" : ".", kDirectory));
}

// What is in the place, not followed; none when it is free.
bool isTaken(const Place& place, struct stat& status) {
  const int flags = AT_SYMLINK_NOFOLLOW;
  if (fstatat(place.directory.get(), place.name.c_str(), &status, flags) == 0) return true;
  if (errno != ENOENT) fail();
  return false;
}

// As much as is taken at once, again and again: a reader that does not read is not waited for.
void writePatiently(const Descriptor& file, std::string_view text) {
  constexpr int kPatience = 10'000;  // milliseconds
  while (!text.empty()) {
    const ssize_t count = write(file.get(), text.data(), text.size());
    if (count >= 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      pollfd ready{file.get(), POLLOUT, 0};
      if (poll(&ready, 1, kPatience) == 0) refuse("nobody reads what is written there");
    } else if (errno != EINTR) {
      fail();
    }
  }
}

void checkDevice(const struct stat& status) {
  if (S_ISDIR(status.st_mode)) throw WriteError(EISDIR);
  if (!isTrusted(status)) refuse("a device or pipe of another user");
}

void writeToDevice(const Place& place, std::string_view text) {
  constexpr int kFlags = O_WRONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC;
  Descriptor file(openat(place.directory.get(), place.name.c_str(), kFlags));
  if (!file && errno == ENXIO) refuse("nobody reads what is written there");
  const struct stat status = statusOf(file);
  checkDevice(status);
  if (S_ISREG(status.st_mode)) refuse("changed while it was opened");
  writePatiently(file, text);
  if (!file.close()) fail();
}

// Owner before access: changing the owner may take rights away.
void becomeLike(const NewFile& file, const struct stat& status) {
  const bool isLike = fchown(file.descriptor(), status.st_uid, status.st_gid) == 0 &&
                      fchmod(file.descriptor(), status.st_mode & 0777) == 0;
  if (!isLike) refuse("belongs to another user or group, which it could not be given back");
}

// Of no use to anybody who wants to know it beforehand.
std::string nameBeside(const std::string& name) {
  unsigned char bytes[8];
  if (getrandom(bytes, sizeof bytes, 0) != sizeof bytes) fail();
  return name + "." + hex(bytes, sizeof bytes, kLowerHex);
}

std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

Descriptor openOwnDirectoryAt(const Place& place) {
  constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  Descriptor directory(openat(place.directory.get(), place.name.c_str(), kFlags));
  const struct stat status = statusOf(directory);
  if (!isOfUser(status)) refuse("belongs to another user");
  if (status.st_mode & (S_IWGRP | S_IWOTH)) refuse("others can write to it");
  return directory;
}

// False when something is there already.
bool makeDirectoryAt(const Place& place) {
  if (mkdirat(place.directory.get(), place.name.c_str(), 0700) == 0) return true;
  if (errno != EEXIST) fail();
  return false;
}

}  // namespace

WriteError::WriteError(int number) : runtime_error(textOf(number)), error(number) {
}

Place placeOf(std::string path, bool followsLast) {
  constexpr int kMostLinks = 40;
  Descriptor at = startOf(path);
  for (int links = 0; links <= kMostLinks;) {
    path.erase(0, path.find_first_not_of('/'));
    const std::size_t length = std::min(path.find('/'), path.size());
    const std::string name = path.substr(0, length);
    const bool isLast = length == path.size();
    if (name.empty()) return {std::move(at), "."};
    Descriptor next(isLast ? -1 : openat(at.get(), name.c_str(), kDirectory | O_NOFOLLOW));
    if (next) {
      at = std::move(next);
      path.erase(0, length);
      continue;
    }
    const int error = errno;
    const std::string target = !isLast || followsLast ? linkAt(at, name) : "";
    if (target.empty() && !isLast) throw WriteError(error);
    if (target.empty()) return {std::move(at), name};
    ++links;
    path.replace(0, length, target);
    if (target.starts_with('/')) at = startOf(path);
  }
  throw WriteError(ELOOP);
}

void writeFile(const Place& place, std::string_view text, mode_t mode) {
  struct stat before {};
  const bool isThere = isTaken(place, before);
  if (isThere && !S_ISREG(before.st_mode)) {
    checkDevice(before);
    return writeToDevice(place, text);
  }
  if (isThere && !isTrusted(before) && isShared(place.directory)) {
    refuse("belongs to another user");
  }
  NewFile file(place, isThere ? 0600 : mode);
  file.write(text);
  if (isThere) becomeLike(file, before);
  file.putInPlace();
}

NewFile::NewFile(const Place& place, mode_t mode)
    : place_(place),
      name_(nameBeside(place.name)),
      file_(openat(place.directory.get(), name_.c_str(),
                   O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode)) {
  if (!file_) fail();
}

NewFile::~NewFile() {
  if (!isInPlace_) unlinkat(place_.directory.get(), name_.c_str(), 0);
}

void NewFile::write(std::string_view text) {
  if (!writeAll(file_.get(), text) || fsync(file_.get()) != 0) fail();
}

void NewFile::putInFreePlace() {
  const int directory = place_.directory.get();
  if (linkat(directory, name_.c_str(), directory, place_.name.c_str(), 0) != 0) fail();
}

void NewFile::putInPlace() {
  const int directory = place_.directory.get();
  if (renameat(directory, name_.c_str(), directory, place_.name.c_str()) != 0) fail();
  isInPlace_ = true;
}

Descriptor openOwnFile(const std::string& path) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  const Place place = placeOf(path, false);
  Descriptor file(openat(place.directory.get(), place.name.c_str(), kFlags, 0600));
  const struct stat status = statusOf(file);
  if (!S_ISREG(status.st_mode)) refuse("not a regular file");
  if (!isOfUser(status)) refuse("belongs to another user");
  if (status.st_nlink != 1) refuse("has another name besides");
  return file;
}

Descriptor openOwnDirectory(const std::string& path) {
  return openOwnDirectoryAt(placeOf(withoutTrailingSlashes(path)));
}

NewDirectory::NewDirectory(const std::string& path)
    : place_(placeOf(withoutTrailingSlashes(path))),
      isMade_(makeDirectoryAt(place_)),
      directory_(openOwnDirectoryAt(place_)) {
  if (!namesIn(directory_).empty()) refuse("not empty; name a new directory");
}

NewDirectory::~NewDirectory() {
  if (isKept_) return;
  removeContents(directory_);
  if (isMade_) unlinkat(place_.directory.get(), place_.name.c_str(), AT_REMOVEDIR);
}

std::vector<std::string> namesIn(const Descriptor& directory) {
  const int own = openat(directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(own < 0 ? nullptr : fdopendir(own), closedir);
  if (!stream) fail();
  std::vector<std::string> names;
  while (const dirent* const entry = readdir(stream.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  return names;
}

void removeContents(const Descriptor& directory) try {
  constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  for (const std::string& name : namesIn(directory)) {
    if (unlinkat(directory.get(), name.c_str(), 0) == 0) continue;
    if (const Descriptor inner(openat(directory.get(), name.c_str(), kFlags)); inner) {
      removeContents(inner);
    }
    unlinkat(directory.get(), name.c_str(), AT_REMOVEDIR);
  }
} catch (const WriteError&) {
  // What cannot be listed stays.
}

}  // namespace invscan
