#include "base/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace invscan {
namespace {

int whyNotRegular(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  return S_ISREG(status.st_mode) ? 0 : EINVAL;
}

}  // namespace

Descriptor openRegularFile(const std::string& path, int& error) {
  // Non-blocking, so that a pipe without a writer is refused rather than waited for.
  Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  error = file ? whyNotRegular(file.get()) : errno;
  if (error) file.close();
  return file;
}

int readRegularFile(const std::string& path, std::size_t limit, std::string& text) {
  int error = 0;
  const Descriptor file = openRegularFile(path, error);
  if (error) return error;
  if (!readAll(file.get(), text, limit + 1)) return errno;
  return text.size() > limit ? EFBIG : 0;
}

std::string regularFileError(int error) {
  return error == EINVAL ? "Not a regular file" : std::generic_category().message(error);
}

}  // namespace invscan
