#include "common/vartree/TraceFile.h"

#include <dirent.h>
#include <unistd.h>

#include <ctime>

#include "base/LocalTime.h"
#include "base/WrittenFile.h"

namespace invscan {
namespace {

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

Descriptor openTraceFile(const char* path) try {
  Descriptor file = openOwnFile(path);
  if (ftruncate(file.get(), 0) != 0) return Descriptor();
  writeStartTime(file);
  return file;
} catch (const WriteError&) {
  return Descriptor();
}

bool canListDirectory(const std::string& path) {
  DIR* directory = opendir(path.c_str());
  return directory && closedir(directory) == 0;
}

}  // namespace invscan
