// Has a helper program answer once for all groups of a scan that need it.
#pragma once

#include <string>

#include "base/Descriptor.h"

namespace invscan::agent {

// One worker runs the errand, and those that collect deliver its outcome to the library. In between
// it lies in a file without a name, so that neither the agent nor a worker that has no use for it
// ever holds what a helper said.
class HelperErrand {
 public:
  enum class Machine { Live, Recorded, Replayed };

  // The name is the library's for the helper.
  HelperErrand(std::string name, unsigned need, Machine machine);

  const std::string& name() const { return name_; }
  unsigned need() const { return need_; }  // of CollectorNeed

  // Asks the machine. A scan of the native sources answers by itself what our own helper would: the
  // program takes longer to start than to answer. So does one of a capture without an answer, and
  // a recording keeps what our helper would make another answer from.
  void run() const;

  // Gives the library what was answered. Where the errand did not come to its end, that is nothing.
  void deliver() const;

 private:
  bool needsProgram() const;

  const std::string name_;
  const unsigned need_;
  const Machine machine_;
  const bool isOwn_;  // by what the environment said before a worker forgot it
  const Descriptor file_;
};

}  // namespace invscan::agent
