// A guest library that does what the test says.
#include "FakeGuestLibrary.h"

#include <cstring>

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT FakeGuestLibrary fakeGuestLibrary;
FakeGuestLibrary fakeGuestLibrary{"", "", 1, true};

namespace {

constexpr char kCalls[] = "OUSHRLCX";

int call(char letter) {
  const std::size_t count = std::strlen(fakeGuestLibrary.calls);
  if (count + 1 < sizeof fakeGuestLibrary.calls) fakeGuestLibrary.calls[count] = letter;
  const bool fails = std::strchr(fakeGuestLibrary.failing, letter) != nullptr;
  return fails ? 1 << (std::strchr(kCalls, letter) - kCalls) : 0;
}

template <class Number>
int tell(char letter, Number* out, Number number) {
  *out = number;
  return call(letter);
}

}  // namespace

EXPORT const char* VMGuestLib_GetErrorText(int) {
  return fakeGuestLibrary.hasTexts ? "text" : nullptr;
}
EXPORT int VMGuestLib_OpenHandle(void** handle) {
  return tell<void*>('O', handle, &fakeGuestLibrary);
}
EXPORT int VMGuestLib_UpdateInfo(void* handle) {
  return handle == &fakeGuestLibrary ? call('U') : -1;
}
EXPORT int VMGuestLib_GetSessionId(void*, std::uint64_t* id) {
  return tell('S', id, fakeGuestLibrary.session);
}
EXPORT int VMGuestLib_GetHostProcessorSpeed(void*, std::uint32_t* speed) {
  return tell('H', speed, 2400U);
}
EXPORT int VMGuestLib_GetCpuReservationMHz(void*, std::uint32_t* reservation) {
  return tell('R', reservation, 1000U);
}
EXPORT int VMGuestLib_GetCpuLimitMHz(void*, std::uint32_t* limit) {
  return tell('L', limit, UINT32_MAX);
}
EXPORT int VMGuestLib_GetCpuShares(void*, std::uint32_t* shares) {
  return tell('C', shares, 4000U);
}
EXPORT int VMGuestLib_CloseHandle(void*) {
  return call('X');
}
