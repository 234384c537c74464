#include <invscan/physmem.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>

#include "invscan/machine/FileMapping.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

using invscan::FileMapping;
using invscan::machine;
using invscan::Trace;

namespace {

constexpr int kFailure = 37;
constexpr int kDown = 1;
constexpr int kToPage = 1;

void* const kMapFailed = reinterpret_cast<void*>(-1L);

unsigned long addressOf(void* p) {
  return reinterpret_cast<unsigned long>(p);
}

unsigned long behindPage(unsigned long address) {
  return address % FileMapping::pageSize();
}

// What opening the device gives where it is missing or closed to this user.
bool isNotOpened(int error) {
  return error == ENOENT || error == EACCES || error == EPERM;
}

std::unique_ptr<FileMapping> copyOfMemory(unsigned long address, unsigned long length) {
  if (behindPage(address) != 0) return nullptr;
  const auto bytes = machine().readMemory(address, length);
  return bytes ? FileMapping::ofBytes(*bytes) : nullptr;
}

std::unique_ptr<FileMapping> map(const char* path, unsigned long offset, unsigned long length,
                                 slm_page_alignment alignment, bool isWritable) {
  if (alignment == kToPage) {
    const unsigned long skipped = behindPage(offset);
    if (length > std::numeric_limits<unsigned long>::max() - skipped) return nullptr;
    offset -= skipped;
    length += skipped;
  }
  if (!FileMapping::isMemoryDevice(path)) {
    return FileMapping::ofFile(path, offset, length, isWritable);
  }
  return isWritable ? nullptr : copyOfMemory(offset, length);
}

}  // namespace

int slm_get_page_size() {
  return static_cast<int>(FileMapping::pageSize());
}

unsigned long slm_page_off(void* p) {
  return behindPage(addressOf(p));
}

void* slm_page_align(void* p, slm_page_alignment_direction direction) {
  const unsigned long off = slm_page_off(p);
  if (off == 0) return p;
  const unsigned long page = addressOf(p) - off;
  return reinterpret_cast<void*>(direction == kDown ? page : page + FileMapping::pageSize());
}

void* slm_file_mmap(const char* path, unsigned long offset, unsigned long length,
                    slm_page_alignment alignment, slm_file_access_mode mode, void** handle) {
  if (!handle) return kMapFailed;
  *handle = nullptr;
  auto mapping = path ? map(path, offset, length, alignment, mode != 0) : nullptr;
  if (!mapping) return kMapFailed;
  void* address = mapping->address();
  *handle = mapping.release();
  return address;
}

int slm_file_munmap(void** handle) {
  if (!handle) return -1;
  const std::unique_ptr<FileMapping> mapping(static_cast<FileMapping*>(*handle));
  *handle = nullptr;
  return mapping && mapping->unmap() ? 0 : -1;
}

void* slm_phys_mmap(unsigned long start, unsigned long end, slm_page_alignment alignment,
                    void** handle) {
  if (handle) *handle = nullptr;
  if (end < start) return kMapFailed;
  return slm_file_mmap(invscan::kMemoryDevice, start, end - start, alignment, 0, handle);
}

int slm_phys_munmap(void** handle) {
  return slm_file_munmap(handle);
}

int BIOSROM::getPhysMem(unsigned char* buffer, int, void* physicalAddress, int length) {
  const Trace trace(getCcLogHw(), "getPhysMem()");
  if (!buffer || length < 0) return kFailure;
  const invscan::FileText memory =
      machine().tryMemory(addressOf(physicalAddress), static_cast<unsigned long>(length));
  if (memory.error != 0) {
    trace.at().min(isNotOpened(memory.error) ? "failed to open memory" : "Unable to mmap memory");
    return kFailure;
  }
  memcpy(buffer, memory.text.data(), memory.text.size());
  return 0;
}
