#include "base/TrustedPath.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

namespace invscan {
namespace {

// In a sticky directory nobody can put away what is root's.
bool isRoots(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0 || status.st_uid != 0) return false;
  const bool isSticky = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX);
  return isSticky || (!S_ISLNK(status.st_mode) && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0);
}

}  // namespace

bool isRootsAlone(const std::string& path) {
  if (!path.starts_with('/') || !isRoots("/")) return false;
  for (std::size_t end = 0; end != path.npos;) {
    end = path.find('/', end + 1);
    if (!isRoots(path.substr(0, end))) return false;
  }
  return true;
}

std::string trustedPath(const std::string& path) {
  if (geteuid() != 0) return path;
  const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
  return real && isRootsAlone(real.get()) ? real.get() : "";
}

}  // namespace invscan
