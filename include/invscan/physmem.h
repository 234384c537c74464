// Physical memory and files as pages in memory.
//
// Physical memory is that of the machine under scan (machine.h): of this machine through /dev/mem,
// which takes root, or of a capture. What is mapped of it is a private copy made at the call, never
// the device itself, and at most 256 MiB. Any other path names a file of this machine.
//
// A range is mapped or read whole, or the call fails: a range that passes the end of the file or of
// memory, ends before it starts or wraps around is never touched. Nothing here throws or locks; a
// handle belongs to one thread.
#pragma once

#include <invscan/export.h>

// How an address is aligned: 1 rounds down to a page, any other value rounds up.
using slm_page_alignment_direction = int;
// How a range is aligned: 1 moves its start down to a page and leaves its end where it is, so that
// the byte asked for lies slm_page_off(start) behind the address returned. With any other value the
// range is mapped as it is, and a start inside a page is a failure.
using slm_page_alignment = int;
// How a file is mapped: 0 read-only, any other value for reading and writing.
using slm_file_access_mode = int;

// Bytes per page of this machine.
INVSCAN_EXPORT int slm_get_page_size();
// The address's distance from the start of its page.
INVSCAN_EXPORT unsigned long slm_page_off(void* p);
INVSCAN_EXPORT void* slm_page_align(void* p, slm_page_alignment_direction direction);

// Maps a range of a file, shared with all who have it mapped. Returns its address, or the failure
// value of mmap() (all bits set). A file that is not there is created, empty, with mode 0640, also
// for reading: hosts that share a file do not ask who comes first. Where a link leads to no file,
// none is created: that is a failure. /dev/mem is never created and can be mapped read-only only.
// On success *handle is what slm_file_munmap() takes, after a failure it is null.
INVSCAN_EXPORT void* slm_file_mmap(const char* path, unsigned long offset, unsigned long length,
                                   slm_page_alignment alignment, slm_file_access_mode mode,
                                   void** handle);
// Takes a mapping back and sets *handle to null. Returns 0, or -1 when that failed or there is no
// mapping.
INVSCAN_EXPORT int slm_file_munmap(void** handle);

// The same for physical memory from start up to, but not including, end.
INVSCAN_EXPORT void* slm_phys_mmap(unsigned long start, unsigned long end,
                                   slm_page_alignment alignment, void** handle);
INVSCAN_EXPORT int slm_phys_munmap(void** handle);

// Reads physical memory into a caller's buffer.
class INVSCAN_EXPORT BIOSROM {
 public:
  // Copies length bytes from the physical address, aligned or not. The second argument has no
  // meaning. Returns 0, or 37 for every failure, and then the buffer is untouched.
  int getPhysMem(unsigned char* buffer, int ignored, void* physicalAddress, int length);
};
