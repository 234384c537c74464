// A library of the live machine, loaded while it is held. A collector that needs one loads it only
// in what answers a question on a live machine: a replay never does.
#pragma once

#include <string>
#include <utility>

namespace invscan {

class SharedLibrary {
 public:
  SharedLibrary() = default;
  SharedLibrary(SharedLibrary&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  SharedLibrary& operator=(SharedLibrary&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~SharedLibrary();

  // By path, or by name along the loader's path. Not loaded: what went wrong is in error.
  static SharedLibrary load(const char* file, std::string& error);

  explicit operator bool() const { return handle_ != nullptr; }

  // Takes the function of that name, whose type the caller knows; null when there is none.
  template <class Function>
  void find(const char* name, Function*& function) const {
    function = reinterpret_cast<Function*>(address(name));
  }

 private:
  explicit SharedLibrary(void* handle) : handle_(handle) {}
  void* address(const char* name) const;

  void* handle_ = nullptr;
};

}  // namespace invscan
