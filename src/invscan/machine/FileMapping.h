// Pages of this process that hold a range of a file or a copy of bytes, until the object goes.
#pragma once

#include <memory>
#include <string>

#include "base/Descriptor.h"

namespace invscan {

class FileMapping {
 public:
  // A range of a file of this machine, which is created when it is not there. Null when it cannot
  // be mapped or the file does not have all of it.
  static std::unique_ptr<FileMapping> ofFile(const char* path, unsigned long offset,
                                             unsigned long length, bool isWritable);
  // A range of an open device, read-only; null when its driver refuses. The offset is a page's.
  static std::unique_ptr<FileMapping> ofDevice(const Descriptor& device, unsigned long offset,
                                               unsigned long length);
  // Read-only pages with these bytes; null when there are none.
  static std::unique_ptr<FileMapping> ofBytes(const std::string& bytes);

  // Whether a path leads to physical memory, by its name or as the same device.
  static bool isMemoryDevice(const char* path);
  static unsigned long pageSize();

  FileMapping(const FileMapping&) = delete;
  FileMapping& operator=(const FileMapping&) = delete;
  ~FileMapping() { unmap(); }

  void* address() const { return address_; }
  // Whether there was a mapping and it is gone now.
  bool unmap();

 private:
  FileMapping(void* address, unsigned long length) : address_(address), length_(length) {}
  // Of what mmap() returned.
  static std::unique_ptr<FileMapping> of(void* address, unsigned long length);

  void* address_;
  unsigned long length_;
};

}  // namespace invscan
