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

  // The first of some texts that was not written behind those before it, with all that was; empty
  // when each was.
  template <class Texts>
  std::string missing(const Texts& texts) {
    const std::string all = written();
    std::size_t place = 0;
    for (const auto& text : texts) {
      place = all.find(text, place);
      if (place == all.npos) return std::string(text) + " is missing in\n" + all;
    }
    return "";
  }

 private:
  int descriptor_ = memfd_create("trace", MFD_CLOEXEC);
};

}  // namespace invscan
