// What a VMware hypervisor tells its guest: over its I/O port, in the keys that the administrator
// of the virtual machines sets, and through the guest library of VMware Tools.
//
// A replayed machine answers from its capture alone: neither port nor library of the live one is
// asked in its place.
#pragma once

#include <cstdint>

#include <invscan/export.h>

// The room, with the terminating NUL, that every buffer for a text below must have. Longer texts
// are cut, at a whole character.
inline constexpr unsigned long kGuestTextSize = 1024;

// What is known of the physical host below a guest. The texts are the user's, to be freed with
// free().
struct HostInfo {
  char* product;
  char* manufacturer;
  char* serialNumber;  // not told by any key: getHostInfo() leaves it alone
  char* machineType;
  char* version;
  char* nodeId;
};

extern "C" {

// Calls the hypervisor's port: command in *ecx, its argument in *ebx (0 for null). Stores the four
// registers that come back, null pointers left out, and returns EAX. Without a channel the call
// returns 0 and stores nothing.
//
// On a live machine the process has another action for SIGSEGV meanwhile; before and after it is
// the caller's own. So one thread at a time may call, and no other may fault: best in a child, as
// check_virtual() does. A caller that has SIGSEGV blocked is ended where there is no channel.
INVSCAN_EXPORT unsigned VMwareBackdoor(unsigned* eax, unsigned* ebx, unsigned* ecx, unsigned* edx);

// 1 when the channel answers with version 6, and no other; else 0. Asked anew each time, in a child
// that has 5 seconds.
INVSCAN_EXPORT int check_virtual();

// Runs a shell's command line and puts the first line of its output into a buffer, without the
// white space at its end; the first character is always kept, so that an empty line is a newline.
// The buffer is empty unless the result is 0:
//   0   success
//  -1   no process could be made, or it printed nothing; also for null pointers
//  -2   the line has "No value found" in it
//  else the command's exit code as a signed byte, -128 to 127; a command ended by a signal has
//       128 and the signal's number.
// A command that runs for more than two seconds is ended, and has failed; one that prints more than
// 64 KiB is ended, and has succeeded.
INVSCAN_EXPORT int getInfo(char* output, const char* command);

// The keys that the administrator sets, each read by the tool vmware-guestd and, when that fails,
// by vmware-rpctool, both found in PATH. 1 on success, 0 on failure. Failed texts are empty, failed
// numbers 0. Numbers are those at the front of the text, with "." as decimal point; 0 when there is
// none.
INVSCAN_EXPORT int getNodeId(char* nodeId);                  // guestinfo.orv_node_id
INVSCAN_EXPORT int getNodeCapacity(unsigned* nodeCapacity);  // guestinfo.orv_node_capacity
INVSCAN_EXPORT int getVMId(char* vmId);                      // guestinfo.orv_vm_id
INVSCAN_EXPORT int getVMCapacity(double* vmCapacity);        // guestinfo.orv_vm_capacity
INVSCAN_EXPORT int getPhysicalProc(char* processors);        // guestinfo.orv_physical_processor

// The first four of them, in that order up to the first that fails: 1 when all were read, else 0,
// and what comes after it is left alone.
INVSCAN_EXPORT int getGuestInfo(char* nodeId, unsigned* nodeCapacity, char* vmId,
                                double* vmCapacity);

// Reads the keys guestinfo.orv_node_man (manufacturer), _id, _prod, _ver and _type. A key that
// fails is an empty text; one that is "None" is, too, but only for product, version and machine
// type: hosts know a manufacturer and a node of that name. Overwrites five members without freeing
// what they were. The result is that of the last key, as getInfo() has it: 0 is success.
INVSCAN_EXPORT int getHostInfo(HostInfo* info);

}  // extern "C"

// What the hypervisor grants this guest, in units of the host's processors.
struct VMwareGuestInfo {
  std::uint32_t cpuReservationMHz = 0;
  std::uint32_t cpuLimitMHz = 0;  // 4294967295: no limit
  std::uint32_t cpuShares = 0;
  std::uint32_t hostProcessorSpeedMHz = 0;
};

class VMwareGuestInfoProvider_impl;

// Asks libvmGuestLib, part of VMware Tools: that of /usr/lib/vmware-tools/lib32, else the one on
// the loader's path, where LD_LIBRARY_PATH counts. Library and handle stay open from the first
// question that they answer until the provider goes. One thread at a time.
class INVSCAN_EXPORT VMwareGuestInfoProvider {
 public:
  VMwareGuestInfoProvider();
  VMwareGuestInfoProvider(const VMwareGuestInfoProvider&) = delete;
  VMwareGuestInfoProvider& operator=(const VMwareGuestInfoProvider&) = delete;
  ~VMwareGuestInfoProvider();

  // Whether all figures could be read; if not, the record is left alone.
  bool retrieveGuestInfo(VMwareGuestInfo& info);

 private:
  VMwareGuestInfoProvider_impl* impl_;
};
