// The digest of a text as a text.
#pragma once

#include <cstdlib>
#include <memory>
#include <string>

#include <invscan/md5.h>

namespace invscan {

// 32 hexadecimal digits; empty when there is no memory.
inline std::string digestOf(const std::string& text) {
  const std::unique_ptr<char, decltype(&std::free)> digest(md5_checksum(text.c_str()), &std::free);
  return digest ? digest.get() : "";
}

}  // namespace invscan
