#include "base/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace invscan {
namespace {

int whyNotRegular(const Descriptor& file, struct stat& status) {
  if (!file || fstat(file.get(), &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  return S_ISREG(status.st_mode) ? 0 : EINVAL;
}

}  // namespace

Descriptor openIfRegular(const std::function<int(int flags)>& open, int& error) {
  struct stat seen {
  }, opened{};
  const auto openWith = [&open](int flags) {
    return Descriptor(uninterrupted([&] { return open(flags); }));
  };
  const Descriptor place = openWith(O_PATH | O_CLOEXEC);
  error = whyNotRegular(place, seen);
  if (error) return Descriptor();
  // Non-blocking, as something else may have come into its place.
  Descriptor file = openWith(O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  error = whyNotRegular(file, opened);
  if (!error && (opened.st_dev != seen.st_dev || opened.st_ino != seen.st_ino)) error = EINVAL;
  if (error) file.close();
  return file;
}

Descriptor openRegularFile(const std::string& path, int& error) {
  return openIfRegular([&path](int flags) { return open(path.c_str(), flags); }, error);
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
