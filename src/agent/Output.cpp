#include "agent/Output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "agent/Failure.h"
#include "agent/Text.h"
#include "agent/scan/SignalWatch.h"
#include "base/Descriptor.h"
#include "base/WrittenFile.h"

namespace invscan::agent {
namespace {

[[noreturn]] void failWriting(const std::string& name, const std::string& reason) {
  throw Failure(name + ": " + reason + "; nothing usable was written");
}

constexpr mode_t kPrivate = 0600, kByUmask = 0666;
constexpr mode_t kPrivateUmask = S_IRWXG | S_IRWXO;

mode_t callersUmask = kPrivateUmask;

class UmaskInForce {
 public:
  explicit UmaskInForce(mode_t mask) : before_(umask(mask)) {}
  ~UmaskInForce() { umask(before_); }
  UmaskInForce(const UmaskInForce&) = delete;
  UmaskInForce& operator=(const UmaskInForce&) = delete;

 private:
  const mode_t before_;
};

void writeToDescriptor(int descriptor, const std::string& name, std::string_view text) {
  if (writeAll(descriptor, text)) return;
  // Whoever read the pipe has enough, and knows it.
  if (errno == EPIPE) throw Interruption{SIGPIPE};
  failWriting(name, errorText(errno));
}

}  // namespace

// Opening the path anew would begin at the front of a file that was partly written or read.
int descriptorNamedBy(std::string_view path) {
  if (path == "/dev/stdin") return STDIN_FILENO;
  if (path == "/dev/stdout") return STDOUT_FILENO;
  if (path == "/dev/stderr") return STDERR_FILENO;
  for (const std::string_view directory : {"/dev/fd/", "/proc/self/fd/"}) {
    int number = 0;
    const char* const end = path.data() + path.size();
    if (!path.starts_with(directory)) continue;
    const auto [rest, error] = std::from_chars(path.data() + directory.size(), end, number);
    if (error == std::errc() && rest == end && number >= 0) return number;
  }
  return -1;
}

void keepFilesPrivate() {
  callersUmask = umask(kPrivateUmask);
}

void writeOutput(const std::string& file, std::string_view text) {
  returnFromFailedWrites();
  if (file.empty()) return writeToDescriptor(STDOUT_FILENO, "standard output", text);
  const int descriptor = descriptorNamedBy(file);
  if (descriptor >= 0) return writeToDescriptor(descriptor, file, text);
  const bool isRoot = geteuid() == 0;
  const UmaskInForce mask(isRoot ? kPrivateUmask : callersUmask);
  writeFile(file, text, isRoot ? kPrivate : kByUmask, true);
}

void writeFile(const std::string& path, std::string_view text, mode_t mode, bool followsLast) try {
  invscan::writeFile(placeOf(path, followsLast), text, mode);
} catch (const WriteError& error) {
  failWriting(path, error.what());
}

void makeFile(const std::string& path, std::string_view text, mode_t mode) try {
  const Place place = placeOf(path, false);
  NewFile file(place, mode);
  file.write(text);
  file.putInFreePlace();
} catch (const WriteError& error) {
  failWriting(path, error.what());
}

void returnFromFailedWrites() {
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
}

bool isTerminal(const std::string& file) {
  return file.empty() && isatty(STDOUT_FILENO);
}

bool isColourful(Colour choice, const std::string& file) {
  if (choice != Colour::Auto) return choice == Colour::Always;
  const char* terminal = getenv("TERM");
  const char* refused = getenv("NO_COLOR");
  return isTerminal(file) && !(refused && *refused) && terminal && *terminal &&
         std::strcmp(terminal, "dumb") != 0;
}

void reportLine(const std::string& text) {
  signal(SIGPIPE, SIG_IGN);
  writeAll(STDERR_FILENO, "invscan: " + printable(text) + "\n");
}

}  // namespace invscan::agent
