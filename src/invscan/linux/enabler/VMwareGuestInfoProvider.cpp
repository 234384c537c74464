#include <cstdint>
#include <optional>
#include <string>

#include <invscan/vmware.h>

#include "invscan/machine/Machine.h"
#include "invscan/machine/SharedLibrary.h"
#include "log/Trace.h"

using namespace invscan;

namespace {

using Handle = void*;
using Code = int;  // 0 is success

// The names that it goes by, in the order tried.
constexpr const char* kLibraries[] = {"/usr/lib/vmware-tools/lib32/libvmGuestLib.so",
                                      "libvmGuestLib.so"};

unsigned long asNumber(const void* address) {
  return reinterpret_cast<unsigned long>(address);
}

}  // namespace

class VMwareGuestInfoProvider_impl {
 public:
  VMwareGuestInfoProvider_impl() = default;
  VMwareGuestInfoProvider_impl(const VMwareGuestInfoProvider_impl&) = delete;
  VMwareGuestInfoProvider_impl& operator=(const VMwareGuestInfoProvider_impl&) = delete;
  ~VMwareGuestInfoProvider_impl();

  bool retrieve(VMwareGuestInfo& info);

 private:
  using Getter = Code(Handle, std::uint32_t*);

  std::optional<VMwareGuestInfo> askLibrary();
  bool loadLibrary(const Trace& trace);
  bool findFunctions(const Trace& trace);
  bool openHandle(const Trace& trace);
  bool updateSession(const Trace& trace);
  std::optional<VMwareGuestInfo> readFigures(const Trace& trace);
  const char* errorText(Code code) const;

  SharedLibrary library_;
  Handle handle_ = nullptr;
  std::uint64_t sessionId_ = 0;
  bool isOpen_ = false;
  const char* (*getErrorText_)(Code) = nullptr;
  Code (*openHandle_)(Handle*) = nullptr;
  Code (*getSessionId_)(Handle, std::uint64_t*) = nullptr;
  Code (*updateInfo_)(Handle) = nullptr;
  Getter* getCpuReservationMHz_ = nullptr;
  Getter* getCpuLimitMHz_ = nullptr;
  Getter* getCpuShares_ = nullptr;
  Getter* getHostProcessorSpeed_ = nullptr;
  Code (*closeHandle_)(Handle) = nullptr;
};

VMwareGuestInfoProvider_impl::~VMwareGuestInfoProvider_impl() {
  if (!library_ || !isOpen_) return;
  const Trace trace(getCcLogHw(), "~VMwareGuestInfoProvider_impl()");
  const Code code = closeHandle_(handle_);
  trace.at().max("VMGuestLib_CloseHandle()=%d, %s\n", code, errorText(code));
}

bool VMwareGuestInfoProvider_impl::retrieve(VMwareGuestInfo& info) {
  const Trace trace(getCcLogHw(), "retrieve()");
  const auto answer = machine().guestLibrary([this] { return askLibrary(); });
  if (answer) info = *answer;
  trace.at().max("result=%d", answer ? 1 : 0);
  return answer.has_value();
}

// What failed before an open handle is tried again by the next question; the handle itself outlives
// failures.
std::optional<VMwareGuestInfo> VMwareGuestInfoProvider_impl::askLibrary() {
  const Trace trace(getCcLogHw(), "askLibrary()");
  const bool isReady = loadLibrary(trace) && openHandle(trace) && updateSession(trace);
  return isReady ? readFigures(trace) : std::nullopt;
}

bool VMwareGuestInfoProvider_impl::loadLibrary(const Trace& trace) {
  if (library_) return true;
  isOpen_ = false;
  for (const char* file : kLibraries) {
    std::string error;
    library_ = SharedLibrary::load(file, error);
    if (library_) break;
    trace.at().min("Failed to load guest API library, error=%s", error.c_str());
  }
  if (!library_) return false;
  if (findFunctions(trace)) return true;
  trace.at().min("Failed to resolve all symbols");
  library_ = SharedLibrary();
  return false;
}

bool VMwareGuestInfoProvider_impl::findFunctions(const Trace& trace) {
  bool isWhole = true;
  const auto find = [&](const char* name, auto*& function) {
    library_.find(("VMGuestLib_" + std::string(name)).c_str(), function);
    trace.at().max("gl%s=%08lX", name, asNumber(reinterpret_cast<const void*>(function)));
    isWhole = isWhole && function;
  };
  find("GetErrorText", getErrorText_);
  find("OpenHandle", openHandle_);
  find("GetSessionId", getSessionId_);
  find("UpdateInfo", updateInfo_);
  find("GetCpuReservationMHz", getCpuReservationMHz_);
  find("GetCpuLimitMHz", getCpuLimitMHz_);
  find("GetCpuShares", getCpuShares_);
  find("GetHostProcessorSpeed", getHostProcessorSpeed_);
  find("CloseHandle", closeHandle_);
  return isWhole;
}

bool VMwareGuestInfoProvider_impl::openHandle(const Trace& trace) {
  if (isOpen_) return true;
  const Code code = openHandle_(&handle_);
  if (code != 0) {
    trace.at().min("VMGuestLib_OpenHandle() failed: %d, %s\n", code, errorText(code));
    return false;
  }
  trace.at().max("VMGuestLib_OpenHandle = 0x%08X\n", static_cast<unsigned>(asNumber(handle_)));
  isOpen_ = true;
  return true;
}

bool VMwareGuestInfoProvider_impl::updateSession(const Trace& trace) {
  if (const Code code = updateInfo_(handle_); code != 0) {
    trace.at().min("VMGuestLib_UpdateInfo failed: %d, %s\n", code, errorText(code));
    return false;
  }
  if (const Code code = getSessionId_(handle_, &sessionId_); code != 0) {
    trace.at().min("VMGuestLib_GetSessionId failed: %d, %s\n", code, errorText(code));
    return false;
  }
  if (sessionId_ == 0) {
    trace.at().min("VMGuestLib_GetSessionId invalid (%lld)\n", static_cast<long long>(sessionId_));
    return false;
  }
  return true;
}

// The text that is traced belongs to all codes joined, not to one of them.
std::optional<VMwareGuestInfo> VMwareGuestInfoProvider_impl::readFigures(const Trace& trace) {
  VMwareGuestInfo info;
  Code joined = 0;
  const auto get = [&](const char* name, Getter* getter, std::uint32_t& figure) {
    joined |= getter(handle_, &figure);
    trace.at().max("%s = %d, error=%d\n", name, static_cast<int>(figure), joined);
  };
  get("hostMHz", getHostProcessorSpeed_, info.hostProcessorSpeedMHz);
  get("cpuReservationMHz", getCpuReservationMHz_, info.cpuReservationMHz);
  get("cpuLimitMHz", getCpuLimitMHz_, info.cpuLimitMHz);
  get("cpuShares", getCpuShares_, info.cpuShares);
  if (joined == 0) return info;
  trace.at().min("One or more of get functions failed, error=%d, %s\n", joined, errorText(joined));
  return std::nullopt;
}

const char* VMwareGuestInfoProvider_impl::errorText(Code code) const {
  const char* text = getErrorText_(code);
  return text ? text : "";
}

VMwareGuestInfoProvider::VMwareGuestInfoProvider() : impl_(new VMwareGuestInfoProvider_impl) {
}

VMwareGuestInfoProvider::~VMwareGuestInfoProvider() {
  delete impl_;
}

bool VMwareGuestInfoProvider::retrieveGuestInfo(VMwareGuestInfo& info) {
  return impl_->retrieve(info);
}
