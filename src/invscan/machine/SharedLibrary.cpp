#include "invscan/machine/SharedLibrary.h"

#include <dlfcn.h>

namespace invscan {

SharedLibrary::~SharedLibrary() {
  if (handle_) dlclose(handle_);
}

SharedLibrary SharedLibrary::load(const char* file, std::string& error) {
  SharedLibrary library(dlopen(file, RTLD_NOW));
  if (!library) {
    const char* text = dlerror();
    error = text ? text : "";
  }
  return library;
}

void* SharedLibrary::address(const char* name) const {
  return dlsym(handle_, name);
}

}  // namespace invscan
