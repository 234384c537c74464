// The keys of the configuration file that agent and library know.
#pragma once

#include <span>

namespace invscan::agent {

struct ConfigurationKey {
  const char* name;    // with its section: "hwscanner.timeout"
  const char* preset;  // what the agent takes where the file has none; "" for nothing
  const char* help;
};

// In the order in which people look for them.
std::span<const ConfigurationKey> configurationKeys();

}  // namespace invscan::agent
