#include "helpers/cpuid/LeafTrace.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace invscan::cpuid {
namespace {

Descriptor openedAgain(int descriptor) {
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  return Descriptor(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

}  // namespace

LeafTrace::LeafTrace(int descriptor)
    : kind_(kindOf(descriptor)),
      descriptor_(descriptor),
      own_(kind_ == Kind::Other ? openedAgain(descriptor) : Descriptor()) {
}

LeafTrace::Kind LeafTrace::kindOf(int descriptor) {
  struct stat status;
  if (fstat(descriptor, &status) != 0) return Kind::Closed;
  if (S_ISREG(status.st_mode)) return Kind::File;
  return S_ISSOCK(status.st_mode) ? Kind::Socket : Kind::Other;
}

void LeafTrace::write(std::string_view line) {
  // What does not go is lost on purpose.
  if (kind_ == Kind::File) {
    (void)!::write(descriptor_, line.data(), line.size());
  } else if (kind_ == Kind::Socket) {
    (void)!send(descriptor_, line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  } else if (own_) {
    (void)!::write(own_.get(), line.data(), line.size());
  }
}

}  // namespace invscan::cpuid
