#include "invscan/machine/FileMapping.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <utility>

#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

constexpr mode_t kMode = 0640;

// Whether a range lies inside a file. What is neither file nor disk has no size to go by; its
// driver refuses what it does not have.
bool has(const Descriptor& file, unsigned long offset, unsigned long length) {
  struct stat status;
  if (fstat(file.get(), &status) != 0 || length > LONG_MAX || offset > LONG_MAX - length) {
    return false;
  }
  if (S_ISCHR(status.st_mode)) return true;
  if (!S_ISREG(status.st_mode) && !S_ISBLK(status.st_mode)) return false;
  const off_t size = lseek(file.get(), 0, SEEK_END);
  return size >= 0 && offset + length <= static_cast<unsigned long>(size);
}

// Creates no file through a link: it could lead to where the memory device is missing.
Descriptor openOrCreate(const char* path, int access) {
  const int flags = access | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  Descriptor file(open(path, flags));
  if (file || errno != ENOENT) return file;
  return Descriptor(open(path, flags | O_CREAT | O_NOFOLLOW, kMode));
}

}  // namespace

std::unique_ptr<FileMapping> FileMapping::ofFile(const char* path, unsigned long offset,
                                                 unsigned long length, bool isWritable) {
  const Descriptor file = openOrCreate(path, isWritable ? O_RDWR : O_RDONLY);
  if (!file || !has(file, offset, length)) return nullptr;
  const int protection = isWritable ? PROT_READ | PROT_WRITE : PROT_READ;
  return of(mmap(nullptr, length, protection, MAP_SHARED, file.get(), static_cast<off_t>(offset)),
            length);
}

std::unique_ptr<FileMapping> FileMapping::ofDevice(const Descriptor& device, unsigned long offset,
                                                   unsigned long length) {
  return of(mmap(nullptr, length, PROT_READ, MAP_SHARED, device.get(), static_cast<off_t>(offset)),
            length);
}

std::unique_ptr<FileMapping> FileMapping::ofBytes(const std::string& bytes) {
  auto mapping =
      of(mmap(nullptr, bytes.size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0),
         bytes.size());
  if (!mapping) return nullptr;
  memcpy(mapping->address(), bytes.data(), bytes.size());
  return mprotect(mapping->address(), bytes.size(), PROT_READ) == 0 ? std::move(mapping) : nullptr;
}

bool FileMapping::isMemoryDevice(const char* path) {
  namespace fs = std::filesystem;
  // Wherever the name leads on this machine, and by any other name, also where it is missing.
  if (path == std::string_view(kMemoryDevice)) return true;
  std::error_code error;
  if (fs::weakly_canonical(fs::absolute(path, error), error) == kMemoryDevice) return true;
  struct stat status;
  return stat(path, &status) == 0 && S_ISCHR(status.st_mode) && status.st_rdev == makedev(1, 1);
}

unsigned long FileMapping::pageSize() {
  return static_cast<unsigned long>(getpagesize());
}

bool FileMapping::unmap() {
  return address_ && munmap(std::exchange(address_, nullptr), length_) == 0;
}

std::unique_ptr<FileMapping> FileMapping::of(void* address, unsigned long length) {
  if (address == MAP_FAILED) return nullptr;
  return std::unique_ptr<FileMapping>(new FileMapping(address, length));
}

}  // namespace invscan
