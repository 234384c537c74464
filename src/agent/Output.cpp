#include "agent/Output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "agent/Failure.h"
#include "agent/Text.h"
#include "base/Descriptor.h"

namespace invscan::agent {
namespace {

[[noreturn]] void failWriting(const std::string& name, int error) {
  throw Failure(name + ": " + errorText(error) + "; nothing usable was written");
}

// A file that is being written under another name beside its own. Gone unless it was put in place.
class UnfinishedFile {
 public:
  explicit UnfinishedFile(const std::string& path)
      : path_(path), name_(path + ".XXXXXX"), file_(mkostemp(name_.data(), O_CLOEXEC)) {
    if (!file_) failWriting(path_, errno);
  }
  ~UnfinishedFile() {
    if (!isInPlace_) unlink(name_.c_str());
  }
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;

  void write(std::string_view text, mode_t mode) {
    const bool isWritten = writeAll(file_.get(), text) && fchmod(file_.get(), mode) == 0 &&
                           fsync(file_.get()) == 0 && file_.close();
    if (!isWritten) failWriting(path_, errno);
  }

  // Where there is nothing yet. The name that it was written under goes with this object.
  void putInFreePlace() {
    if (link(name_.c_str(), path_.c_str()) != 0) failWriting(path_, errno);
  }

  void putInPlace() {
    isInPlace_ = rename(name_.c_str(), path_.c_str()) == 0;
    if (!isInPlace_) failWriting(path_, errno);
  }

 private:
  const std::string path_;
  std::string name_;
  Descriptor file_;
  bool isInPlace_ = false;
};

void writeDirectly(const std::string& path, std::string_view text) {
  Descriptor file(open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
  if (!file || !writeAll(file.get(), text) || !file.close()) failWriting(path, errno);
}

mode_t accessLeftByUmask() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

// The file that a link leads to, so that it is replaced rather than the link.
std::string resolved(const std::string& path) {
  char* real = realpath(path.c_str(), nullptr);
  const std::string result = real ? real : path;
  free(real);
  return result;
}

}  // namespace

void writeOutput(const std::string& file, std::string_view text) {
  returnFromFailedWrites();
  if (file.empty()) {
    if (!writeAll(STDOUT_FILENO, text)) failWriting("standard output", errno);
    return;
  }
  struct stat status {};
  const bool isDevice = stat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
  if (isDevice) {
    writeDirectly(file, text);
  } else {
    replaceFile(resolved(file), text, accessLeftByUmask());
  }
}

void replaceFile(const std::string& path, std::string_view text, mode_t mode) {
  UnfinishedFile file(path);
  file.write(text, mode);
  file.putInPlace();
}

void makeFile(const std::string& path, std::string_view text, mode_t mode) {
  UnfinishedFile file(path);
  file.write(text, mode);
  file.putInFreePlace();
}

void returnFromFailedWrites() {
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
}

bool isColourful(const std::string& file) {
  const char* terminal = getenv("TERM");
  const char* refused = getenv("NO_COLOR");
  return file.empty() && isatty(STDOUT_FILENO) && !(refused && *refused) && terminal && *terminal &&
         std::strcmp(terminal, "dumb") != 0;
}

void reportLine(const std::string& text) {
  signal(SIGPIPE, SIG_IGN);
  writeAll(STDERR_FILENO, "invscan: " + printable(text) + "\n");
}

}  // namespace invscan::agent
