// What ends a command: wrong usage, or something that cannot be read or written.
#pragma once

#include <stdexcept>

namespace invscan::agent {

// The text is one line that names the thing and the remedy; the program prints it on standard error
// and ends with exit status 2.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace invscan::agent
