// A text that is there already, as a stream.
#pragma once

#include <string_view>

#include <invscan/helper.h>

namespace invscan {

class TextStream : public VtIStream {
 public:
  explicit TextStream(std::string_view text) : rest_(text) {}

  long read(char* buffer, unsigned long size) override {
    const std::size_t count = rest_.copy(buffer, size);
    rest_.remove_prefix(count);
    return static_cast<long>(count);
  }

 private:
  std::string_view rest_;
};

}  // namespace invscan
