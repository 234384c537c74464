// The trace of the helper, which whoever started it may not be reading.
#pragma once

#include <string>
#include <string_view>

#include "base/Descriptor.h"

namespace invscan::cpuid {

// Writes lines to a descriptor and never waits for it: a line that does not go at once is dropped.
class LeafTrace {
 public:
  // Takes over nothing: the descriptor and its file status flags, which other processes share, stay
  // as they are.
  explicit LeafTrace(int descriptor);

  void write(std::string_view line);

 private:
  enum class Kind { Closed, File, Socket, Other };
  static Kind kindOf(int descriptor);

  Kind kind_;
  int descriptor_;
  Descriptor own_;  // for others: the same pipe or terminal, opened once more without blocking
};

}  // namespace invscan::cpuid
