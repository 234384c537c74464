#include "agent/scan/Strays.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>

#include <algorithm>
#include <charconv>
#include <string>

#include "base/ChildPipe.h"
#include "base/Descriptor.h"

namespace invscan::agent {
namespace {

std::vector<pid_t> children() {
  constexpr std::size_t kLimit = 1 << 20;
  const Descriptor list(open("/proc/thread-self/children", O_RDONLY | O_CLOEXEC));
  std::string text;
  if (!list || !readAll(list.get(), text, kLimit)) return {};
  std::vector<pid_t> found;
  const char* const end = text.data() + text.size();
  for (const char* at = text.data(); at < end; ++at) {
    pid_t child = 0;
    at = std::from_chars(at, end, child).ptr;
    if (child > 0) found.push_back(child);
  }
  return found;
}

}  // namespace

Strays::Strays() : childrenBefore_(children()) {
  prctl(PR_GET_CHILD_SUBREAPER, &adoptedBefore_);
  prctl(PR_SET_CHILD_SUBREAPER, 1);
}

// Each that ends may leave others in turn; one that is stuck in the kernel is waited for once.
Strays::~Strays() {
  std::vector<pid_t> known = childrenBefore_;
  for (bool isNew = true; isNew;) {
    isNew = false;
    for (const pid_t child : children()) {
      if (std::find(known.begin(), known.end(), child) != known.end()) continue;
      isNew = true;
      kill(child, SIGKILL);
      int status = 0;
      if (awaitEnd(child, status, kBurialPatience) == 0) known.push_back(child);
    }
  }
  prctl(PR_SET_CHILD_SUBREAPER, adoptedBefore_);
}

}  // namespace invscan::agent
