// Has a helper program answer once for all groups of a scan that need it.
#pragma once

#include <string>

#include "base/Descriptor.h"

namespace invscan::agent {

// One worker runs the errand, and those that collect, which are forked later, deliver its outcome
// to the library. In between it lies in a file without a name, so that no process that forks, and
// no worker that has no use for it, ever holds what a helper said.
class HelperErrand {
 public:
  // The name is the library's for the helper; a capture is one that is scanned, a recording the
  // directory of one that is being made, or empty.
  HelperErrand(std::string name, unsigned need, std::string capture, std::string recording);

  const std::string& name() const { return name_; }
  unsigned need() const { return need_; }  // of CollectorNeed

  // Asks the machine. Of a capture without an answer, our own helper makes one; in a recording it
  // leaves what it would make another one from.
  void run() const;

  // Gives the library what was answered. Where the errand did not come to its end, that is nothing.
  void deliver() const;

 private:
  const std::string name_;
  const std::string program_;  // by what the environment said before a worker forgot it
  const unsigned need_;
  const std::string capture_, recording_;
  const Descriptor file_;
};

}  // namespace invscan::agent
