#include "base/TrustedPath.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

namespace invscan {
namespace {

// In a sticky directory nobody can put away what is root's.
bool isRootsAlone(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0 || status.st_uid != 0) return false;
  const bool isSticky = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX);
  return isSticky || (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace

std::string trustedPath(const std::string& path) {
  if (geteuid() != 0) return path;
  const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
  if (!real || !isRootsAlone("/")) return "";
  const std::string whole = real.get();
  for (std::size_t end = 0; end != whole.npos;) {
    end = whole.find('/', end + 1);
    if (!isRootsAlone(whole.substr(0, end))) return "";
  }
  return whole;
}

}  // namespace invscan
