// What was traced, as a test sees it: a sink that tells what came since it was last asked.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <string>

#include <invscan/base/CcLogWrapper.h>

namespace invscan {

class TracedText {
 public:
  TracedText() = default;
  TracedText(const TracedText&) = delete;
  TracedText& operator=(const TracedText&) = delete;
  ~TracedText() {
    CcLogWrapper::setSink(-1, CcLogWrapper::kOff);
    close(descriptor_);
  }

  void enable(CcLogWrapper::Level level) { CcLogWrapper::setSink(descriptor_, level); }

  std::string written() {
    std::string text(1 << 16, '\0');
    const ssize_t length = pread(descriptor_, text.data(), text.size(), 0);
    text.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    if (ftruncate(descriptor_, 0) != 0 || lseek(descriptor_, 0, SEEK_SET) != 0) return "no sink";
    return text;
  }

 private:
  int descriptor_ = memfd_create("trace", MFD_CLOEXEC);
};

}  // namespace invscan
