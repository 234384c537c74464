// What of the caller's environment reaches workers, and the programs that they start.
#pragma once

#include <string>

namespace invscan::agent {

// Removes all other variables from this process: shells, loaders and the C library do as some of
// them say.
void keepKnownVariables();

// Their names, as the help tells them.
std::string knownVariables();

}  // namespace invscan::agent
