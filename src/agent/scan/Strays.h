// What workers started that has left their process groups.
#pragma once

#include <sys/types.h>

#include <vector>

namespace invscan::agent {

// While it lives, processes whose parents have ended become children of this one, and those are
// killed when it goes: by then no worker is left. Children that this process had before, as a shell
// leaves them that it took the place of, are none of its own. Without /proc it finds none.
class Strays {
 public:
  Strays();
  ~Strays();
  Strays(const Strays&) = delete;
  Strays& operator=(const Strays&) = delete;

 private:
  const std::vector<pid_t> childrenBefore_;
  int adoptedBefore_ = 0;
};

}  // namespace invscan::agent
