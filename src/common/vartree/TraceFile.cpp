#include "common/vartree/TraceFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <ctime>

#include "base/LocalTime.h"

namespace invscan {
namespace {

// A second name of a file is a link too.
bool isPlainFile(const Descriptor& file) {
  struct stat status;
  return fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

void writeStartTime(const Descriptor& file) {
  const time_t now = time(nullptr);
  tm parts{};
  toLocalTime(now, parts);
  char line[256];
  const std::size_t length = strftime(line, sizeof line, "CPUID START TIMESTAMP = %c\n", &parts);
  // The trace is worth having without this line, too.
  [[maybe_unused]] const ssize_t written = write(file.get(), line, length);
}

}  // namespace

Descriptor openTraceFile(const char* path) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  Descriptor file(open(path, kFlags, 0600));
  if (!file || !isPlainFile(file) || ftruncate(file.get(), 0) != 0) return Descriptor();
  writeStartTime(file);
  return file;
}

bool canListDirectory(const std::string& path) {
  DIR* directory = opendir(path.c_str());
  return directory && closedir(directory) == 0;
}

}  // namespace invscan
