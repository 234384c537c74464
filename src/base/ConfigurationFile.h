// The configuration file behind the store, as it was read: who complains about it names the place.
#pragma once

#include <string>
#include <string_view>

#include "base/IniText.h"

namespace invscan {

struct ConfigurationFile {
  std::string path;
  IniEntries entries;
};

// It has no entries when there is no file, or it could not be parsed.
const ConfigurationFile& configurationFile();

// Whether the store has that value for a key, as OrvCfg::getKey() tells it, but without a copy.
bool storeHas(std::string_view key, std::wstring_view value);

}  // namespace invscan
