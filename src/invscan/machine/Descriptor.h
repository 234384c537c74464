// A file descriptor that closes itself, and reading from one.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

#include "invscan/machine/Machine.h"

namespace invscan {

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { reset(); }

  int get() const { return number_; }
  bool isOpen() const { return number_ >= 0; }
  void reset() {
    if (isOpen()) close(std::exchange(number_, -1));
  }

 private:
  int number_;
};

// What can be read from a descriptor until its end, the limit or an error.
inline FileText readAll(int descriptor, std::size_t limit) {
  constexpr std::size_t kStep = 16384;
  FileText result;
  char buffer[kStep];
  while (result.text.size() < limit) {
    const ssize_t got = read(descriptor, buffer, std::min(kStep, limit - result.text.size()));
    if (got > 0) {
      result.text.append(buffer, static_cast<std::size_t>(got));
    } else if (got == 0) {
      break;
    } else if (errno != EINTR) {
      result.error = errno;
      break;
    }
  }
  return result;
}

}  // namespace invscan
