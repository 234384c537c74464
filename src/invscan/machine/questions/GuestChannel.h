// The question what a VMware hypervisor answers on its I/O port.
#pragma once

#include "invscan/machine/questions/Cpuid.h"

namespace invscan {

// What identifies a call, in EAX, and an answer, in EBX.
inline constexpr std::uint32_t kChannelMagic = 0x564D5868;

// A call has the form of a CPUID leaf: ECX (the command) and EBX go in, four registers come back. A
// machine without channel faults, and gives no answer. Until the answer is there the process has
// another action for SIGSEGV, so that one thread at a time may ask; best in a child.
struct GuestChannelQuestion : CpuidQuestion {
  static constexpr const char* kSections[] = {"guest_channel"};
  static constexpr const char* kLogName = "guest channel";
  static Answer live(CpuidLeaf call);
};

}  // namespace invscan
