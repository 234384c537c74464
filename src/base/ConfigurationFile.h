// The configuration file behind the store, as it was read: who complains about it names the place.
#pragma once

#include <string>

#include "base/IniText.h"

namespace invscan {

struct ConfigurationFile {
  std::string path;
  IniEntries entries;
};

// It has no entries when there is no file, or it could not be parsed.
const ConfigurationFile& configurationFile();

}  // namespace invscan
