// A file descriptor that closes itself, and reading or writing all that there is. All of it is
// inline: the library and the agent each compile it in.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace invscan {

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  ~Descriptor() { close(); }
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    close();
    number_ = other.release();
    return *this;
  }

  explicit operator bool() const { return number_ >= 0; }
  int get() const { return number_; }
  int release() { return std::exchange(number_, -1); }
  // Whether closing found no error; true when there is nothing to close.
  bool close() { return number_ < 0 || ::close(release()) == 0; }

 private:
  int number_;
};

// What a call to the system answers that a signal did not interrupt: a host may have handlers, and
// timers that call them, which do not let calls begin anew.
template <class Call>
auto uninterrupted(Call call) {
  auto answer = call();
  while (answer < 0 && errno == EINTR) answer = call();
  return answer;
}

// A file that exists, for whoever runs this program alone.
inline Descriptor openExisting(const std::string& path, int flags) {
  return Descriptor(uninterrupted([&] { return open(path.c_str(), flags | O_CLOEXEC); }));
}

// Reads up to the end, the limit or an error, for which false is returned; the text holds what
// there was. One read more than there is text: the end shows only by asking.
inline bool readAll(int descriptor, std::string& text, std::size_t limit) {
  char first[4000];  // most of the kernel's files fit, and so need no more memory than their length
  std::size_t length = 0;
  ssize_t count = 1;
  const auto fill = [&](char* buffer, std::size_t size) {
    while (count > 0 && length < size) {
      count = uninterrupted([&] { return read(descriptor, buffer + length, size - length); });
      if (count > 0) length += static_cast<std::size_t>(count);
    }
  };
  fill(first, std::min(limit, sizeof first));
  text.assign(first, length);
  while (count > 0 && length < limit) {
    text.resize(std::min(limit, 2 * length));
    fill(text.data(), text.size());
  }
  text.resize(length);
  return count >= 0;
}

// Whether all of it was written; errno tells why not.
inline bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count =
        uninterrupted([&] { return write(descriptor, text.data(), text.size()); });
    if (count < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace invscan
