// Owned file descriptors and the few things that are done with them.
#pragma once

#include <unistd.h>

#include <string>
#include <string_view>
#include <utility>

namespace invscan::agent {

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { close(); }
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&&) = delete;

  explicit operator bool() const { return number_ >= 0; }
  int get() const { return number_; }
  int release() { return std::exchange(number_, -1); }
  // Whether closing found no error; true when there is nothing to close.
  bool close() { return number_ < 0 || ::close(release()) == 0; }

 private:
  int number_;
};

// The system's words for an errno, in lower case.
std::string errorText(int error);

// Whether all of it was written; errno tells why not.
bool writeAll(int descriptor, std::string_view text);

// Up to the end of the file or the limit; whether there was no error.
bool readAll(int descriptor, std::string& text, std::size_t limit);

}  // namespace invscan::agent
