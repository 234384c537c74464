// Settings that a host makes by its environment. They are the host's own, not the machine's.
#pragma once

#include <cstdlib>

namespace invscan {

inline bool isSetByHost(const char* variable) {
  return std::getenv(variable) != nullptr;
}

}  // namespace invscan
