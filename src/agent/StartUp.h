// What happens before a command runs.
#pragma once

#include <string>

#include "agent/Options.h"

namespace invscan::agent {

// Gives standard descriptors that are closed something that can be neither read nor written, lest a
// file that is opened later becomes one of them.
void openStandardStreams();

// Where the helper program of that name is.
std::string helperPath(const std::string& name);

// Whether that is one of our own, not one that the caller's environment names.
bool hasOwnHelpers();

// Starts the program again when the loader was told to look for libraries in relative places: the
// loader has read the variable by now, and a scan loads libraries. Throws Failure when it cannot.
void dropRelativeLibraryPaths(char** arguments);

// Environment, tracing, configuration store and machine. Throws Failure.
void setUp(const Options& options);

}  // namespace invscan::agent
