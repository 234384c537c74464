// What happens before a command runs.
#pragma once

#include "agent/Options.h"

namespace invscan::agent {

// Gives standard descriptors that are closed something that can be neither read nor written, lest a
// file that is opened later becomes one of them.
void openStandardStreams();

// Environment, tracing, configuration store and machine. Throws Failure.
void setUp(const Options& options);

}  // namespace invscan::agent
