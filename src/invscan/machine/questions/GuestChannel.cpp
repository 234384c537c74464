#include "invscan/machine/questions/GuestChannel.h"

#include <setjmp.h>
#include <signal.h>

namespace invscan {
namespace {

constexpr std::uint32_t kPort = 0x5658;

sigjmp_buf beforeTheCall;

extern "C" void leaveTheCall(int) {
  siglongjmp(beforeTheCall, 1);
}

CpuidRegisters callPort(CpuidLeaf call) {
  CpuidRegisters registers{kChannelMagic, call.subleaf, call.leaf, kPort};
  asm volatile("inl %%dx, %%eax"
               : "+a"(registers.eax), "+b"(registers.ebx), "+c"(registers.ecx), "+d"(registers.edx)
               :
               : "rsi", "rdi", "memory");
  return registers;
}

}  // namespace

GuestChannelQuestion::Answer GuestChannelQuestion::live(CpuidLeaf call) {
  struct sigaction action = {}, before = {};
  action.sa_handler = leaveTheCall;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  if (sigaction(SIGSEGV, &action, &before) != 0) return std::nullopt;
  Answer answer;
  if (sigsetjmp(beforeTheCall, 1) == 0) {
    answer = callPort(call);
  } else {
    answer.reset();  // the compiler does not know that the call may be left halfway
  }
  sigaction(SIGSEGV, &before, nullptr);
  return answer;
}

}  // namespace invscan
